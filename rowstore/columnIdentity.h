// One column of two rows compared or ordered, one column hashed. The value operations are free functions, so that
// whole-row folds can use them after a single bounds check. Included by rowstore/baseRow.h, which documents the
// members.
#pragma once

#include "platform/halvo/util.h"
#include "rowstore/baseRow.h"

namespace Zorva::Internal {

/// How a stored value of type T compares: numbers as themselves, a bool as its byte, an address as the number whose
/// most significant byte is its first.
template <FixedColumnType T>
[[nodiscard]] inline auto comparable(const unsigned char* at) noexcept
{
   if constexpr (std::same_as<T, bool>) {
      return *at;
   } else if constexpr (std::same_as<T, EthAddr>) {
      const std::uint64_t first4 = __builtin_bswap32(load<std::uint32_t>(at));
      const std::uint64_t last2 = __builtin_bswap16(load<std::uint16_t>(at + 4));
      return first4 << 16 | last2;
   } else {
      return load<T>(at);
   }
}

/// What a stored value of type T feeds into a row hash.
template <FixedColumnType T>
[[nodiscard]] inline std::uint64_t hashValue(const unsigned char* at)
{
   if constexpr (std::same_as<T, EthAddr>)
      return Halvo::Util::hash(at, sizeof(EthAddr));
   else if constexpr (std::signed_integral<T>)
      return static_cast<std::uint64_t>(std::int64_t{load<T>(at)});
   else
      return comparable<T>(at);
}

} // namespace Zorva::Internal

namespace Zorva {

template <FixedColumnType T>
inline bool BaseRow::columnEqual(len_t offset, const BaseRow& other, len_t otherOffset) const
{
   other.requireBuffer();
   return Internal::comparable<T>(checkedBytes(offset, sizeof(T))) ==
          Internal::comparable<T>(other.checkedBytesOfBuffer(otherOffset, sizeof(T)));
}

template <FixedColumnType T>
inline bool BaseRow::columnLess(len_t offset, const BaseRow& other, len_t otherOffset) const
{
   other.requireBuffer();
   return Internal::comparable<T>(checkedBytes(offset, sizeof(T))) <
          Internal::comparable<T>(other.checkedBytesOfBuffer(otherOffset, sizeof(T)));
}

template <FixedColumnType T>
inline std::uint64_t BaseRow::columnHash(len_t offset) const
{
   return Internal::hashValue<T>(checkedBytes(offset, sizeof(T)));
}

} // namespace Zorva
