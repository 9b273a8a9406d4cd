// The differences between two imports, row by row.
#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "examples/importer.h"

namespace NexthopRows {

/// A row that is only after, only before, or on both sides with other contents.
template <class Row>
struct Change
{
   std::optional<Row> before;
   std::optional<Row> after;
};

/// The changes from one table to the other: removed and changed rows, then inserted ones, each in the order of their
/// filing. The columns genId and entryId do not count: they say when and at which place a row was filed, which
/// another import or a row less in front of it is enough to change.
template <class Row>
std::vector<Change<Row>> changesBetween(const Table& before, const Table& after)
{
   std::vector<Change<Row>> changes;
   for (const Row& row : rowsInOrder<Row>(before)) {
      const std::optional<Row> now = findRow<Row>(after, row.id());
      if (!now || !Row(row).genIdIs(now->genId()).entryIdIs(now->entryId()).rowEqual(*now))
         changes.push_back({row, now});
   }
   for (const Row& row : rowsInOrder<Row>(after))
      if (!before.contains(row))
         changes.push_back({{}, row});
   return changes;
}

/// "valid true -> false, portId 10 -> 11": the columns that differ, in column order, genId and entryId excepted.
template <class Row>
std::string changedColumns(const Row& before, const Row& after)
{
   const auto was = nlohmann::ordered_json::parse(before.toJson());
   const auto is = nlohmann::ordered_json::parse(after.toJson());
   std::string text;
   for (const auto& [name, value] : was.items())
      if (value != is.at(name) && name != "genId" && name != "entryId")
         text += (text.empty() ? "" : ", ") + name + ' ' + value.dump() + " -> " + is.at(name).dump();
   return text;
}

} // namespace NexthopRows
