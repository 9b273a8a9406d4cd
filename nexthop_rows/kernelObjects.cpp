#include "nexthop_rows/kernelObjects.h"

#include <arpa/inet.h>

namespace NexthopRows {

namespace {

std::string shownFrom(char lowest, std::string_view text)
{
   std::string shown;
   for (const char character : text) {
      const auto byte = static_cast<unsigned char>(character);
      if (character >= lowest && character <= '~' && character != '\\')
         shown += character;
      else
         shown.append("\\x").append(1, "0123456789abcdef"[byte >> 4]).append(1, "0123456789abcdef"[byte & 0xf]);
      if (shown.size() > mostShown)
         return shown.replace(mostShown, std::string::npos, "...");
   }
   return shown;
}

} // namespace

std::string shown(std::string_view text) { return shownFrom(' ', text); }

std::string shownName(std::string_view name) { return shownFrom('!', name); }

std::string text(const IpAddress& address)
{
   char room[INET6_ADDRSTRLEN] = "";
   if (address.length != 0)
      inet_ntop(address.length == sizeof(in_addr) ? AF_INET : AF_INET6, address.bytes.data(), room, sizeof room);
   return room;
}

} // namespace NexthopRows
