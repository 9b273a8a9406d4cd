#include "nexthop_rows/liveKernel.h"

#include <linux/neighbour.h>
#include <linux/nexthop.h>
#include <linux/rtnetlink.h>

#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>

#include "nexthop_rows/badInput.h"
#include "nexthop_rows/netlinkMessages.h"

namespace NexthopRows {

namespace {

using namespace std::chrono_literals;

constexpr int bufferedBytes = 8 << 20;           ///< for messages that wait to be read
constexpr std::size_t longestDatagram = 1 << 17; ///< a group of 8192 members, and more than the kernel makes at once
constexpr int mostDumps = 5;                     ///< that may be disturbed by changes, one after the other
constexpr auto patience = 500ms;

constexpr unsigned groupBit(unsigned group) { return 1U << (group - 1); }

} // namespace

LiveKernel::LiveKernel(const NetNamespace& netns, StopFd stop)
   : source_(netns.text()), stop_(stop), buffer_(longestDatagram)
{
   identity_ = netns.within([this] {
      listening_ = open(SOCK_NONBLOCK, groupBit(RTNLGRP_LINK) | groupBit(RTNLGRP_NEIGH) | groupBit(RTNLGRP_NEXTHOP));
      asking_ = open(0, 0);
   });
}

LiveKernel::Socket LiveKernel::open(int flags, unsigned groups) const
{
   Socket socket(mnl_socket_open2(NETLINK_ROUTE, SOCK_CLOEXEC | flags));
   if (socket == nullptr)
      fail("rtnetlink", errno);
   const int fd = mnl_socket_get_fd(socket.get());
   if (setsockopt(fd, SOL_SOCKET, SO_RCVBUFFORCE, &bufferedBytes, sizeof bufferedBytes) != 0) // needs rights
      setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &bufferedBytes, sizeof bufferedBytes);
   if (mnl_socket_bind(socket.get(), groups, MNL_SOCKET_AUTOPID) != 0)
      fail("rtnetlink", errno);
   return socket;
}

KernelState LiveKernel::read(Notes& notes)
{
   for (int disturbed = 0;;) {
      KernelState state;
      bool isWhole = dump(RTM_GETLINK, sizeof(ifinfomsg), state, notes);
      isWhole &= dump(RTM_GETNEIGH, sizeof(ndmsg), state, notes);
      isWhole &= dump(RTM_GETNEXTHOP, sizeof(nhmsg), state, notes);
      if (!isWhole && ++disturbed < mostDumps)
         continue;
      if (hear(state, notes) == Heard::lost)
         continue;
      if (!isWhole)
         notes.told(source_, "changed during each of " + std::to_string(disturbed) + " dumps; taken as it came");
      return state;
   }
}

LiveKernel::Heard LiveKernel::hear(KernelState& state, Notes& notes)
{
   Heard heard = Heard::everything;
   const auto end = std::chrono::steady_clock::now() + patience;
   while (heard == Heard::lost || std::chrono::steady_clock::now() < end) {
      const ssize_t length = mnl_socket_recvfrom(listening_.get(), buffer_.data(), buffer_.size());
      if (length == -1 && errno == EAGAIN)
         break;
      if (length == -1 && (errno == ENOBUFS || errno == ENOSPC))
         heard = Heard::lost; // and what is still there of no use; only when it is all read will the kernel send more
      else if (length == -1 && errno != EINTR)
         fail("rtnetlink", errno);
      if (length == -1 || heard == Heard::lost)
         continue;
      const std::span datagram(buffer_.data(), static_cast<std::size_t>(length));
      const auto left =
         forEachMessage(datagram, [&](const nlmsghdr& message) { applyMessage(message, source_, state, notes); });
      if (left != 0)
         notes.refused(source_ + ": datagram", std::to_string(left) + " bytes are no message");
   }
   return heard;
}

/// Applies all objects of a kind. False when changes disturbed the dump, so that some may be missing or out of date.
bool LiveKernel::dump(std::uint16_t type, std::size_t headerLength, KernelState& state, Notes& notes)
{
   alignas(nlmsghdr) std::array<unsigned char, 64> room;
   nlmsghdr* const request = mnl_nlmsg_put_header(room.data());
   request->nlmsg_type = type;
   request->nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
   request->nlmsg_seq = ++sequence_;
   mnl_nlmsg_put_extra_header(request, headerLength);
   if (type == RTM_GETLINK)
      mnl_attr_put_u32(request, IFLA_EXT_MASK, RTEXT_FILTER_SKIP_STATS);
   if (mnl_socket_sendto(asking_.get(), request, request->nlmsg_len) == -1)
      fail("dump", errno);

   bool isUndisturbed = true;
   for (bool isDone = false; !isDone;) {
      pollfd files[]{{mnl_socket_get_fd(asking_.get()), POLLIN, 0}, {stop_, POLLIN, 0}};
      poll(files, 2, -1);
      if (files[1].revents != 0)
         throw Stopped();
      const ssize_t length = mnl_socket_recvfrom(asking_.get(), buffer_.data(), buffer_.size());
      if (length == -1 && errno == EINTR)
         continue;
      if (length == -1)
         fail("dump", errno);
      forEachMessage({buffer_.data(), static_cast<std::size_t>(length)}, [&](const nlmsghdr& message) {
         if (message.nlmsg_seq != sequence_)
            return; // an answer that was not waited for
         isUndisturbed &= (message.nlmsg_flags & NLM_F_DUMP_INTR) == 0;
         if (message.nlmsg_type != NLMSG_DONE && message.nlmsg_type != NLMSG_ERROR)
            return applyMessage(message, source_, state, notes);
         int error = 0; // both begin with it
         if (mnl_nlmsg_get_payload_len(&message) >= sizeof error)
            std::memcpy(&error, mnl_nlmsg_get_payload(&message), sizeof error);
         if (error == -EOPNOTSUPP && type == RTM_GETNEXTHOP)
            throw BadInput(source_ + ": this kernel has no next-hop objects, which came with Linux 5.3");
         if (error != 0)
            fail("dump", -error);
         isDone = true;
      });
   }
   return isUndisturbed;
}

void LiveKernel::fail(const std::string& what, int error) const
{
   throw BadInput(source_ + ": " + what + ": " + std::strerror(error));
}

} // namespace NexthopRows
