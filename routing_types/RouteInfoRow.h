// RouteInfoRow, one route: the next hops it may take, and the one it takes at present as a nested row, keyed by `id`.
#pragma once

#include "routing_types/NexthopInfoRow.h"

namespace P4RuntimeRouting {

inline constexpr auto routeInfoColumns = Zorva::layOut({
   {"genId", Zorva::Type::u64},
   {"id", Zorva::Type::u32, Zorva::key},
   {"metric", Zorva::Type::i64},
   {"nexthops", Zorva::Type::arrayOfU32},
   {"active", Zorva::Type::row, {}, &Zorva::nestedType<NexthopInfoRow>},
});
static_assert(routeInfoColumns.fixedLength == 32);

class ZORVA_EXPORT RouteInfoRow : public Zorva::BaseRow
{
public:
   static constexpr const auto& columns_ = routeInfoColumns;
   static constexpr const char* rowTypeName_ = "P4RuntimeRouting::RouteInfoRow";
#define ZORVA_ROW RouteInfoRow
#include "rowtype/rowMembers.inc"

   RouteInfoRow(const std::uint64_t& genId, const std::uint32_t& id, const std::int64_t& metric,
                const std::vector<std::uint32_t>& nexthops);

   std::uint64_t genId() const { return get<"genId">(); }
   std::uint32_t id() const { return get<"id">(); }
   std::int64_t metric() const { return get<"metric">(); }
   Array nexthops() const { return get<"nexthops">(); }
   NexthopInfoRow active() const { return getNested<NexthopInfoRow, "active">(); }

   RouteInfoRow& genIdIs(const std::uint64_t& v) { return set<"genId">(v); }
   RouteInfoRow& idIs(const std::uint32_t& v) { return set<"id">(v); }
   RouteInfoRow& metricIs(const std::int64_t& v) { return set<"metric">(v); }
   RouteInfoRow& nexthopsIs(const std::vector<std::uint32_t>& v) { return set<"nexthops">(v); }
};

ZORVA_EXPORT std::ostream& operator<<(std::ostream& os, const RouteInfoRow& row);

class ZORVA_EXPORT RouteInfoRowRowOps_KEY : public Zorva::RowOpsBase
{
#define ZORVA_ROW RouteInfoRow
#include "rowtype/keyOpsMembers.inc"
};

class ZORVA_EXPORT RouteInfoRowRowOpsGenerator : public Zorva::RowOpsGenerator
{
#define ZORVA_ROW RouteInfoRow
#include "rowtype/generatorMembers.inc"
};

} // namespace P4RuntimeRouting
