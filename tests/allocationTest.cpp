// The heap of these tests, which fails when told to; and operations that nothing else here tries on it, with the
// number of their allocations. Sanitizers bring a heap of their own: not with them.
#include "embedded/registry.h"
#include "embedded/table.h"
#include "tests/support/rows.h"

using namespace Test;

static void* allocate(std::string_view by, size_t size, auto give, auto... arguments)
{
   const bool fails = heap.failing != 0 && --heap.failing == 0;
   if (fails && heap.failedBy.empty())
      heap.failedBy = by, heap.failedSize = size;
   heap.failing += fails && heap.allLater;
   void* const block = fails ? nullptr : give(arguments...);
   heap.live += block != nullptr;
   return block;
}

extern "C" void *__libc_malloc(size_t), *__libc_calloc(size_t, size_t);
extern "C" void *__libc_realloc(void*, size_t), __libc_free(void*);
#pragma GCC visibility push(default)
extern "C" void free(void* block) { heap.live -= block != nullptr, __libc_free(block); }
extern "C" void* malloc(size_t n) { return allocate("malloc", n, __libc_malloc, n); }
extern "C" void* calloc(size_t n, size_t m) { return allocate("calloc", n * m, __libc_calloc, n, m); }
extern "C" void* realloc(void* old, size_t n)
{
   void* const block = allocate("realloc", n, __libc_realloc, old, n);
   heap.live -= block != nullptr && old != nullptr;
   return block;
}
void* operator new(size_t n)
{
   void* const block = allocate("new", n, __libc_malloc, n);
   return block != nullptr ? block : throw std::bad_alloc();
}
#pragma GCC visibility pop

// Not before the slots are listed, which would be counted.
static const bool mayFail = [] {
   EcmpMemberListRow(BaseRow()).vcd(), TestRow(BaseRow()).vcd();
   return heap.mayFail = std::getenv("ZORVA_TEST_NO_FAILURES") == nullptr;
}();

TEST(Allocation, EveryOneFailsCleanly)
{
   using Zorva::Embedded::registrations, Zorva::Embedded::Table;
   const NexthopInfoRow hop = NexthopInfoRow::key(40), same = hop.clone();
   const EcmpMemberListRow large(0, 0, false, 0, 0, upTo(200), upTo(200));
   Table table(NexthopInfoRow::rowTypeName());
   for (unsigned id = 0; id < 12; ++id)
      table.insert(NexthopInfoRow::key(id)); // one more makes it grow
   const std::pair<long, std::function<void()>> cases[] = {
      // -1: any number
      {4, [] { BaseRow(37, 60), NexthopInfoRow(); }},
      {2, [] { NexthopInfoRow(1, 2, true, 3, 4, 5, {}, {}, false, 6, 7); }},
      {0, [&] { EXPECT_EQ(tuple(hop.rowHash(), hop.rowLess(same)), tuple(same.rowHash(), false)); }},
      {0, [&] { EXPECT_EQ(tuple(table.contains(hop), table.erase(hop)), tuple(false, false)); }},
      {2, [&] { EXPECT_TRUE(table.insert(hop)); }}, // entries and their tags
      {0, [&] { EXPECT_TRUE(table.erase(hop)); }},
      {0, [&] { EXPECT_TRUE(table.insert(hop)); }},
      {0, [&] { EXPECT_FALSE(table.insert(same)); }},
      {2, [&] { table.reserve(100); }},
      {1, [] { Zorva::ZoRowBuf one(1); }},
      {1, [&] { hop.toJson(); }},
      {-1, [&] { EXPECT_EQ(large.toString().size(), 1469); }},
      {-1, [] { Table groups(EcmpMemberListRow::rowTypeName()); }},
      {-1, [] { EXPECT_EQ(registrations()[1].rowTypeName, EcmpMemberListRow::rowTypeName()); }},
   };
   heap.failing = 1;
   EXPECT_EQ(Zorva::ZoRowBuf(0).length(), 0); // with or without a block
   heap.failing = 0;
   expectFailure("std::length_error: a table holds at most 3435973836 rows", {[&] { table.reserve(SIZE_MAX); }});
   for (const auto& [allocations, call] : cases) {
      const long live = heap.live, made = eachAllocationFailing("none", call, [](auto&&...) {});
      EXPECT_EQ(allocations < 0 ? std::max(-made, allocations) : made, allocations) << &call - &cases[0].second;
      EXPECT_EQ(heap.live, live);
   }
}
