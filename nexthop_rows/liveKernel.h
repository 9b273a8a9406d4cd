// The running kernel as a source: its dumps, and the messages that tell of changes, over rtnetlink.
//
// What comes while dumps are read is applied afterwards. Messages are read in the order in which the kernel made them,
// each with an object's whole state, so that old ones of which a dump knows already end in the dump's state again.
#pragma once

#include <memory>
#include <vector>

#include "nexthop_rows/kernelState.h"
#include "nexthop_rows/netNamespace.h"
#include "nexthop_rows/notes.h"
#include "nexthop_rows/rtnetlink.h"

namespace NexthopRows {

class LiveKernel
{
public:
   /// What hear() has come to.
   enum class Heard {
      everything, ///< the state is the kernel's as of now
      lost        ///< the kernel had no room for messages, as is told: only read() tells
   };

   /// Opens the sockets. Throws BadInput when that fails, and as NetNamespace::within.
   explicit LiveKernel(const NetNamespace& netns, StopFd stop = noStop);

   /// Over sockets that are there. `source` is what messages begin with.
   LiveKernel(std::string source, std::unique_ptr<Rtnetlink> rtnetlink);

   /// The namespace that the sockets are in.
   const NetNamespace::Identity& identity() const { return identity_; }

   /// Readable when there is something to hear.
   int fd() const { return rtnetlink_->fd(); }

   /// All that the kernel has, and what it tells meanwhile. Throws BadInput when the kernel refuses, Stopped.
   KernelState read(Notes& notes);

   /// Applies the messages that there are. Goes on for half a second while there is always one more.
   Heard hear(KernelState& state, Notes& notes);

private:
   /// What is asked for: a request's header, with one attribute when that has a type.
   struct Question
   {
      std::uint16_t type;
      std::size_t headerLength;
      std::uint16_t attribute = 0;
      std::uint32_t value = 0;
      std::uint16_t flags = NLM_F_DUMP;
      std::uint8_t family = 0;
   };

   struct Answer
   {
      int error = 0;             ///< that ended it
      bool isUndisturbed = true; ///< no changes meanwhile, so that all is there and up to date
      ObjectId last = 0;         ///< the last next hop or group
   };

   Answer ask(const Question& question, KernelState& state, Notes& notes);
   bool dump(const Question& question, KernelState& state, Notes& notes);
   bool dumpNexthops(KernelState& state, Notes& notes);
   void askForGroups(ObjectId after, KernelState& state, Notes& notes);
   [[noreturn]] void fail(const std::string& what, int error) const;

   std::string source_;
   NetNamespace::Identity identity_;
   std::unique_ptr<Rtnetlink> rtnetlink_;
   unsigned sequence_ = 0;
   std::vector<unsigned char> buffer_; ///< aligned, as what `new` makes is
};

} // namespace NexthopRows
