// How long this namespace's next hops take to become filed rows, against what no import can do without: receiving the
// same dumps, which are thrown away, and filing the same ready-made rows into fresh tables. Prints processor times in
// seconds, each the least of several, and the bytes that the kept state takes, as JSON.
#include <linux/neighbour.h>
#include <linux/nexthop.h>
#include <linux/rtnetlink.h>

#include <malloc.h>

#include <ctime>
#include <iostream>

#include "nexthop_rows/liveKernel.h"
#include "nexthop_rows/netlinkMessages.h"
#include "nexthop_rows/rowKeeper.h"

using namespace NexthopRows;

namespace {

double processorTime()
{
   timespec time{};
   clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
   return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

/// The least time that `run` takes, of several.
template <class Run>
double least(Run run)
{
   double time = 1e9;
   for (int i = 0; i < 10; ++i) {
      const double start = processorTime();
      [[maybe_unused]] const auto kept = run(); // dropped outside of the time
      time = std::min(time, processorTime() - start);
   }
   return time;
}

/// Asks for the dumps as LiveKernel does.
std::size_t receive()
{
   mnl_socket* const socket = mnl_socket_open(NETLINK_ROUTE);
   mnl_socket_bind(socket, 0, MNL_SOCKET_AUTOPID);
   std::vector<unsigned char> buffer(1 << 17);
   std::size_t bytes = 0;
   const std::pair<std::uint16_t, std::size_t> dumps[]{
      {RTM_GETLINK, sizeof(ifinfomsg)}, {RTM_GETNEIGH, sizeof(ndmsg)}, {RTM_GETNEXTHOP, sizeof(nhmsg)}};
   for (const auto& [type, length] : dumps) {
      nlmsghdr* const request = mnl_nlmsg_put_header(buffer.data());
      request->nlmsg_type = type;
      request->nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
      mnl_nlmsg_put_extra_header(request, length);
      if (type == RTM_GETLINK)
         mnl_attr_put_u32(request, IFLA_EXT_MASK, RTEXT_FILTER_SKIP_STATS);
      mnl_socket_sendto(socket, request, request->nlmsg_len);
      for (bool isDone = false; !isDone;) {
         const ssize_t got = mnl_socket_recvfrom(socket, buffer.data(), buffer.size());
         if (got <= 0)
            break;
         bytes += static_cast<std::size_t>(got);
         forEachMessage({buffer.data(), static_cast<std::size_t>(got)},
                        [&](const nlmsghdr& message) { isDone |= message.nlmsg_type == NLMSG_DONE; });
      }
   }
   mnl_socket_close(socket);
   return bytes;
}

/// A state and the rows that follow from it.
struct Import
{
   Notes notes{std::cerr, Notes::Repeats::no};
   KernelState state;
   RowKeeper keeper{"kernel", notes};
   std::size_t stateBytes = 0;

   Import()
   {
      const std::size_t before = mallinfo2().uordblks;
      state = LiveKernel(NetNamespace({})).read(notes);
      stateBytes = mallinfo2().uordblks - before;
      keeper.reserve(state);
      keeper.settle(state, 1, [](const auto&) {});
   }
};

} // namespace

int main()
{
   const Import once;
   const Tables& tables = once.keeper.tables();
   const double import = least([] { return std::make_unique<Import>(); });
   const double receiving = least([] { return receive(); });
   const auto nexthops = rowsInOrder<NexthopInfoRow>(tables.nexthops);
   const auto groups = rowsInOrder<EcmpMemberListRow>(tables.groups);
   const double filing = least([&] {
      auto fresh = std::make_unique<Tables>();
      for (const NexthopInfoRow& row : nexthops)
         fresh->nexthops.insert(row);
      for (const EcmpMemberListRow& row : groups)
         fresh->groups.insert(row);
      return fresh;
   });
   std::cout << R"({"nexthops": )" << tables.nexthops.size() << R"(, "import": )" << import << R"(, "receiving": )"
             << receiving << R"(, "filing": )" << filing << R"(, "stateBytes": )" << once.stateBytes << "}\n";
}
