// Threads that share buffers, first look-ups and tables; of use under a thread sanitizer. Compiled with KNOWN_BAD, the
// row is one whose in-place test does not order another owner's last read before the write: the sanitizer must report
// it, which proves that it would report ours.
#include <gtest/gtest.h>

#include <barrier>
#include <optional>
#include <thread>

#include "embedded/registry.h"
#include "embedded/table.h"
#include "routing_types/P4RuntimeRoutingEcmpTypes.h"

using P4RuntimeRouting::EcmpMemberListRow, P4RuntimeRouting::NexthopInfoRow;

#ifdef KNOWN_BAD
struct SharedRow
{
   std::uint32_t id() const { return *id_; }
   void idIs(std::uint32_t id)
   {
      if (id_.use_count() != 1) // a relaxed load
         id_ = std::make_shared<std::uint32_t>();
      *id_ = id;
   }
   std::shared_ptr<std::uint32_t> id_ = std::make_shared<std::uint32_t>();
};
#else
using SharedRow = NexthopInfoRow;
#endif

TEST(Race, AFormerOwnersLastReadComesBeforeTheWriteInPlaceOrTheEnd)
{
   for (int round = 0; round < 100; ++round) {
      SharedRow mine;
      std::atomic<bool> dropped = false;
      std::thread reader([&dropped, theirs = std::optional(mine)]() mutable {
         EXPECT_EQ(theirs->id(), 0u);
         theirs.reset();
         dropped.store(true, std::memory_order_relaxed); // orders nothing
      });
      while (!dropped.load(std::memory_order_relaxed))
         std::this_thread::yield();
      if (round % 2 == 0)
         mine.idIs(1);
      else
         mine = SharedRow();
      reader.join();
   }
}

// Three threads, each with a copy of `work`, all at once.
template <class Work>
static void inThreads(const Work& work)
{
   std::barrier start(3);
   std::vector<std::jthread> threads;
   for (unsigned n = 1; n <= 3; ++n)
      threads.emplace_back([&start, mine = work, n]() mutable { start.arrive_and_wait(), mine(n); });
}

TEST(Race, FirstLookUps)
{
   NexthopInfoRow::reset();
   inThreads([](unsigned n) {
      EXPECT_EQ(EcmpMemberListRow().vcd().size(), 2u);
      EXPECT_EQ(NexthopInfoRow::key(1).rowType(), NexthopInfoRow::protRowType());
      for (unsigned i = 0; i < 20; ++i) {
         Zorva::installRowOpsGenerator("Race" + std::to_string(100 * n + i), nullptr);
         EXPECT_TRUE(Zorva::ZorvaDB::zoClass("Race100").isNull() && !Zorva::Embedded::registrations().empty());
      }
   });
   inThreads([](unsigned n) {
      for (unsigned i = 0; i < 20; ++i)
         Zorva::ZorvaDB::loadMetadata("Race" + std::to_string(100 * n + i));
   });
   EXPECT_FALSE(Zorva::ZorvaDB::zoClass("Race100").isNull());
}

TEST(Race, SharedBuffersAndReadersOfATable)
{
   Zorva::Embedded::Table table(NexthopInfoRow::rowTypeName());
   for (unsigned id = 0; id < 100; ++id)
      table.insert(NexthopInfoRow::key(id));
   inThreads([&table, row = EcmpMemberListRow(1, 2, true, 3, 4, {1, 2, 3}, {4})](unsigned n) mutable {
      for (unsigned i = 0; i < 1000; ++i) {
         EcmpMemberListRow copy(row);
         const Zorva::SubRow view(row, 0);
         EXPECT_TRUE(copy.rowHash() == row.rowHash() && view.rowType() == copy.rowType() && row.clone() == copy);
         copy.memberIs({n, i});
         if (i % 3 == 0)
            row = copy;
         EXPECT_TRUE(copy.member()[0] == n && table.contains(NexthopInfoRow::key(i % 100)));
      }
      for (NexthopInfoRow filed : table)
         EXPECT_EQ(filed.portId() + filed.portIdIs(7).portId(), 7u); // a private copy, the filed row stays
   });
}
