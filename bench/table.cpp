// Many next hop rows: per-row cost of building 10^4 to 10^7, filing and finding them in the embedded table, and heap
// bytes a row. Times are per row; a repetition goes through all rows once.
#include "embedded/table.h"

#include <malloc.h>

#include <algorithm>
#include <boost/unordered/unordered_flat_map.hpp>
#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <numeric>
#include <random>
#include <vector>

#include "bench/support.h"
#include "routing_types/NexthopInfoRow.h"

namespace Bench {

namespace {

using P4RuntimeRouting::NexthopInfoRow;
using Shared = std::shared_ptr<Packed>;
using Zorva::Embedded::Table;
using FlatMap = boost::unordered_flat_map<std::uint32_t, Shared>;

/// The values of n next hops with scattered ids, made once. Each names another one in portId; following them from any
/// next hop visits all, in random order.
const std::vector<Values>& nexthops(std::size_t n)
{
   static std::map<std::size_t, std::vector<Values>> made;
   std::vector<Values>& all = made[n];
   if (!all.empty())
      return all;
   all.assign(n, values);
   std::vector<std::uint32_t> order(n);
   std::iota(order.begin(), order.end(), 0U);
   std::shuffle(order.begin(), order.end(), std::mt19937(1));
   const auto idOf = [](std::uint32_t i) { return i * 2654435761U; };
   for (std::size_t i = 0; i < n; ++i) {
      Values& one = all[order[i]];
      one.id = idOf(order[i]);
      one.portId = idOf(order[(i + 1) % n]);
   }
   return all;
}

std::vector<NexthopInfoRow> builtRows(const std::vector<Values>& all)
{
   std::vector<NexthopInfoRow> rows;
   rows.reserve(all.size());
   for (const Values& v : all)
      rows.emplace_back(v.genId, v.entryHandle, v.valid, v.entryId, v.id, v.portId, v.dmac, v.smac, v.drop, v.encapType,
                        v.encapId);
   return rows;
}

std::vector<Shared> builtStructs(const std::vector<Values>& all)
{
   std::vector<Shared> rows;
   rows.reserve(all.size());
   for (const Values& v : all)
      rows.push_back(builtShared(v));
   return rows;
}

Table filed(const std::vector<NexthopInfoRow>& rows)
{
   Table table(NexthopInfoRow::rowTypeName());
   for (const NexthopInfoRow& row : rows)
      table.insert(row);
   return table;
}

FlatMap filed(const std::vector<Shared>& rows)
{
   FlatMap table;
   for (const Shared& row : rows)
      table.emplace(std::uint32_t{row->id}, row);
   return table;
}

std::uint64_t followed(const Table& table, std::uint32_t id)
{
   NexthopInfoRow key = NexthopInfoRow::key(id);
   std::uint64_t sum = 0;
   for (std::size_t i = 0; i < table.size(); ++i) {
      key.idIs(id);
      id = static_cast<const NexthopInfoRow*>(table.find(key))->portId();
      sum += id ^ i;
   }
   return sum;
}

std::uint64_t followed(const FlatMap& table, std::uint32_t id)
{
   std::uint64_t sum = 0;
   for (std::size_t i = 0; i < table.size(); ++i) {
      id = table.find(id)->second->portId;
      sum += id ^ i;
   }
   return sum;
}

std::size_t heapBytes()
{
   const auto info = mallinfo2();
   return info.uordblks + info.hblkhd;
}

/// "verb/variant" with the number of rows behind the verb.
std::string sized(std::string name, std::size_t n) { return name.insert(name.find('/'), '-' + std::to_string(n)); }

/// A case that goes through n rows once a repetition: `prepare` makes what `run(prepared)` is timed on, check(result)
/// is the checksum.
template <class Prepare, class Run, class Check>
void measureAll(const std::string& name, std::size_t n, Prepare prepare, Run run, Check check)
{
   const auto body = [=](benchmark::State& state) {
      for (auto _ : state) {
         const auto& prepared = prepare(n);
         const auto start = std::chrono::steady_clock::now();
         const auto result = run(prepared);
         const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
         state.SetIterationTime(taken.count() / static_cast<double>(n));
         state.counters["check"] = counter(check(result));
      }
   };
   benchmark::RegisterBenchmark(sized(name, n).c_str(), body)->Iterations(1)->UseManualTime();
}

/// A case that counts the heap bytes a row of what make(values of n next hops) returns.
template <class Make>
void measureHeap(const std::string& name, std::size_t n, Make make)
{
   const auto body = [=](benchmark::State& state) {
      for (auto _ : state) {
         const auto& all = nexthops(n);
         const std::size_t before = heapBytes();
         const auto made = make(all);
         state.counters["bytes"] = static_cast<double>(heapBytes() - before) / static_cast<double>(n);
         state.SetIterationTime(1e-9);
      }
   };
   benchmark::RegisterBenchmark(sized(name, n).c_str(), body)->Iterations(1)->UseManualTime();
}

const auto sumOfSizes = [](const auto& made) { return made.size(); };

} // namespace

void registerTableCases()
{
   for (const std::size_t n : {10000U, 100000U, 1000000U, 10000000U}) {
      measureAll("grow/row", n, nexthops, builtRows, sumOfSizes);
      measureAll("grow/shared_ptr", n, nexthops, builtStructs, sumOfSizes);
      measureAll(
         "insert/row", n, [](std::size_t count) { return builtRows(nexthops(count)); },
         [](const std::vector<NexthopInfoRow>& rows) { return filed(rows); }, sumOfSizes);
      measureAll(
         "insert/boost", n, [](std::size_t count) { return builtStructs(nexthops(count)); },
         [](const std::vector<Shared>& rows) { return filed(rows); }, sumOfSizes);
      measureAll(
         "find/row", n, [](std::size_t count) { return filed(builtRows(nexthops(count))); },
         [](const Table& table) { return followed(table, 0); }, std::identity());
      measureAll(
         "find/boost", n, [](std::size_t count) { return filed(builtStructs(nexthops(count))); },
         [](const FlatMap& table) { return followed(table, 0); }, std::identity());
   }
   measureHeap("heap/row", 1000000, builtRows);
   measureHeap("heap/shared_ptr", 1000000, builtStructs);
   measureHeap("heap-table/row", 1000000, [](const auto& all) { return filed(builtRows(all)); });
   measureHeap("heap-table/boost", 1000000, [](const auto& all) { return filed(builtStructs(all)); });
}

} // namespace Bench
