// Any text as the dumps of next hops, neighbours and links, with a zero byte between them: refused, or filed as rows.
#include "examples/importer.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size)
{
   using namespace NexthopRows;
   std::istringstream texts(std::string(data, data + size));
   std::ostringstream messages;
   Notes notes(messages);
   const auto next = [&texts](const char* name) {
      Source source{name, {}};
      std::getline(texts, source.text, '\0');
      return source;
   };
   try {
      for (const NexthopInfoRow row :
           fileRows(parseDump({next("nexthop"), next("neigh"), next("link")}, notes), 1, notes).nexthops)
         row.toJson();
   } catch (const BadInput&) {
   }
   return 0;
}
