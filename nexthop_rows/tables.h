// The program's rows in the embedded tables, filed and found through the registered row operations.
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "embedded/tableOf.h"
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

/// The table's rows in the order of their filing.
template <class Row>
std::vector<Row> rowsAsFiled(const Table& table)
{
   return Zorva::Embedded::rowsInOrder<Row>(table, &Row::entryId);
}

/// Calls use(row) for every next hop, then for every group, each in the order of their filing.
template <class Use>
void forEachRow(const Tables& tables, Use use)
{
   for (const auto& row : rowsAsFiled<NexthopInfoRow>(tables.nexthops))
      use(row);
   for (const auto& row : rowsAsFiled<EcmpMemberListRow>(tables.groups))
      use(row);
}

} // namespace NexthopRows
