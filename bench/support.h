// What the benchmark's cases share: the measured values, the hand-written counterparts of a row, and `measure`, which
// registers a case as "verb/variant". Cases of one verb do the same work: `measure` hands out a checksum of what each
// made, and bench/evaluate.py refuses a run in which two variants of a verb disagree.
#pragma once

#include <benchmark/benchmark.h>

#include <array>
#include <bit>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <type_traits>

#include "platform/zorva/ethAddr.h"

namespace Bench {

/// The columns of a next hop.
struct Values
{
   std::uint64_t genId;
   std::uint64_t entryHandle;
   bool valid;
   std::uint32_t entryId;
   std::uint32_t id;
   std::uint32_t portId;
   Zorva::EthAddr dmac;
   Zorva::EthAddr smac;
   bool drop;
   std::int32_t encapType;
   std::uint16_t encapId;
};

/// What every case works on. Not constant, so that compilers load it anew each time.
inline Values values{.genId = 1,
                     .entryHandle = 0x100001267,
                     .valid = true,
                     .entryId = 42,
                     .id = 4711,
                     .portId = 17,
                     .dmac = {2, 0, 0, 0, 0x1a, 0x2b},
                     .smac = {2, 0, 0, 0, 0x3c, 0x4d},
                     .drop = true,
                     .encapType = 1,
                     .encapId = 100};

using Mac = std::array<unsigned char, 6>;

/// The columns as a hand-written program would pack them: the bytes of a row.
struct [[gnu::packed]] Packed
{
   std::uint16_t length;
   std::uint16_t type;
   std::uint64_t genId;
   std::uint64_t entryHandle;
   unsigned char valid; // of bytes from anywhere: true unless 0
   std::uint32_t entryId;
   std::uint32_t id;
   std::uint32_t portId;
   Mac dmac;
   Mac smac;
   unsigned char drop;
   std::int32_t encapType;
   std::uint16_t encapId;
};
static_assert(sizeof(Packed) == 52);

/// Stores every column where it belongs.
inline void pack(Packed& to, const Values& v)
{
   to.length = sizeof to;
   to.type = 1;
   to.genId = v.genId;
   to.entryHandle = v.entryHandle;
   to.valid = v.valid;
   to.entryId = v.entryId;
   to.id = v.id;
   to.portId = v.portId;
   to.dmac = std::bit_cast<Mac>(v.dmac);
   to.smac = std::bit_cast<Mac>(v.smac);
   to.drop = v.drop;
   to.encapType = v.encapType;
   to.encapId = v.encapId;
}

inline std::shared_ptr<Packed> builtShared(const Values& v)
{
   auto made = std::make_shared<Packed>();
   pack(*made, v);
   return made;
}

/// An address as the number that its six bytes are in memory.
template <class Address>
std::uint64_t number(const Address& address)
{
   std::uint32_t first4;
   std::uint16_t last2;
   std::memcpy(&first4, &address, sizeof first4);
   std::memcpy(&last2, reinterpret_cast<const unsigned char*>(&address) + sizeof first4, sizeof last2);
   return first4 | std::uint64_t{last2} << 32;
}

/// The sum of all columns: reads each once, where it is called.
[[gnu::always_inline]] inline std::uint64_t columnSum(const Packed& p)
{
   return p.genId + p.entryHandle + (p.valid != 0) + p.entryId + p.id + p.portId + number(p.dmac) + number(p.smac) +
          (p.drop != 0) + static_cast<std::uint32_t>(p.encapType) + p.encapId;
}

template <class Row>
[[gnu::always_inline]] inline std::uint64_t columnSum(const Row& row)
{
   return row.genId() + row.entryHandle() + row.valid() + row.entryId() + row.id() + row.portId() + number(row.dmac()) +
          number(row.smac()) + row.drop() + static_cast<std::uint32_t>(row.encapType()) + row.encapId();
}

/// The least that owns shared bytes: a block of 24 bytes that names the data, and the data.
struct Blocks
{
   struct Head
   {
      std::uint64_t owners;
      unsigned char* data;
      std::size_t length;
   };

   /// `data` comes from the C heap.
   Blocks(unsigned char* data, std::size_t length, void* room = ::operator new(sizeof(Head)))
      : head(new (room) Head{1, data, length})
   {
   }
   Blocks(const Blocks&) = delete;
   Blocks& operator=(const Blocks&) = delete;
   ~Blocks()
   {
      std::free(head->data);
      ::operator delete(head);
   }

   Packed& columns() const { return *reinterpret_cast<Packed*>(head->data); }

   Head* head;
   std::uint64_t unused[2]; ///< as large as a row object, so that both are found by the same arithmetic
};

/// Folds text into a checksum.
inline std::uint64_t textSum(std::string_view text) { return std::hash<std::string_view>()(text); }

/// Makes the compiler believe that `made` is used and that memory has changed.
template <class T>
void keep(const T& made)
{
   if constexpr (std::is_arithmetic_v<T> || std::is_pointer_v<T>)
      asm volatile("" : : "r"(made) : "memory");
   else
      asm volatile("" : : "r"(&made) : "memory");
}

/// A sum in as many bits as a benchmark counter carries exactly.
inline double counter(std::uint64_t sum) { return static_cast<double>((sum ^ sum >> 32) & 0xffffffff); }

/// Calls body(timing) once for every iteration, and once more, with `timing` false, when the clock has stopped. One
/// call in the source, so that compilers inline it and time nothing else.
template <class Body>
void iterate(benchmark::State& state, Body body)
{
   auto at = state.begin();
   const auto end = state.end();
   for (bool timing = true; timing; ++at) {
      timing = at != end;
      body(timing);
   }
}

/// Registers the case `name`: make() is timed, with the end of what it returned; check(made) is its checksum.
template <class Make, class Check = std::identity>
void measure(const std::string& name, Make make, Check check = {})
{
   benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
      iterate(state, [&](bool timing) {
         const auto& made = make();
         keep(made);
         if (!timing)
            state.counters["check"] = counter(static_cast<std::uint64_t>(check(made)));
      });
   });
}

/// Registers a case of two things: next(i) is timed, and what it returns picks i for the next time, 0 or 1, as one read
/// leads to the next in a search. Its checksum is what it returned last.
template <class Next>
void measureChain(const std::string& name, Next next)
{
   benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
      std::uint64_t at = 0;
      iterate(state, [&](bool timing) {
         at = next(at & 1);
         keep(at);
         if (!timing)
            state.counters["check"] = counter(at);
      });
   });
}

// The cases, one file each.
void registerNexthopCases();
void registerEcmpCases();
void registerTextCases();
void registerTableCases();
void registerPeerCases();

} // namespace Bench
