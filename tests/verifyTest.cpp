// Bytes from outside: every fault found, by name and place; and the rows made of sound ones.
#include "rowtype/canonical.h"
#include "tests/support/hostile.h"

using namespace Test;
using Zorva::RowFault, Zorva::RowCheck;

const std::vector<std::string> rows = linesOf(PROJECT_SOURCE_DIR "/tests/rows/examined.txt");
const Bytes hop = bytesOf("34 00 09 00 | 00*48"),
            group = bytesOf("2b 00 09 00 | 00*25 | 25 00 06 80 | 00*4 | 01 f0 07 00*3");

TEST(Verify, EveryFaultHasANameAndAPlace)
{
   unsigned found = 0; // a bit for each
   for (const std::string& row : rows) {
      const std::string verdict = row.substr(0, row.find(": "));
      const Bytes bytes = bytesOf(row.substr(verdict.size() + 1));
      const RowCheck check = Zorva::verifyRow<TestRow>(bytes);
      found |= 1u << static_cast<unsigned>(check.fault);
      EXPECT_EQ(std::string(text(check.fault)) + " at offset " + std::to_string(check.offset), verdict);
      EXPECT_EQ(check == RowCheck(), check.ok());
      EXPECT_EQ(bytes.size() > 65535 ? "none" : failureOf([&] { useBytes<TestRow>(bytes); }), "none") << verdict;
      EXPECT_EQ(failureOf([&] { Zorva::Internal::adoptRow<TestRow>(bytes); }),
                check.ok() ? "none" : "Zorva::ZoBadCast: bytes are no Test::TestRow: " + verdict);
   }
   EXPECT_EQ(std::popcount(found), 14); // the type id is tested below, the depth in nestedRowsTest.cpp
   EXPECT_EQ(Zorva::verifyRow<NexthopInfoRow>(hop, len_t{9}), RowCheck());
   EXPECT_EQ(Zorva::verifyRow<NexthopInfoRow>(hop, len_t{1}), (RowCheck{RowFault::otherType, 2}));
}

TEST(Verify, AdoptedRowsCarryThisProcessesTypeIds)
{
   Bytes parent = bytesOf(rows[0].substr(rows[0].find(": ") + 1));
   const BaseRow adopted = Zorva::Internal::adoptRow<TestRow>(parent);
   parent[2] = 3, parent[55] = 1, parent[107] = 2;
   EXPECT_EQ(snapshot(adopted), parent);
   parent[2] = parent[55] = parent[107] = parent[143] = 0; // the last one: spare bits of the group's array
   EXPECT_EQ(Zorva::canonicalBytes<TestRow>(adopted), parent);
   EXPECT_TRUE(isBytes(NexthopInfoRow::fromBytes(hop), "34 00 01 00 | 00*48"));
   EXPECT_EQ(EcmpMemberListRow::fromBytes(group).memberToJsonArray(), "[7]");
   expectFailure("Zorva::ZoOutOfRange: row length 52 in the header of 53 bytes",
                 {[] { BaseRow::copyOf(bytesOf("34 00 09 00 | 00*49")); }});
}
