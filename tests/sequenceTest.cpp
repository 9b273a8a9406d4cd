// Sequences of operations on four rows against a model: all short ones, and long random ones.
#include <random>

#include "tests/support/sequence.h"

using namespace Test;

void expectRuns(const Bytes& bytes)
{
   const long live = heap.live;
   ASSERT_EQ(failureOf([&] { Sequence().run(bytes); }), "none") << testing::PrintToString(bytes);
   ASSERT_EQ(heap.live, live);
}

// Appends every choice of `left` operations on the first three rows.
void expectEveryOneRuns(const Bytes& sequence, unsigned left)
{
   using enum Operation;
   constexpr Operation usingFlag[] = {assign, moveAssign, write, writeArray, copy, readOnly};
   if (left == 0)
      return expectRuns(sequence);
   for (unsigned char operation = 0; operation < Sequence::operations; ++operation)
      for (unsigned char rows = 0; rows < (std::ranges::count(usingFlag, Operation(operation)) ? 32 : 16); ++rows) {
         if (rows % 4 == 3 || rows / 4 % 4 == 3)
            continue;
         // For a write, the column and its value: some fixed ones, or an array, some of which are too long.
         const auto column = static_cast<unsigned char>(Operation(operation) == writeArray ? 0 : rows / 8);
         Bytes next(sequence);
         next.insert(next.end(), {operation, rows, column, static_cast<unsigned char>(rows < 24 ? rows : 255)});
         expectEveryOneRuns(next, left - 1);
      }
}

TEST(Sequence, EveryShortOne)
{
   heap.mayFail = heap.mayFail && !isFull;
   // Rows 0 and 1 differ in all but one column and have both arrays; row 2 shares the bytes of row 0.
   expectEveryOneRuns({0, 0, 1, 1, 0, 1, 2, 2, 4, 1, 0, 1, 7, 2, 0, 0}, isFull ? 3 : 2);
}

TEST(Sequence, RandomOnes)
{
   const char* const given = std::getenv("ZORVA_TEST_SEED");
   const auto seed = static_cast<unsigned>(given != nullptr ? std::stoul(given) : 1);
   std::cout << "ZORVA_TEST_SEED=" << seed << '\n';
   std::mt19937 random(seed);
   for (int run = 0; run < (isFull ? 1000000 : 5000); ++run) {
      Bytes bytes(random() % 100);
      std::ranges::generate(bytes, [&] { return static_cast<unsigned char>(random()); });
      expectRuns(bytes);
   }
}
