// The slot of a variable column, as it lies in a row's fixed part, and the limits of what a slot can name:
//
//   slot byte     0        1        2             3
//            | dataOffset      | dataLength      7|isArray|       little-endian, dataLength has 15 bits
//
// Owns nothing: a VColType lies in a row's bytes.
#pragma once

#include <algorithm>
#include <cstdint>

#include "rowstore/bytes.h"
#include "rowstore/publishedAssertions.h"

namespace Zorva {

/// The longest data of one variable column, in bytes.
inline constexpr std::size_t maxVariableLength = 32767;

/// The most elements that an array's 12-bit count can say.
inline constexpr std::size_t maxArrayElements = 4095;

} // namespace Zorva

namespace Zorva::Internal {

/// Size of the header in front of an array's elements, in bytes.
inline constexpr len_t arrayHeaderLength = 2;

/// What keeps the data that a slot names from being variable data of its row.
enum class AreaFault : std::uint8_t { none, beforeData, beyondRow };

/// The bytes that a slot names, in bytes from the row's header; `end` is behind the last one.
struct Area
{
   std::size_t begin;
   std::size_t end;

   constexpr bool isEmpty() const noexcept { return begin == end; }
   constexpr std::size_t length() const noexcept { return end - begin; }

   /// The fault in a row whose fixed part is as long as `fixedLength`, and which ends at `rowEnd`.
   constexpr AreaFault faultIn(std::size_t fixedLength, std::size_t rowEnd) const noexcept
   {
      return begin < fixedLength ? AreaFault::beforeData : end > rowEnd ? AreaFault::beyondRow : AreaFault::none;
   }

   /// Throws ZoOutOfRange unless this is empty or without such a fault.
   void check(std::size_t fixedLength, std::size_t rowEnd) const
   {
      if (!isEmpty() && faultIn(fixedLength, rowEnd) != AreaFault::none) [[unlikely]]
         throwOutsideBuffer(begin, length(), rowEnd);
   }

   /// Whether a byte lies in both.
   constexpr bool overlaps(const Area& other) const noexcept
   {
      return std::max(begin, other.begin) < std::min(end, other.end);
   }
};

/// The length in bytes of the data of an array of `count` elements of `elementSize` bytes: 0 for none.
[[nodiscard]] constexpr std::size_t arrayDataLength(std::size_t count, std::size_t elementSize) noexcept
{
   return count == 0 ? 0 : arrayHeaderLength + count * elementSize;
}

// The failing branches are functions of their own: the inlined checks stay small and need no stack protector.

[[gnu::noinline]] inline void raiseDataTooLong(bool isArray)
{
   Internal::raiseDebugAssertion(std::string(isArray ? "array " : "") + "field length greater than " +
                                    std::to_string(maxVariableLength) + " bytes",
                                 Internal::updateVCTLocation);
}

[[noreturn]] [[gnu::noinline]] inline void throwArrayTooLong(std::size_t count)
{
   ZoOutOfRange::throwException("array of " + std::to_string(count) + " elements is longer than " +
                                std::to_string(maxArrayElements));
}

/// Refuses data that no slot can name: raises the debug assertion and, where the handler returns, gives false.
inline bool mayStoreData(std::size_t length, bool isArray)
{
   if (length <= maxVariableLength) [[likely]]
      return true;
   raiseDataTooLong(isArray);
   return false;
}

/// Refuses an array that cannot be stored: as mayStoreData for more than 32767 bytes, then with ZoOutOfRange for more
/// than 4095 elements.
inline bool mayStoreArray(std::size_t count, std::size_t elementSize)
{
   if (!mayStoreData(arrayDataLength(count, elementSize), true))
      return false;
   if (count > maxArrayElements) [[unlikely]]
      throwArrayTooLong(count);
   return true;
}

} // namespace Zorva::Internal

namespace Zorva {

/// One slot: four bytes without alignment. Its members alone shift and mask.
class ZORVA_EXPORT VColType
{
public:
   /// An empty slot.
   VColType() noexcept = default;
   VColType(len_t dataOffset, len_t dataLength, bool isArray) noexcept { fieldsAre(dataOffset, dataLength, isArray); }

   /// Offset of the data from the row's header; without meaning while the slot is empty.
   len_t dataOffset() const noexcept { return Internal::load<len_t>(bytes_); }

   /// Length of the data in bytes, 0 for an empty slot.
   len_t dataLength() const noexcept { return Internal::load<len_t>(bytes_ + 2) & lengthMask; }

   bool isArray() const noexcept { return (Internal::load<len_t>(bytes_ + 2) & arrayBit) != 0; }
   bool isEmpty() const noexcept { return dataLength() == 0; }
   Internal::Area area() const noexcept { return {dataOffset(), std::size_t{dataOffset()} + dataLength()}; }

   void dataOffsetIs(len_t offset) noexcept { Internal::store<len_t>(bytes_, offset); }

   /// Writes all three fields; `length` is at most maxVariableLength.
   void fieldsAre(len_t offset, len_t length, bool isArray) noexcept
   {
      dataOffsetIs(offset);
      Internal::store<len_t>(bytes_ + 2, static_cast<len_t>((length & lengthMask) | (isArray ? arrayBit : 0)));
   }

   /// Offset and length become 0, the array bit stays.
   void empty() noexcept { fieldsAre(0, 0, isArray()); }

private:
   static constexpr len_t lengthMask = 0x7fff;
   static constexpr len_t arrayBit = 0x8000;

   unsigned char bytes_[4] = {};
};
static_assert(sizeof(VColType) == 4 && alignof(VColType) == 1);

} // namespace Zorva
