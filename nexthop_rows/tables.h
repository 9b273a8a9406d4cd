// The program's rows in the embedded tables, filed and found through the registered row operations.
#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <vector>

#include "embedded/table.h"
#include "routing_types/P4RuntimeRoutingEcmpTypes.h"

namespace NexthopRows {

using P4RuntimeRouting::EcmpMemberListRow;
using P4RuntimeRouting::NexthopInfoRow;
using Zorva::Embedded::Table;

/// A table for each type of row.
struct Tables
{
   Table nexthops{NexthopInfoRow::rowTypeName()};
   Table groups{EcmpMemberListRow::rowTypeName()};

   std::size_t size() const { return nexthops.size() + groups.size(); }
};

/// The table's row with the id of `key`, none when there is none.
template <class Row>
std::optional<Row> findRow(const Table& table, const Row& key)
{
   const Zorva::BaseRow* const row = table.find(key);
   return row != nullptr ? std::optional<Row>(*row) : std::nullopt;
}

/// The table's rows in the order of their filing.
template <class Row>
std::vector<Row> rowsInOrder(const Table& table)
{
   std::vector<Row> rows(table.begin(), table.end());
   std::ranges::sort(rows, {}, &Row::entryId);
   return rows;
}

/// Calls use(row) for every next hop, then for every group, each in the order of their filing.
template <class Use>
void forEachRow(const Tables& tables, Use use)
{
   for (const auto& row : rowsInOrder<NexthopInfoRow>(tables.nexthops))
      use(row);
   for (const auto& row : rowsInOrder<EcmpMemberListRow>(tables.groups))
      use(row);
}

} // namespace NexthopRows
