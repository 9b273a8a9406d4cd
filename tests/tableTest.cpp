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

static NexthopInfoRow hop(unsigned id, unsigned port) { return NexthopInfoRow::key(id).portIdIs(port); }

// A row of its own, read-only, or a view of a row inside another's bytes.
static NexthopInfoRow hopIn(unsigned form, unsigned id, unsigned port)
{
   NexthopInfoRow row = hop(id, port);
   Exposed<BaseRow> outer(60);
   std::ranges::copy(row.bytes(), outer.header() + 7);
   return form == 2 ? NexthopInfoRow(Zorva::SubRow(outer, 7)) : NexthopInfoRow(row.readOnlyIs(form == 1));
}

// What must not get lost: whose bytes a row has, its position, and its flags.
static auto stateOf(const BaseRow& row)
{
   const Exposed<BaseRow> exposed(row);
   return std::tuple(row.bytes().data(), row.rowPosition(), exposed.subRow_, row.readOnly());
}

template <class AnyTable>
static void expectAMap(const std::function<AnyTable()>& newTable, unsigned keys)
{
   AnyTable table = newTable();
   std::map<unsigned, NexthopInfoRow> model;
   std::minstd_rand random(7);
   const auto drawn = [&](unsigned n) { return static_cast<unsigned>(random() / 8 % n); };
   const auto isErased = [](const NexthopInfoRow& row) { return row.portId() == 0; };
   for (unsigned step = 0; step < 50'000; ++step) {
      const unsigned id = drawn(keys);
      const NexthopInfoRow row = hopIn(drawn(3), id, drawn(2));
      const auto held = model.find(id);
      const auto found = table.find(row);
      ASSERT_EQ(found ? stateOf(*found) : stateOf(row), held != model.end() ? stateOf(held->second) : stateOf(row));
      switch (drawn(step % keys == 0 ? 11 : 5)) {
      case 0: ASSERT_EQ(table.erase(row), model.erase(id) == 1); break;
      case 1:
      case 2: ASSERT_EQ(table.insert(row), model.emplace(id, row).second); break;
      case 5: table.reserve(table.size() + drawn(keys)); break;
      case 6: table.clear(), model.clear(); break;
      case 7: {
         const auto first = table.begin(); // which the rows take along
         AnyTable moved(std::move(table)), other = newTable();
         moved.swap(other);
         table = std::move(other);
         ASSERT_TRUE(table.begin() == first);
         break;
      }
      case 8: {
         unsigned asked = 0;
         const auto failing = [&](const NexthopInfoRow&) { return ++asked < model.size() ? true : throw asked; };
         if (!model.empty()) {
            EXPECT_THROW(table.erase_if(failing), unsigned);
         }
         break;
      }
      case 9:
         ASSERT_EQ(table.erase_if(isErased), std::erase_if(model, [&](auto& e) { return isErased(e.second); }));
         break;
      case 10: {
         std::map<unsigned, NexthopInfoRow> walked;
         for (auto at = table.begin(); at != table.end();) {
            const NexthopInfoRow next = *at;
            ASSERT_TRUE(walked.emplace(next.id(), next).second) << next << " for the second time";
            at = isErased(next) ? table.erase(at) : std::next(at);
         }
         ASSERT_EQ(walked.size(), model.size());
         std::erase_if(model, [&](auto& e) { return isErased(e.second); });
         break;
      }
      default:
         const Table::Replaced expected{held == model.end() ? 0 : 1 + held->second.rowEqual(row)};
         ASSERT_EQ(table.replace(row), expected);
         if (expected != Table::Replaced::unchanged)
            model.insert_or_assign(id, row);
      }
      ASSERT_EQ(table.size(), model.size());
      if (step % keys != 0)
         continue;
      std::vector<decltype(stateOf(row))> rows, expected;
      std::ranges::transform(rowsInOrder<NexthopInfoRow>(table), std::back_inserter(rows), stateOf);
      std::ranges::transform(model | std::views::values, std::back_inserter(expected), stateOf);
      ASSERT_EQ(rows, expected);
   }
}

TEST(Table, BehavesAsAMapByKey)
{
   Zorva::installRowOpsGenerator("Clashing", nullptr);
   Zorva::ZorvaDB::loadMetadata("Clashing");
   const BaseRow classRow = Zorva::ZorvaDB::zoClass("Clashing");
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
concept IsKey = requires(TableOf<NexthopInfoRow> table, Key key)
{
   table.find(key), table.insert(key);
};
static_assert(IsKey<NexthopInfoRow> && !IsKey<EcmpMemberListRow> && !IsKey<BaseRow>);
static_assert(std::forward_iterator<TableOf<NexthopInfoRow>::const_iterator>);

TEST(Table, SharesWhatItFilesAndRefusesTheRest)
{
   expectFailure("std::invalid_argument: no row operations are installed for row type \"?\"", {[] { Table("?"); }});
   Table table(NexthopInfoRow::rowTypeName());
   const NexthopInfoRow row = hop(1, 2);
   EXPECT_EQ(countsOf([&] { table.insert(row), table.reserve(200'000); }), (Counts{0, 0, 1, 0, 0, 0}));
   EXPECT_EQ(table.rowTypeName(), row.rowTypeName());
   expectFailure(nullRow, {[&] { table.insert({}); }, [&] { table.replace({}); }, [&] { table.find({}); }});
   EXPECT_THROW(table.reserve(SIZE_MAX), std::length_error);

   TableOf<NexthopInfoRow> typed;
   NexthopInfoRow refused;
   expectFailure(wrongType + '0', {[&] { table.insert(EcmpMemberListRow::key(1)); }, // a key that is held
                                   [&] { table.replace(EcmpMemberListRow::key(9)); },
                                   [&] { refused = EcmpMemberListRow(); }, // which has that row's bytes now
                                   [&] { typed.insert(refused); }});
}

TEST(Table, OrdersItsRowsAsNoOtherDoes)
{
   Table table(NexthopInfoRow::rowTypeName()), same(NexthopInfoRow::rowTypeName());
   for (unsigned id = 0; id < 100; ++id)
      table.insert(hop(id, 0)), same.insert(hop(id, 0));
   EXPECT_FALSE(std::ranges::equal(
      table, same, {}, [](auto& row) { return NexthopInfoRow(row).id(); },
      [](auto& row) { return NexthopInfoRow(row).id(); }));
}
