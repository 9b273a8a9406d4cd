// Rows in the standard library: sets by key and by content, sorting, and algorithms over a group's members.
#include <algorithm>
#include <iostream>
#include <unordered_set>
#include <vector>

#include "routing_types/P4RuntimeRoutingEcmpTypes.h"

using P4RuntimeRouting::EcmpMemberListRow;
using P4RuntimeRouting::NexthopInfoRow;

int main()
{
   std::vector<NexthopInfoRow> rows;
   for (const std::uint32_t id : {3u, 1u, 2u, 3u}) {
      rows.push_back(NexthopInfoRow::key(id));
      rows.back().portIdIs(static_cast<std::uint32_t>(rows.size()));
   }

   // By key two of them are the same; by content all differ.
   const std::unordered_set<NexthopInfoRow> byKey(rows.begin(), rows.end());
   const std::unordered_set<NexthopInfoRow, Zorva::ContentHash, Zorva::ContentEqual> byContent(rows.begin(),
                                                                                               rows.end());
   std::cout << byKey.size() << " keys, " << byContent.size() << " contents\n";

   std::ranges::stable_sort(rows); // by key
   for (const NexthopInfoRow& row : rows)
      std::cout << "next hop " << row.id() << " on port " << row.portId() << '\n';

   // An array is a random-access range that yields values, read where they lie.
   const EcmpMemberListRow group(1, 0, true, 1, 100, {7, 9, 7, 8}, {});
   const auto members = group.member();
   std::cout << "member 8 at place " << std::ranges::find(members, 8u) - members.begin() << ", " //
             << std::ranges::count(members, 7u) << " times 7, largest " << std::ranges::max(members) << '\n';
}
