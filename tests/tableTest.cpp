// The embedded core's tables, generic and typed: filing, look-up, walks and removal by key, against a plain map as the
// model.
#include <map>
#include <random>

#include "embedded/tableOf.h"
#include "tests/support/rows.h"

using namespace Test;
using Zorva::Embedded::Table, Zorva::Embedded::TableOf;

// Next hops with three hash values between them: equal hashes tell nothing, and probes are long and pass the end.
struct ClashingOps : P4RuntimeRouting::NexthopInfoRowRowOps_KEY
{
   std::uint64_t keyHash(const BaseRow& row) override { return NexthopInfoRowRowOps_KEY::keyHash(row) % 3; }
};
static struct Generator : Zorva::RowOpsGenerator
{
   void operator()(std::vector<std::shared_ptr<Zorva::RowOpsBase>>&) override {}
   std::shared_ptr<Zorva::RowOpsBase> operator()(unsigned char) override { return index0_; }
   std::shared_ptr<Zorva::RowOpsBase> index0_;
} generator;

// A next hop that is a row of its own, read-only, or a view of a row inside another's bytes.
static NexthopInfoRow hop(unsigned id, unsigned port, unsigned form = 0)
{
   NexthopInfoRow row = NexthopInfoRow::key(id).portIdIs(port);
   Exposed<BaseRow> outer(60);
   std::ranges::copy(row.bytes(), outer.header() + 7);
   return form == 2 ? NexthopInfoRow(Zorva::SubRow(outer, 7)) : NexthopInfoRow(row.readOnlyIs(form == 1));
}

// Port, whose bytes the row has, its position, and whether it is a view and read-only: what must not get lost.
using Held = std::tuple<unsigned, const void*, unsigned, bool, bool>;
static Held heldAs(const NexthopInfoRow& row)
{
   return {row.portId(), row.bytes().data(), row.rowPosition(), Exposed<BaseRow>(row).subRow_, row.readOnly()};
}

template <class AnyTable>
static void expectAMap(const std::function<AnyTable()>& newTable, unsigned keys)
{
   AnyTable table = newTable();
   std::map<unsigned, Held> model;
   std::minstd_rand random(7);
   const auto drawn = [&](unsigned n) { return static_cast<unsigned>(random() / 8 % n); };
   const Held none(2, {}, {}, {}, {});
   const auto isErased = [](const NexthopInfoRow& row) { return row.portId() == 0; };
   const auto eraseInModel = [&] { return std::erase_if(model, [](auto& e) { return std::get<0>(e.second) == 0; }); };
   for (unsigned step = 0; step < 50'000; ++step) {
      const unsigned id = drawn(keys), port = drawn(2);
      const NexthopInfoRow row = hop(id, port, drawn(3));
      const Held held = model.contains(id) ? model[id] : none;
      const auto found = table.find(row);
      ASSERT_EQ(found ? heldAs(*found) : none, held);
      const Table::Replaced expected{(std::get<0>(held) != 2) + (std::get<0>(held) == port)};
      switch (drawn(step % keys == 0 ? 9 : 4)) {
      case 0: ASSERT_EQ(table.erase(row), model.erase(id) == 1); break;
      case 1: ASSERT_EQ(table.insert(row), model.emplace(id, heldAs(row)).second); break;
      case 4: table.reserve(drawn(keys)); break;
      case 5: table.clear(), model.clear(); break;
      case 6: {
         AnyTable other = newTable();
         const auto first = table.begin(); // which the rows take along
         std::swap(table, other), table.swap(other);
         ASSERT_TRUE(table.begin() == first);
         break;
      }
      case 7: ASSERT_EQ(table.erase_if(isErased), eraseInModel()); break;
      case 8: {
         auto left = model;
         for (auto at = table.begin(); at != table.end(); at = isErased(*at) ? table.erase(at) : std::next(at))
            ASSERT_EQ(left.erase(NexthopInfoRow(*at).id()), 1u);
         ASSERT_EQ(left.size(), 0u);
         eraseInModel();
         break;
      }
      default:
         ASSERT_EQ(table.replace(row), expected);
         if (expected != Table::Replaced::unchanged)
            model[id] = heldAs(row);
      }
      ASSERT_EQ(table.size(), model.size());
      if (step % keys == 0) {
         std::vector<std::pair<unsigned, Held>> rows;
         for (const NexthopInfoRow& each : rowsInOrder<NexthopInfoRow>(table))
            rows.emplace_back(each.id(), heldAs(each));
         ASSERT_EQ(rows, decltype(rows)(model.begin(), model.end()));
      }
   }
}

TEST(Table, BehavesAsAMapByKey)
{
   Zorva::installRowOpsGenerator("Clashing", nullptr);
   Zorva::ZorvaDB::loadMetadata("Clashing");
   const BaseRow classRow = Zorva::ZorvaDB::zoClass("Clashing");
   for (const char* const name : {"Clashing", "?"}) // one that is known, one that has no generator
      Zorva::ZorvaDB::loadMetadata(name);
   Zorva::installRowOpsGenerator("Clashing", &generator); // the last one counts, and the type keeps its id
   EXPECT_EQ(snapshot(Zorva::ZorvaDB::zoClass("Clashing")), snapshot(classRow));
   expectFailure("std::invalid_argument: row type \"Clashing\" has no index 0", {[] { Table("Clashing"); }});
   generator.index0_ = std::make_shared<ClashingOps>();
   expectAMap<Table>([] { return Table("Clashing"); }, 150);
   for (const unsigned keys : {12U, 3000U}) { // twelve rows fit into the smallest table, and mostly pass its end
      expectAMap<Table>([] { return Table(NexthopInfoRow::rowTypeName()); }, keys);
      expectAMap<TableOf<NexthopInfoRow>>([] { return TableOf<NexthopInfoRow>(); }, keys);
   }
}

template <class Key>
constexpr bool isKey = requires(TableOf<NexthopInfoRow> table, Key key)
{
   table.find(key), table.insert(key);
};
static_assert(isKey<NexthopInfoRow> && !isKey<EcmpMemberListRow> && !isKey<BaseRow>);

TEST(Table, SharesWhatItFilesAndRefusesTheRest)
{
   expectFailure("std::invalid_argument: no row operations are installed for row type \"?\"", {[] { Table("?"); }});
   Table table(NexthopInfoRow::rowTypeName()), other(table.rowTypeName());
   const NexthopInfoRow row = hop(1, 2);
   EXPECT_EQ(countsOf([&] { table.insert(row), table.reserve(200'000); }), (Counts{0, 0, 1, 0, 0, 0}));
   expectFailure(nullRow, {[&] { table.insert({}); }, [&] { table.replace({}); }, [&] { table.find({}); }});
   EXPECT_THROW(table.reserve(SIZE_MAX), std::length_error);
   TableOf<NexthopInfoRow> typed;
   NexthopInfoRow refused;
   expectFailure(wrongType + '0', {[&] { table.insert(EcmpMemberListRow::key(1)); }, // a key that is held
                                   [&] { table.replace(EcmpMemberListRow::key(9)); },
                                   [&] { refused = EcmpMemberListRow(); }, // which has that row's bytes now
                                   [&] { typed.insert(refused); }});
   for (unsigned id = 2; id <= 100; ++id)
      table.insert(hop(id, 0));
   other.reserve(200'000);
   std::ranges::for_each(table, [&](const BaseRow& each) { other.insert(each); });
   const auto isSame = [](auto& a, auto& b) { return a.bytes().data() == b.bytes().data(); };
   EXPECT_FALSE(table.begin() == other.begin());
   EXPECT_FALSE(std::ranges::equal(table, other, isSame)); // each has an order of its own
   EXPECT_THROW(table.erase_if([asked = 0](auto&) mutable { return ++asked < 100 ? true : throw asked; }), int);
   EXPECT_EQ(table.size(), 100u);
   table.clear(), other.clear();
   EXPECT_EQ(Exposed<BaseRow>(row).rowBuf_.use_count(), 2); // its own and this copy's
}
