#include "routing_types/NexthopInfoRow.h"

#include "routing_types/NexthopInfoRowRowOps.h"
#include "rowtype/rowTypeDefined.h"

#include "routing_types/baseRowInstances.inc"

namespace P4RuntimeRouting {

#define ZORVA_ROW NexthopInfoRow
#include "rowtype/rowMembersDefined.inc"

NexthopInfoRow::NexthopInfoRow(const std::uint64_t& genId, const std::uint64_t& entryHandle, const bool& valid,
                               const std::uint32_t& entryId, const std::uint32_t& id, const std::uint32_t& portId,
                               const Zorva::EthAddr& dmac, const Zorva::EthAddr& smac, const bool& drop,
                               const std::int32_t& encapType, const std::uint16_t& encapId)
   : BaseRow(baseRowLength_)
{
   Zorva::storeColumns<columns_>(*this, freshBuffer(), genId, entryHandle, valid, entryId, id, portId, dmac, smac, drop,
                                 encapType, encapId);
   rowTypeIs(protRowType());
}

} // namespace P4RuntimeRouting
