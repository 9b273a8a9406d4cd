// Row type ids that do not depend on which test runs first: next hop rows 1, ECMP rows 2, test rows 3. A name gets its
// id once it has a generator; the types may bring theirs later.
#include "embedded/registry.h"
#include "tests/support/rows.h"

using namespace Test;

static const bool typeIdsAreGiven = [] {
   for (const auto& name : {NexthopInfoRow::rowTypeName(), EcmpMemberListRow::rowTypeName(), TestRow::rowTypeName()})
      if (Zorva::Embedded::rowOpsGenerator(name) == nullptr)
         Zorva::installRowOpsGenerator(name, &P4RuntimeRouting::NexthopInfoRowRowOpsGenerator::rowOpsGenerator_);
   return NexthopInfoRow::protRowType() < EcmpMemberListRow::protRowType() && TestRow::protRowType() == 3;
}();
