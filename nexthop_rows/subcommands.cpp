#include "nexthop_rows/subcommands.h"

#include <filesystem>
#include <iostream>
#include <sstream>

#include "nexthop_rows/jsonSource.h"
#include "nexthop_rows/liveKernel.h"
#include "nexthop_rows/rowFile.h"
#include "nexthop_rows/rowKeeper.h"
#include "nexthop_rows/watch.h"
#include "rowtype/describe.h"

namespace NexthopRows {

namespace {

Tables rowsOf(KernelState state, const std::string& source, std::uint64_t genId, Notes& notes)
{
   RowKeeper keeper(source, notes);
   keeper.reserve(state);
   keeper.settle(state, genId, [](const auto&) {});
   return keeper.takeTables();
}

Tables importFolder(const std::string& folder, std::uint64_t genId, Notes& notes)
{
   const Recording recording = readFolder(folder);
   return rowsOf(stateOf(recording, notes), recording.nexthop.name, genId, notes);
}

/// The rows of a folder, or of a file that `save` wrote.
Tables importPath(const std::string& path, std::uint64_t genId, Notes& notes)
{
   return std::filesystem::is_directory(path) ? importFolder(path, genId, notes) : loadRows(path);
}

/// The rows of --dir, --file or --live. Throws BadInput when there is none of them.
Tables importInput(const Options& options, std::uint64_t genId, Notes& notes)
{
   if (options.isLive) {
      const NetNamespace netns(options.netns);
      return rowsOf(LiveKernel(netns).read(notes), netns.text(), genId, notes);
   }
   if (!options.file.empty())
      return loadRows(options.file);
   if (options.folder.empty())
      throw BadInput("--dir FOLDER, --file FILE or --live is missing");
   return importFolder(options.folder, genId, notes);
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

/// The file of rows to check: the one named, or what save would write.
Source rowsToCheck(const Options& options, Notes& notes)
{
   if (!options.file.empty())
      return openRows(options.file);
   const Tables tables = import(options, notes);
   auto rows = std::make_unique<std::stringstream>();
   writeRows(tables, [&](std::string_view text) { *rows << text; });
   return {"imported rows", std::move(rows)};
}

} // namespace

Tables import(const Options& options, Notes& notes) { return importInput(options, 1, notes); }

Tables list(const Options& options, Notes& notes)
{
   Tables tables = import(options, notes);
   forEachRow(tables, [](const auto& row) { std::cout << row << '\n'; });
   return tables;
}

Tables json(const Options& options, Notes& notes)
{
   Tables tables = import(options, notes);
   forEachRow(tables, [](const auto& row) { std::cout << row.toJson() << '\n'; });
   return tables;
}

Tables get(const Options& options, Notes& notes)
{
   Tables tables = import(options, notes);
   withRow(tables, options, [](const auto& row) { std::cout << row << '\n'; });
   return tables;
}

Tables dump(const Options& options, Notes& notes)
{
   Tables tables = import(options, notes);
   withRow(tables, options, []<class Row>(const Row& row) { std::cout << Zorva::describeRow<Row>(row); });
   return tables;
}

Tables check(const Options& options, Notes& notes)
{
   const Source file = rowsToCheck(options, notes);
   Tables tables;
   std::size_t faults = 0;
   const auto printCounts = [&] {
      std::cout << tables.size() << " rows verified";
      if (faults != 0)
         std::cout << ", " << faults << " faulty";
      std::cout << '\n';
   };
   try {
      readRows(file, tables, [&](std::size_t at, const std::string& reason) {
         ++faults;
         notes.faulty(file.name + ": row at byte " + std::to_string(at), reason);
      });
   } catch (const BadInput&) {
      printCounts();
      throw;
   }
   printCounts();
   return tables;
}

Tables diff(const Options& options, Notes& notes)
{
   const Tables before = importPath(options.before, 1, notes);
   Tables after = options.after.empty() ? importInput(options, 2, notes) : importPath(options.after, 2, notes);
   printChanges<NexthopInfoRow>(before.nexthops, after.nexthops);
   printChanges<EcmpMemberListRow>(before.groups, after.groups);
   return after;
}

Tables save(const Options& options, Notes& notes)
{
   Tables tables = import(options, notes);
   saveRows(tables, options.target);
   std::cout << tables.size() << " rows saved\n";
   return tables;
}

Tables watch(const Options& options, Notes& /*notes*/)
{
   return watchKernel(NetNamespace(options.netns), options.isJson);
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
