// The embedded core's text of the platform's value types. JSON made of it is always valid.
#include <ostream>
#include <string_view>

#include "platform/zorva/ethAddr.h"

/// "02:00:00:00:00:01", lower case.
std::ostream& Zorva::operator<<(std::ostream& os, const EthAddr& address)
{
   constexpr char digits[] = "0123456789abcdef";
   char text[17];
   for (std::size_t i = 0; i < 6; ++i) {
      const unsigned byte = address.bytes()[i];
      text[3 * i] = digits[byte >> 4];
      text[3 * i + 1] = digits[byte & 15];
      if (i < 5)
         text[3 * i + 2] = ':';
   }
   return os << std::string_view(text, sizeof text);
}

/// "true" or "false".
std::ostream& Zorva::operator<<(std::ostream& os, const FMT<bool>& value)
{
   return os << std::string_view(value.value ? "true" : "false");
}
