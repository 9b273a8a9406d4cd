#include "nexthop_rows/kernelObjects.h"

#include <arpa/inet.h>

namespace NexthopRows {

namespace {

void appendEscaped(std::string& text, unsigned char byte)
{
   text.append("\\x").append(1, "0123456789abcdef"[byte >> 4]).append(1, "0123456789abcdef"[byte & 0xf]);
}

std::string shownFrom(char lowest, std::string_view text)
{
   std::string shown;
   for (const char character : text) {
      const auto byte = static_cast<unsigned char>(character);
      if (character >= lowest && character <= '~' && character != '\\')
         shown += character;
      else
         appendEscaped(shown, byte);
      if (shown.size() > mostShown)
         return shown.replace(mostShown, std::string::npos, "...");
   }
   return shown;
}

} // namespace

std::string shownLine(std::string_view message)
{
   if (std::ranges::all_of(message, [](char character) { return character >= ' ' && character <= '~'; }))
      return std::string(message); // as nearly all are
   std::string shown;
   unsigned char before = 0;
   for (const char character : message) {
      const auto byte = static_cast<unsigned char>(character);
      const bool isWide = before == 0xc2 && byte >= 0x80 && byte < 0xa0; // of two bytes, in UTF-8
      if (isWide) {
         shown.pop_back();
         appendEscaped(shown, before);
      }
      if (byte < ' ' || byte == 0x7f || isWide)
         appendEscaped(shown, byte);
      else
         shown += character;
      before = byte;
   }
   return shown;
}

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
