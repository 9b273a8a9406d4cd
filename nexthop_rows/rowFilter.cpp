#include "nexthop_rows/rowFilter.h"

#include <algorithm>

#include "nexthop_rows/badInput.h"
#include "nexthop_rows/rowDiff.h"

namespace NexthopRows {

FilteredRows::FilteredRows(const RowFilter& filter, Imported& imported, const std::string& from)
   : filter_(filter), imported_(imported)
{
   if (filter.device && !imported.state)
      throw BadInput(from + ": has rows alone: --dev needs the names of devices");
   if (!filter.group)
      return;
   if (const auto group = Zorva::Embedded::findRow(imported.tables.groups, EcmpMemberListRow::key(*filter.group)))
      members_.insert(group->member().begin(), group->member().end());
}

bool FilteredRows::passes(const NexthopInfoRow& row) const
{
   return filter_.kind != kindOf<EcmpMemberListRow> && (!filter_.isInvalid || !row.valid()) &&
          (!filter_.group || members_.contains(row.id())) && isWanted(row);
}

bool FilteredRows::passes(const EcmpMemberListRow& row) const
{
   if (filter_.kind == kindOf<NexthopInfoRow> || (filter_.isInvalid && row.valid()) ||
       (filter_.group && row.id() != *filter_.group))
      return false;
   if (!filter_.port && !filter_.device && !filter_.mac)
      return true;
   return std::ranges::any_of(row.member(), [&](std::uint32_t id) {
      const auto member = Zorva::Embedded::findRow(imported_.tables.nexthops, NexthopInfoRow::key(id));
      return member && isWanted(*member);
   });
}

/// Whether port, device and MAC address are those that are named.
bool FilteredRows::isWanted(const NexthopInfoRow& row) const
{
   if ((filter_.port && row.portId() != *filter_.port) ||
       (filter_.mac && row.dmac() != *filter_.mac && row.smac() != *filter_.mac))
      return false;
   if (!filter_.device)
      return true;
   const std::string device = deviceOf(imported_, row.id());
   return !device.empty() && (device == *filter_.device || device == shownName(*filter_.device));
}

std::string deviceOf(const Imported& imported, std::uint32_t nexthop)
{
   const Nexthop* const object = imported.state ? imported.state->nexthop(nexthop) : nullptr;
   return object != nullptr && object->link != 0 ? imported.state->linkName(object->link) : "";
}

} // namespace NexthopRows
