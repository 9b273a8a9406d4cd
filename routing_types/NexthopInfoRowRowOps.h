// NexthopInfoRowRowOps_KEY, the operations of NexthopInfoRow's only index (hash, equality and order by the
// key `id` and by content), and NexthopInfoRowRowOpsGenerator, through which the row database obtains them.
#pragma once

#include "rowtype/rowType.h"

namespace P4RuntimeRouting {

#define ZORVA_ROW NexthopInfoRow
#include "rowtype/rowOpsClasses.inc"

} // namespace P4RuntimeRouting
