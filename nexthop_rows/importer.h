// Turns a kernel's dump into rows and files them in the embedded tables, through the registered row operations.
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "embedded/tableOf.h"
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

/// The table's rows in the order of their filing.
template <class Row>
std::vector<Row> rowsAsFiled(const Table& table)
{
   return Zorva::Embedded::rowsInOrder<Row>(table,
                                            [](const Row& row) { return std::pair(row.genId(), row.entryId()); });
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
