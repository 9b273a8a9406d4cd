// The library in one screen: create a row, read and write it, copy and diverge, look up in a table, print.
#include <iostream>

#include "embedded/tableOf.h"
#include "routing_types/P4RuntimeRoutingEcmpTypes.h"

using P4RuntimeRouting::EcmpMemberListRow;
using P4RuntimeRouting::NexthopInfoRow;

int main()
{
   // Create: every column is zero. Writers return the row, so they chain.
   NexthopInfoRow row;
   row.idIs(7).portIdIs(3).dmacIs({0x02, 0, 0, 0, 0, 0x01}).validIs(true);

   // Read.
   std::cout << "next hop " << row.id() << " leaves through port " << row.portId() << '\n';

   // Copy: both share one buffer until one of them is written; then they go their own ways.
   NexthopInfoRow copy = row;
   copy.portIdIs(4);
   std::cout << "the copy has port " << copy.portId() << ", the row still " << row.portId() << '\n';
   std::cout << "same key: " << (copy == row) << ", same content: " << copy.rowEqual(row) << '\n';

   // Array columns take any contiguous range and are read in place.
   const EcmpMemberListRow group(1, 0, true, 1, 100, {7, 7, 8}, {3, 3, 4});
   for (const std::uint32_t member : group.member())
      std::cout << "group " << group.id() << " has member " << member << '\n';

   // Insert rows into a table and look them up by key; a second row with the same key is refused.
   Zorva::Embedded::TableOf<NexthopInfoRow> table;
   table.insert(row);
   std::cout << "the copy is filed too: " << table.insert(copy) << '\n';
   if (const auto found = table.find(NexthopInfoRow::key(7)))
      std::cout << "found " << *found << '\n'; // print as text

   std::cout << group.toJson() << '\n'; // or as JSON
}
