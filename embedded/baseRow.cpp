// What the row database core defines of BaseRow. Its class information (vtable, typeinfo) comes with toString().
#include "rowstore/baseRow.h"

namespace Zorva {

constinit thread_local BaseRowCounters BaseRow::baseRowCounters;

/// "len: 52, type: 7", as much as a generic row knows of itself.
std::string BaseRow::toString() const
{
   if (isNull())
      return std::string(Internal::nullRowText);
   return "len: " + std::to_string(rowLength()) + ", type: " + std::to_string(rowType());
}

template <>
void BaseRow::setToNull<EthAddr>(EthAddr& value)
{
   value = EthAddr();
}

// Areas move towards the front in the order of their old offsets, so none is overwritten before it has moved. Nothing
// is allocated: the next area is the one with the smallest offset not below the first byte not yet filled, since an
// area that has moved ends there.
len_t BaseRow::compactVariableData(len_t baseRowLength)
{
   const vcdType& slots = vcd();
   const std::size_t rowEnd = checkedRowLength();
   for (auto one = slots.begin(); one != slots.end(); ++one) {
      Internal::checkInside(*one, sizeof(VColType), baseRowLength); // the areas are moved over what lies behind
      const Internal::Area area = slotAt(*one).area();
      area.check(baseRowLength, rowEnd);
      for (auto other = slots.begin(); other != one; ++other)
         if (area.overlaps(slotAt(*other).area()))
            ZoOutOfRange::throwException("the data of the slots at offsets " + std::to_string(*other) + " and " +
                                         std::to_string(*one) + " overlap");
   }

   len_t filled = baseRowLength;
   for (;;) {
      VColType* next = nullptr;
      for (const len_t offset : slots) {
         VColType& slot = slotAt(offset);
         if (!slot.isEmpty() && slot.dataOffset() >= filled &&
             (next == nullptr || slot.dataOffset() < next->dataOffset()))
            next = &slot;
      }
      if (next == nullptr)
         return filled;
      std::memmove(header() + filled, header() + next->dataOffset(), next->dataLength());
      next->dataOffsetIs(filled);
      filled = static_cast<len_t>(filled + next->dataLength());
   }
}

} // namespace Zorva
