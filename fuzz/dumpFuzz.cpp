// Any text as the dumps of next hops, neighbours and links, with a zero byte between them: refused, or filed as rows.
#include "examples/importer.h"
#include "rowtype/verify.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size)
{
   using namespace NexthopRows;
   std::istringstream texts(std::string(data, data + size));
   const auto next = [&texts](const char* name) {
      Source source{name, {}};
      std::getline(texts, source.text, '\0');
      return source;
   };
   std::ostringstream messages;
   Notes notes(messages);
   try {
      const Tables tables = fileRows(parseDump({next("nexthop"), next("neigh"), next("link")}, notes), 1, notes);
      for (const NexthopInfoRow row : tables.nexthops)
         if (!Zorva::verifyRow<NexthopInfoRow>(row.bytes(), row.protRowType()).ok())
            __builtin_trap();
      for (const EcmpMemberListRow row : tables.groups)
         if (!Zorva::verifyRow<EcmpMemberListRow>(row.bytes(), row.protRowType()).ok())
            __builtin_trap();
   } catch (const BadInput&) {
   }
   return 0;
}
