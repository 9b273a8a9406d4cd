// The two sockets to rtnetlink: one hears of changes from the start on, so that nothing is missed while the other asks.
#pragma once

#include <libmnl/libmnl.h>

#include <memory>
#include <span>
#include <string>
#include <sys/types.h>

#include "nexthop_rows/stopSignals.h"

namespace NexthopRows {

/// What a LiveKernel needs of them. Received datagrams go to the buffer, aligned for messages; returned is their
/// length, or the negative error number, EINTR for what is to be asked for again.
class Rtnetlink
{
public:
   using Buffer = std::span<unsigned char>;

   virtual ~Rtnetlink() = default;

   /// Readable when hear() has something.
   virtual int fd() const = 0;

   /// The next changes; EAGAIN when there are none by now.
   virtual ssize_t hear(Buffer buffer) = 0;

   /// Sends a question. Returns 0 or the error number.
   virtual int ask(const nlmsghdr& question) = 0;

   /// Waits for the next answers. Throws Stopped.
   virtual ssize_t answer(Buffer buffer) = 0;
};

/// The sockets themselves.
class RtnetlinkSockets final : public Rtnetlink
{
public:
   /// In the calling thread's network namespace. Throws BadInput, which begins with `source`.
   RtnetlinkSockets(const std::string& source, StopFd stop);

   int fd() const override { return mnl_socket_get_fd(listening_.get()); }
   ssize_t hear(Buffer buffer) override { return receive(listening_, buffer); }
   int ask(const nlmsghdr& question) override;
   ssize_t answer(Buffer buffer) override;

private:
   struct Close
   {
      void operator()(mnl_socket* socket) const { mnl_socket_close(socket); }
   };
   using Socket = std::unique_ptr<mnl_socket, Close>;

   static Socket open(const std::string& source, int flags, unsigned groups);
   static ssize_t receive(const Socket& socket, Buffer buffer);

   StopFd stop_;
   Socket listening_;
   Socket asking_;
};

} // namespace NexthopRows
