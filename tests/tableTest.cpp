// The embedded core's table: filing, look-up and removal by key, against a plain map as the model.
#include <map>
#include <random>

#include "embedded/table.h"
#include "tests/support/rows.h"

using namespace Test;
using Zorva::Embedded::Table;

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

TEST(Table, BehavesAsAMapByKey)
{
   Zorva::installRowOpsGenerator("Clashing", nullptr);
   Zorva::installRowOpsGenerator("Clashing", &generator); // the last one counts
   expectFailure("std::invalid_argument: row type \"Clashing\" has no index 0", {[] { Table("Clashing"); }});
   generator.index0_ = std::make_shared<ClashingOps>();
   const std::map<unsigned, std::string> types = {{150, "Clashing"}, {3000, NexthopInfoRow::rowTypeName()}};
   for (const auto& [keys, type] : types) {
      Table table(type);
      std::map<unsigned, unsigned> model, walked;
      std::minstd_rand random(7);
      for (int step = 0; step < 50'000; ++step) {
         const auto id = static_cast<unsigned>(random() % keys), port = static_cast<unsigned>(random() / 8 % 2);
         const unsigned held = model.contains(id) ? model[id] : 9;
         ASSERT_EQ(table.contains(hop(id, 0)) ? NexthopInfoRow(*table.find(hop(id, 0))).portId() : 9, held);
         const Table::Replaced expected{(held != 9) + (held == port)}; // inserted, changed, unchanged
         switch (random() / 8 % 3) {
         case 0: ASSERT_EQ(table.insert(hop(id, port)), model.emplace(id, port).second); break;
         case 1: ASSERT_EQ(table.erase(hop(id, port)), model.erase(id) == 1); break;
         default: model[id] = port; ASSERT_EQ(table.replace(hop(id, port)), expected);
         }
      }
      for (const NexthopInfoRow row : table)
         EXPECT_TRUE(walked.emplace(row.id(), row.portId()).second);
      EXPECT_TRUE(walked == model && table.size() == model.size());
   }
}

TEST(Table, SharesWhatItFilesAndRefusesTheRest)
{
   expectFailure("std::invalid_argument: no row operations are installed for row type \"?\"", {[] { Table("?"); }});
   Table table(NexthopInfoRow::rowTypeName());
   NexthopInfoRow row = hop(1, 2);
   EXPECT_EQ(countsOf([&] { table.insert(row), table.reserve(200'000); }), (Counts{0, 0, 1, 0, 0, 0}));
   EXPECT_EQ(table.find(row)->bytes().data(), row.bytes().data());
   row.portIdIs(3); // takes a private copy
   expectFailure(nullRow, {[&] { table.insert({}); }, [&] { table.replace({}); }, [&] { table.find({}); }});
   expectFailure(wrongType + '0', {[&] { table.insert(EcmpMemberListRow()); }});
   EXPECT_THROW(table.reserve(SIZE_MAX), std::length_error);
   Table moved(std::move(table));
   table = std::move(moved);
   auto at = table.begin();
   EXPECT_TRUE(table.size() == 1 && !table.empty() && table.rowTypeName() == row.rowTypeName());
   EXPECT_TRUE(NexthopInfoRow(*at).portId() == 2 && at->rowLength() == 52 && at++ == table.begin() &&
               at == table.end());
}
