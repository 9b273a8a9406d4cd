// The variable column table of BaseRow. A column whose size differs from row to row keeps a 4-byte slot (slot.h) among
// the fixed columns and its data in the variable data area behind them. Data either stays in its own area, when the new
// data is no longer than the old, or goes behind the row's last byte. Bytes of the area that no slot covers are dead
// until a compaction. Growth takes exactly what is missing. Included by rowstore/baseRow.h, which documents the
// members.
#pragma once

#include <algorithm>

#include "rowstore/baseRow.h"

namespace Zorva {

inline VColType BaseRow::slotAt(len_t offset) const
{
   return Internal::load<VColType>(checkedBytes(offset, sizeof(VColType)));
}

inline VColType& BaseRow::slotAt(len_t offset)
{
   requireBuffer();
   return Internal::inPlace<VColType>(checkedBytesOfBuffer(offset, sizeof(VColType)));
}

inline void BaseRow::updateVCT(len_t offset, len_t dataOffset, len_t length, bool isArray)
{
   if (!Internal::mayStoreData(length, isArray))
      return;
   requireWritable();
   slotAt(offset).fieldsAre(dataOffset, length, isArray);
}

inline std::size_t BaseRow::compactedLength(len_t emptied, len_t baseRowLength) const
{
   const std::size_t rowEnd = checkedRowLength();
   std::size_t total = baseRowLength;
   for (const len_t offset : vcd()) {
      Internal::checkInside(offset, sizeof(VColType), baseRowLength); // data moves over what lies behind
      const Internal::Area area = slotAt(offset).area();
      if (offset == emptied)
         continue;
      area.check(baseRowLength, rowEnd);
      total += area.length();
   }
   return total;
}

inline len_t BaseRow::makeFreeSpace(VColType& slot, len_t length, len_t baseRowLength)
{
   if (baseRowLength == 0) [[unlikely]]
      Internal::contractViolated("baseRowLength != 0", Internal::makeFreeSpaceLocation);
   requireWritable();
   const len_t rowEnd = checkedRowLength();
   const auto distance = reinterpret_cast<std::uintptr_t>(&slot) - reinterpret_cast<std::uintptr_t>(header());
   Internal::checkInside(std::min<std::uintptr_t>(distance, maxRowLength), sizeof(VColType), rowEnd);
   const auto slotOffset = static_cast<len_t>(distance); // stays valid when the block moves, the reference does not

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
         ZoOutOfRange::throwException("desired row size " + std::to_string(rowOffset_ + size) +
                                      " is greater than maxRowLength: " + std::to_string(maxRowLength));
      rowBuf_->resize(static_cast<len_t>(rowOffset_ + size));
   }
   const len_t dataOffset = current != 0 ? giveUpArea(slotOffset, baseRowLength, compacts) : rowEnd;
   checkedBytes(dataOffset, length);
   rowLengthIs(static_cast<len_t>(dataOffset + length));
   return dataOffset;
}

inline len_t BaseRow::giveUpArea(len_t slotOffset, len_t baseRowLength, bool compacts)
{
   VColType& slot = slotAt(slotOffset);
   const VColType before = slot;
   slot.empty();
   if (!compacts)
      return rowLength();
   try {
      return compactVariableData(baseRowLength);
   } catch (...) {
      slot = before;
      throw;
   }
}

inline void BaseRow::compactRow(len_t baseRowLength)
{
   ensurePrivate();
   requireWritable();
   Internal::checkInside(0, baseRowLength, checkedRowLength());
   compactedLength(0, baseRowLength); // refuses slots that name bytes outside the row
   const len_t length = compactVariableData(baseRowLength);
   checkedBytesOfBuffer(0, length);
   rowLengthIs(length);
}

} // namespace Zorva
