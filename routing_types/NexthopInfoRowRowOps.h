// NexthopInfoRowRowOps_KEY, the operations of NexthopInfoRow's only index, and the generator through which the row
// database obtains them.
#pragma once

#include "rowtype/rowType.h"

namespace P4RuntimeRouting {

/// Hash, equality and order of NexthopInfoRow rows by key (`id`) and by content.
class ZORVA_EXPORT NexthopInfoRowRowOps_KEY : public Zorva::RowOpsBase
{
#define ZORVA_ROW NexthopInfoRow
#include "rowtype/keyOpsMembers.inc"
};

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor" // nothing deletes a generator through a base class

/// Makes the operations objects of NexthopInfoRow.
class ZORVA_EXPORT NexthopInfoRowRowOpsGenerator : public Zorva::RowOpsGenerator
{
#define ZORVA_ROW NexthopInfoRow
#include "rowtype/generatorMembers.inc"
};

#pragma GCC diagnostic pop

} // namespace P4RuntimeRouting
