// rtnetlink messages as a source: what one message tells of links, neighbours, next hops and groups. Reads the bytes
// that it is given and no others, opens nothing, waits for nothing.
#pragma once

#include <libmnl/libmnl.h>

#include <span>
#include <string>

#include "nexthop_rows/kernelState.h"
#include "nexthop_rows/notes.h"

namespace NexthopRows {

/// Tells the state what the message says. `message`, aligned to 4 bytes, lies in memory as long as its length says, and
/// that is at least a header (mnl_nlmsg_ok). Messages of other kinds are passed over. An object that cannot be read is
/// refused with a note, that begins with `source`, and is as if it were not there; the rest of the state is as it was.
void applyMessage(const nlmsghdr& message, const std::string& source, KernelState& state, Notes& notes);

/// The id of the next hop or group that the message tells of; 0 when it tells of none.
ObjectId objectId(const nlmsghdr& message);

/// Calls use(message) for each message of a datagram that is aligned to 4 bytes. Returns the number of bytes behind the
/// last whole one: 0, as the kernel sends them.
template <class Use>
std::size_t forEachMessage(std::span<const unsigned char> datagram, Use use)
{
   int left = static_cast<int>(datagram.size());
   const auto* message = reinterpret_cast<const nlmsghdr*>(datagram.data());
   const auto isWhole = [&] { // mnl_nlmsg_ok() takes lengths from 2^31 on for negative ones
      return mnl_nlmsg_ok(message, left) && message->nlmsg_len <= static_cast<std::uint32_t>(left);
   };
   for (; isWhole(); message = mnl_nlmsg_next(message, &left))
      use(*message);
   return static_cast<std::size_t>(std::max(left, 0));
}

} // namespace NexthopRows
