// columnChanges: what differs between two rows of one type, column by column, from the column table.
#pragma once

#include <vector>

#include "rowtype/rendering.h"

namespace Zorva::Internal {

/// The value of column I of a row of Table's type, as it stands in the row's JSON. Throws ZoNullRow, ZoOutOfRange.
template <const auto& Table, std::size_t I>
std::string columnJson(const BaseRow& row)
{
   constexpr std::string_view quote = Table.columns[I].type == Type::ethAddr ? "\"" : "";
   const unsigned char* const fixed = row.checkedBytes(0, Table.fixedLength);
   PlainStream stream;
   stream.os() << quote;
   if constexpr (isNumber<Table>(I))
      stream.os() << numberIn<Table, I>(fixed);
   else
      insertValue<Table, Form::json, I>(stream.os(), row, fixed);
   stream.os() << quote;
   return stream.buffer().str();
}

} // namespace Zorva::Internal

namespace Zorva {

/// A column whose values differ in two rows; the values as they stand in the rows' JSON.
struct ColumnChange
{
   std::string_view name; ///< the column table's own
   std::string before;
   std::string after;
};

/// The columns of Table whose values are others in `after` than in `before`, in column order. Both rows are of Table's
/// type, which is not tested. Throws ZoNullRow, ZoOutOfRange.
template <const auto& Table>
std::vector<ColumnChange> columnChanges(const BaseRow& before, const BaseRow& after)
{
   std::vector<ColumnChange> changes;
   const auto compare = [&](auto i) {
      ColumnChange change{Table.columns[i].name, Internal::columnJson<Table, i>(before),
                          Internal::columnJson<Table, i>(after)};
      if (change.before != change.after)
         changes.push_back(std::move(change));
   };
   Internal::withColumns<Table>([&](auto... i) { (compare(i), ...); });
   return changes;
}

} // namespace Zorva
