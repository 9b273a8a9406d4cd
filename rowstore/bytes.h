// The only access to row memory: unaligned little-endian loads and stores, and the bounds check made before them.
// Owns nothing. Row bytes are never accessed through pointers to wider types, so no access needs alignment.
#pragma once

#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <type_traits>

#include "platform/zorva/ethAddr.h"
#include "platform/zorva/exceptions.h"

namespace Zorva {

/// Every row length, buffer length, column offset and row position, in bytes.
using len_t = std::uint16_t;

/// The longest row, everything included.
inline constexpr std::size_t maxRowLength = 65535;

/// Size of the row header, and so the offset of every row type's first column.
inline constexpr len_t zo_contentOffset = 4;

} // namespace Zorva

namespace Zorva::Internal {

/// Offsets of the header's two fields, each an unsigned 16-bit number.
inline constexpr len_t rowLengthOffset = 0;
inline constexpr len_t rowTypeOffset = 2;

static_assert(std::endian::native == std::endian::little, "row bytes are little-endian and stored in host order");

/// Throws ZoOutOfRange for an access of `width` bytes at `offset` where only `available` bytes are.
[[noreturn]] [[gnu::noinline]] inline void throwOutsideBuffer(std::size_t offset, std::size_t width,
                                                              std::size_t available)
{
   ZoOutOfRange::throwException("row bytes at offset " + std::to_string(offset) + ", width " + std::to_string(width) +
                                ", lie outside the buffer of " + std::to_string(available) + " bytes");
}

/// Throws ZoOutOfRange for a row length that does not even cover the row header.
[[noreturn]] [[gnu::noinline]] inline void throwLengthBelowHeader(std::size_t length)
{
   ZoOutOfRange::throwException("row length " + std::to_string(length) + " is shorter than the row header");
}

/// Throws ZoBadCast for a row of the type `found`, whose header lies at `position` in its buffer, where one of the type
/// `expected` was wanted.
[[noreturn]] [[gnu::noinline]] inline void throwBadCast(len_t found, len_t expected, len_t position)
{
   ZoBadCast::throwException("row type " + std::to_string(found) + " does not match row type " +
                             std::to_string(expected) + " " + std::to_string(position));
}

/// Whether `length` bytes from `start` on lie inside `available` bytes. Wide, so nothing wraps, and signed, so that one
/// difference serves every column of a row.
[[nodiscard]] constexpr bool isInside(std::size_t start, std::size_t length, std::size_t available) noexcept
{
   return static_cast<std::ptrdiff_t>(length) <= static_cast<std::ptrdiff_t>(available - start);
}

/// Throws ZoOutOfRange unless [offset, offset + width) lies inside `available` bytes.
inline void checkInside(std::size_t offset, std::size_t width, std::size_t available)
{
   if (!isInside(offset, width, available)) [[unlikely]]
      throwOutsideBuffer(offset, width, available);
}

/// The value of type T stored at `at`. A bool is any byte that is not 0, read as a byte.
template <class T>
[[nodiscard]] inline T load(const unsigned char* at) noexcept
{
   if constexpr (std::same_as<T, bool>) {
      return *at != 0;
   } else {
      T value;
      std::memcpy(&value, at, sizeof value);
      return value;
   }
}

/// Stores `value` at `at`: its bytes, a bool as 0 or 1.
template <class T>
inline void store(unsigned char* at, const T& value) noexcept
{
   if constexpr (std::same_as<T, bool>)
      *at = value ? 1 : 0;
   else
      std::memcpy(at, &value, sizeof value);
}

/// The T that lies at `at`, in place: for types made of bytes, which need no alignment.
template <class T>
[[nodiscard]] inline T& inPlace(unsigned char* at) noexcept
{
   static_assert(alignof(T) == 1 && std::is_trivially_copyable_v<T>);
   return *reinterpret_cast<T*>(at);
}

} // namespace Zorva::Internal
