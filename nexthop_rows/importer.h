// Turns a kernel's dump into rows and files them in the embedded tables, through the registered row operations.
#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <vector>

#include "embedded/table.h"
#include "nexthop_rows/kernelDump.h"
#include "nexthop_rows/notes.h"
#include "routing_types/P4RuntimeRoutingEcmpTypes.h"

namespace NexthopRows {

using P4RuntimeRouting::EcmpMemberListRow;
using P4RuntimeRouting::NexthopInfoRow;
using Zorva::Embedded::Table;

/// One import: a table for each type of row.
struct Tables
{
   Table nexthops{NexthopInfoRow::rowTypeName()};
   Table groups{EcmpMemberListRow::rowTypeName()};

   std::size_t size() const { return nexthops.size() + groups.size(); }
};

/// The program's own code of what a next hop puts around a packet, in the column encapType.
enum class EncapType : std::int32_t { notHeld = -1, none = 0, vlan = 1, mpls = 2, ip = 3, ip6 = 4 };

/// Files the dump's next hops, then its groups, as rows of import number `genId`. Notes say which objects were refused
/// and which rows are not valid.
Tables fileRows(const KernelDump& dump, std::uint64_t genId, Notes& notes);

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
   std::ranges::sort(rows, {}, [](const Row& row) { return std::pair(row.genId(), row.entryId()); });
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
