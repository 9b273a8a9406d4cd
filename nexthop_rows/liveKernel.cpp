#include "nexthop_rows/liveKernel.h"

namespace NexthopRows {

Command LiveKernel::ip(const Command& arguments) const
{
   Command command{"ip"};
   if (netns)
      command.insert(command.end(), {"-n", *netns});
   command.insert(command.end(), arguments.begin(), arguments.end());
   return command;
}

KernelDump LiveKernel::dump(Notes& notes, StopFd stop) const
{
   const auto source = [&](const Command& arguments) {
      const Command command = ip(arguments);
      return Source{text(command), outputOf(command, notes, stop)};
   };
   const Sources sources{source({"-j", "-d", "nexthop"}), source({"-j", "neigh"}), source({"-j", "-d", "link"})};
   KernelDump dump = parseDump(sources, notes);
   if (dump.links.empty())
      throw BadInput(sources.link.name + ": printed no link, not even the loopback device");
   return dump;
}

} // namespace NexthopRows
