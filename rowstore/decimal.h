// Integers as plain decimal text: what std::to_chars writes, in about half its instructions, since most of the time of
// a row's text goes into its numbers.
#pragma once

#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "platform/requirements.h"

namespace Zorva::Internal {

/// The most characters that an integer takes, sign included.
inline constexpr std::size_t longestDecimal = 20;

/// "00", "01" ... "99", one behind the other.
inline constexpr auto decimalPairs = [] {
   std::array<char, 200> pairs{};
   for (std::size_t i = 0; i < 100; ++i) {
      pairs[2 * i] = static_cast<char>('0' + i / 10);
      pairs[2 * i + 1] = static_cast<char>('0' + i % 10);
   }
   return pairs;
}();

/// How many decimal digits `value` has. By branches, which are well predicted for similar numbers, so that the address
/// of the next number does not depend on a calculation.
[[nodiscard]] constexpr std::size_t decimalDigits(std::uint64_t value) noexcept
{
   for (std::size_t digits = 1;; digits += 4, value /= 10000) {
      if (value < 10)
         return digits;
      if (value < 100)
         return digits + 1;
      if (value < 1000)
         return digits + 2;
      if (value < 10000)
         return digits + 3;
   }
}

/// Writes `value` at `at`, where its characters fit (at most longestDecimal), and returns the end of the text.
template <std::unsigned_integral T>
char* putDecimal(char* at, T value) noexcept
{
   char* const end = at + decimalDigits(value);
   char* rest = end;
   for (; value >= 100; value = static_cast<T>(value / 100)) {
      rest -= 2;
      std::memcpy(rest, &decimalPairs[2 * (value % 100)], 2);
   }
   if (value >= 10)
      std::memcpy(at, &decimalPairs[2 * std::size_t{value}], 2);
   else
      *at = static_cast<char>('0' + value);
   return end;
}

template <std::signed_integral T>
char* putDecimal(char* at, T value) noexcept
{
   const auto magnitude = static_cast<std::uint64_t>(value);
   if (value >= 0)
      return putDecimal(at, magnitude);
   *at = '-';
   return putDecimal(at + 1, std::uint64_t{0} - magnitude);
}

} // namespace Zorva::Internal
