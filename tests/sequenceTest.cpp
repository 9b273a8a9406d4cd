// Sequences of operations on four rows against a model: all short ones, and long random ones.
#include <cstdlib>
#include <random>

#include "tests/support/sequence.h"

using namespace Test;
using Bytes = std::vector<unsigned char>;

const bool full = std::getenv("ZORVA_TEST_FULL") != nullptr;

void expectRuns(const Bytes& bytes, unsigned seed = 0)
{
   ASSERT_EQ(failureOf([&] { Sequence(bytes).run(); }), "none") << "seed " << seed << ", bytes " << testing::PrintToString(bytes);
}

// Every operation on the first three rows, each kind of store included.
std::vector<Bytes> steps()
{
   constexpr unsigned usesFlag = 1 << 0 | 1 << 1 | 1 << 7 | 1 << 10 | 1 << 14;
   std::vector<Bytes> all;
   for (unsigned char operation = 0; operation < Sequence::operations; ++operation)
      for (unsigned char rows = 0; rows < 32; ++rows) {
         const bool isStore = operation == 4 || operation == 5;
         if (rows % 4 == 3 || rows / 4 % 4 == 3 || (isStore && rows > 3) || (rows > 15 && !(usesFlag >> operation & 1)))
            continue;
         using Rests = std::vector<Bytes>;
         const Rests rests = !isStore ? Rests{{}} : operation == 4 ? Rests{{1, 7}, {8, 1}} : Rests{{5, 0}, {5, 2}, {5, 7}, {5, 1, 255}};
         for (const Bytes& rest : rests) {
            all.push_back({operation, rows});
            all.back().insert(all.back().end(), rest.begin(), rest.end());
         }
      }
   return all;
}

TEST(Sequence, EveryShortOne)
{
   // At first row 0 is a group with both arrays, row 1 a next hop, and row 2 shares the bytes of row 0.
   Bytes sequence{0, 16, 1, 1, 1, 1, 1, 3, 5, 0, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 7, 2};
   const auto all = steps();
   const auto runAll = [&](auto self, unsigned left) -> void {
      const std::size_t length = sequence.size();
      for (const Bytes& step : all) {
         sequence.insert(sequence.end(), step.begin(), step.end());
         if (left > 1)
            self(self, left - 1);
         else
            expectRuns(sequence);
         sequence.resize(length);
      }
   };
   runAll(runAll, full ? 3 : 2);
   std::cout << all.size() << " steps\n";
}

TEST(Sequence, RandomOnes)
{
   const char* const given = std::getenv("ZORVA_TEST_SEED");
   const unsigned seed = given != nullptr ? static_cast<unsigned>(std::stoul(given)) : full ? std::random_device()() : 1;
   std::cout << "ZORVA_TEST_SEED=" << seed << '\n';
   std::mt19937 random(seed);
   for (int run = 0; run < (full ? 1000000 : 5000); ++run) {
      Bytes bytes(random() % 100);
      std::ranges::generate(bytes, [&] { return static_cast<unsigned char>(random()); });
      expectRuns(bytes, seed);
   }
}
