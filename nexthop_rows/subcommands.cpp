#include "nexthop_rows/subcommands.h"

#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <sstream>
#include <unistd.h>

#include "nexthop_rows/badInput.h"
#include "nexthop_rows/feeds.h"
#include "nexthop_rows/rowDiff.h"
#include "nexthop_rows/rowFile.h"
#include "nexthop_rows/rowTable.h"
#include "nexthop_rows/terminal.h"
#include "nexthop_rows/watch.h"
#include "rowtype/describe.h"

namespace NexthopRows {

namespace {

using OrderedJson = nlohmann::ordered_json;

/// Throws BadInput when no source is named.
Imported importFrom(const std::optional<RowsFrom>& from, std::uint64_t genId, Notes& notes)
{
   if (!from)
      throw BadInput("no rows are named, by --dir FOLDER, --file FILE or --live for instance; see --help");
   const Progress progress("reading " + text(*from));
   return importRows(*from, genId, notes);
}

/// {"type":"nexthop", ...}: the row's JSON, with its kind in front.
template <class Row>
std::string typedJson(const Row& row)
{
   return std::string(R"({"type":")") + kindOf<Row> + R"(", )" + row.toJson().substr(1);
}

/// The import, of which notes tell nothing but what is about the row that is named; and use(row) if that is there.
template <class Use>
Result useRow(const Options& options, Notes& notes, Use use)
{
   const std::string name = options.rows.kind + ' ' + std::to_string(options.id);
   notes.onlyAbout(name);
   Result result = import(options, notes);
   const auto useFound = [&](const auto& row) {
      if (row)
         return use(*row);
      notes.told(text(*options.from), "no " + name);
      result.status = Status::other;
   };
   if (options.rows.kind == kindOf<EcmpMemberListRow>)
      useFound(Zorva::Embedded::findRow(result.imported.tables.groups, EcmpMemberListRow::key(options.id)));
   else
      useFound(Zorva::Embedded::findRow(result.imported.tables.nexthops, NexthopInfoRow::key(options.id)));
   return result;
}

/// {"type":"nexthop","id":7,"fields":[{"offset":0,"bytes":"34 00","as":"len","value":"52","name":"row length"}, ...]}:
/// the lines of the listing. Those that say what is wrong with a faulty row have nothing but "name".
template <class Row>
std::string listingJson(const Row& row)
{
   OrderedJson fields = OrderedJson::array();
   std::istringstream lines(Zorva::describeRow<Row>(row));
   for (std::string line; std::getline(lines, line);) {
      std::vector<std::string> parts;
      for (std::size_t at = 0, end = 0; end != std::string::npos; at = end + 3) {
         end = line.find(" | ", at);
         const std::string part = line.substr(at, end == std::string::npos ? end : end - at);
         parts.push_back(part.substr(0, part.find_last_not_of(' ') + 1));
      }
      if (parts.size() != 5)
         fields.push_back({{"name", parts.front()}});
      else
         fields.push_back({{"offset", std::stoul(parts[0], nullptr, 16)},
                           {"bytes", parts[1]},
                           {"as", parts[2]},
                           {"value", parts[3]},
                           {"name", parts[4]}});
   }
   return OrderedJson{{"type", kindOf<Row>}, {"id", row.id()}, {"fields", fields}}.dump();
}

/// How many changes of each kind there are.
struct Sums
{
   std::size_t inserted = 0;
   std::size_t removed = 0;
   std::size_t changed = 0;

   bool isNothing() const { return inserted == 0 && removed == 0 && changed == 0; }
};

/// Prints the changes of a table, and as text their sums.
template <class Row>
Sums printChanges(const Table& before, const Table& after, bool isJson)
{
   Sums sums;
   for (const auto& change : changesBetween<Row>(before, after)) {
      ++(!change.before ? sums.inserted : !change.after ? sums.removed : sums.changed);
      std::cout << (isJson ? changeJson(change) : changeText(change)) << '\n';
   }
   if (!isJson)
      std::cout << kindOf<Row> << ": " << sums.inserted << " inserted, " << sums.removed << " removed, " << sums.changed
                << " changed\n";
   return sums;
}

OrderedJson toJson(const Sums& sums)
{
   return {{"inserted", sums.inserted}, {"removed", sums.removed}, {"replaced", sums.changed}};
}

/// The file of rows to check: the one named, or what save would write.
Source rowsToCheck(const Options& options, Notes& notes)
{
   if (const auto* const file = options.from ? std::get_if<SavedFile>(&*options.from) : nullptr)
      return openRows(file->path);
   const Imported imported = importFrom(options.from, 1, notes);
   auto rows = std::make_unique<std::stringstream>();
   writeRows(imported.tables, [&](std::string_view text) { *rows << text; });
   return {text(*options.from), std::move(rows)};
}

/// The kernel that is to be followed. Throws BadInput where none is named.
NetNamespace kernelOf(const Options& options, const char* missing)
{
   const auto* const kernel = options.from ? std::get_if<RunningKernel>(&*options.from) : nullptr;
   if (kernel == nullptr)
      throw BadInput(missing);
   return NetNamespace(kernel->netns);
}

/// The numbers of a table, and its bytes.
struct Size
{
   explicit Size(const Table& table) : rows(table.size())
   {
      for (const Zorva::BaseRow& row : table)
         bytes += row.bytes().size();
   }

   std::size_t rows;
   std::size_t bytes = 0;
};

} // namespace

Result import(const Options& options, Notes& notes)
{
   return {importFrom(options.from, 1, notes), Status::done, false};
}

Result list(const Options& options, Notes& notes)
{
   Imported imported = importFrom(options.from, 1, notes);
   const std::string from = text(*options.from);
   if (!options.isJson && isatty(STDOUT_FILENO) == 1)
      printTables(std::cout, options.rows, imported, from, isColoured(STDOUT_FILENO));
   else
      FilteredRows(options.rows, imported, from).forEach([&](const auto& row) {
         std::cout << (options.isJson ? typedJson(row) : row.toString()) << '\n';
      });
   return {std::move(imported), Status::done, false};
}

Result json(const Options& options, Notes& notes)
{
   Imported imported = importFrom(options.from, 1, notes);
   FilteredRows(options.rows, imported, text(*options.from)).forEach([](const auto& row) {
      std::cout << row.toJson() << '\n';
   });
   return {std::move(imported), Status::done, true};
}

Result get(const Options& options, Notes& notes)
{
   return useRow(options, notes,
                 [&](const auto& row) { std::cout << (options.isJson ? typedJson(row) : row.toString()) << '\n'; });
}

Result dump(const Options& options, Notes& notes)
{
   return useRow(options, notes, [&]<class Row>(const Row& row) {
      std::cout << (options.isJson ? listingJson(row) + '\n' : Zorva::describeRow<Row>(row));
   });
}

Result check(const Options& options, Notes& notes)
{
   const Source file = rowsToCheck(options, notes);
   Tables tables;
   std::size_t faults = notes.faults(); // a feed's are known
   const auto read = [&] {
      const Progress progress("verifying rows");
      readRows(file, tables, [&](std::size_t at, const std::string& reason) {
         ++faults;
         notes.faulty(file.name + ": row at byte " + std::to_string(at), reason);
      });
   };
   const auto printCounts = [&] {
      if (options.isJson)
         std::cout << OrderedJson{{"type", "check"}, {"rows", tables.size()}, {"faulty", faults}} << '\n';
      else
         std::cout << tables.size() << " rows verified"
                   << (faults != 0 ? ", " + std::to_string(faults) + " faulty\n" : "\n");
   };
   try {
      read();
   } catch (const BadInput&) {
      if (tables.size() + faults != 0) // before the place where it is lost
         printCounts();
      throw;
   }
   printCounts();
   return {{std::move(tables), {}}, Status::done, false};
}

Result diff(const Options& options, Notes& notes)
{
   const Tables before = importFrom(options.before, 1, notes).tables;
   Imported after = importFrom(options.from, 2, notes);
   const Sums nexthops = printChanges<NexthopInfoRow>(before.nexthops, after.tables.nexthops, options.isJson);
   const Sums groups = printChanges<EcmpMemberListRow>(before.groups, after.tables.groups, options.isJson);
   if (options.isJson)
      std::cout << OrderedJson{{"type", "diff"}, {"nexthop", toJson(nexthops)}, {"group", toJson(groups)}} << '\n';
   const bool isSame = nexthops.isNothing() && groups.isNothing();
   return {std::move(after), isSame ? Status::done : Status::other, false};
}

Result save(const Options& options, Notes& notes)
{
   Result result = import(options, notes);
   {
      const Progress progress("writing rows");
      saveRows(result.imported.tables, options.target);
   }
   if (options.target == standardFile)
      result.isOutputTaken = true;
   else if (options.isJson)
      std::cout << OrderedJson{{"type", "save"}, {"rows", result.imported.tables.size()}} << '\n';
   else
      std::cout << result.imported.tables.size() << " rows saved\n";
   return result;
}

Result watch(const Options& options, Notes& /*notes*/)
{
   if constexpr (hasFeeds)
      if (const auto* const feed = options.from ? std::get_if<FeedIn>(&*options.from) : nullptr)
         return {{watchFeed(*feed, options.isJson, options.isQuiet), {}}, Status::done, false};
   const NetNamespace netns = kernelOf(
      options, hasFeeds ? "watch follows the running kernel or a feed: --live, or --from with --feed, is missing"
                        : "watch follows the running kernel: --live is missing");
   return {{watchKernel(netns, options.isJson, options.isQuiet), {}}, Status::done, false};
}

Result publish([[maybe_unused]] const Options& options, [[maybe_unused]] Notes& notes)
{
   Result result;
   if constexpr (hasFeeds) {
      if (options.isFollowed) {
         const NetNamespace netns = kernelOf(options, "publish --watch follows the running kernel: --live is missing");
         result.imported.tables = publishKernel(netns, options.feed, options.isQuiet);
         return result;
      }
      result = import(options, notes);
      publishRows(result.imported.tables, options.feed);
      if (options.isJson)
         std::cout << OrderedJson{{"type", "publish"}, {"rows", result.imported.tables.size()}} << '\n';
      else
         std::cout << result.imported.tables.size() << " rows published\n";
   }
   return result;
}

Result feeds([[maybe_unused]] const Options& options, Notes& /*notes*/)
{
   Result result;
   if constexpr (hasFeeds)
      if (printFeeds(options.feed.server, options.isJson) == 0)
         result.status = Status::other;
   return result;
}

void printStatistics(std::ostream& out, const Tables& tables, bool isJson)
{
   const auto counters = Zorva::BaseRow::baseRowCounters; // a copy, as reading the tables adds to them
   const Size nexthops(tables.nexthops);
   const Size groups(tables.groups);
   if (isJson) {
      const auto json = [](const Size& size) { return OrderedJson{{"rows", size.rows}, {"bytes", size.bytes}}; };
      const OrderedJson objects{{"null", counters.defaultCtor},        {"new", counters.lengthCtor},
                                {"copied", counters.copyCtor},         {"moved", counters.moveCtor},
                                {"copyAssigned", counters.copyAssign}, {"moveAssigned", counters.moveAssign}};
      out << OrderedJson{{"type", "statistics"},
                         {"nexthop", json(nexthops)},
                         {"group", json(groups)},
                         {"objects", objects}}
          << '\n';
      return;
   }
   out << "nexthop: " << nexthops.rows << " rows, " << nexthops.bytes << " bytes\ngroup: " << groups.rows << " rows, "
       << groups.bytes << " bytes\n";
   out << "row objects constructed: " << counters.defaultCtor << " null, " << counters.lengthCtor << " new, "
       << counters.copyCtor << " copied, " << counters.moveCtor << " moved; assigned: " << counters.copyAssign
       << " copied, " << counters.moveAssign << " moved\n";
}

} // namespace NexthopRows
