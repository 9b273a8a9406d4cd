// Rows without a type: construction, sharing, fixed columns, the order of tests, and rows whose bytes lie.
#include <thread>

#include "tests/support/rows.h"

using namespace Test;
using Row = Exposed<BaseRow>;

TEST(BaseRow, CountersPerOperation)
{
   BaseRow row(52), other(37), taken(8);
   const NexthopInfoRow hop;
   const std::pair<std::function<void()>, Counts> cases[] = {
      {[] { BaseRow(52), BaseRow(37, 50), BaseRow(); }, {1, 2, 0, 0, 0, 0}},
      {[&] { (void)Zorva::SubRow(BaseRow(row), 4); }, {0, 0, 2, 0, 0, 0}},
      {[&] { const BaseRow moved(std::move(taken)); }, {0, 0, 0, 1, 0, 0}},
      {[&] { (other = row) = BaseRow(); }, {1, 0, 0, 0, 1, 1}},
      {[&, &same = row] { ((row = same) = std::move(same)).shareContents(other); }, {}},
      {[] { (void)BaseRow(52).clone(); }, {0, 2, 0, 1, 0, 0}},
      {[] { (void)BaseRow().clone(); }, {2, 0, 0, 1, 0, 0}},
      {[&] { (void)hop.clone(); }, {0, 1, 0, 2, 0, 0}},
      {[] { EcmpMemberListRow(1, 2, true, 3, 4, {1}, {2}), NexthopInfoRow::key(7); }, {0, 2, 1, 0, 0, 0}},
      {[] { NexthopInfoRow::reset(), NexthopInfoRow::protRowType(); }, {0, 1, 0, 0, 0, 0}},
   };
   for (const auto& [call, counts] : cases)
      EXPECT_EQ(countsOf(call), counts) << "case " << &counts - &cases[0].second;
   std::jthread([] { EXPECT_EQ(std::bit_cast<Counts>(BaseRow::baseRowCounters), Counts()); }); // of a new thread
}

TEST(BaseRow, PlaceAndFlagsFollowTheRowNotTheBuffer)
{
   Row view(Zorva::SubRow(Zorva::SubRow(rowOf("0c 00 00 00 | 00*4 | 04 00 07 00"), 6), 2)), receiver(16);
   view.readOnlyIs(true);
   const Row moved(std::move(view)), clone = moved.clone();
   EXPECT_EQ(tuple(view.isNull(), view.rowOffset_, view.subRow_, view.readOnly_), tuple(true, 8, true, true));
   EXPECT_EQ(tuple(moved.rowType(), moved.rowOffset_, moved.subRow_, moved.readOnly_), tuple(7, 8, true, true));
   EXPECT_EQ(tuple(clone.rowBuf_->length(), clone.subRow_, clone.readOnly_), tuple(4, false, false));
   EXPECT_TRUE(isBytes(clone, "04 00 07 00"));
   receiver.shareContents(moved);
   EXPECT_EQ(tuple(receiver.rowLength(), receiver.rowOffset_, receiver.subRow_), tuple(12, 0, false));
   Row(receiver).rowTypeIs(9); // shows in all that share
   Row(receiver).clear(5);     // does not
   receiver.setColumn<bool>(5, true, 12);
   receiver.clearRow();
   EXPECT_TRUE(isBytes(receiver, "0c 00 09 00 | 00*8"));

   Row small = rowOf("08 00 09 00 | 07*4");
   small.clear(2); // less than a header: the rest of it stays
   EXPECT_EQ(small.rowLength(), 2);
   EXPECT_TRUE(isBytes(small.rowLengthIs(8), "08 00 09 00 | 07*4"));
   small.rowOffset_ = 7;
   expectFailure("Zorva::ZoOutOfRange: row bytes at offset 7, width 2, lie outside the buffer of 8 bytes",
                 {[&] { small.clear(1); }});
   EXPECT_EQ(*small.header(), 7);
   small.rowBuf_ = std::move(const_cast<Zorva::RowBufHandle&>(std::as_const(small).rowBuf_));
   EXPECT_EQ(*small.header(), 7) << "moved to itself";

   Row alone = rowOf("0c 00 00 00 01 02 03 04 05 06 07 08");
   alone.subRow_ = true; // a view whose parent is gone: the private copy frees the bytes that the value lies in
   alone.setColumn<EthAddr>(4, *reinterpret_cast<const EthAddr*>(alone.header() + 6), 12);
   EXPECT_TRUE(isBytes(alone, "0c 00 00 00 03 04 05 06 07 08 07 08"));
}

TEST(BaseRow, TestsComeInOrder)
{
   Row null, row = rowOf("34 00 00 00 | 63*48"), shared(row);
   NexthopInfoRow hop(null);
   const Row shorter = rowOf("03 00*3");
   for (BaseRow* const each : std::initializer_list<BaseRow*>{&null, &row, &hop})
      each->readOnlyIs(true);
   EthAddr mac(1, 2, 3, 4, 5, 6);
   expectFailure(readOnlyRow, {[&] { null.rowLengthIs(4); }, [&] { null.rowTypeIs(4); }, [&] { null.clearRow(); },
                               [&] { null.updateVCT(29, 37, 14, false); }, [&] { row.clear(52); },
                               [&] { row.clearRow(); }, [&] { row.makeFreeSpace(row.slotAt(29), 65535, 52); }});
   EXPECT_EQ(shared.rowBuf_.use_count(), 2);
   expectFailure(readOnlyRow, {[&] { row.setColumn(25, 1u, 52); }, [&] { row.setColumn(25, upTo(8192), 52); }});
   EXPECT_EQ(tuple(shared.rowBuf_.use_count(), snapshot(row)), tuple(1, snapshot(shared))) << "copies, then refuses";
   expectFailure(nullRow, {[&] { null.rowLength(); }, [&] { null.setColumn(4, true, 52); }, [&] { null.clear(60); },
                           [&] { null.setColumn(29, upTo(8192), 37); }, [&] { hop.idIs(1); }, [&] { hop.id(); },
                           [&] { null.updateFixElemArray<unsigned>(29, 37, upTo(0)); }, [&] { row.rowEqual(null); },
                           [&] { shorter.rowEqual(null); }, [&] { Row(8).columnLess<unsigned>(25, null, 25); },
                           [&] { null.columnHash<unsigned>(25); }, [&] { null.columnEqual<bool>(4, row, 60000); }});
   expectFailure("none", {[] { Row().clearRow(); }, [&] { hop.clearRow(); }, [&] { null.getColumn(33, mac); }});
   expectFailure("Halvo::AssertException: baseRow:427: updateVCT: field length greater than 32767 bytes",
                 {[&] { null.updateVCT(29, 37, 32768, false); }});
   expectFailure("Halvo::AssertException: baseRow:327: clear: setting fixed data length forBaseRow longer than "
                 "buffer size",
                 {[&] { row.clear(53); }});
   expectFailure("Zorva::ZoOutOfRange: row bytes at offset 0, width 37, lie outside the buffer of 20 bytes",
                 {[] { BaseRow(37, 20); }});
   expectFailure("Zorva::ZoOutOfRange: row length 3 is shorter than the row header", {[&] { shorter.bytes(); }});
   expectFailure("Zorva::ZoNotSupported: rowLess not supported on generic base rows", {[&] { null.rowLess(null); }});
   expectFailure("Zorva::ZoNotSupported: rowHash not supported on generic base rows", {[&] { null.rowHash(); }});
   EXPECT_EQ(tuple(mac, null.toJson(), null.toString()), tuple(EthAddr(), "", "len: 0, NULL"));
   EXPECT_EQ(null.rowBuf_.get(), nullptr);
   EXPECT_EQ((row.getColumn(4, mac), mac), EthAddr(99, 99, 99, 99, 99, 99));
}

template <class T>
void expectOrder(const T& less, const T& more)
{
   Row a(40), b(40);
   a.setColumn<T>(5, less, 40);
   b.setColumn<T>(11, more, 40);
   EXPECT_EQ(tuple(a.readColumn<T>(5), b.readColumn<T>(11)), tuple(less, more));
   EXPECT_EQ(tuple(a.columnLess<T>(5, b, 11), a.columnEqual<T>(5, b, 11)), tuple(true, false));
   EXPECT_EQ(tuple(b.columnLess<T>(11, a, 5), a.columnLess<T>(5, a, 5)), tuple(false, false));
   EXPECT_TRUE(b.columnEqual<T>(11, b.clone(), 11));
}

TEST(BaseRow, ColumnsOrderByValueAndHashWidened)
{
   expectOrder<unsigned>(1, 4294967295);
   expectOrder<unsigned short>(255, 65535);
   expectOrder<unsigned long>(1, 1ul << 63);
   expectOrder<int>(-1, 1);
   expectOrder<long>(-1, 1);
   expectOrder<bool>(false, true);
   expectOrder<EthAddr>({0, 0, 0, 0, 0, 2}, {0, 0, 0, 0, 1, 0});
   expectOrder<EthAddr>({0, 255, 255, 255, 255, 255}, {1, 0, 0, 0, 0, 0});
   const Row row = rowOf("10 00 00 00 | 07 00 00 00 | ff ff ff ff | 02 01 00 00");
   EXPECT_EQ(tuple(row.columnHash<unsigned>(4), row.columnHash<int>(8)), tuple(7u, ~0ul));
   EXPECT_EQ(tuple(row.readColumn<bool>(12), row.columnLess<bool>(13, row, 12)), tuple(true, true));
   EXPECT_TRUE(row.rowEqual(Zorva::SubRow(rowOf("14 00 00 00 | 10 00 00 00 07 00*3 ff*4 02 01 00 00"), 4)));
   for (const char* unlike : {"10 00 01 00 07 00*3 ff*4 02 01 00 00", "10 00 00 00 07 00*3 ff*4 02 01 00 01",
                              "11 00 00 00 07 00*3 ff*4 02 01 00 00 00"})
      EXPECT_FALSE(row.rowEqual(rowOf(unlike))) << unlike;
}

TEST(ContractDeathTest, BrokenContractsStopTheProcessInEveryBuild)
{
   Row row(52), null;
   EXPECT_DEATH(BaseRow(3), "baseRow:.*Assertion .len >= zo_contentOffset. failed");
   EXPECT_DEATH(row.setColumn<unsigned>(25, 1u, 0), "baseRow:.*Assertion .fdLen != 0. failed");
   EXPECT_DEATH(row.setColumn<unsigned>(29, upTo(1), 0),
                "baseRow:1535: void Zorva::BaseRow::setColumn.Zorva::len_t, const std::vector<_Ch_type>&, "
                "Zorva::len_t. .with T = unsigned int; Zorva::len_t = short unsigned int.: Assertion .fdLen != 0.");
   EXPECT_DEATH(row.makeFreeSpace(row.slotAt(29), 4, 0),
                "baseRow:848: Zorva::len_t Zorva::BaseRow::makeFreeSpace.Zorva::VColType&, Zorva::len_t, "
                "Zorva::len_t.: Assertion .baseRowLength != 0. failed");
   EXPECT_DEATH(null.vcd(), "baseRow:.*Assertion .0. failed");
   EXPECT_DEATH(null.baseRowLength(), "baseRow:.*Assertion .0. failed");
}
