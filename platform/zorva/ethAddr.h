// Ethernet MAC addresses and the formatting wrapper, with the row database's stream operators for both.
#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string_view>

#include "platform/export.h"

namespace Zorva {

/// A MAC address: exactly six bytes in transmission order, trivially copyable, all zero by default.
class ZORVA_EXPORT EthAddr
{
public:
   constexpr EthAddr() noexcept = default;
   constexpr EthAddr(unsigned char b0, unsigned char b1, unsigned char b2, unsigned char b3, unsigned char b4,
                     unsigned char b5) noexcept
      : bytes_{b0, b1, b2, b3, b4, b5}
   {
   }

   /// The address that `text` is, "02:00:00:00:00:01" with hexadecimal digits of either case; nothing for any other
   /// text.
   static constexpr std::optional<EthAddr> parse(std::string_view text) noexcept
   {
      EthAddr address;
      if (text.size() != 3 * sizeof address.bytes_ - 1)
         return std::nullopt;
      for (std::size_t i = 0; i != sizeof address.bytes_; ++i) {
         const int high = digit(text[3 * i]);
         const int low = digit(text[3 * i + 1]);
         if (high < 0 || low < 0 || (i != 0 && text[3 * i - 1] != ':'))
            return std::nullopt;
         address.bytes_[i] = static_cast<unsigned char>(high << 4 | low);
      }
      return address;
   }

   /// The six bytes, first transmitted first.
   constexpr const unsigned char* bytes() const noexcept { return bytes_; }

   /// In the order of the bytes, which is that of the texts.
   friend constexpr bool operator==(const EthAddr&, const EthAddr&) noexcept = default;
   friend constexpr std::strong_ordering operator<=>(const EthAddr&, const EthAddr&) noexcept = default;

private:
   /// The value of a hexadecimal digit, -1 for any other character.
   static constexpr int digit(char character) noexcept
   {
      if (character >= '0' && character <= '9')
         return character - '0';
      const char lower = static_cast<char>(character | 0x20);
      return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
   }

   unsigned char bytes_[6] = {};
};
static_assert(sizeof(EthAddr) == 6 && alignof(EthAddr) == 1);

/// Wraps a value so that it is written with the row database's own formatting: `os << FMT<bool>{b}`.
template <class T>
struct FMT
{
   T value;
};

/// Writes the text of an address to `os` and returns it. Defined by the row database core.
ZORVA_EXPORT std::ostream& operator<<(std::ostream& os, const EthAddr& address);

/// Writes the text of a bool to `os` and returns it. Defined by the row database core.
ZORVA_EXPORT std::ostream& operator<<(std::ostream& os, const FMT<bool>& value);

} // namespace Zorva

/// The address as a number.
template <>
struct std::hash<Zorva::EthAddr>
{
   constexpr std::size_t operator()(const Zorva::EthAddr& address) const noexcept
   {
      std::uint64_t value = 0;
      for (std::size_t i = 0; i != sizeof address; ++i)
         value = value << 8 | address.bytes()[i];
      return value;
   }
};
