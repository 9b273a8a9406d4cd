// A row's change, from one import to another or while a kernel is followed, and how it is printed.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "nexthop_rows/tables.h"
#include "rowtype/columnChanges.h"

namespace NexthopRows {

/// A row that is only after, only before, or on both sides with other contents.
template <class Row>
struct Change
{
   std::optional<Row> before;
   std::optional<Row> after;

   const Row& row() const { return after ? *after : *before; }
};

/// The word for rows of the type, in messages and output.
template <class Row>
constexpr const char* kindOf = std::is_same_v<Row, NexthopInfoRow> ? "nexthop" : "group";

/// Whether the rows differ. The columns genId and entryId do not count: they say when and at which place a row was
/// filed, which another import or a row less in front of it is enough to change.
template <class Row>
bool differ(const Row& before, const Row& after)
{
   return !Row(before).genIdIs(after.genId()).entryIdIs(after.entryId()).rowEqual(after);
}

/// The changes from one table to the other: removed and changed rows, then inserted ones, each in the order of their
/// filing.
template <class Row>
std::vector<Change<Row>> changesBetween(const Table& before, const Table& after)
{
   std::vector<Change<Row>> changes;
   for (const Row& row : rowsAsFiled<Row>(before)) {
      const std::optional<Row> now = findRow(after, row);
      if (!now || differ(row, *now))
         changes.push_back({row, now});
   }
   for (const Row& row : rowsAsFiled<Row>(after))
      if (!before.contains(row))
         changes.push_back({{}, row});
   return changes;
}

/// The columns that differ, in column order, genId and entryId excepted.
template <class Row>
std::vector<Zorva::ColumnChange> changedColumns(const Change<Row>& change)
{
   auto columns = Zorva::columnChanges<Row::columns_>(*change.before, *change.after);
   std::erase_if(columns, [](const auto& column) { return column.name == "genId" || column.name == "entryId"; });
   return columns;
}

/// What differs between two arrays of a column, their common beginning and end left out: "member[3] 12 -> 13",
/// "member[3..4] [12,12] -> [13,14]"; with the lengths where those differ, too:
/// "member[6..7] [9,9] -> [] (length 15 -> 13)", "member[6] [] -> [9] (length 13 -> 14)". In arrays of one length, each
/// place that differs is shown, and neighbouring ones together.
std::string arrayChangeText(std::string_view name, const std::vector<std::uint32_t>& before,
                            const std::vector<std::uint32_t>& after);

/// "portId 10 -> 11", and the same of arrays as arrayChangeText() has it.
template <class Row>
std::string columnChangeText(const Change<Row>& change, const Zorva::ColumnChange& column)
{
   if constexpr (std::is_same_v<Row, EcmpMemberListRow>) {
      if (column.name == "member")
         return arrayChangeText(column.name, change.before->member(), change.after->member());
      if (column.name == "watch")
         return arrayChangeText(column.name, change.before->watch(), change.after->watch());
   }
   return std::string(column.name) + ' ' + column.before + " -> " + column.after;
}

/// "nexthop 7 inserted: ", "... removed: " and the row, or "... changed: " and "portId 10 -> 11, drop true -> false".
template <class Row>
std::string changeText(const Change<Row>& change)
{
   const std::string name = std::string(kindOf<Row>) + ' ' + std::to_string(change.row().id());
   if (!change.before)
      return name + " inserted: " + change.row().toString();
   if (!change.after)
      return name + " removed: " + change.row().toString();
   std::string columns;
   for (const Zorva::ColumnChange& column : changedColumns(change))
      columns.append(columns.empty() ? "" : ", ") += columnChangeText(change, column);
   return name + " changed: " + columns;
}

/// {"event":"inserted","time":"...","type":"nexthop","id":7,"row":{...}}, the same with "removed", or "replaced" with
/// "changes":{"portId":{"old":10,"new":11}} in place of the row. Without "time" when that is empty.
template <class Row>
std::string changeJson(const Change<Row>& change, const std::string& time = "")
{
   const char* const event = !change.before ? "inserted" : !change.after ? "removed" : "replaced";
   std::string json = std::string(R"({"event":")") + event + (time.empty() ? "" : R"(","time":")" + time) +
                      R"(","type":")" + kindOf<Row> + R"(","id":)" + std::to_string(change.row().id());
   if (!change.before || !change.after)
      return json + R"(,"row":)" + change.row().toJson() + '}';
   const char* separator = R"(,"changes":{")";
   for (const Zorva::ColumnChange& column : changedColumns(change)) {
      json.append(separator).append(column.name);
      json += R"(":{"old":)" + column.before + R"(,"new":)" + column.after + '}';
      separator = R"(,")";
   }
   return json + "}}";
}

} // namespace NexthopRows
