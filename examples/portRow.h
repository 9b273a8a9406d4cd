// PortRow, a row type of one's own: a switch port with its VLANs, and the next hop behind it as a nested row. The one
// to follow: docs/adding-a-row-type.md shows it step by step.
#pragma once

#include "routing_types/NexthopInfoRow.h"
#include "rowtype/rowType.h"

namespace Examples {

using Zorva::Type;

inline constexpr auto portColumns = Zorva::layOut({
   {"id", Type::u32, Zorva::key},
   {"up", Type::boolean},
   {"mac", Type::ethAddr},
   {"vlans", Type::arrayOfU32},
   {"nexthop", Type::row, {}, &Zorva::nestedType<P4RuntimeRouting::NexthopInfoRow>},
});
static_assert(portColumns.fixedLength == 23);

class PortRow : public Zorva::BaseRow
{
public:
   static constexpr const auto& columns_ = portColumns;
   static constexpr const char* rowTypeName_ = "Examples::PortRow";
#define ZORVA_ROW PortRow
#include "rowtype/rowMembers.inc"

   PortRow(std::uint32_t id, bool up, const Zorva::EthAddr& mac, const std::vector<std::uint32_t>& vlans);

   std::uint32_t id() const { return get<"id">(); }
   bool up() const { return get<"up">(); }
   Zorva::EthAddr mac() const { return get<"mac">(); }
   Array vlans() const { return get<"vlans">(); }
   P4RuntimeRouting::NexthopInfoRow nexthop() const { return getNested<P4RuntimeRouting::NexthopInfoRow, "nexthop">(); }

   PortRow& idIs(std::uint32_t v) { return set<"id">(v); }
   PortRow& upIs(bool v) { return set<"up">(v); }
   PortRow& macIs(const Zorva::EthAddr& v) { return set<"mac">(v); }
   PortRow& vlansIs(const std::vector<std::uint32_t>& v) { return set<"vlans">(v); }
};

std::ostream& operator<<(std::ostream& os, const PortRow& row);

#define ZORVA_ROW PortRow
#include "rowtype/rowOpsClasses.inc"

} // namespace Examples
