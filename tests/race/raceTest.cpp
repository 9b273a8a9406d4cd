// Threads that share buffers, first look-ups and tables; of use under a thread sanitizer. Compiled with KNOWN_BAD, the
// row is one that writes in place without ordering another owner's last read before it: the sanitizer must report it,
// which proves that it would report ours.
#include <gtest/gtest.h>

#include <barrier>
#include <optional>
#include <thread>

#include "embedded/registry.h"
#include "embedded/table.h"
#include "routing_types/P4RuntimeRoutingEcmpTypes.h"

using P4RuntimeRouting::EcmpMemberListRow, P4RuntimeRouting::NexthopInfoRow;

#ifdef KNOWN_BAD
struct SharedRow : NexthopInfoRow
{
   void idIs(std::uint32_t id)
   {
      Zorva::Internal::store(const_cast<unsigned char*>(bytes().data()) + columns_.keyColumn().offset, id);
   }
};
#else
using SharedRow = NexthopInfoRow;
#endif

TEST(Race, AFormerOwnersLastReadComesBeforeTheWriteInPlaceOrTheEnd)
{
   for (int round = 0; round < 3000; ++round) { // the sanitizer sees a fault in every tenth or twentieth
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

TEST(Race, OwnersAreCountedByAllThreads)
{
   const auto buffer = Zorva::RowBufHandle::zeroed(8);
   inThreads([&buffer](unsigned) {
      for (int i = 0; i < 100'000; ++i)
         Zorva::RowBufHandle copy(buffer);
   });
   EXPECT_EQ(buffer.use_count(), 1);
}

TEST(Race, FirstLookUps)
{
   NexthopInfoRow::reset();
   inThreads([](unsigned n) {
      EXPECT_EQ(EcmpMemberListRow().vcd().size(), 2u);
      EXPECT_EQ(NexthopInfoRow::key(1).rowType(), NexthopInfoRow::protRowType());
      for (unsigned i = 0; i < 20; ++i) {
         const std::string name = "Race" + std::to_string(100 * n + i);
         Zorva::installRowOpsGenerator(name, nullptr);
         EXPECT_EQ(Zorva::ZorvaDB::zoClass(name).isNull(), !Zorva::Embedded::registrations().empty());
         Zorva::ZorvaDB::loadMetadata(name);
         EXPECT_FALSE(Zorva::ZorvaDB::zoClass(name).isNull());
      }
   });
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
         EXPECT_EQ(std::tuple(copy.rowHash(), view.rowType()), std::tuple(row.clone().rowHash(), row.rowType()));
         copy.memberIs({n, i});
         if (i % 3 == 0)
            row = copy;
         EXPECT_EQ(std::tuple(copy.member()[0], table.contains(NexthopInfoRow::key(i % 100))), std::tuple(n, true));
      }
      for (NexthopInfoRow filed : table)
         EXPECT_EQ(filed.portId() + filed.portIdIs(7).portId(), 7u); // a private copy, the filed row stays
   });
}
