// The running kernel as a source: its dumps, and the messages that tell of changes, over rtnetlink.
//
// Two sockets: one listens from the start on, so that nothing is missed while the other asks for dumps; what came
// meanwhile is applied afterwards. Messages are read in the order in which the kernel made them, each with an object's
// whole state, so that old ones of which a dump knows already end in the dump's state again.
//
// One thing no message tells: traffic makes neighbours of its own on devices without ARP, with addresses that matter to
// nobody. They are seen at the next read().
#pragma once

#include <libmnl/libmnl.h>

#include <memory>
#include <vector>

#include "nexthop_rows/kernelState.h"
#include "nexthop_rows/netNamespace.h"
#include "nexthop_rows/notes.h"
#include "nexthop_rows/stopSignals.h"

namespace NexthopRows {

class LiveKernel
{
public:
   /// What hear() has come to.
   enum class Heard {
      everything, ///< the state is the kernel's as of now
      lost        ///< the kernel had no room for messages: only read() tells
   };

   /// Opens the sockets. Throws BadInput when that fails, and as NetNamespace::within.
   explicit LiveKernel(const NetNamespace& netns, StopFd stop = noStop);

   /// The namespace that the sockets are in.
   const NetNamespace::Identity& identity() const { return identity_; }

   /// Readable when there is something to hear.
   int fd() const { return mnl_socket_get_fd(listening_.get()); }

   /// All that the kernel has, and what it tells meanwhile. Throws BadInput when the kernel refuses, Stopped.
   KernelState read(Notes& notes);

   /// Applies the messages that there are. Goes on for half a second while there is always one more.
   Heard hear(KernelState& state, Notes& notes);

private:
   struct Close
   {
      void operator()(mnl_socket* socket) const { mnl_socket_close(socket); }
   };
   using Socket = std::unique_ptr<mnl_socket, Close>;

   Socket open(int flags, unsigned groups) const;
   bool dump(std::uint16_t type, std::size_t headerLength, KernelState& state, Notes& notes);
   [[noreturn]] void fail(const std::string& what, int error) const;

   std::string source_;
   StopFd stop_;
   NetNamespace::Identity identity_;
   Socket listening_;
   Socket asking_;
   unsigned sequence_ = 0;
   std::vector<unsigned char> buffer_; ///< aligned, as what `new` makes is
};

} // namespace NexthopRows
