// Rows as people read them: a table of next hops and one of groups, their columns aligned.
//
//   nexthop  valid                           port       dmac               smac               encapsulation
//   12       yes                             11 e5.20   02:00:00:00:02:20  02:00:00:00:05:20  vlan 20
//   13       no: stacked or 802.1ad tags     10 e0.100  02:00:00:00:02:c8  02:00:00:00:01:00  not held
//
//   group  valid  members
//   103    yes    20 12×3
#pragma once

#include <ostream>

#include "nexthop_rows/rowFilter.h"

namespace NexthopRows {

/// Prints the rows that pass. Why a row is not valid, and its device, stand there unless the import has nothing but
/// rows.
void printTables(std::ostream& out, const RowFilter& filter, Imported& imported, const std::string& from,
                 bool isColoured);

} // namespace NexthopRows
