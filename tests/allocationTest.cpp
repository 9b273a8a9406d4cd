// Every allocation of every operation fails, alone and with all that follow: exact exceptions, nothing changed, nothing
// leaked, and a second try that succeeds. The heap is this program's own; sanitizers bring theirs, so not with them.
#ifndef __has_feature
#define __has_feature(feature) 0
#endif
#if !__has_feature(address_sanitizer) && !__has_feature(thread_sanitizer)
#include <new>

#include "embedded/registry.h"
#include "embedded/table.h"
#include "rowtype/describe.h"
#include "rowtype/verify.h"
#include "tests/support/rows.h"
#include "tests/support/testRow.h"

namespace {

struct Heap
{
   long live = 0;
   long allocations = 0; ///< since it was armed
   long failing = 0;     ///< the one that fails, 0 for none
   bool persistent = false;
   const char* failedBy = nullptr; ///< the function and size of the first that failed
   std::size_t failedSize = 0;

   bool refuses(const char* by, std::size_t size)
   {
      const bool refused = ++allocations == failing || (persistent && failing != 0 && allocations > failing);
      if (refused && failedBy == nullptr)
         failedBy = by, failedSize = size;
      return refused;
   }

   void* counted(void* block)
   {
      live += block != nullptr;
      return block;
   }

   struct Armed
   {
      Armed(long failing, bool persistent);
      ~Armed();
   };
};
constinit thread_local Heap heap;

Heap::Armed::Armed(long failing, bool persistent) { heap = {heap.live, 0, failing, persistent, nullptr, 0}; }
Heap::Armed::~Armed() { heap.failing = 0; }

} // namespace

#define EXPORTED extern "C" [[gnu::visibility("default")]]
extern "C" void *__libc_malloc(std::size_t), *__libc_calloc(std::size_t, std::size_t);
extern "C" void *__libc_realloc(void*, std::size_t), __libc_free(void*);

EXPORTED void* malloc(std::size_t size) { return heap.refuses("malloc", size) ? nullptr : heap.counted(__libc_malloc(size)); }
EXPORTED void* calloc(std::size_t count, std::size_t size)
{
   return heap.refuses("calloc", count * size) ? nullptr : heap.counted(__libc_calloc(count, size));
}
EXPORTED void* realloc(void* block, std::size_t size)
{
   if (heap.refuses("realloc", size))
      return nullptr;
   return block == nullptr ? heap.counted(__libc_malloc(size)) : __libc_realloc(block, size);
}
EXPORTED void free(void* block)
{
   heap.live -= block != nullptr;
   __libc_free(block);
}
[[gnu::visibility("default")]] void* operator new(std::size_t size)
{
   void* const block = heap.refuses("new", size) ? nullptr : heap.counted(__libc_malloc(size));
   return block != nullptr ? block : throw std::bad_alloc();
}
[[gnu::visibility("default")]] void operator delete(void* block) noexcept { free(block); }
[[gnu::visibility("default")]] void operator delete(void* block, std::size_t) noexcept { free(block); }

using namespace Test;
using namespace P4RuntimeRouting;
using Zorva::Embedded::Table;

namespace {

constexpr len_t groupLength = 51;

struct Rows
{
   Exposed<NexthopInfoRow> hop{1u, 2u, true, 3u, 40u, 5u, EthAddr(), EthAddr(), false, 6, len_t{7}}, hopSharer{hop}, hopAlone{hop.clone()};
   Exposed<EcmpMemberListRow> group{EcmpMemberListRow(1, 2, true, 3, 4, {5, 6, 7}, {}).clone()}, groupSharer{group}, groupAlone{group.clone()};
   Exposed<BaseRow> parent = rowOf("3c 00 00 00 | 08 00 34 00 | 34 00 01 00 00*48");
   Exposed<NexthopInfoRow> view;
   Table table{NexthopInfoRow::rowTypeName()};
   BaseRow made;
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
      std::string all = text + std::to_string(ops.size()) + ' ' + std::to_string(table.size());
      const auto add = [&](const auto& row) {
         if (!row.isNull())
            all.append(row.bytes().begin(), row.bytes().end());
         all += ", owners: " + std::to_string(row.rowBuf_.use_count()) + '\n';
      };
      add(hop), add(hopSharer), add(hopAlone), add(group), add(groupSharer), add(groupAlone), add(parent), add(view);
      add(Exposed<BaseRow>(made));
      return all;
   }
};

struct Operation
{
   const char* name;
   long allocations; ///< -1 for any number
   std::function<void(Rows&)> call;
   std::string failure = "none"; ///< its own
};

const Operation operations[] = {
   {"a buffer", 2, [](Rows& r) { r.made = BaseRow(37, 60); }},
   {"next hop", 2, [](Rows& r) { r.made = NexthopInfoRow(); }},
   {"next hop of values", 2, [](Rows& r) { r.made = NexthopInfoRow(1, 2, true, 3, 4, 5, {}, {}, false, 6, 7); }},
   {"next hop key", 4, [](Rows& r) { r.made = NexthopInfoRow::key(7); }},
   {"group", 2, [](Rows& r) { r.made = EcmpMemberListRow(); }},
   {"group of values", 2, [](Rows& r) { r.made = EcmpMemberListRow(1, 2, true, 3, 4, r.one, r.nine); }},
   {"group with too many", -1, [](Rows& r) { EcmpMemberListRow(1, 2, true, 3, 4, r.one, r.tooMany); },
    "Halvo::AssertException: baseRow:427: updateVCT: array field length greater than 32767 bytes"},
   {"from bytes", 2, [](Rows& r) { r.made = EcmpMemberListRow::fromBytes(r.group.bytes()); }},
   {"from other bytes", -1, [](Rows& r) { NexthopInfoRow::fromBytes(r.group.bytes()); },
    "Zorva::ZoBadCast: bytes are no P4RuntimeRouting::NexthopInfoRow: row length shorter than the fixed part at offset 0"},
   {"conversion", -1, [](Rows& r) { NexthopInfoRow(static_cast<BaseRow&>(r.group)); },
    "Zorva::ZoBadCast: row type 2 does not match row type 1 0"},
   {"clone", 2, [](Rows& r) { r.made = r.group.clone(); }},
   {"write, shared", 2, [](Rows& r) { r.hop.portIdIs(9); }},
   {"write to a view", 2, [](Rows& r) { r.view.dmacIs({1, 2, 3, 4, 5, 6}); }},
   {"array grows", 1, [](Rows& r) { r.groupAlone.memberIs(r.nine); }},
   {"array grows, shared", 3, [](Rows& r) { r.group.memberIs(std::span(r.nine)); }},
   {"array too long", -1, [](Rows& r) { r.groupAlone.memberIs(r.tooMany); },
    "Halvo::AssertException: baseRow:427: updateVCT: array field length greater than 32767 bytes"},
   {"clear, shared", 2, [](Rows& r) { r.group.clearRow(); }},
   {"generic clear, shared", 2, [](Rows& r) { r.group.BaseRow::clearRow(); }},
   {"writes in place", 0, [](Rows& r) {
      r.hopAlone.portIdIs(9), r.groupAlone.memberIs(r.one).watchIs({}).clearRow(), r.hopAlone.BaseRow::clearRow();
   }},
   {"reads and copies", 0, [](Rows& r) {
      const auto sum = r.hop.rowHash() + r.hop.hash() + r.group.rowHash() + r.group.member()[2] + r.group.member().size();
      NexthopInfoRow copy(r.hop), converted(static_cast<BaseRow&>(copy));
      copy = r.hopAlone;
      r.parent.getColumnStruct<NexthopInfoRow>(4, copy);
      r.made = r.hop.rowEqual(r.hopAlone) && r.hop.rowLess(copy) && r.hop == copy && r.hop < copy &&
                     r.group.rowEqual(r.groupAlone) && Zorva::verifyRow<EcmpMemberListRow>(r.group.bytes()).ok() && sum == 0
                  ? copy : converted;
   }},
   {"find and erase", 0, [](Rows& r) {
      for (NexthopInfoRow& key : std::array{NexthopInfoRow(r.hop), NexthopInfoRow(r.view)})
         r.table.contains(key) && r.table.erase(key);
      r.table.replace(r.hopAlone);
   }},
   {"insert", 1, [](Rows& r) { r.table.insert(r.hop); }},
   {"reserve", 1, [](Rows& r) { r.table.reserve(100); }},
   {"table", -1, [](Rows& r) { r.table = Table(EcmpMemberListRow::rowTypeName()); }},
   {"text", -1, [](Rows& r) { r.text = r.hop.toString() + EcmpMemberListRow::browToString(r.group) + r.hop.BaseRow::toString(); }},
   {"JSON", -1, [](Rows& r) { r.text = r.hop.toJson() + r.group.toJson() + r.group.memberToStringArray(); }},
   {"listing", -1, [](Rows& r) { r.text = Zorva::describeRow<EcmpMemberListRow>(r.group); }},
   {"stream", -1, [](Rows& r) {
      std::ostringstream stream;
      stream.exceptions(std::ios_base::badbit);
      stream << r.hop << std::hex << r.group;
      r.text = stream.str();
   }},
   {"names", -1, [](Rows& r) { r.text = NexthopInfoRow::zoTypeSignature() + NexthopInfoRow::rowTypeName(); }},
   {"operations objects", -1, [](Rows& r) {
      const auto one = NexthopInfoRowRowOpsGenerator::rowOpsGenerator_(0);
      EcmpMemberListRowRowOpsGenerator::rowOpsGenerator_(r.ops);
   }},
   {"type id", -1, [](Rows&) { NexthopInfoRow::reset(), NexthopInfoRow::protRowType(); }},
   {"registry", -1, [](Rows& r) {
      Zorva::installRowOpsGenerator(NexthopInfoRow::rowTypeName(), &NexthopInfoRowRowOpsGenerator::rowOpsGenerator_);
      r.text = Zorva::Embedded::registrations().at(1).rowTypeName;
   }},
};

std::string expectedFailure()
{
   if (std::string(heap.failedBy) == "new")
      return "std::bad_alloc: std::bad_alloc";
   const bool isRealloc = std::string(heap.failedBy) == "realloc";
   return "Halvo::MemoryResourceException: " + std::string(heap.failedBy) + "() failed" +
          (isRealloc ? ". previous length: " + std::to_string(groupLength) + " requested new length: " : " requested length: ") +
          std::to_string(heap.failedSize);
}

TEST(Allocation, EveryOneFailsCleanly)
{
   const std::string before = Rows().state();
   Rows copied;
   copied.group.idIs(4);
   const std::string unshared = copied.state();
   for (const Operation& operation : operations) {
      const auto attempt = [&](Rows& rows, long failing, bool persistent) {
         return failureOf([&] {
            const Heap::Armed armed(failing, persistent);
            operation.call(rows);
         });
      };
      Rows complete;
      Counts most{};
      EXPECT_EQ(failureOf([&] { most = countsOf([&] { (void)attempt(complete, 0, false); }); }), "none");
      const std::string after = complete.state();
      bool reached = true; // the allocation that is to fail
      for (long failing = 1; reached; ++failing)
         for (const bool persistent : {false, true}) {
            SCOPED_TRACE(operation.name + (" " + std::to_string(failing)) + (persistent ? " and all later ones" : ""));
            const long live = heap.live;
            {
               Rows rows;
               std::string failure;
               const Counts counts = countsOf([&] { failure = attempt(rows, failing, persistent); });
               reached = heap.failedBy != nullptr;
               EXPECT_TRUE(reached ? failure == expectedFailure() || (failure == operation.failure && failure != "none") ||
                                        (persistent && failure == "std::bad_alloc: std::bad_alloc")
                                   : failure == operation.failure) << failure;
               EXPECT_TRUE(reached || operation.allocations < 0 || operation.allocations == failing - 1) << failing - 1;
               for (std::size_t i = 0; i < counts.size() && reached; ++i)
                  EXPECT_LE(counts[i], i == 1 && failing < 3 ? 0 : most[i]); // no buffer before its two allocations
               const std::string state = rows.state();
               if (reached && (failing < 3 || state != unshared)) { // the private copy stays
                  EXPECT_EQ(state, before);
               }
               EXPECT_EQ(reached ? attempt(rows, 0, false) : failure, operation.failure);
               EXPECT_EQ(rows.state(), after);
            }
            EXPECT_EQ(heap.live, live);
         }
   }
}

} // namespace
#endif
