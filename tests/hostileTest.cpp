// Rows with every possible fault of one byte, one length, offset or count, and of every length, put to every use.
#include "tests/support/hostile.h"

using namespace Test;

// The offsets of the row length, of both halves of each slot and of each array's count, those of nested rows included.
std::vector<std::size_t> fields(std::span<const Zorva::Column> columns, const Bytes& row, std::size_t base = 0)
{
   std::vector<std::size_t> all{base};
   for (const Zorva::Column& column : columns) {
      const std::size_t slot = base + column.offset, data = base + row[slot]; // the rows are short
      if (!column.isVariable())
         continue;
      all.insert(all.end(), {slot, slot + 2});
      if (row[slot + 2] != 0 && column.nested == nullptr)
         all.push_back(data);
      else if (row[slot + 2] != 0)
         std::ranges::copy(fields(column.nested->columns, row, data), std::back_inserter(all));
   }
   return all;
}

template <class Row>
void hurt(const Bytes& seed)
{
   turns = 1;
   ASSERT_EQ(failureOf([&] { useBytes<Row>(seed); }), "none");
   const bool mayFail = std::exchange(heap.mayFail, false); // once was enough
   // Single bytes cover every small number; of the large ones, some will do every day.
   const bool full = std::getenv("ZORVA_TEST_FULL") != nullptr;
   const auto hurtField = [&](std::size_t at, std::size_t width, unsigned stride) {
      for (unsigned value = 0; value < 1u << 8 * width; value += stride) {
         Bytes bytes(seed);
         std::memcpy(&bytes[at], &value, width);
         ASSERT_EQ(failureOf([&] { useBytes<Row>(bytes); }), "none") << "offset " << at << ", value " << value;
      }
   };
   for (std::size_t at = 0; at < seed.size(); ++at) {
      hurtField(at, 1, full ? 1 : 5);
      ASSERT_EQ(failureOf([&] { useBytes<Row>({seed.data(), seed.data() + at}); }), "none") << "cut off at " << at;
   }
   turns = full ? 7 : 1;
   for (const std::size_t at : fields(Row::columns_.columns, seed))
      hurtField(at, 2, full ? 1 : 1021);
   heap.mayFail = mayFail;
}

TEST(Hostile, NexthopInfoRow)
{
   Bytes seed = snapshot(NexthopInfoRow(1, 2, true, 3, 4, 5, {2, 0, 0, 0, 0, 1}, {2, 0, 0, 0, 0, 2}, true, -1, 10));
   for (const std::size_t size : {52u, 60u}) { // the last with spare bytes
      seed.resize(size);
      hurt<NexthopInfoRow>(seed);
   }
}

TEST(Hostile, EcmpMemberListRow)
{
   for (const std::size_t size : {0u, 1u, 4u})
      for (const std::size_t other : {0u, 2u}) {
         Exposed<EcmpMemberListRow> group(1, 2, true, 3, 4, upTo(size), upTo(other));
         capacityIs(group, 100);
         hurt<EcmpMemberListRow>(snapshot(group));
         hurt<EcmpMemberListRow>(snapshot(group.memberIs(upTo(size / 2)).watchIs({7}))); // dead bytes
      }
}

using NestedRows = testing::TestWithParam<unsigned>;

TEST_P(NestedRows, TestRow)
{
   Exposed<TestRow> row;
   capacityIs(row, 200);
   const auto nest = [&](len_t slot, const BaseRow& nested) {
      const len_t length = nested.rowLength(), place = row.makeFreeSpace(row.slotAt(slot), length, 53);
      std::ranges::copy(nested.bytes(), row.header() + place);
      row.updateVCT(slot, place, length, false);
   };
   row.firstIs({1, 2});
   if (GetParam() & 1)
      nest(45, NexthopInfoRow::key(7));
   row.setColumn<unsigned>(33, upTo(3), 53);
   if (GetParam() & 2)
      nest(49, EcmpMemberListRow(1, 2, true, 3, 4, {1, 2}, {3}));
   if (GetParam() & 4)
      row.firstIs({1}); // dead bytes
   hurt<TestRow>(snapshot(row));
}
INSTANTIATE_TEST_SUITE_P(Hostile, NestedRows, testing::Range(0u, 8u));
