// Columns that hold a whole row: views, presence, rows of the wrong type, and rows within rows within rows.
#include "rowtype/describe.h"
#include "rowtype/verify.h"
#include "tests/support/rows.h"

using namespace Test;
using Zorva::RowCheck, Zorva::RowFault;

constexpr len_t hopSlot = 45, groupSlot = 49;
const std::string parentBytes = "94 00 03 00 | 00*41 | 35 00 34 00 69 00 2b 00 | "
                                "34 00 01 00 | 00*25 | 07 00*3 | 00*17 | 2a 00 | "
                                "2b 00 02 00 | 00*25 | 25 00 06 80 | 00*4 | 01 00 07 00 00 00";

TEST(NestedRows, AViewSharesTheParentUntilItIsWritten)
{
   Exposed<TestRow> parent(rowOf(parentBytes));
   Exposed<NexthopInfoRow> view, cleared;
   EXPECT_EQ(countsOf([&] { parent.readOnlyIs(true).getColumnStruct<NexthopInfoRow>(hopSlot, view); }),
             (Counts{0, 0, 1, 1, 0, 1}));
   EXPECT_EQ(tuple(parent.rowBuf_.use_count(), view.rowOffset_, view.subRow_, view.portId()), tuple(2, 53, true, 7u));
   cleared = view;
   cleared.readOnlyIs(false).clearRow(); // keeps its position, in a buffer as long as its parent's
   EXPECT_EQ(tuple(cleared.rowOffset_, cleared.subRow_, cleared.rowBuf_->length()), tuple(53, true, 148));
   EXPECT_EQ(tuple(snapshot(cleared), snapshot(parent)), tuple(bytesOf("34 00 01 00 | 00*48"), bytesOf(parentBytes)));
}

template <class R>
void expectPresence(len_t slot, const std::string& equalRowsLess)
{
   const TestRow present(rowOf(parentBytes)), absent, null{BaseRow()};
   EXPECT_EQ(present.columnHash<R>(slot), Zorva::nestedRow<R>(present, slot).rowHash());
   expectFailure(equalRowsLess, {[&] { (void)present.columnLess<R>(slot, present, slot); }});
   EXPECT_TRUE(present.columnEqual<R>(slot, TestRow(rowOf(parentBytes)), slot));
   const std::pair<const TestRow*, const TestRow*> pairs[] = {{&null, &absent},    {&absent, &absent},
                                                              {&present, &absent}, {&present, &null},
                                                              {&null, &present},   {&absent, &present}};
   for (const auto& [a, b] : pairs) // an absent one comes first and equals none
      EXPECT_EQ(tuple(a->template columnEqual<R>(slot, *b, slot), a->template columnLess<R>(slot, *b, slot)),
                tuple(false, b == &present));
   expectFailure(nullRow, {[&] { null.columnHash<R>(slot); }, [&] { absent.columnHash<R>(slot); }});
   EXPECT_EQ(countsOf([&] { present.columnHash<R>(slot); }), (Counts{1, 0, 2, 1, 0, 1}));
   EXPECT_EQ(countsOf([&] { (void)absent.columnEqual<R>(slot, absent, slot); }), (Counts{4, 0, 1, 0, 0, 2}));
   EXPECT_EQ(countsOf([&] { (void)present.columnEqual<R>(slot, present, slot); }), (Counts{2, 0, 3, 2, 0, 2}));
}

TEST(NestedRows, PresenceDecidesFirst)
{
   expectPresence<NexthopInfoRow>(hopSlot, "none");
   expectPresence<EcmpMemberListRow>(groupSlot, noArrayOrder);
}

TEST(NestedRows, WrongTypesAndPlacesAreRefused)
{
   const TestRow parent(rowOf(parentBytes));
   const Exposed<BaseRow> lies = rowOf("0c 00 00 00 | 09 00 04 00 | 00*4");
   NexthopInfoRow out;
   expectFailure(wrongType + "105", {[&] { parent.getColumnStruct<NexthopInfoRow>(groupSlot, out); }});
   const std::string text = "Zorva::ZoOutOfRange: row bytes at offset 9, width 4, lie outside the buffer of 12 bytes";
   EXPECT_EQ(countsOf([&] { expectFailure(text, {[&] { lies.getColumnStruct<NexthopInfoRow>(4, out); }}); }), Counts());
   EXPECT_EQ(out.rowType(), 2); // the view of the first, untouched by the second
   EXPECT_FALSE(parent.columnEqual<NexthopInfoRow>(hopSlot, parent, groupSlot)); // the other's type is not tested
   for (const auto compare : {&BaseRow::columnEqual<NexthopInfoRow>, &BaseRow::columnLess<NexthopInfoRow>})
      EXPECT_EQ(countsOf([&] { failureOf([&] { (void)(parent.*compare)(groupSlot, parent, hopSlot); }); }),
                (Counts{2, 0, 2, 1, 0, 1})); // both objects are made before the first column is refused
}

// A row type that nests itself.
extern const Zorva::NestedType linkType;
constexpr auto linkColumns = Zorva::layOut({{"next", Type::row, {}, &linkType}, {"id", Type::u16}});
struct Link : BaseRow
{
   static constexpr const auto& columns_ = linkColumns;
   static len_t protRowType() { return 4; }
   using BaseRow::BaseRow;
   Link(const BaseRow& row) : BaseRow(row) {}
   std::string toString() const override { return Zorva::Internal::rowText<columns_>(*this); }
   std::string toJson() const override { return Zorva::Internal::rowJson<columns_>(*this); }
   bool rowEqual(const BaseRow& other) const override { return Zorva::Internal::contentEqual<columns_>(*this, other); }
   bool rowLess(const BaseRow& other) const override { return Zorva::Internal::contentLess<columns_>(*this, other); }
   std::uint64_t rowHash() const override { return Zorva::Internal::contentHash<columns_>(*this); }
};
constinit const Zorva::NestedType linkType = Zorva::nestedType<Link>;

TEST(NestedRows, OperationsAndVerificationGo16Deep)
{
   const std::string tooDeep = "Zorva::ZoOutOfRange: rows nested deeper than 16";
   const Link loop(rowOf("0a 00 04 00 | 00 00 0a 00 | 07 00")); // within itself
   expectFailure(tooDeep, {[&] { loop.toString(); }, [&] { loop.toJson(); }, [&] { loop.rowHash(); },
                           [&] { loop.rowEqual(loop); }, [&] { loop.rowLess(loop); }});
   Bytes bytes;
   std::string text = "{len: 0, NULL}", json = "null";
   for (unsigned char id = 0; id <= 17; ++id) { // each row in front of the one in it
      const auto length = static_cast<unsigned char>(bytes.size());
      const Bytes outer{static_cast<unsigned char>(length + 10), 0, 4, 0, 10, 0, length, 0, id, 0};
      bytes.insert(bytes.begin(), outer.begin(), outer.end());
      const std::string last = std::to_string(id);
      text = "{next = " + text + ", id = " + last + '}', json = "{\"next\":" + json + ", \"id\":" + last + '}';
      const Link row(BaseRow::copyOf(bytes));
      const std::string end = id <= 16 ? "none" : tooDeep;
      EXPECT_EQ(failureOf([&] { EXPECT_EQ('{' + row.toString() + '}', text); }), end);
      EXPECT_EQ(failureOf([&] { EXPECT_EQ(row.toJson(), json); }), end);
      EXPECT_EQ(failureOf([&] { EXPECT_FALSE(row.rowEqual(row)); }), end); // none within the last
      EXPECT_EQ(failureOf([&] { EXPECT_FALSE(row.rowLess(row)); }), end);
      EXPECT_EQ(Zorva::verifyRow<Link>(bytes), id <= 16 ? RowCheck() : (RowCheck{RowFault::nestedTooDeep, 17 * 10}));
      EXPECT_EQ(Zorva::describeRow<Link>(row).find("| no row\n") != text.npos, id > 16);
   }
}

TEST(NestedRows, SideBySideTheyAreNotDeep)
{
   std::vector<Zorva::Column> columns(17, linkColumns.columns[0]);
   Bytes bytes{242, 0, 4, 0};
   for (unsigned char i = 0; i < 17; ++i) {
      columns[i].offset = static_cast<len_t>(bytes.size());
      bytes.insert(bytes.end(), {static_cast<unsigned char>(72 + 10 * i), 0, 10, 0});
   }
   for (unsigned char i = 0; i < 17; ++i)
      bytes.insert(bytes.end(), {10, 0, 4, 0, 0, 0, 0, 0, i, 0});
   EXPECT_EQ(Zorva::Internal::RowListing(bytes).build(columns).find("no row"), std::string::npos);
}
