// Failures as values, and calls with each of their allocations failing. The unit tests bring the heap for it
// (allocationTest.cpp) and say so in `heap`; in all other programs such a call just runs.
#pragma once

#include <cxxabi.h>
#include <gmock/gmock.h>

#include <functional>

#include "rowstore/baseRow.h"

namespace Test {

/// What the allocation functions and the suites tell each other.
struct Heap
{
   bool mayFail;              ///< whether the allocation functions are ours
   long live;                 ///< blocks
   long failing;              ///< the allocation that fails, 1 for the next; 0 for none
   bool allLater;             ///< whether those behind it fail too
   std::string_view failedBy; ///< the function and size of the first that failed
   std::size_t failedSize;
};
inline constinit thread_local Heap heap{};

/// "exception class: message", "none" when the call succeeds.
inline std::string failureOf(const std::function<void()>& call)
{
   try {
      call();
      return "none";
   } catch (const std::exception& e) {
      const std::unique_ptr<char, decltype(&std::free)> name(
         abi::__cxa_demangle(typeid(e).name(), nullptr, nullptr, nullptr), &std::free);
      return std::string(name.get()) + ": " + e.what();
   }
}

/// Makes the call with its first allocation failing, its second and so on, each alone and with all that follow, until
/// there is none left to fail; then it must end in `failure`, as failureOf says it. Each time before, it must end in
/// that or in what the failed function stands for (std::bad_alloc will do where all fail), and `failed` is told the
/// allocation's number and that end. No row may count as constructed whose buffer, the first, did not come about.
/// Returns the number of allocations.
inline long eachAllocationFailing(const std::string& failure, const std::function<void()>& call,
                                  const std::function<void(long, const std::string&)>& failed)
{
   for (long attempt = 0;; ++attempt) {
      const long number = attempt / 2 + 1;
      const auto constructed = Zorva::BaseRow::baseRowCounters.lengthCtor;
      heap.allLater = attempt % 2 != 0;
      heap.failedBy = {};
      heap.failing = heap.mayFail ? number : 0;
      const std::string end = failureOf([&] {
         const std::unique_ptr<long, void (*)(long*)> disarm(&heap.failing, [](long* armed) { *armed = 0; });
         call();
      });
      if (heap.failedBy.empty()) {
         if (end != failure)
            throw std::logic_error("wanted \"" + failure + "\", got \"" + end + '"');
         return (attempt + 1) / 2;
      }
      const std::string by(heap.failedBy), size = std::to_string(heap.failedSize);
      const std::string lengths = by == "realloc" ? ". previous length: " : " requested length: " + size;
      const std::string stated = "Halvo::MemoryResourceException: " + by + "() failed" + lengths;
      const bool isBadAlloc = end == "std::bad_alloc: std::bad_alloc" && (by == "new" || heap.allLater);
      if (!isBadAlloc && !end.starts_with(stated) && (end != failure || failure == "none"))
         throw std::logic_error("allocation " + std::to_string(number) + ", by " + by + ", failed with \"" + end + '"');
      if (number < 3 && Zorva::BaseRow::baseRowCounters.lengthCtor != constructed)
         throw std::logic_error("a row was counted that has no buffer");
      failed(number, end);
   }
}

/// Calls that all fail so, or with "none" succeed, and with failing allocations too.
inline void expectFailure(const std::string& failure, const std::vector<std::function<void()>>& calls)
{
   for (const auto& call : calls)
      EXPECT_NO_THROW(eachAllocationFailing(failure, call, [](auto&&...) {})) << "call " << &call - calls.data();
}

} // namespace Test
