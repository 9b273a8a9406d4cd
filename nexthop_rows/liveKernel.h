// The running kernel as input, read through the program `ip`: the dumps that a folder holds, made now.
#pragma once

#include <optional>
#include <string>

#include "nexthop_rows/childProcess.h"
#include "nexthop_rows/kernelDump.h"

namespace NexthopRows {

/// One network namespace of the running kernel.
struct LiveKernel
{
   std::optional<std::string> netns; ///< as `ip netns` names it; none: this program's own

   /// "ip", the namespace, and these arguments.
   Command ip(const Command& arguments) const;

   /// Reads and parses the namespace's next hops, neighbours and links. Throws BadInput when `ip` is missing or fails,
   /// or prints no link, of which there is always one; Stopped as soon as `stop` is readable.
   KernelDump dump(Notes& notes, StopFd stop = noStop) const;
};

} // namespace NexthopRows
