// Row type ids that do not depend on which test runs first: next hop rows 1, ECMP rows 2, test rows 3. A name gets its
// id once it has a generator, and none of these tests asks TestRow's for operations, so any will do.
#include "tests/support/rows.h"
#include "tests/support/testRow.h"

struct RowTypeIds : testing::Environment
{
   void SetUp() override
   {
      auto* const generator = &P4RuntimeRouting::NexthopInfoRowRowOpsGenerator::rowOpsGenerator_;
      Zorva::installRowOpsGenerator(Test::TestRow::rowTypeName(), generator);
      ASSERT_EQ(P4RuntimeRouting::NexthopInfoRow::protRowType(), 1);
      ASSERT_EQ(P4RuntimeRouting::EcmpMemberListRow::protRowType(), 2);
      ASSERT_EQ(Test::TestRow::protRowType(), 3);
   }
};
static const testing::Environment* const rowTypeIds = testing::AddGlobalTestEnvironment(new RowTypeIds);
