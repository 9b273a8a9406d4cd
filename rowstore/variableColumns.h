// The variable column table of BaseRow. A column whose size differs from row to row keeps a 4-byte slot among the
// fixed columns and its data in the variable data area behind them:
//
//   slot byte     0        1        2             3
//            | dataOffset      | dataLength      7|isArray|       all little-endian, dataLength has 15 bits
//
// Data either stays in its own area, when the new data is no longer than the old, or goes behind the row's last byte.
// Bytes of the area that no slot covers are dead until a compaction. Growth takes exactly what is missing.
// Included by rowstore/baseRow.h, which documents the members.
#pragma once

#include "rowstore/baseRow.h"

namespace Zorva {

/// The longest data of one variable column, in bytes.
inline constexpr std::size_t maxVariableLength = 32767;

/// Where the failures of this file are raised.
inline constexpr int updateVCTAssertionLine = 427;
inline constexpr unsigned makeFreeSpaceAssertionLine = 848;
inline constexpr const char* makeFreeSpaceSignature =
   "Zorva::len_t Zorva::BaseRow::makeFreeSpace(Zorva::VColType&, Zorva::len_t, Zorva::len_t)";

/// One slot, as it lies in a row: four bytes without alignment. Its members alone shift and mask.
class ZORVA_EXPORT VColType
{
public:
   /// Offset of the data from the row's header; without meaning while the slot is empty.
   len_t dataOffset() const noexcept { return load<len_t>(bytes_); }

   /// Length of the data in bytes, 0 for an empty slot.
   len_t dataLength() const noexcept { return load<len_t>(bytes_ + 2) & lengthMask; }

   bool isArray() const noexcept { return (load<len_t>(bytes_ + 2) & arrayBit) != 0; }
   bool isEmpty() const noexcept { return dataLength() == 0; }

   void dataOffsetIs(len_t offset) noexcept { store<len_t>(bytes_, offset); }

   /// Writes all three fields; `length` is at most maxVariableLength.
   void fieldsAre(len_t offset, len_t length, bool isArray) noexcept
   {
      dataOffsetIs(offset);
      store<len_t>(bytes_ + 2, static_cast<len_t>((length & lengthMask) | (isArray ? arrayBit : 0)));
   }

   /// Offset and length become 0, the array bit stays.
   void empty() noexcept { fieldsAre(0, 0, isArray()); }

private:
   static constexpr len_t lengthMask = 0x7fff;
   static constexpr len_t arrayBit = 0x8000;

   unsigned char bytes_[4];
};
static_assert(sizeof(VColType) == 4 && alignof(VColType) == 1);

inline const VColType& BaseRow::slotAt(len_t offset) const
{
   return *reinterpret_cast<const VColType*>(checkedBytes(offset, sizeof(VColType)));
}

inline VColType& BaseRow::slotAt(len_t offset)
{
   requireBuffer();
   return *reinterpret_cast<VColType*>(checkedBytesOfBuffer(offset, sizeof(VColType)));
}

/// Whether a variable column may hold `length` bytes. If not, raises the debug assertion and, where the handler
/// returns, says no.
inline bool variableLengthFits(std::size_t length, bool isArray)
{
   if (length <= maxVariableLength) [[likely]]
      return true;
   Halvo::Platform::DebugStream stream;
   stream << (isArray ? "array " : "") << "field length greater than " << std::to_string(maxVariableLength)
          << " bytes";
   Halvo::debugAndThrowAssertException(HALVO_DEFAULT_HANDLE, 0, stream, assertionFile, "updateVCT",
                                       updateVCTAssertionLine);
   return false;
}

inline void BaseRow::updateVCT(len_t offset, len_t dataOffset, len_t length, bool isArray)
{
   if (!variableLengthFits(length, isArray))
      return;
   requireWritable();
   slotAt(offset).fieldsAre(dataOffset, length, isArray);
}

inline std::size_t BaseRow::compactedLength(len_t emptied, len_t baseRowLength) const
{
   const std::size_t rowEnd = checkedRowLength();
   std::size_t total = baseRowLength;
   for (const len_t offset : vcd()) {
      const VColType& slot = slotAt(offset);
      if (offset == emptied || slot.isEmpty())
         continue;
      checkInside(slot.dataOffset(), slot.dataLength(), rowEnd);
      total += slot.dataLength();
   }
   return total;
}

inline len_t BaseRow::makeFreeSpace(VColType& slot, len_t length, len_t baseRowLength)
{
   if (baseRowLength == 0) [[unlikely]]
      contractViolated("baseRowLength != 0", makeFreeSpaceAssertionLine, makeFreeSpaceSignature);
   requireWritable();
   const len_t rowEnd = checkedRowLength();
   const auto distance = reinterpret_cast<std::uintptr_t>(&slot) - reinterpret_cast<std::uintptr_t>(header());
   checkInside(std::min<std::uintptr_t>(distance, maxRowLength), sizeof(VColType), rowEnd);
   const auto slotOffset = static_cast<len_t>(distance); // survives a move of the block, the reference does not

   const len_t current = slot.dataLength();
   if (current >= length && current != 0) {
      checkedBytes(slot.dataOffset(), length);
      return slot.dataOffset();
   }

   // What can fail comes first: the resulting row length, the limit, the resize.
   const bool compacts = current != 0 && isFullyDefined();
   const std::size_t size = (compacts ? compactedLength(slotOffset, baseRowLength) : rowEnd) + length;
   if (rowOffset_ + size > rowBuf_->length()) {
      if (rowOffset_ + size > maxRowLength) [[unlikely]]
         ZoOutOfRange::throwException("desired row size " + std::to_string(size) +
                                      " is greater than maxRowLength: " + std::to_string(maxRowLength));
      rowBuf_->resize(static_cast<len_t>(rowOffset_ + size));
   }
   const len_t place = current != 0 ? giveUpArea(slotOffset, compacts ? baseRowLength : len_t{0}) : rowEnd;
   checkedBytes(place, length);
   rowLengthIs(static_cast<len_t>(place + length));
   return place;
}

inline len_t BaseRow::giveUpArea(len_t slotOffset, len_t compactFrom)
{
   VColType& slot = slotAt(slotOffset);
   const VColType before = slot;
   slot.empty();
   if (compactFrom == 0)
      return rowLength();
   try {
      return compactVariableData(compactFrom);
   } catch (...) {
      slot = before;
      throw;
   }
}

} // namespace Zorva
