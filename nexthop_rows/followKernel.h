// Follows the running kernel: keeps tables of its rows, and tells whoever makes something of them of every change.
#pragma once

#include "nexthop_rows/following.h"
#include "nexthop_rows/netNamespace.h"

namespace NexthopRows {

/// What becomes of the rows of a kernel that is followed. What its operations throw ends that.
class KernelRows
{
public:
   virtual ~KernelRows() = default;

   virtual void changed(const Change<NexthopInfoRow>& change) = 0;
   virtual void changed(const Change<EcmpMemberListRow>& change) = 0;

   /// The changes from the whole reading number `genId` have been told; `tables` are what was read.
   virtual void allRead(std::uint64_t /*genId*/, const Tables& /*tables*/) {}

   /// What came at once has been told, or it is time.
   virtual void settle() = 0;

   /// When settle() wants to be called whatever happens.
   virtual Following::Clock::time_point wakeAt() const { return Following::Clock::time_point::max(); }
};

/// Files the kernel's rows and tells `rows` of them as inserted; then files and tells every change when it comes, until
/// it is to stop. What came at once is one change. Everything is read at the start, after the kernel had no room for
/// messages, and for a new namespace of the name. Returns the tables. Throws BadInput when the kernel cannot be read at
/// the start, Stopped.
///
/// A row keeps its entryId from its first filing on; its genId is the number of the reading that inserted or last
/// changed it. When a named namespace goes, so do its rows; one that is made under the name again is followed.
Tables followKernel(const NetNamespace& netns, Following& following, KernelRows& rows);

} // namespace NexthopRows
