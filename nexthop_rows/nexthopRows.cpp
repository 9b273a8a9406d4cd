// nexthop-rows: files a Linux kernel's next-hop objects as rows and prints, looks up, dumps, checks, saves, compares
// and follows them.
//
// Rows go to standard output, notes about objects that became no row, or no valid one, to standard error. Exit status:
// 0 done, 1 an object was refused or a row is faulty, and the rest is done, 2 bad input, or output that could not be
// written.
#include <CLI/CLI.hpp>
#include <filesystem>
#include <iostream>
#include <string>

#include "nexthop_rows/importer.h"
#include "nexthop_rows/kernelDump.h"
#include "nexthop_rows/liveKernel.h"
#include "nexthop_rows/notes.h"
#include "nexthop_rows/rowDiff.h"
#include "nexthop_rows/rowFile.h"
#include "nexthop_rows/watch.h"
#include "rowtype/describe.h"
#include "rowtype/verify.h"

namespace {

using namespace NexthopRows;

struct Options
{
   std::string folder;
   std::string file;
   bool isLive = false;
   LiveKernel kernel;
   std::string kind;
   std::uint32_t id = 0;
   std::string before;
   std::string after;
   std::string target;
   bool isJson = false;
   bool statistics = false;
};

Tables importFolder(const std::string& folder, std::uint64_t genId, Notes& notes)
{
   return fileRows(parseDump(readFolder(folder), notes), genId, notes);
}

/// The rows of a folder, or of a file that `save` wrote.
Tables importPath(const std::string& path, std::uint64_t genId, Notes& notes)
{
   return std::filesystem::is_directory(path) ? importFolder(path, genId, notes) : loadRows(path);
}

/// The rows of --dir, --file or --live. Throws BadInput when there is none of them.
Tables importInput(const Options& options, std::uint64_t genId, Notes& notes)
{
   if (options.isLive)
      return fileRows(options.kernel.dump(notes), genId, notes);
   if (!options.file.empty())
      return loadRows(options.file);
   if (options.folder.empty())
      throw BadInput("--dir FOLDER, --file FILE or --live is missing");
   return importFolder(options.folder, genId, notes);
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
      useRow(findRow(tables.groups, EcmpMemberListRow::key(id)));
   else
      useRow(findRow(tables.nexthops, NexthopInfoRow::key(id)));
}

template <class Row>
void printChanges(const std::string& kind, const Table& before, const Table& after)
{
   std::size_t inserted = 0;
   std::size_t removed = 0;
   const auto changes = changesBetween<Row>(before, after);
   for (const auto& change : changes) {
      inserted += !change.before;
      removed += !change.after;
      std::cout << changeText(kind, change) << '\n';
   }
   std::cout << kind << ": " << inserted << " inserted, " << removed << " removed, "
             << changes.size() - inserted - removed << " changed\n";
}

/// Verifies the bytes of every row of the table and notes the faulty ones. Returns how many they are.
template <class Row>
std::size_t checkRows(const std::string& kind, const Table& table, Notes& notes)
{
   std::size_t faults = 0;
   for (const Row& row : rowsAsFiled<Row>(table)) {
      const Zorva::RowCheck check = Zorva::verifyRow<Row>(row.bytes(), Row::protRowType());
      if (check.ok())
         continue;
      ++faults;
      notes.faulty(kind + ' ' + std::to_string(row.id()),
                   std::string(text(check.fault)) + " at offset " + std::to_string(check.offset));
   }
   return faults;
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

/// The rows that the subcommand is about, compared or watched already if that is what it does.
Tables importRows(const CLI::App& app, const Options& options, Notes& notes)
{
   if (app.got_subcommand("diff")) {
      const Tables before = importPath(options.before, 1, notes);
      Tables after = options.after.empty() ? importInput(options, 2, notes) : importPath(options.after, 2, notes);
      printChanges<NexthopInfoRow>("nexthop", before.nexthops, after.nexthops);
      printChanges<EcmpMemberListRow>("group", before.groups, after.groups);
      return after;
   }
   if (app.got_subcommand("watch"))
      return watchKernel(options.kernel, options.isJson, std::cout, std::cerr);
   return importInput(options, 1, notes);
}

/// Does what the command line says. Throws BadInput, and as saveRows; a refused object or a faulty row is in the notes.
void run(const CLI::App& app, const Options& options, Notes& notes)
{
   const Tables tables = importRows(app, options, notes);
   const auto rows = [&] { return std::to_string(tables.size()) + " rows "; };
   if (app.got_subcommand("list"))
      forEachRow(tables, [](const auto& row) { std::cout << row << '\n'; });
   else if (app.got_subcommand("json"))
      forEachRow(tables, [](const auto& row) { std::cout << row.toJson() << '\n'; });
   else if (app.got_subcommand("get"))
      withRow(tables, options.kind, options.id, [](const auto& row) { std::cout << row << '\n'; });
   else if (app.got_subcommand("dump"))
      withRow(tables, options.kind, options.id,
              []<class Row>(const Row& row) { std::cout << Zorva::describeRow<Row>(row); });
   else if (app.got_subcommand("check")) {
      const std::size_t faults = checkRows<NexthopInfoRow>("nexthop", tables.nexthops, notes) +
                                 checkRows<EcmpMemberListRow>("group", tables.groups, notes);
      if (faults == 0)
         std::cout << rows() << "verified\n";
   } else if (app.got_subcommand("save")) {
      saveRows(tables, options.target);
      std::cout << rows() << "saved\n";
   }
   if (options.statistics) // which are not JSON
      printStatistics(app.got_subcommand("json") || options.isJson ? std::cerr : std::cout, tables);
}

void describeCommandLine(CLI::App& app, Options& options)
{
   const auto subcommand = [&](const char* name, const char* text, const std::string& example) {
      return app.add_subcommand(name, text)->footer("Example: nexthop-rows " + example);
   };
   app.fallthrough(); // the options of all subcommands may stand before and after their names
   auto* const dir = app.add_option("--dir", options.folder, "Folder with nexthop.json, neigh.json and link.json");
   auto* const file = app.add_option("--file", options.file, "File of rows that save wrote, in place of --dir");
   auto* const live = app.add_flag("--live", options.isLive, "The running kernel, in place of --dir (by running ip)");
   app.add_option("--netns", options.kernel.netns, "Network namespace for --live")->type_name("NAME")->needs(live);
   dir->type_name("FOLDER")->excludes(file, live);
   file->type_name("FILE")->excludes(live);
   app.add_flag("--stats", options.statistics, "Print rows, bytes and row objects (json: to standard error)");
   app.footer("Exit status: 0 done, 1 an object was refused or a row is faulty, and the rest is done, 2 bad input,\n"
              "or output that could not be written. watch says what it refused and ends with 0.");

   subcommand("list", "Print every row as text", "list --dir FOLDER");
   subcommand("json", "Print every row as a line of JSON", "json --dir FOLDER");
   for (CLI::App* const sub : {subcommand("get", "Look one row up by its id", "get nexthop 31 --dir FOLDER"),
                               subcommand("dump", "Print the bytes of one row", "dump group 103 --dir FOLDER")}) {
      sub->add_option("KIND", options.kind)->required()->check(CLI::IsMember({"nexthop", "group"}));
      sub->add_option("ID", options.id)->required();
   }
   auto* const diff = subcommand("diff", "Print the changes from OLD to NEW, genId and entryId excepted",
                                 "diff OLD NEW\nExample: nexthop-rows diff OLD --live");
   diff->add_option("OLD", options.before, "A folder, or a file of rows")->required();
   diff->add_option("NEW", options.after, "The same; without it --dir, --file or --live")->excludes(dir, file, live);
   subcommand("check", "Verify the bytes of every row", "check --file FILE");
   subcommand("save", "Write all rows to a file, for --file", "save FILE --live")
      ->add_option("FILE", options.target)
      ->required();
   auto* const watch = subcommand("watch", "Follow the running kernel: print the rows, then every change, until SIGINT",
                                  "watch --live --netns NAME --json");
   watch->add_flag("--json", options.isJson, "Print a line of JSON for each change");
   watch->needs(live);
   app.require_subcommand(0, 1);
}

} // namespace

int main(int argc, char** argv)
{
   constexpr int done = 0;
   constexpr int bad = 1;
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
   return notes.isAnyBad() ? bad : done;
}
