// Names a row type as the type of a nested-row column: {"peer", Type::row, {}, &nestedType<PeerRow>}.
#pragma once

#include "rowtype/columnTable.h"

namespace Zorva {

/// The row type R as a column table knows it.
template <class R>
inline constexpr NestedType nestedType{
   .columns = R::columns_.columns,
   .fixedLength = R::columns_.fixedLength,
   .rowType = &R::protRowType,
   .hash = [](const BaseRow& row, len_t offset) { return row.columnHash<R>(offset); },
   .equal = [](const BaseRow& row, len_t offset, const BaseRow& other,
               len_t otherOffset) { return row.columnEqual<R>(offset, other, otherOffset); },
   .less = [](const BaseRow& row, len_t offset, const BaseRow& other,
              len_t otherOffset) { return row.columnLess<R>(offset, other, otherOffset); },
   .toString = [](const BaseRow& row, len_t offset) { return nestedRow<R>(row, offset).toString(); },
   .toJson =
      [](const BaseRow& row, len_t offset) {
         const R nested = nestedRow<R>(row, offset);
         return nested.isNull() ? std::string("null") : nested.toJson();
      },
};

} // namespace Zorva
