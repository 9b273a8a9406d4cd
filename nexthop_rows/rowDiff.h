// The differences between two imports, row by row.
#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "nexthop_rows/importer.h"

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
   for (const Row& row : rowsAsFiled<Row>(before)) {
      const std::optional<Row> now = findRow(after, row);
      if (!now || !Row(row).genIdIs(now->genId()).entryIdIs(now->entryId()).rowEqual(*now))
         changes.push_back({row, now});
   }
   for (const Row& row : rowsAsFiled<Row>(after))
      if (!before.contains(row))
         changes.push_back({{}, row});
   return changes;
}

/// The columns that differ, in column order, genId and entryId excepted: {"portId": {"old": 10, "new": 11}}.
template <class Row>
nlohmann::ordered_json changedColumns(const Row& before, const Row& after)
{
   const auto was = nlohmann::ordered_json::parse(before.toJson());
   const auto is = nlohmann::ordered_json::parse(after.toJson());
   auto columns = nlohmann::ordered_json::object();
   for (const auto& [name, value] : was.items())
      if (value != is.at(name) && name != "genId" && name != "entryId")
         columns[name] = {{"old", value}, {"new", is.at(name)}};
   return columns;
}

/// "nexthop 7 inserted: ", "... removed: " and the row, or "... changed: " and "portId 10 -> 11, drop true -> false".
template <class Row>
std::string changeText(const std::string& kind, const Change<Row>& change)
{
   const Row& row = change.after ? *change.after : *change.before;
   const std::string name = kind + ' ' + std::to_string(row.id());
   if (!change.before)
      return name + " inserted: " + row.toString();
   if (!change.after)
      return name + " removed: " + row.toString();
   const auto changed = changedColumns(*change.before, row);
   std::string columns;
   for (const auto& [column, values] : changed.items())
      columns +=
         (columns.empty() ? "" : ", ") + column + ' ' + values.at("old").dump() + " -> " + values.at("new").dump();
   return name + " changed: " + columns;
}

/// {"event":"inserted","type":"nexthop","id":7,"row":{...}}, the same with "removed", or "replaced" with the
/// changedColumns as "changes" in place of the row.
template <class Row>
std::string changeJson(const std::string& kind, const Change<Row>& change)
{
   const Row& row = change.after ? *change.after : *change.before;
   const bool isReplaced = change.before && change.after;
   const std::string event = isReplaced ? "replaced" : change.after ? "inserted" : "removed";
   return R"({"event":")" + event + R"(","type":")" + kind + R"(","id":)" + std::to_string(row.id()) +
          (isReplaced ? R"(,"changes":)" + changedColumns(*change.before, row).dump() : R"(,"row":)" + row.toJson()) +
          '}';
}

} // namespace NexthopRows
