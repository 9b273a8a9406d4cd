// Any bytes as all that a server ever says to a follower, which may refuse it; the rows it takes are sound.
#include "exchange/follower.h"
#include "routing_types/EcmpMemberListRow.h"
#include "tests/exchange/server.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size)
{
   using Row = P4RuntimeRouting::EcmpMemberListRow;
   static std::string said;
   static Test::Relay relay({});
   said.assign(data, data + size);
   relay.endsAnswer_ = true;
   relay.answer_ = &said;
   Zorva::Exchange::Follower<Row> follower(relay.address(), "feed", {.limit = std::chrono::seconds(1)});
   try {
      follower.poll(std::chrono::milliseconds(0));
   } catch (const Zorva::Exchange::FeedRefused&) {
   }
   for (const Zorva::BaseRow& row : follower.table())
      if (!Zorva::verifyRow<Row>(row.bytes(), Row::protRowType()).ok())
         __builtin_trap();
   return 0;
}
