// Slots, the variable data area and arrays: every byte of growing rows, limits, and slots that lie.
#include <iomanip>
#include <list>

#include "tests/support/rows.h"

using namespace Test;
using testing::ElementsAreArray, std::literals::operator""s;

// An ECMP row of this length, all but the slots and the data zero.
std::string group(const std::string& length, const std::string& rest) { return length + " 00 02 00 | 00*25 | " + rest; }

TEST(VariableColumns, EveryByteOfARowThatGrowsAndShrinks)
{
   Exposed<EcmpMemberListRow> row;
   const auto check = [&](const BaseRow&, const std::string& length, const std::string& rest, int capacity) {
      EXPECT_TRUE(isBytes(row, group(length, rest))) << "for " << rest;
      EXPECT_EQ(row.rowBuf_->length(), capacity) << "for " << rest;
   };
   check(row.memberIs({5, 6, 7}).watchIs({}), "33", "25 00 0e 80 | 00*4 | 03 ?? 05 00*3 06 00*3 07 00*3", 51);
   // In place, four bytes die; then behind the last byte; then watch moves down first.
   check(row.memberIs({8, 9}), "33", "25 00 0a 80 | 00*4 | 02 ?? 08 00*3 09 00*3 | 07 00*3", 51);
   check(row.watchIs(std::array{1u}), "39",
         "25 00 0a 80 | 33 00 06 80 | 02 ?? 08 00*3 09 00*3 | 07 00*3 | 01 ?? 01 00*3", 57);
   check(row.memberIs({6, 7}), "39", "25 00 0a 80 | 33 00 06 80 | 02 ?? 06 00*3 07 00*3 | 07 00*3 | 01 ?? 01 00*3", 57);
   check(row.memberIs({1, 2, 3, 4, 5}), "41",
         "2b 00 16 80 | 25 00 06 80 | 01 ?? 01 00*3 | 05 ?? 01 0*3 02 0*3 03 0*3 04 0*3 05 0*3", 65);
   check(row.memberIs({}).watchIs({}), "41", "00*3 80 | 00*3 80 | ??*28", 65);
   // An empty slot never causes a compaction.
   check(row.watchIs({9}), "47", "00*3 80 | 41 00 06 80 | ??*28 | 01 ?? 09 00*3", 71);
   row.clearRow();
   row.header()[38] = 0xff; // in the spare bytes, of which the header's upper three bits stay
   check(row.watchIs({7}), "2b", "00*4 | 25 00 06 80 | 01 e0 07 00*3", 71);
   check(row = EcmpMemberListRow(0, 0, false, 0, 0, {2}, {3, 4}), "35",
         "25 00 06 80 | 2b 00 0a 80 | 01 00 02 00*3 | 02 00 03 00*3 04 00*3", 53);
   check(row = EcmpMemberListRow(0, 0, false, 0, 0, {}, {}), "25", "00*8", 41);

   Exposed<BaseRow> generic = rowOf("0e 00 00 00 | 08 00 06 80 | 01 00 01 00 00 00");
   generic.setColumn<unsigned>(4, upTo(2), 8); // knows no slots, so it is never compacted
   EXPECT_TRUE(isBytes(generic, "18 00 00 00 | 0e 00 0a 80 | 01 00 01 00 00 00 | 02 ?? 01 00 00 00 02 00 00 00"));
}

TEST(VariableColumns, LimitsRefuseBeforeAnythingChanges)
{
   Exposed<TestRow> row;
   row.rowBuf_ = Zorva::RowBufHandle::zeroed(65535); // grows without a byte that nothing has set
   row.clear(53);
   row.firstIs({1, 2});
   for (len_t slot = 33; slot <= 41; slot = static_cast<len_t>(slot + 4))
      row.setColumn<unsigned>(slot, upTo(4095), 53);
   const auto before = snapshot(row);
   const auto tooLong = "Halvo::AssertException: baseRow:427: updateVCT: array field length greater than 32767 bytes"s;
   for (const std::size_t n : {4096u, 8191u, 8192u, 16374u, 16384u, 1000000u})
      expectFailure(n > 8191 ? tooLong
                             : "Zorva::ZoOutOfRange: array of " + std::to_string(n) + " elements is longer than 4095",
                    {[&] { row.firstIs(upTo(n)); }, [&] { EcmpMemberListRow(0, 0, false, 0, 0, upTo(n), {}); },
                     [&] { EcmpMemberListRow(0, 0, false, 0, 0, {1}, upTo(n)); }});
   expectFailure("Zorva::ZoOutOfRange: desired row size 65537 is greater than maxRowLength: 65535",
                 {[&] { row.firstIs(upTo(4084)); }});
   expectFailure(tooLong, {[&] { row.updateVCT(29, 53, 32768, true); }});
   Halvo::Platform::defaultHandle()->throws = false;
   testing::internal::CaptureStderr();
   row.updateVCT(29, 53, 32768, true);
   EXPECT_EQ("Halvo::AssertException: " + testing::internal::GetCapturedStderr(), tooLong + '\n');
   Halvo::Platform::defaultHandle()->throws = true;
   Halvo::Platform::DebugStream text;
   expectFailure("Halvo::AssertException: file:1: function: ",
                 {[&] { Halvo::debugAndThrowAssertException(nullptr, 0, text, "file", "function", 1); }});
   EXPECT_EQ(snapshot(row), before); // the old array too
   row.firstIs(upTo(4083));
   EXPECT_THAT(row.first(), ElementsAreArray(upTo(4083)));
   row.updateVCT(29, 53, 32767, false);
   EXPECT_EQ(tuple(row.slotAt(29).dataLength(), row.slotAt(29).isArray()), tuple(32767, false));

   EcmpMemberListRow two(0, 0, false, 0, 0, {1}, {2});
   const auto sound = snapshot(two);
   expectFailure("Zorva::ZoOutOfRange: row bytes at offset 29, width 4, lie outside the buffer of 4 bytes",
                 {[&] { two.setColumn<unsigned>(29, upTo(9), 4); }});
   EXPECT_EQ(snapshot(two), sound); // no data was moved over slots

   Exposed<BaseRow> full(65500);
   Zorva::VColType elsewhere;
   expectFailure("Zorva::ZoOutOfRange: row bytes at offset 65535, width 4, lie outside the buffer of 65500 bytes",
                 {[&] { full.makeFreeSpace(elsewhere, 1, 37); }});
   expectFailure("Zorva::ZoOutOfRange: desired row size 65536 is greater than maxRowLength: 65535",
                 {[&] { full.makeFreeSpace(full.slotAt(4), 36, 8); }});
   EXPECT_EQ(full.makeFreeSpace(full.slotAt(4), 0, 8), 65500);
   EXPECT_EQ(full.makeFreeSpace(full.slotAt(4), 34, 8), 65500);
   EXPECT_EQ(full.makeFreeSpace(full.slotAt(4), 1, 8), 65534);
   EXPECT_EQ(tuple(full.rowLength(), full.rowBuf_->length()), tuple(65535, 65535));
}

TEST(VariableColumns, ArraysReadCompareAndPrint)
{
   EcmpMemberListRow row(0, 0, false, 0, 0, {1, 2}, {1, 2, 3}), none{BaseRow()};
   EXPECT_TRUE(none.arrayColumnEqual<unsigned>(29, EcmpMemberListRow(), 33));
   EXPECT_EQ(tuple(row.arrayColumnEqual<unsigned>(29, row, 33), row.arrayColumnEqual<unsigned>(29, none, 29)),
             tuple(false, false));
   row.memberIs({3, 2, 4294967295}).watchIs(std::array{3u, 2u, 4294967295u});
   EXPECT_TRUE(row.arrayColumnEqual<unsigned>(29, row, 33));
   EXPECT_EQ(tuple(row.member()[1], row.member().front()), tuple(2u, 3u));
   EXPECT_EQ(row.memberToStringArray() + none.watchToJsonArray(), "[3,2,4294967295][]");
   expectFailure("Zorva::ZoOutOfRange: Invalid Index",
                 {[&] { row.member()[3]; }, [&] { none.member()[0]; }, [&] { none.member().back(); }});
   const auto view = row.member();
   std::vector<unsigned> backwards;
   for (auto at = view.end(); backwards.size() < 3; backwards.insert(backwards.begin(), *at))
      at -= 1;
   EXPECT_EQ(static_cast<std::vector<unsigned>>(view), backwards);
   row.memberIs(std::array{4u, 5u}); // in place, so the view is of these now
   expectFailure("Zorva::ZoOutOfRange: Invalid Index", {[&] { view[2]; }});
   EXPECT_EQ(view, (std::list{4u, 5u}));
   EXPECT_NE(view, row.watch());
   EXPECT_EQ((std::ostringstream() << std::setw(6) << view).str(), " [4,5]");
}

// What an array dropped stays in the row until it is compacted, on demand alone.
TEST(VariableColumns, DeadBytesGoWithCompact)
{
   Exposed<EcmpMemberListRow> row, shared;
   for (int i = 0; i < 3; ++i)
      row.memberIs(upTo(4095)).memberIs({});
   expectFailure("Zorva::ZoOutOfRange: desired row size 65565 is greater than maxRowLength: 65535",
                 {[&] { row.memberIs(upTo(4095)); }});
   row.watchIs({7});
   shared = row;
   row.compact();
   EXPECT_TRUE(isBytes(row, group("2b", "00*3 80 | 25 00 06 80 | 01 ?? 07 00*3")));
   EXPECT_EQ(shared.rowLength(), 49189);
   row.memberIs(upTo(4095)).compact();
   EXPECT_EQ(row.member(), upTo(4095));
   shared.readOnlyIs(true);
   expectFailure(readOnlyRow, {[&] { shared.compact(); }});
   expectFailure(nullRow, {[] { EcmpMemberListRow(BaseRow()).compact(); }});
}

// Writes when every list of slots would have been destroyed, if any were.
struct WritesAtExit
{
   ~WritesAtExit()
   {
      const std::vector<len_t> reused(2, 65535); // gets the memory of a list that was freed
      asm volatile("" ::"r"(reused.data()) : "memory");
      EcmpMemberListRow row;
      row.memberIs({1}).watchIs({2}).memberIs(upTo(3));
      if (row.member() != upTo(3))
         std::_Exit(1);
   }
};
[[gnu::init_priority(101)]] WritesAtExit writesAtExit; // constructed first, so destroyed last
