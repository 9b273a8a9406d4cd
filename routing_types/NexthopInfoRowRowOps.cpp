#include "routing_types/NexthopInfoRowRowOps.h"

#include "routing_types/NexthopInfoRow.h"
#include "rowtype/identity.h"
#include "rowtype/rowOps.h"

namespace P4RuntimeRouting {

NexthopInfoRowRowOps_KEY::~NexthopInfoRowRowOps_KEY() = default;

std::uint64_t NexthopInfoRowRowOps_KEY::keyHash(const Zorva::BaseRow& row)
{
   return row.isNull() ? 0 : Zorva::keyHash<nexthopInfoColumns>(row);
}

std::uint64_t NexthopInfoRowRowOps_KEY::rowHash(const Zorva::BaseRow& row)
{
   return row.isNull() ? 0 : Zorva::contentHash<nexthopInfoColumns>(row);
}

bool NexthopInfoRowRowOps_KEY::keyEquals(const Zorva::BaseRow& a, const Zorva::BaseRow& b)
{
   return Zorva::keyEqual<nexthopInfoColumns>(a, b);
}

bool NexthopInfoRowRowOps_KEY::rowEquals(const Zorva::BaseRow& a, const Zorva::BaseRow& b)
{
   return Zorva::columnsEqual<nexthopInfoColumns>(a, b);
}

bool NexthopInfoRowRowOps_KEY::keyLess(const Zorva::BaseRow& a, const Zorva::BaseRow& b)
{
   return Zorva::keyLess<nexthopInfoColumns>(a, b);
}

bool NexthopInfoRowRowOps_KEY::rowLess(const Zorva::BaseRow& a, const Zorva::BaseRow& b)
{
   return Zorva::contentLess<nexthopInfoColumns>(a, b);
}

bool NexthopInfoRowRowOps_KEY::unique() { return true; }

bool NexthopInfoRowRowOps_KEY::ordered() { return false; }

unsigned char NexthopInfoRowRowOps_KEY::index() { return Zorva::keyIndex; }

std::uint64_t NexthopInfoRowRowOps_KEY::getTotalInstructionsExecuted() { return 0; }

NexthopInfoRowRowOpsGenerator::NexthopInfoRowRowOpsGenerator()
{
   Zorva::installRowOpsGenerator(NexthopInfoRow::rowTypeName(), this);
}

NexthopInfoRowRowOpsGenerator::~NexthopInfoRowRowOpsGenerator() = default;

void NexthopInfoRowRowOpsGenerator::operator()(std::vector<std::shared_ptr<Zorva::RowOpsBase>>& ops)
{
   ops.push_back((*this)(Zorva::keyIndex));
}

std::shared_ptr<Zorva::RowOpsBase> NexthopInfoRowRowOpsGenerator::operator()(unsigned char index)
{
   return Zorva::makeRowOps<NexthopInfoRowRowOps_KEY>(index);
}

} // namespace P4RuntimeRouting
