// nexthop-rows: files a Linux kernel's next-hop objects as rows and prints, looks up, dumps and compares them.
//
// Rows go to standard output, notes about objects that became no row, or no valid one, to standard error. Exit status:
// 0 done, 1 an object was refused and the rest filed, 2 bad input.
#include <CLI/CLI.hpp>
#include <iostream>
#include <string>

#include "examples/importer.h"
#include "examples/kernelDump.h"
#include "examples/notes.h"
#include "examples/rowDiff.h"
#include "rowtype/describe.h"

namespace {

using namespace NexthopRows;

Tables importFolder(const std::string& folder, std::uint64_t genId, Notes& notes)
{
   return fileRows(parseDump(readFolder(folder), notes), genId, notes);
}

/// Calls use(row) for every next hop, then for every group, each in the order of their filing.
template <class Use>
void forEachRow(const Tables& tables, Use use)
{
   for (const auto& row : rowsInOrder<NexthopInfoRow>(tables.nexthops))
      use(row);
   for (const auto& row : rowsInOrder<EcmpMemberListRow>(tables.groups))
      use(row);
}

/// Calls use(row) for the row of that kind and id. Throws BadInput when there is none.
template <class Use>
void withRow(const Tables& tables, const std::string& kind, std::uint32_t id, Use use)
{
   const auto useRow = [&](const auto& row) {
      if (!row)
         throw BadInput("no " + kind + ' ' + std::to_string(id));
      use(*row);
   };
   if (kind == "group")
      useRow(findRow<EcmpMemberListRow>(tables.groups, id));
   else
      useRow(findRow<NexthopInfoRow>(tables.nexthops, id));
}

template <class Row>
void printChanges(const std::string& kind, const Table& before, const Table& after)
{
   std::size_t inserted = 0;
   std::size_t removed = 0;
   const auto changes = changesBetween<Row>(before, after);
   for (const auto& change : changes) {
      const auto& row = change.after ? *change.after : *change.before;
      std::cout << kind << ' ' << row.id();
      if (!change.before) {
         ++inserted;
         std::cout << " inserted: " << row << '\n';
      } else if (!change.after) {
         ++removed;
         std::cout << " removed: " << row << '\n';
      } else {
         std::cout << " changed: " << changedColumns(*change.before, row) << '\n';
      }
   }
   std::cout << kind << ": " << inserted << " inserted, " << removed << " removed, "
             << changes.size() - inserted - removed << " changed\n";
}

void printStatistics(std::ostream& out, const Tables& tables)
{
   const auto counters = Zorva::BaseRow::baseRowCounters; // before reading the tables adds to them
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

struct Options
{
   std::string folder;
   std::string kind;
   std::uint32_t id = 0;
   std::string before;
   std::string after;
   bool statistics = false;
};

/// Does what the command line says. Throws BadInput; a refused object is in the notes.
void run(const CLI::App& app, const Options& options, Notes& notes)
{
   if (app.got_subcommand("diff")) {
      const Tables before = importFolder(options.before, 1, notes);
      const Tables after = importFolder(options.after, 2, notes);
      printChanges<NexthopInfoRow>("nexthop", before.nexthops, after.nexthops);
      printChanges<EcmpMemberListRow>("group", before.groups, after.groups);
      if (options.statistics)
         printStatistics(std::cout, after);
      return;
   }
   if (options.folder.empty())
      throw BadInput("--dir FOLDER is missing");
   const Tables tables = importFolder(options.folder, 1, notes);
   if (app.got_subcommand("list"))
      forEachRow(tables, [](const auto& row) { std::cout << row << '\n'; });
   else if (app.got_subcommand("json"))
      forEachRow(tables, [](const auto& row) { std::cout << row.toJson() << '\n'; });
   else if (app.got_subcommand("get"))
      withRow(tables, options.kind, options.id, [](const auto& row) { std::cout << row << '\n'; });
   else if (app.got_subcommand("dump"))
      withRow(tables, options.kind, options.id,
              []<class Row>(const Row& row) { std::cout << Zorva::describeRow<Row>(row); });
   if (options.statistics) // which are not JSON
      printStatistics(app.got_subcommand("json") ? std::cerr : std::cout, tables);
}

void describeCommandLine(CLI::App& app, Options& options)
{
   const auto subcommand = [&](const char* name, const char* text, const std::string& example) {
      return app.add_subcommand(name, text)->footer("Example: nexthop-rows " + example);
   };
   app.fallthrough(); // the options of all subcommands may stand before and after their names
   app.add_option("--dir", options.folder, "Folder with nexthop.json, neigh.json and link.json")->type_name("FOLDER");
   app.add_flag("--stats", options.statistics, "Print rows, bytes and row objects (json: to standard error)");
   app.footer("Exit status: 0 done, 1 an object was refused and the rest filed, 2 bad input.");

   subcommand("list", "Print every row as text", "list --dir FOLDER");
   subcommand("json", "Print every row as a line of JSON", "json --dir FOLDER");
   for (CLI::App* const sub : {subcommand("get", "Look one row up by its id", "get nexthop 31 --dir FOLDER"),
                               subcommand("dump", "Print the bytes of one row", "dump group 103 --dir FOLDER")}) {
      sub->add_option("KIND", options.kind)->required()->check(CLI::IsMember({"nexthop", "group"}));
      sub->add_option("ID", options.id)->required();
   }
   auto* const diff =
      subcommand("diff", "Print the changes between two folders, genId and entryId excepted", "diff OLD NEW");
   diff->add_option("OLD", options.before)->required();
   diff->add_option("NEW", options.after)->required();
   app.require_subcommand(0, 1);
}

} // namespace

int main(int argc, char** argv)
{
   constexpr int done = 0;
   constexpr int refused = 1;
   constexpr int badInput = 2;
   CLI::App app("Files a Linux kernel's next-hop objects as table rows.", "nexthop-rows");
   Options options;
   describeCommandLine(app, options);
   try {
      app.parse(argc, argv);
      if (app.get_subcommands().empty() && !options.statistics)
         throw CLI::RequiredError("A subcommand");
   } catch (const CLI::ParseError& error) {
      return app.exit(error) == 0 ? done : badInput;
   }

   Notes notes(std::cerr);
   try {
      run(app, options, notes);
      if (!std::cout.flush())
         throw BadInput("cannot write to standard output");
   } catch (const std::exception& error) {
      std::cerr << "nexthop-rows: " << error.what() << '\n';
      return badInput;
   }
   return notes.anyRefused() ? refused : done;
}
