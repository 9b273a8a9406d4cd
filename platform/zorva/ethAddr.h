// Ethernet MAC addresses and the formatting wrapper, with the row database's stream operators for both.
#pragma once

#include <iosfwd>

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

   /// The six bytes, first transmitted first.
   constexpr const unsigned char* bytes() const noexcept { return bytes_; }

   friend constexpr bool operator==(const EthAddr&, const EthAddr&) noexcept = default;

private:
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
