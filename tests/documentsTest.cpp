// The listings in docs/row-format.md are what describeRow prints.
#include <fstream>

#include "rowtype/describe.h"
#include "tests/support/rows.h"

using namespace Test;

TEST(Documents, RowFormatListsWhatDescribeRowPrints)
{
   std::ifstream file(PROJECT_SOURCE_DIR "/docs/row-format.md");
   const std::string page{std::istreambuf_iterator(file), {}};
   const auto expectListed = [&](const std::string& name, auto& row, len_t type) {
      using Row = std::remove_reference_t<decltype(row)>;
      row.rowTypeIs(type);
      const std::string listing = "```listing " + name + '\n' + Zorva::describeRow<Row>(row) + "```";
      EXPECT_NE(page.find(listing), std::string::npos) << listing;
   };
   NexthopInfoRow hop(1, 2, true, 3, 4, 5, {2, 0, 0, 0, 0, 1}, {2, 0, 0, 0, 0, 2}, false, -1, 10);
   EcmpMemberListRow group(1, 2, true, 3, 4, {1, 2, 3}, {});
   expectListed("nexthop", hop, 7);
   expectListed("group", group, 8);
   expectListed("group-shorter", group.memberIs({5, 6}), 8);
   expectListed("group-moved", group.watchIs({9}).memberIs({1, 2, 3, 4}), 8);
   expectListed("group-emptied", group.memberIs({}), 8);
}
