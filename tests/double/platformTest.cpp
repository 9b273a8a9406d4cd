// The routing types on a second platform: what they ask of it and when, and debug assertions that return.
#include "tests/double/platformDouble.h"
#include "tests/support/rows.h"
#include "tests/support/testRow.h"

using namespace Test;
using Calls = std::vector<std::string>;

static const BaseRow unknown;
static const std::string ask = "zoClass P4RuntimeRouting::NexthopInfoRow";
static const Calls retry{ask, "loadMetadata P4RuntimeRouting::NexthopInfoRow", ask};

static BaseRow seven() { return rowOf("08 00 00 00 | 07 00 cd ab"); } // the id is the low 16 bits

// The registry answers so from now on, and the type asks again. Returns the calls since the last time.
static Calls script(std::vector<BaseRow> answers)
{
   NexthopInfoRow::reset();
   return std::exchange(PlatformDouble::get(), {std::move(answers), 0, {}}).calls;
}

TEST(Platform, LoadingRegistersBothTypesInOrderAndAsksForNothing)
{
   const Calls installs{"install P4RuntimeRouting::NexthopInfoRow", "install P4RuntimeRouting::EcmpMemberListRow"};
   EXPECT_EQ(script({seven()}), installs); // the first test of the process: nothing was called before
}

TEST(Platform, TypeIdsAreFetchedOnceWithOneRetry)
{
   const struct
   {
      std::vector<BaseRow> answers;
      std::string failure;
      len_t id;
      std::uint64_t copyAssignments;
      Calls first, second;
   } cases[] = {
      {{seven()}, "none", 7, 0, {ask}, {}},
      {{Zorva::SubRow(rowOf("0c 00 00 00 | 08 00 00 00 07 00 cd ab"), 4)}, "none", 7, 0, {ask}, {}},
      {{unknown, seven()}, "none", 7, 1, retry, {}},
      {{unknown}, nullRow, 0, 1, retry, retry},
      {{rowOf("08 00 00 00 | ff ff 00 00")}, "none", 65535, 0, {ask}, {ask}}, // cannot be told from not yet known
   };
   for (const auto& each : cases) {
      script(each.answers);
      len_t id = 0;
      const Counts counts = countsOf([&] { expectFailure(each.failure, {[&] { id = NexthopInfoRow().rowType(); }}); });
      EXPECT_TRUE(id == each.id && counts[1] == 1 && counts[4] == each.copyAssignments);
      EXPECT_EQ(std::exchange(PlatformDouble::get().calls, {}), each.first);
      expectFailure(each.failure, {NexthopInfoRow::protRowType});
      EXPECT_EQ(PlatformDouble::get().calls, each.second);
   }
}

TEST(Platform, AnUnknownTypeMakesNoRows)
{
   script({seven()});
   NexthopInfoRow row(1, 2, true, 3, 4, 5, {}, {}, true, 6, 7);
   script({unknown});
   EXPECT_TRUE(NexthopInfoRow(unknown).isNull() && PlatformDouble::get().calls.empty());
   expectFailure(nullRow, {[] { NexthopInfoRow(); }, [] { NexthopInfoRow(1, 2, true, 3, 4, 5, {}, {}, true, 6, 7); },
                           [] { NexthopInfoRow::key(1); }, [&] { NexthopInfoRow(static_cast<const BaseRow&>(row)); },
                           [&] { row.clearRow(); }});
   EXPECT_TRUE(isBytes(row, "34 00 | 00*50")); // cleared: the id was asked for afterwards
}

TEST(Platform, TextHashesNullValuesAndCompactionAreThePlatforms)
{
   script({seven()});
   const NexthopInfoRow row(1, 2, true, 3, 4, 5, {65, 66, 67, 68, 69, 1}, {70, 71, 72, 73, 74, 2}, false, -1, 10);
   EXPECT_EQ(row.toString(), "genId = 1, entryHandle = 2, valid = yes, entryId = 3, id = 4, portId = 5, "
                             "dmac = \"mac 1\", smac = \"mac 2\", drop = no, encapType = -1, encapId = 10");
   EXPECT_EQ(row.rowHash(), 0x4cc03f9d70b54d84u); // the hash results zero-extended, encapType sign-extended
   EXPECT_EQ(script({seven()}), (Calls{ask, "hash ABCDE\1", "hash FGHIJ\2"}));
   EthAddr null;
   unknown.getColumn(33, null);
   Exposed<TestRow> grows;
   grows.firstIs({1}), grows.setColumn(33, upTo(2), 53), grows.firstIs({1, 2, 3}); // compacts
   EXPECT_TRUE(null == EthAddr(255, 0, 0, 0, 0, 0) && grows.aryColumnToString<unsigned>(33) == "[1,2]");
}

TEST(Platform, AssertionsThatReturnLeaveRowsAsTheyWere)
{
   script({seven()});
   const std::string tooLong = "0 baseRow updateVCT 427: array field length greater than 32767 bytes";
   const Calls expected{"0 baseRow clear 327: setting fixed data length forBaseRow longer than buffer size", tooLong,
                        tooLong, tooLong, tooLong};
   EcmpMemberListRow::protRowType();
   for (const bool throws : {false, true}) {
      Exposed<TestRow> row;
      const auto before = snapshot(row);
      script({seven()});
      HALVO_DEFAULT_HANDLE->throws = throws;
      const std::function<void()> calls[] = {
         [&] { row.clear(54); }, [&] { row.updateVCT(29, 53, 32768, true); }, [&] { row.firstIs(upTo(8192)); },
         [] { EXPECT_EQ(EcmpMemberListRow(0, 0, false, 0, 0, upTo(16384), {5}).watch().front(), 5u); },
         [] { EXPECT_EQ(EcmpMemberListRow(0, 0, false, 0, 0, {5}, upTo(8192)).member().front(), 5u); }};
      for (const auto& call : calls)
         EXPECT_EQ(failureOf(call) == "none", !throws);
      EXPECT_TRUE(snapshot(row) == before && PlatformDouble::get().calls == expected);
   }
}
