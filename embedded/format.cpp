// The embedded core's text of the platform's value types. JSON made of it is always valid.
#include <array>
#include <ostream>
#include <streambuf>
#include <string_view>

#include "platform/zorva/ethAddr.h"

namespace {

/// Inserts `text` as `os << text` does. Where neither field width nor flushing asks for more, straight into the stream
/// buffer: the general way takes longer than the text.
inline std::ostream& insert(std::ostream& os, std::string_view text)
{
   if (!os.good() || os.width() != 0 || os.tie() != nullptr || (os.flags() & std::ios_base::unitbuf) != 0)
      return os << text;
   const auto length = static_cast<std::streamsize>(text.size());
   try {
      if (os.rdbuf()->sputn(text.data(), length) == length)
         return os;
   } catch (...) {
      if ((os.exceptions() & std::ios_base::badbit) != 0)
         throw;
   }
   os.setstate(std::ios_base::badbit);
   return os;
}

/// "00", "01" ... "ff".
constexpr auto hexPairs = [] {
   constexpr char digits[] = "0123456789abcdef";
   std::array<std::array<char, 2>, 256> pairs{};
   for (std::size_t i = 0; i < pairs.size(); ++i)
      pairs[i] = {digits[i / 16], digits[i % 16]};
   return pairs;
}();

} // namespace

/// "02:00:00:00:00:01", lower case.
std::ostream& Zorva::operator<<(std::ostream& os, const EthAddr& address)
{
   char text[18]; // a separator behind each byte
   for (std::size_t i = 0; i < 6; ++i) {
      const auto& digits = hexPairs[address.bytes()[i]];
      text[3 * i] = digits[0];
      text[3 * i + 1] = digits[1];
      text[3 * i + 2] = ':';
   }
   return insert(os, std::string_view(text, sizeof text - 1));
}

/// "true" or "false".
std::ostream& Zorva::operator<<(std::ostream& os, const FMT<bool>& value)
{
   return insert(os, value.value ? std::string_view("true") : std::string_view("false"));
}
