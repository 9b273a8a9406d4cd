#include "routing_types/EcmpMemberListRow.h"

#include "routing_types/EcmpMemberListRowRowOps.h"
#include "rowtype/rowTypeDefined.h"

#include "routing_types/baseRowInstances.inc"

namespace P4RuntimeRouting {

#define ZORVA_ROW EcmpMemberListRow
#include "rowtype/rowMembersDefined.inc"

EcmpMemberListRow::EcmpMemberListRow(const std::uint64_t& genId, const std::uint64_t& entryHandle, const bool& valid,
                                     const std::uint32_t& entryId, const std::uint32_t& id,
                                     const std::vector<std::uint32_t>& member, const std::vector<std::uint32_t>& watch)
   : BaseRow(baseRowLength_, Zorva::rowCapacity<columns_>(genId, entryHandle, valid, entryId, id, member, watch))
{
   Zorva::storeColumns<columns_>(*this, freshBuffer(), genId, entryHandle, valid, entryId, id, member, watch);
   rowTypeIs(protRowType());
}

std::string EcmpMemberListRow::memberToStringArray() const { return member().toString(); }

std::string EcmpMemberListRow::memberToJsonArray() const { return memberToStringArray(); }

std::string EcmpMemberListRow::watchToStringArray() const { return watch().toString(); }

std::string EcmpMemberListRow::watchToJsonArray() const { return watchToStringArray(); }

} // namespace P4RuntimeRouting
