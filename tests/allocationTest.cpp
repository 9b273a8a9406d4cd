// Every allocation of every operation fails, alone and with all that follow: exact exceptions, nothing changed, nothing
// leaked, and a second try that succeeds. The heap is this program's own; sanitizers bring theirs, so not with them.
#ifndef __has_feature
#define __has_feature(feature) 0
#endif
#if !__has_feature(address_sanitizer) && !__has_feature(thread_sanitizer)
#include "embedded/registry.h"
#include "embedded/table.h"
#include "rowtype/describe.h"
#include "rowtype/verify.h"
#include "tests/support/rows.h"
#include "tests/support/testRow.h"

namespace {

struct Heap
{
   long live;    ///< blocks
   long failing; ///< the allocation that fails, 1 for the next; 0 for none
   bool persistent;
   long count;
   std::string_view failedBy; ///< the function and size of the first that failed
   std::size_t failedSize;
};
constinit thread_local Heap heap{};

void* allocate(std::string_view by, std::size_t size, const auto& give)
{
   const bool fails = heap.failing != 0 && ++heap.count >= heap.failing && (heap.persistent || heap.failedBy.empty());
   if (fails && heap.failedBy.empty())
      heap.failedBy = by, heap.failedSize = size;
   void* const block = fails ? nullptr : give();
   heap.live += block != nullptr;
   return block;
}

} // namespace

extern "C" void *__libc_malloc(std::size_t), *__libc_calloc(std::size_t, std::size_t), __libc_free(void*);
extern "C" void* __libc_realloc(void*, std::size_t);
#pragma GCC visibility push(default)
extern "C" void* malloc(std::size_t size)
{
   return allocate("malloc", size, [=] { return __libc_malloc(size); });
}
extern "C" void* calloc(std::size_t count, std::size_t size)
{
   return allocate("calloc", count * size, [=] { return __libc_calloc(count, size); });
}
extern "C" void* realloc(void* old, std::size_t size)
{
   void* const block = allocate("realloc", size, [=] { return __libc_realloc(old, size); });
   heap.live -= block != nullptr && old != nullptr;
   return block;
}
extern "C" void free(void* block)
{
   heap.live -= block != nullptr;
   __libc_free(block);
}
void* operator new(std::size_t size)
{
   void* const block = allocate("new", size, [=] { return __libc_malloc(size); });
   return block != nullptr ? block : throw std::bad_alloc();
}
void operator delete(void* block) noexcept { free(block); }
void operator delete(void* block, std::size_t) noexcept { free(block); }
#pragma GCC visibility pop

namespace {

using namespace Test;
using namespace P4RuntimeRouting;
using Zorva::Embedded::Table;

struct Rows
{
   Exposed<NexthopInfoRow> hop{NexthopInfoRow::key(40)}, hopSharer{hop}, hopAlone{hop.clone()}, view;
   Exposed<EcmpMemberListRow> group{EcmpMemberListRow(1, 2, true, 3, 4, {5, 6, 7}, {}).clone()}, groupSharer{group};
   Exposed<EcmpMemberListRow> groupAlone{group.clone()};
   Exposed<BaseRow> parent = rowOf("3c 00 00 00 | 08 00 34 00 | 34 00 01 00 00*48"), made{BaseRow()};
   Table table{NexthopInfoRow::rowTypeName()};
   std::string text;
   std::vector<std::shared_ptr<Zorva::RowOpsBase>> ops;
   const std::vector<unsigned> one{1}, nine = upTo(9), tooMany = upTo(8192);

   Rows()
   {
      parent.getColumnStruct<NexthopInfoRow>(4, view);
      for (unsigned id = 0; id < 12; ++id)
         table.insert(NexthopInfoRow::key(id)); // one more makes it grow
   }

   /// Bytes and owners of all rows, and what else an operation may change.
   std::string state() const
   {
      std::string all = text + std::to_string(ops.size() + table.size());
      for (const BaseRow* row : std::initializer_list<const BaseRow*>{&hop, &hopSharer, &hopAlone, &view, &group,
                                                                      &groupSharer, &groupAlone, &parent, &made})
         if (!row->isNull())
            all.append(row->bytes().begin(), row->bytes().end())
               .append(", owners: " + std::to_string((row->*(&Exposed<BaseRow>::rowBuf_)).use_count()));
      return all;
   }
};

const std::string badAlloc = "std::bad_alloc: std::bad_alloc", heapFailed = "Halvo::MemoryResourceException: ";

const struct
{
   const char* name;
   long allocations; ///< -1 for any number
   std::function<void(Rows&)> call;
   std::string failure = "none"; ///< its own
} operations[] = {
   {"a buffer", 2, [](Rows& r) { r.made = BaseRow(37, 60); }},
   {"next hop", 2, [](Rows& r) { r.made = NexthopInfoRow(); }},
   {"next hop of values", 2, [](Rows& r) { r.made = NexthopInfoRow(1, 2, true, 3, 4, 5, {}, {}, false, 6, 7); }},
   {"key", 4, [](Rows& r) { r.made = NexthopInfoRow::key(7); }},
   {"group of values", 2, [](Rows& r) { r.made = EcmpMemberListRow(1, 2, true, 3, 4, r.one, r.nine); }},
   {"too many values", -1, [](Rows& r) { EcmpMemberListRow(1, 2, true, 3, 4, r.one, r.tooMany); },
    "Halvo::AssertException: baseRow:427: updateVCT: array field length greater than 32767 bytes"},
   {"from bytes", 2, [](Rows& r) { r.made = EcmpMemberListRow::fromBytes(r.group.bytes()); }},
   {"conversion", -1, [](Rows& r) { NexthopInfoRow(static_cast<BaseRow&>(r.group)); },
    "Zorva::ZoBadCast: row type 2 does not match row type 1 0"},
   {"clone", 2, [](Rows& r) { r.made = r.group.clone(); }},
   {"write, shared", 2, [](Rows& r) { r.hop.portIdIs(9); }},
   {"write to a view", 2, [](Rows& r) { r.view.idIs(6); }},
   {"array grows", 1, [](Rows& r) { r.groupAlone.memberIs(r.nine); }},
   {"array grows, shared", 3, [](Rows& r) { r.group.memberIs(std::span(r.nine)); }},
   {"clear, shared", 2, [](Rows& r) { r.group.clearRow(); }},
   {"generic clear, shared", 2, [](Rows& r) { r.group.BaseRow::clearRow(); }},
   {"in place", 0, [](Rows& r) { r.hopAlone.portIdIs(9), r.groupAlone.memberIs(r.one).watchIs({}).clearRow(); }},
   {"copies", 0, [](Rows& r) { r.made = r.view = NexthopInfoRow(static_cast<BaseRow&>(r.hop)); }},
   {"hashes", 0, [](Rows& r) { r.hop.rowHash() == r.hop.hash() || r.group.rowHash() == r.group.member()[2]; }},
   {"comparisons", 0, [](Rows& r) { r.group.rowEqual(r.groupAlone) && !r.hop.rowLess(r.view) && r.hop < r.view; }},
   {"nested", 0, [](Rows& r) { r.parent.columnEqual<NexthopInfoRow>(4, r.parent, 4); }},
   {"verification", 0, [](Rows& r) { Zorva::verifyRow<EcmpMemberListRow>(r.group.bytes()); }},
   {"find and erase", 0, [](Rows& r) { !r.table.contains(r.hop) && r.table.erase(r.view) && r.table.insert(r.hop); }},
   {"insert", 1, [](Rows& r) { r.table.insert(r.hop); }},
   {"reserve", 1, [](Rows& r) { r.table.reserve(100); }},
   {"table", -1, [](Rows& r) { r.table = Table(EcmpMemberListRow::rowTypeName()); }},
   {"text", -1, [](Rows& r) { r.text = EcmpMemberListRow::browToString(r.group) + r.hop.BaseRow::toString(); }},
   {"JSON", -1, [](Rows& r) { r.text = r.hop.toJson() + r.group.memberToStringArray(); }},
   {"listing", -1, [](Rows& r) { r.text = Zorva::describeRow<EcmpMemberListRow>(r.group); }},
   {"names", -1, [](Rows& r) { r.text = NexthopInfoRow::zoTypeSignature() + NexthopInfoRow::rowTypeName(); }},
   {"operations objects", -1, [](Rows& r) { NexthopInfoRowRowOpsGenerator::rowOpsGenerator_(r.ops); }},
   {"type id", -1, [](Rows&) { NexthopInfoRow::reset(), NexthopInfoRow::protRowType(); }},
   {"registry", -1, [](Rows& r) { r.text = Zorva::Embedded::registrations().at(1).rowTypeName; }},
};

TEST(Allocation, EveryOneFailsCleanly)
{
   const std::string before = Rows().state();
   Rows copied;
   copied.group.idIs(4); // a private copy that a failed call may leave
   for (const auto& operation : operations) {
      const auto attempt = [&](Rows& rows, long failing, bool persistent) {
         heap = {heap.live, failing, persistent, 0, {}, 0};
         return failureOf([&] {
            const std::unique_ptr<long, void (*)(long*)> disarm(&heap.failing, [](long* armed) { *armed = 0; });
            operation.call(rows);
         });
      };
      Rows complete;
      const Counts most = countsOf([&] { EXPECT_EQ(attempt(complete, 0, false), operation.failure); });
      bool reached = true; // the allocation that is to fail
      for (long failing = 1; reached; ++failing)
         for (const bool persistent : {false, true}) {
            SCOPED_TRACE(operation.name + (" " + std::to_string(failing)) + (persistent ? " and all later ones" : ""));
            const long live = heap.live;
            {
               Rows rows;
               std::string failure;
               const Counts counts = countsOf([&] { failure = attempt(rows, failing, persistent); });
               reached = !heap.failedBy.empty();
               const std::string by(heap.failedBy), size = std::to_string(heap.failedSize);
               const std::string what = by == "realloc" ? ". previous length: 51 requested new" : " requested";
               const std::string wanted =
                  by == "new" ? badAlloc : heapFailed + by + "() failed" + what + " length: " + size;
               EXPECT_TRUE(failure == operation.failure ? !reached || failure != "none"
                                                        : failure == wanted || (persistent && failure == badAlloc));
               EXPECT_TRUE(reached || operation.allocations < 0 || operation.allocations == failing - 1) << failing - 1;
               for (std::size_t i = 0; i < counts.size(); ++i) // first the buffer, then the count
                  EXPECT_LE(counts[i], i == 1 && reached && failing < 3 ? 0 : most[i]);
               if (reached && (failing < 3 || rows.state() != copied.state())) {
                  EXPECT_EQ(rows.state(), before);
               }
               EXPECT_EQ(reached ? attempt(rows, 0, false) : failure, operation.failure);
               EXPECT_EQ(rows.state(), complete.state());
            }
            EXPECT_EQ(heap.live, live);
         }
   }
}

} // namespace
#endif
