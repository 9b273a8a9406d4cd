#include "routing_types/EcmpMemberListRowRowOps.h"

#include "routing_types/EcmpMemberListRow.h"
#include "rowtype/identity.h"
#include "rowtype/rowOps.h"

namespace P4RuntimeRouting {

EcmpMemberListRowRowOps_KEY::~EcmpMemberListRowRowOps_KEY() = default;

std::uint64_t EcmpMemberListRowRowOps_KEY::keyHash(const Zorva::BaseRow& row)
{
   return row.isNull() ? 0 : Zorva::keyHash<ecmpMemberListColumns>(row);
}

std::uint64_t EcmpMemberListRowRowOps_KEY::rowHash(const Zorva::BaseRow& row)
{
   return row.isNull() ? 0 : Zorva::contentHash<ecmpMemberListColumns>(row);
}

bool EcmpMemberListRowRowOps_KEY::keyEquals(const Zorva::BaseRow& a, const Zorva::BaseRow& b)
{
   return Zorva::keyEqual<ecmpMemberListColumns>(a, b);
}

bool EcmpMemberListRowRowOps_KEY::rowEquals(const Zorva::BaseRow& a, const Zorva::BaseRow& b)
{
   return Zorva::columnsEqual<ecmpMemberListColumns>(a, b);
}

bool EcmpMemberListRowRowOps_KEY::keyLess(const Zorva::BaseRow& a, const Zorva::BaseRow& b)
{
   return Zorva::keyLess<ecmpMemberListColumns>(a, b);
}

bool EcmpMemberListRowRowOps_KEY::rowLess(const Zorva::BaseRow& a, const Zorva::BaseRow& b)
{
   return Zorva::contentLess<ecmpMemberListColumns>(a, b);
}

bool EcmpMemberListRowRowOps_KEY::unique() { return true; }

bool EcmpMemberListRowRowOps_KEY::ordered() { return false; }

unsigned char EcmpMemberListRowRowOps_KEY::index() { return Zorva::keyIndex; }

std::uint64_t EcmpMemberListRowRowOps_KEY::getTotalInstructionsExecuted() { return 0; }

EcmpMemberListRowRowOpsGenerator::EcmpMemberListRowRowOpsGenerator()
{
   Zorva::installRowOpsGenerator(EcmpMemberListRow::rowTypeName(), this);
}

EcmpMemberListRowRowOpsGenerator::~EcmpMemberListRowRowOpsGenerator() = default;

void EcmpMemberListRowRowOpsGenerator::operator()(std::vector<std::shared_ptr<Zorva::RowOpsBase>>& ops)
{
   ops.push_back((*this)(Zorva::keyIndex));
}

std::shared_ptr<Zorva::RowOpsBase> EcmpMemberListRowRowOpsGenerator::operator()(unsigned char index)
{
   return Zorva::makeRowOps<EcmpMemberListRowRowOps_KEY>(index);
}

} // namespace P4RuntimeRouting
