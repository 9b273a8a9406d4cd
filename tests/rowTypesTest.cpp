// The two routing row types: their bytes, conversions, identities, operations objects and text.
#include "rowtype/describe.h"
#include "tests/support/rows.h"
#include "tests/support/streams.h"

using namespace Test;
using namespace P4RuntimeRouting;

const std::string leading = "01 00*7 | 02 00*7 | 01 | 03 00*3 | 04 00*3 | ";
const std::string hopBytes = "34 00 01 00 | " + leading + "05 00*3 | 02 00*4 01 | 02 00*4 02 | 00 | ff*4 | 0a 00";
const std::string groupBytes = "33 00 02 00 | " + leading + "25 00 0e 80 | 00*4 | 03 00 01 00*3 02 00*3 03 00*3";
const EthAddr dmac(2, 0, 0, 0, 0, 1), smac(2, 0, 0, 0, 0, 2);

TEST(RowTypes, EveryColumnLiesAtItsPlace)
{
   EXPECT_TRUE(isBytes(NexthopInfoRow(1, 2, true, 3, 4, 5, dmac, smac, false, -1, 10), hopBytes));
   EXPECT_TRUE(isBytes(EcmpMemberListRow(1, 2, true, 3, 4, {1, 2, 3}, {}), groupBytes));
   EXPECT_TRUE(isBytes(EcmpMemberListRow(), "25 00 02 00 | 00*33"));
   EXPECT_TRUE(isBytes(NexthopInfoRow(), "34 00 01 00 | 00*48"));
   EXPECT_TRUE(isBytes(NexthopInfoRow::key(7), "34 00 01 00 | 00*21 | 07 00*26"));
   EXPECT_TRUE(isBytes(EcmpMemberListRow::key(9), "25 00 02 00 | 00*21 | 09 00*11"));
   NexthopInfoRow hop;
   hop.encapIdIs(10).encapTypeIs(-1).dropIs(true).smacIs(smac).dmacIs(dmac).portIdIs(5).idIs(4).entryIdIs(3);
   EXPECT_TRUE(isBytes(hop.dropIs(false).validIs(true).entryHandleIs(2).genIdIs(1), hopBytes));
   EXPECT_EQ(tuple(hop.isFullyDefined(), hop.isBaseRow(), hop.vcd()), tuple(true, false, Zorva::vcdType()));
   hop.clearRow();
   EXPECT_TRUE(isBytes(hop, "34 00 01 00 | 00*48"));
   EcmpMemberListRow group;
   group.genIdIs(1).entryHandleIs(2).validIs(true).entryIdIs(3).idIs(4).memberIs(std::array{1u, 2u, 3u});
   EXPECT_EQ(tuple(group.rowEqual(rowOf(groupBytes)), group.isBaseRow()), tuple(true, false));
   EXPECT_EQ(tuple(group.genId(), group.entryHandle(), group.valid(), group.entryId(), group.id()),
             tuple(1u, 2u, true, 3u, 4u));
   expectFailure("none",
                 {NexthopInfoRow::zoTypeSignature, [] { NexthopInfoRow::reset(), NexthopInfoRow::protRowType(); },
                  [] { EcmpMemberListRow::reset(), EcmpMemberListRow::protRowType(); }});
}

TEST(RowTypes, ConversionsShareAndCheck)
{
   Exposed<BaseRow> row = rowOf(hopBytes), other = rowOf(groupBytes);
   NexthopInfoRow hop(row), &same = hop;
   EXPECT_EQ(row.rowBuf_.use_count(), 2);
   expectFailure(wrongType + '4', {[&] { NexthopInfoRow view(Zorva::SubRow(rowOf("08 00*3 | " + groupBytes), 4)); }});
   expectFailure(wrongType + '0',
                 {[&] { NexthopInfoRow copied(std::as_const(other)); }, [&] { NexthopInfoRow::browToString(other); },
                  [&] { NexthopInfoRow moved{BaseRow(other)}; }, [&] { hop = rowOf(groupBytes); }, [&] { hop = same; },
                  [&] { (void)(static_cast<const BaseRow&>(hop) == NexthopInfoRow()); }});
   failureOf([&] { NexthopInfoRow moved(std::move(other)); });
   EXPECT_EQ(tuple(other.isNull(), NexthopInfoRow(other).isNull()), tuple(true, true)) << "moved from";
}

// Each bit of a fixed column decides content identity, of the key column key identity; the type is rowEqual's alone.
template <class T, class Generator>
void expectIdentity(const std::string& bytes, std::size_t fixedEnd)
{
   Zorva::RowOpsGenerator& generator = Generator::rowOpsGenerator_;
   const auto made = generator(0);
   std::vector<std::shared_ptr<Zorva::RowOpsBase>> list(3, made);
   expectFailure("none", {[&] { generator(list); }});
   EXPECT_THAT(list, testing::ElementsAre(made, made, made, testing::AllOf(testing::NotNull(), testing::Ne(made))));
   EXPECT_EQ(tuple(generator(1), generator(255)), tuple(nullptr, nullptr));
   static_assert(!std::is_copy_constructible_v<Generator>, "a copy would never be registered");
   static struct : Generator
   {
      using Generator::operator();
      std::shared_ptr<Zorva::RowOpsBase> operator()(unsigned char) override { return {}; }
   } silent; // what it says of one index changes nothing of the list
   Zorva::installRowOpsGenerator(T::rowTypeName(), &Generator::rowOpsGenerator_);
   silent(list);
   EXPECT_NE(list.back(), nullptr);
   Zorva::RowOpsBase& ops = *list.back();
   const T row(rowOf(bytes)), none{BaseRow()};
   const Zorva::ContentEqual sameContent;
   const std::uint64_t hash = row.rowHash();
   EXPECT_EQ(tuple(row == T(row), row < T(row), row <= T(row)), tuple(true, false, true));
   EXPECT_EQ(tuple(row.rowEqual(row), ops.rowEquals(row, row), sameContent(row, row)), tuple(true, true, true));
   for (std::size_t byte = 2; byte < fixedEnd; ++byte)
      for (const int bit : {1, 128}) {
         Exposed<BaseRow> other = row.clone();
         other.header()[byte] = static_cast<unsigned char>(other.header()[byte] ^ bit);
         const bool isType = byte < 4, isKey = byte >= 25 && byte < 29;
         EXPECT_EQ(tuple(row.rowEqual(other), sameContent(row, other)), tuple(false, false)) << byte;
         EXPECT_EQ(tuple(ops.rowEquals(row, other), ops.rowHash(other) == hash), tuple(isType, isType)) << byte;
         EXPECT_EQ(tuple(ops.keyEquals(row, other), ops.keyHash(other) == row.hash()), tuple(!isKey, !isKey)) << byte;
         EXPECT_EQ(isType ? 1 : ops.rowLess(row, other) + ops.rowLess(other, row), 1) << byte;
         EXPECT_EQ(ops.keyLess(row, other) + ops.keyLess(other, row), isKey) << byte;
      }
   EXPECT_EQ(tuple(ops.keyHash(none), ops.rowHash(none), ops.getTotalInstructionsExecuted()), tuple(0u, 0u, 0u));
   EXPECT_EQ(tuple(ops.unique(), ops.ordered(), ops.index()), tuple(true, false, 0));
   EXPECT_EQ(tuple(std::hash<T>()(row), Zorva::ContentHash()(row)), tuple(row.hash(), hash));
   expectFailure(nullRow, {[&] { none.hash(); }, [&] { none.rowHash(); }, [&] { row.rowEqual(none); },
                           [&] { ops.rowEquals(none, row); }, [&] { ops.keyLess(row, none); }, [&] { none.toJson(); }});
}

TEST(RowTypes, Identity)
{
   expectIdentity<NexthopInfoRow, NexthopInfoRowRowOpsGenerator>(hopBytes, 52);
   expectIdentity<EcmpMemberListRow, EcmpMemberListRowRowOpsGenerator>(groupBytes, 29);
   EXPECT_EQ(tuple(NexthopInfoRow().hash(), NexthopInfoRow::key(1).hash()), tuple(0xE6546B64, 0xBBDDCB5B9BC10E60));
   const EcmpMemberListRow row(1, 2, true, 3, 4, {1, 2, 3}, {}), other(1, 2, true, 3, 4, {3, 2, 1}, {0});
   EXPECT_EQ(tuple(EcmpMemberListRow().rowHash(), row.rowHash()), tuple(0xC6236A478AD00D8C, 0x567F10E95A423B4A));
   using Zorva::arrayColumnHash;
   using Pair = std::array<std::uint64_t, 2>;
   EXPECT_EQ((Pair{arrayColumnHash(row.member()), arrayColumnHash(other.watch())}), (Pair{0xFB58D153, 0x9E3779B9}));
   EXPECT_EQ(Zorva::Internal::arrayColumnHashes(row.watch(), other.member()), (Pair{0, 0xFB58F049}));
   EXPECT_EQ(tuple(row.hash(), row.rowEqual(other)), tuple(0x80EFAF3848C7880D, false));
   EXPECT_EQ(Halvo::Util::hash("foobar", 6), 0xBF9CF968); // published with the algorithm
   expectFailure(noArrayOrder, {[&] { row.rowLess(other); }});
   NexthopInfoRow a(1, 2, true, 3, 4, 5, dmac, smac, false, -1, 10), b(1, 2, true, 3, 4, 5, dmac, smac, false, 0, 9);
   EXPECT_EQ(tuple(a.rowLess(b), b.rowLess(a)), tuple(true, false)); // signed, and the first difference decides
}

TEST(RowTypes, NumbersOfEveryLength)
{
   char text[Zorva::Internal::longestDecimal];
   for (std::uint64_t power = 1, last = 0; power > last; last = power, power *= 10)
      for (const std::uint64_t number : {power - 1, power, power + 1})
         EXPECT_EQ(std::string(text, Zorva::Internal::putDecimal(text, number)), std::to_string(number));
}

TEST(RowTypes, AddressesAreReadAsTheyAreWritten)
{
   EXPECT_EQ(EthAddr::parse("00:19:af:AF:c0:ff"), EthAddr(0, 0x19, 0xaf, 0xaf, 0xc0, 0xff));
   for (const char* const text :
        {"", "02:00:00:00:00:0", "02:00:00:00:00:011", "02:00:00:00:00-01", "02:00:00:00:00:0g", "02:00:00:00:0@:01",
         "02:00:00:00:/0:01", "02:00:00::0:00:01", " 2:00:00:00:00:01"})
      EXPECT_EQ(EthAddr::parse(text), std::nullopt) << text;
   EXPECT_LT(dmac, smac);
   EXPECT_EQ(std::hash<EthAddr>()(EthAddr(1, 2, 3, 4, 5, 6)), 0x010203040506);
}

TEST(RowTypes, AddressesAndBoolsGoIntoStreamsOfEveryState)
{
   const EthAddr low(1, 35, 69, 103, 137, 171), high(205, 239, 16, 50, 84, 118); // every digit, on both sides
   expectSame(
      [&](std::ostream& os) {
         Zorva::Internal::insertText(os << low << Zorva::FMT<bool>{true} << high << Zorva::FMT<bool>{false}, {});
      },
      [](std::ostream& os) {
         os << "01:23:45:67:89:ab"
            << "true"
            << "cd:ef:10:32:54:76"
            << "false"
            << "";
      },
      streamChanges());
}

TEST(RowTypes, TextBuffersTellTheirLengthAndMoveNowhere)
{
   Zorva::Internal::TextBuffer buffer;
   std::ostream(&buffer) << std::string(600, ' ');
   const auto in = std::ios_base::in, out = std::ios_base::out;
   const auto sought = [&](int offset, auto from, auto which) { return long(buffer.pubseekoff(offset, from, which)); };
   EXPECT_EQ(tuple(sought(0, std::ios_base::cur, out), sought(0, std::ios_base::cur, in)), tuple(600, -1));
   EXPECT_EQ(tuple(sought(1, std::ios_base::cur, out), sought(0, std::ios_base::end, out)), tuple(-1, -1));
}

// A nested row in front of the arrays, of which one stands alone.
constexpr auto mixedColumns = Zorva::layOut(
   {{"hop", Type::row, {}, &Zorva::nestedType<NexthopInfoRow>}, {"list", Type::arrayOfU32}, {"last", Type::u16}});

TEST(RowTypes, NestedRowsHaveAnOrderAndALoneArrayAHash)
{
   using namespace Zorva::Internal;
   const std::string bytes = "48 00 09 00 | 0e 00 34 00 | 42 00 06 80 | 01 00 | " + hopBytes + " | 01 00 07 00*3";
   Exposed<BaseRow> a = rowOf(bytes), b = rowOf(bytes);
   b.header()[64] = 11, b.header()[68] = 8; // the hop's last column, and the element
   EXPECT_EQ(tuple(contentLess<mixedColumns>(a, b), contentLess<mixedColumns>(b, a)), tuple(true, false));
   expectFailure(noArrayOrder, {[&] { contentLess<mixedColumns>(a, a); }});
   EXPECT_NE(contentHash<mixedColumns>(a), contentHash<mixedColumns>(b));
}
