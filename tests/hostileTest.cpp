// Rows with every possible fault of one byte or two, and of every length, put to every use.
#include "tests/support/hostile.h"

using namespace Test;

template <class Row>
void hurt(const Bytes& seed)
{
   turns = 1;
   ASSERT_EQ(failureOf([&] { useBytes<Row>(seed); }), "none");
   const bool mayFail = std::exchange(heap.mayFail, false); // once was enough
   for (std::size_t at = 0; at < seed.size(); ++at) {
      ASSERT_EQ(failureOf([&] { useBytes<Row>({seed.data(), seed.data() + at}); }), "none") << "cut off at " << at;
      // Every length, offset and count is two bytes somewhere; single bytes cover all small numbers.
      for (const unsigned width : {1u, 2u}) {
         turns = isFull && width == 2 ? 7 : 1;
         const unsigned stride = width == 1 ? (isFull ? 1 : 5) : (isFull ? 7 : 2039);
         for (unsigned value = 0; at + width <= seed.size() && value < 1u << 8 * width; value += stride) {
            Bytes bytes(seed);
            std::memcpy(&bytes[at], &value, width);
            ASSERT_EQ(failureOf([&] { useBytes<Row>(bytes); }), "none") << "offset " << at << ", value " << value;
         }
      }
   }
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
