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
      if (row[slot + 2] != 0 && !column.nested.isGiven())
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
   const auto hurtField = [&](std::size_t at, std::size_t width, unsigned stride) {
      for (unsigned value = 0; value < 1u << 8 * width; value += stride) {
         Bytes bytes(seed);
         std::memcpy(&bytes[at], &value, width);
         ASSERT_EQ(failureOf([&] { useBytes<Row>(bytes); }), "none") << "offset " << at << ", value " << value;
      }
   };
   for (std::size_t at = 0; at < seed.size(); ++at) {
      hurtField(at, 1, isFull ? 1 : 5);
      ASSERT_EQ(failureOf([&] { useBytes<Row>({seed.data(), seed.data() + at}); }), "none") << "cut off at " << at;
   }
   turns = isFull ? 7 : 1;
   for (const std::size_t at : fields(Row::columns_.columns, seed))
      hurtField(at, 2, isFull ? 1 : 1021);
   heap.mayFail = mayFail;
}

using Hostile = testing::TestWithParam<std::size_t>;
const std::vector<std::string> rows = linesOf(PROJECT_SOURCE_DIR "/tests/rows/sound.txt");

TEST_P(Hostile, RowsBearEveryUse)
{
   constexpr void (*hurtOf[])(const Bytes&) = {hurt<NexthopInfoRow>, hurt<EcmpMemberListRow>, hurt<TestRow>};
   const Bytes row = bytesOf(rows[GetParam()]);
   hurtOf[row[2] - 1](row);
}
INSTANTIATE_TEST_SUITE_P(Rows, Hostile, testing::Range(std::size_t{0}, rows.size()));
