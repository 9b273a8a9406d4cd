// Nested-row columns of BaseRow: a column whose slot names a whole row inside this row's variable data area. Reading
// one gives a view that shares this row's buffer; comparing and hashing go to the nested row's own type. Nothing here
// stores a nested row. Included by rowstore/baseRow.h, which documents the members.
#pragma once

#include "rowstore/baseRow.h"
#include "rowstore/nestingDepth.h"

namespace Zorva::Internal {

/// A null row of type R.
template <class R>
R nullRow()
{
   const BaseRow null;
   return R(null);
}

/// The rows nested in one column of two rows, the left one as a row of type R. Both objects are made before either
/// column is read.
template <class R>
struct NestedPair
{
   NestedPair(const BaseRow& row, len_t offset, const BaseRow& other, len_t otherOffset)
   {
      row.getColumnStruct<R>(offset, mine);
      other.getColumnStruct<BaseRow>(otherOffset, others);
   }

   R mine = nullRow<R>();
   BaseRow others;
};

} // namespace Zorva::Internal

namespace Zorva {

template <std::derived_from<BaseRow> R>
void BaseRow::getColumnStruct(len_t offset, R& out) const
{
   const VColType slot = isNull() ? VColType() : slotAt(offset);
   if (slot.isEmpty()) {
      out = BaseRow();
      return;
   }
   const len_t position = slot.dataOffset();
   checkedBytesOfBuffer(position, zo_contentOffset); // the nested row's header
   SubRow view(*this, position);
   out = BaseRow(std::move(view));
}

/// A view of the row nested in a column, as a row of type R; null when there is none. Throws ZoBadCast for a row of
/// another type.
template <class R>
R nestedRow(const BaseRow& row, len_t offset)
{
   R nested = Internal::nullRow<R>();
   row.getColumnStruct<R>(offset, nested);
   return nested;
}

template <std::derived_from<BaseRow> R>
std::uint64_t BaseRow::columnHash(len_t offset) const
{
   const R nested = nestedRow<R>(*this, offset);
   const Internal::NestingLevel level(!nested.isNull());
   return nested.R::rowHash();
}

template <std::derived_from<BaseRow> R>
bool BaseRow::columnEqual(len_t offset, const BaseRow& other, len_t otherOffset) const
{
   const Internal::NestedPair<R> nested(*this, offset, other, otherOffset);
   if (nested.mine.isNull() || nested.others.isNull())
      return false;
   const Internal::NestingLevel level;
   return nested.mine.R::rowEqual(nested.others);
}

template <std::derived_from<BaseRow> R>
bool BaseRow::columnLess(len_t offset, const BaseRow& other, len_t otherOffset) const
{
   const Internal::NestedPair<R> nested(*this, offset, other, otherOffset);
   if (nested.mine.isNull() || nested.others.isNull())
      return nested.mine.isNull() && !nested.others.isNull();
   const Internal::NestingLevel level;
   return nested.mine.R::rowLess(nested.others);
}

} // namespace Zorva
