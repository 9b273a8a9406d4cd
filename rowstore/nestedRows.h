// Nested-row columns of BaseRow: a column whose slot names a whole row inside this row's variable data area. Reading
// one gives a view that shares this row's buffer; comparing and hashing go to the nested row's own type. Nothing here
// stores a nested row. Included by rowstore/baseRow.h, which documents the members.
#pragma once

#include "rowstore/baseRow.h"

namespace Zorva {

template <std::derived_from<BaseRow> R>
void BaseRow::getColumnStruct(len_t offset, R& out) const
{
   const VColType* const slot = isNull() ? nullptr : &slotAt(offset);
   if (slot == nullptr || slot->isEmpty()) {
      out = BaseRow();
      return;
   }
   const len_t position = slot->dataOffset();
   checkedBytesOfBuffer(position, zo_contentOffset); // the nested row's header
   SubRow view(*this, position);
   out = BaseRow(std::move(view));
}

/// A view of the row nested in a column, as a row of type R; null when there is none. Throws ZoBadCast for a row of
/// another type.
template <class R>
R nestedRow(const BaseRow& row, len_t offset)
{
   const BaseRow null;
   R nested(null);
   row.getColumnStruct<R>(offset, nested);
   return nested;
}

template <std::derived_from<BaseRow> R>
std::uint64_t BaseRow::columnHash(len_t offset) const
{
   return nestedRow<R>(*this, offset).R::rowHash();
}

template <std::derived_from<BaseRow> R>
bool BaseRow::columnEqual(len_t offset, const BaseRow& other, len_t otherOffset) const
{
   const R mine = nestedRow<R>(*this, offset);
   BaseRow others;
   other.getColumnStruct<BaseRow>(otherOffset, others);
   return !mine.isNull() && !others.isNull() && mine.R::rowEqual(others);
}

template <std::derived_from<BaseRow> R>
bool BaseRow::columnLess(len_t offset, const BaseRow& other, len_t otherOffset) const
{
   const R mine = nestedRow<R>(*this, offset);
   BaseRow others;
   other.getColumnStruct<BaseRow>(otherOffset, others);
   if (mine.isNull() || others.isNull())
      return mine.isNull() && !others.isNull();
   return mine.R::rowLess(others);
}

} // namespace Zorva
