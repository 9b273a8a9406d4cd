#include "tests/support/testRow.h"

#include "rowtype/rowTypeDefined.h"

namespace Test {

#define ZORVA_ROW TestRow
#include "rowtype/rowMembersDefined.inc"

} // namespace Test

#define ZORVA_ROW Test::TestRow
#include "rowtype/loadRowType.inc"
