// The embedded core's text of the platform's value types. JSON made of it is always valid.
#include <array>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "platform/zorva/ethAddr.h"
#include "rowstore/putArea.h"

namespace {

/// "00", "01" ... "ff", each as the number that its two characters are in memory.
constexpr auto hexPairs = [] {
   constexpr std::string_view digits = "0123456789abcdef";
   std::array<std::uint16_t, 256> pairs{};
   for (std::size_t i = 0; i != pairs.size(); ++i)
      pairs[i] = static_cast<std::uint16_t>(digits[i % 16] << 8 | digits[i / 16]);
   return pairs;
}();

} // namespace

/// "02:00:00:00:00:01", lower case.
std::ostream& Zorva::operator<<(std::ostream& os, const EthAddr& address)
{
   const auto pair = [&](std::size_t i) { return std::uint64_t{hexPairs[address.bytes()[i]]}; };
   constexpr std::uint64_t colon = ':';
   // Two words and a character: storing byte by byte would defeat store forwarding when the text is copied.
   const std::uint64_t words[] = {
      pair(0) | colon << 16 | pair(1) << 24 | colon << 40 | pair(2) << 48,
      colon | pair(3) << 8 | colon << 24 | pair(4) << 32 | colon << 48 | pair(5) << 56,
   };
   char text[17];
   std::memcpy(text, words, sizeof words);
   text[16] = static_cast<char>(pair(5) >> 8);
   return Internal::insertText(os, std::string_view(text, sizeof text));
}

/// "true" or "false".
std::ostream& Zorva::operator<<(std::ostream& os, const FMT<bool>& value)
{
   return Internal::insertText(os, value.value ? std::string_view("true") : std::string_view("false"));
}
