// Sequences of operations on four rows against a model: all short ones, and long random ones.
#include <random>

#include "tests/support/sequence.h"

using namespace Test;
using Bytes = std::vector<unsigned char>;

const bool full = std::getenv("ZORVA_TEST_FULL") != nullptr;

void expectRuns(const Bytes& bytes)
{
   ASSERT_EQ(failureOf([&] { Sequence(bytes).run(); }), "none") << testing::PrintToString(bytes);
}

// Appends every choice of `left` operations on the first three rows.
void expectEveryOneRuns(const Bytes& sequence, unsigned left)
{
   constexpr unsigned usesFlag = 1 << 0 | 1 << 1 | 1 << 4 | 1 << 5 | 1 << 7 | 1 << 10 | 1 << 14;
   if (left == 0)
      return expectRuns(sequence);
   for (unsigned char operation = 0; operation < Sequence::operations; ++operation)
      for (unsigned char rows = 0; rows < (usesFlag >> operation & 1 ? 32 : 16); ++rows) {
         Bytes next(sequence);
         next.insert(next.end(), {operation, rows});
         if (operation == 4 || operation == 5) // writes an array, or another column
            next.insert(next.end(), {static_cast<unsigned char>(operation == 5 ? 5 : rows / 4), rows});
         if (rows % 4 < 3 && rows / 4 % 4 < 3)
            expectEveryOneRuns(next, left - 1);
      }
}

TEST(Sequence, EveryShortOne)
{
   // Row 0 is a group with both arrays, row 1 a next hop, and row 2 shares the bytes of row 0.
   expectEveryOneRuns({0, 16, 1, 1, 1, 1, 1, 3, 5, 0, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 7, 2}, full ? 3 : 2);
}

TEST(Sequence, RandomOnes)
{
   const char* const given = std::getenv("ZORVA_TEST_SEED");
   const auto seed = static_cast<unsigned>(given != nullptr ? std::stoul(given) : 1);
   std::cout << "ZORVA_TEST_SEED=" << seed << '\n';
   std::mt19937 random(seed);
   for (int run = 0; run < (full ? 1000000 : 5000); ++run) {
      Bytes bytes(random() % 100);
      std::ranges::generate(bytes, [&] { return static_cast<unsigned char>(random()); });
      expectRuns(bytes);
   }
}
