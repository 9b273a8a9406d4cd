#include "nexthop_rows/kernelObjects.h"

#include <arpa/inet.h>

namespace NexthopRows {

std::string shownName(std::string_view name)
{
   std::string shown;
   for (const char character : name) {
      const auto byte = static_cast<unsigned char>(character);
      if (byte > ' ' && byte <= '~' && byte != '\\')
         shown += character;
      else
         shown.append("\\x").append(1, "0123456789abcdef"[byte >> 4]).append(1, "0123456789abcdef"[byte & 0xf]);
   }
   return shown;
}

std::string text(const IpAddress& address)
{
   char room[INET6_ADDRSTRLEN] = "";
   if (address.length != 0)
      inet_ntop(address.length == sizeof(in_addr) ? AF_INET : AF_INET6, address.bytes.data(), room, sizeof room);
   return room;
}

} // namespace NexthopRows
