#include "examples/portRow.h"

#include "rowtype/rowTypeDefined.h"

namespace Examples {

#define ZORVA_ROW PortRow
#include "rowtype/rowMembersDefined.inc"

PortRow::PortRow(std::uint32_t id, bool up, const Zorva::EthAddr& mac, const std::vector<std::uint32_t>& vlans)
   : BaseRow(baseRowLength_, Zorva::rowCapacity<columns_>(vlans))
{
   Zorva::storeColumns<columns_>(*this, freshBuffer(), id, up, mac, vlans, Zorva::absentRow);
   rowTypeIs(protRowType());
}

} // namespace Examples

// The load step: once a library, in the source file that holds it.
#define ZORVA_ROW Examples::PortRow
#include "rowtype/loadRowType.inc"
