#include "nexthop_rows/rtnetlink.h"

#include <linux/rtnetlink.h>

#include <poll.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>

#include "nexthop_rows/badInput.h"

namespace NexthopRows {

namespace {

constexpr int bufferedBytes = 8 << 20; ///< for messages that wait to be read

constexpr unsigned groupBit(unsigned group) { return 1U << (group - 1); }

} // namespace

RtnetlinkSockets::RtnetlinkSockets(const std::string& source, StopFd stop)
   : stop_(stop), listening_(open(source, SOCK_NONBLOCK,
                                  groupBit(RTNLGRP_LINK) | groupBit(RTNLGRP_NEIGH) | groupBit(RTNLGRP_NEXTHOP))),
     asking_(open(source, 0, 0))
{
}

RtnetlinkSockets::Socket RtnetlinkSockets::open(const std::string& source, int flags, unsigned groups)
{
   const auto fail = [&] { throw BadInput(source + ": rtnetlink: " + std::strerror(errno)); };
   Socket socket(mnl_socket_open2(NETLINK_ROUTE, SOCK_CLOEXEC | flags));
   if (socket == nullptr)
      fail();
   const int fd = mnl_socket_get_fd(socket.get());
   if (setsockopt(fd, SOL_SOCKET, SO_RCVBUFFORCE, &bufferedBytes, sizeof bufferedBytes) != 0) // needs rights
      setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &bufferedBytes, sizeof bufferedBytes);
   if (mnl_socket_bind(socket.get(), groups, MNL_SOCKET_AUTOPID) != 0)
      fail();
   return socket;
}

int RtnetlinkSockets::ask(const nlmsghdr& question)
{
   return mnl_socket_sendto(asking_.get(), &question, question.nlmsg_len) == -1 ? errno : 0;
}

ssize_t RtnetlinkSockets::answer(Buffer buffer)
{
   pollfd files[]{{mnl_socket_get_fd(asking_.get()), POLLIN, 0}, {stop_, POLLIN, 0}};
   poll(files, 2, -1);
   if (files[1].revents != 0)
      throw Stopped();
   return receive(asking_, buffer);
}

/// As mnl_socket_recvfrom(), but takes nothing from processes, of which one with rights may send to any socket.
ssize_t RtnetlinkSockets::receive(const Socket& socket, Buffer buffer)
{
   sockaddr_nl sender{};
   iovec room{buffer.data(), buffer.size()};
   msghdr message{};
   message.msg_name = &sender;
   message.msg_namelen = sizeof sender;
   message.msg_iov = &room;
   message.msg_iovlen = 1;
   const ssize_t length = recvmsg(mnl_socket_get_fd(socket.get()), &message, 0);
   if (length == -1)
      return -errno;
   if (sender.nl_pid != 0)
      return -EINTR;
   return (message.msg_flags & MSG_TRUNC) != 0 ? -ENOSPC : length;
}

} // namespace NexthopRows
