#include "nexthop_rows/subcommands.h"

#include <iostream>

#include "nexthop_rows/badInput.h"
#include "nexthop_rows/feeds.h"
#include "nexthop_rows/rowDiff.h"
#include "nexthop_rows/rowFile.h"
#include "nexthop_rows/watch.h"
#include "rowtype/describe.h"
#include "rowtype/verify.h"

namespace NexthopRows {

namespace {

/// Throws BadInput when no source is named.
Imported importFrom(const std::optional<RowsFrom>& from, std::uint64_t genId, Notes& notes)
{
   if (!from)
      throw BadInput("no rows are named: PATH, --dir FOLDER, --file FILE or --live is missing");
   return importRows(*from, genId, notes);
}

/// Calls use(row) for the row of the kind and id that the options name. Throws BadInput when there is none.
template <class Use>
void withRow(const Tables& tables, const Options& options, Use use)
{
   const auto useRow = [&](const auto& row) {
      if (!row)
         throw BadInput("no " + options.kind + ' ' + std::to_string(options.id));
      use(*row);
   };
   if (options.kind == kindOf<EcmpMemberListRow>)
      useRow(Zorva::Embedded::findRow(tables.groups, EcmpMemberListRow::key(options.id)));
   else
      useRow(Zorva::Embedded::findRow(tables.nexthops, NexthopInfoRow::key(options.id)));
}

template <class Row>
void printChanges(const Table& before, const Table& after)
{
   std::size_t inserted = 0;
   std::size_t removed = 0;
   const auto changes = changesBetween<Row>(before, after);
   for (const auto& change : changes) {
      inserted += !change.before;
      removed += !change.after;
      std::cout << changeText(change) << '\n';
   }
   std::cout << kindOf<Row> << ": " << inserted << " inserted, " << removed << " removed, "
             << changes.size() - inserted - removed << " changed\n";
}

/// Verifies the bytes of every row of the table and notes the faulty ones. Returns how many they are.
template <class Row>
std::size_t checkRows(const Table& table, Notes& notes)
{
   std::size_t faults = 0;
   for (const Zorva::BaseRow& row : table) {
      const Zorva::RowCheck check = Zorva::verifyRow<Row>(row.bytes(), Row::protRowType());
      if (check.ok())
         continue;
      ++faults;
      const auto id = row.readColumn<std::uint32_t>(Row::columns_.keyColumn().offset);
      notes.faulty(std::string(kindOf<Row>) + ' ' + std::to_string(id),
                   std::string(Zorva::text(check.fault)) + " at offset " + std::to_string(check.offset));
   }
   return faults;
}

} // namespace

Result import(const Options& options, Notes& notes)
{
   return {importFrom(options.from, 1, notes).tables, Status::done, false};
}

Result list(const Options& options, Notes& notes)
{
   Result result = import(options, notes);
   forEachRow(result.tables, [](const auto& row) { std::cout << row << '\n'; });
   return result;
}

Result json(const Options& options, Notes& notes)
{
   Result result = import(options, notes);
   forEachRow(result.tables, [](const auto& row) { std::cout << row.toJson() << '\n'; });
   result.isOutputTaken = true;
   return result;
}

Result get(const Options& options, Notes& notes)
{
   Result result = import(options, notes);
   withRow(result.tables, options, [](const auto& row) { std::cout << row << '\n'; });
   return result;
}

Result dump(const Options& options, Notes& notes)
{
   Result result = import(options, notes);
   withRow(result.tables, options, []<class Row>(const Row& row) { std::cout << Zorva::describeRow<Row>(row); });
   return result;
}

Result check(const Options& options, Notes& notes)
{
   Result result = import(options, notes);
   const std::size_t faults = checkRows<NexthopInfoRow>(result.tables.nexthops, notes) +
                              checkRows<EcmpMemberListRow>(result.tables.groups, notes);
   if (faults == 0)
      std::cout << result.tables.size() << " rows verified\n";
   return result;
}

Result diff(const Options& options, Notes& notes)
{
   const Tables before = importFrom(options.before, 1, notes).tables;
   Tables after = importFrom(options.from, 2, notes).tables;
   printChanges<NexthopInfoRow>(before.nexthops, after.nexthops);
   printChanges<EcmpMemberListRow>(before.groups, after.groups);
   return {std::move(after), Status::done, false};
}

Result save(const Options& options, Notes& notes)
{
   Result result = import(options, notes);
   saveRows(result.tables, options.target);
   result.isOutputTaken = options.target == standardFile;
   (result.isOutputTaken ? std::cerr : std::cout) << result.tables.size() << " rows saved\n";
   return result;
}

Result watch(const Options& options, Notes& /*notes*/)
{
   if constexpr (hasFeeds)
      if (const auto* const feed = options.from ? std::get_if<FeedIn>(&*options.from) : nullptr)
         return {watchFeed(*feed, options.isJson), Status::done, options.isJson};
   const auto* const kernel = options.from ? std::get_if<RunningKernel>(&*options.from) : nullptr;
   if (kernel == nullptr)
      throw BadInput(std::string("watch follows the running kernel") + (hasFeeds ? " or a feed" : "") + ": --live" +
                     (hasFeeds ? ", or --from with --feed," : "") + " is missing");
   return {watchKernel(NetNamespace(kernel->netns), options.isJson), Status::done, options.isJson};
}

Result publish([[maybe_unused]] const Options& options, [[maybe_unused]] Notes& notes)
{
   Result result;
   if constexpr (hasFeeds) {
      if (options.isFollowed) {
         const auto* const kernel = options.from ? std::get_if<RunningKernel>(&*options.from) : nullptr;
         if (kernel == nullptr)
            throw BadInput("publish --watch follows the running kernel: --live is missing");
         result.tables = publishKernel(NetNamespace(kernel->netns), options.feed);
      } else {
         result = import(options, notes);
         publishRows(result.tables, options.feed);
         std::cout << result.tables.size() << " rows published\n";
      }
   }
   return result;
}

Result feeds([[maybe_unused]] const Options& options, Notes& /*notes*/)
{
   if constexpr (hasFeeds)
      return {{}, printFeeds(options.feed.server, options.isJson) != 0 ? Status::done : Status::other, options.isJson};
   return {};
}

void printStatistics(std::ostream& out, const Tables& tables)
{
   const auto counters = Zorva::BaseRow::baseRowCounters; // a copy, as reading the tables adds to them
   const auto line = [&](const char* kind, const Table& table) {
      std::size_t bytes = 0;
      for (const Zorva::BaseRow& row : table)
         bytes += row.bytes().size();
      out << kind << ": " << table.size() << " rows, " << bytes << " bytes\n";
   };
   line("nexthop", tables.nexthops);
   line("group", tables.groups);
   out << "row objects constructed: " << counters.defaultCtor << " null, " << counters.lengthCtor << " new, "
       << counters.copyCtor << " copied, " << counters.moveCtor << " moved; assigned: " << counters.copyAssign
       << " copied, " << counters.moveAssign << " moved\n";
}

} // namespace NexthopRows
