#include "routing_types/RouteInfoRow.h"

#include "rowtype/rowTypeDefined.h"

namespace P4RuntimeRouting {

#define ZORVA_ROW RouteInfoRow
#include "rowtype/rowMembersDefined.inc"

RouteInfoRow::RouteInfoRow(const std::uint64_t& genId, const std::uint32_t& id, const std::int64_t& metric,
                           const std::vector<std::uint32_t>& nexthops)
   : BaseRow(baseRowLength_, Zorva::rowCapacity<columns_>(nexthops))
{
   Zorva::storeColumns<columns_>(*this, freshBuffer(), genId, id, metric, nexthops, Zorva::absentRow);
   rowTypeIs(protRowType());
}

} // namespace P4RuntimeRouting
