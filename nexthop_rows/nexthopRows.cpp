// nexthop-rows: files a Linux kernel's next-hop objects as rows and prints, looks up, dumps, checks, saves, compares
// and follows them.
//
// Rows go to standard output, notes about objects that became no row, or no valid one, to standard error. Exit status:
// 0 done, 1 an object was refused or a row is faulty, and the rest is done, 2 bad input, or output that could not be
// written.
#include <CLI/CLI.hpp>
#include <csignal>
#include <iostream>

#include "nexthop_rows/badInput.h"
#include "nexthop_rows/stopSignals.h"
#include "nexthop_rows/subcommands.h"

namespace {

using namespace NexthopRows;

/// Declares the options and the subcommands. A subcommand that is named puts itself into `chosen`.
void describeCommandLine(CLI::App& app, Options& options, decltype(&import)& chosen)
{
   const auto subcommand = [&](const char* name, decltype(&import) function, const char* text,
                               const std::string& example) {
      auto* const sub = app.add_subcommand(name, text)->footer("Example: nexthop-rows " + example);
      return sub->callback([&chosen, function] { chosen = function; });
   };
   app.fallthrough(); // the options of all subcommands may stand before and after their names
   auto* const dir = app.add_option("--dir", options.folder, "Folder with nexthop.json, neigh.json and link.json");
   auto* const file = app.add_option("--file", options.file, "File of rows that save wrote, in place of --dir");
   auto* const live = app.add_flag("--live", options.isLive, "The running kernel (rtnetlink), in place of --dir");
   app.add_option("--netns", options.netns, "Network namespace for --live, as `ip netns` names it")
      ->type_name("NAME")
      ->needs(live);
   dir->type_name("FOLDER")->excludes(file, live);
   file->type_name("FILE")->excludes(live);
   app.add_flag("--stats", options.statistics, "Print rows, bytes and row objects (json: to standard error)");
   app.footer("Exit status: 0 done, 1 an object was refused or a row is faulty, and the rest is done, 2 bad input,\n"
              "or output that could not be written. watch says what it refused and ends with 0.");

   subcommand("list", list, "Print every row as text", "list --live");
   subcommand("json", json, "Print every row as a line of JSON", "json --dir FOLDER");
   for (CLI::App* const sub :
        {subcommand("get", get, "Look one row up by its id", "get nexthop 31 --live --netns blue"),
         subcommand("dump", dump, "Print the bytes of one row", "dump group 103 --dir FOLDER")}) {
      sub->add_option("KIND", options.kind)->required()->check(CLI::IsMember({"nexthop", "group"}));
      sub->add_option("ID", options.id)->required();
   }
   auto* const diffs = subcommand("diff", diff, "Print the changes from OLD to NEW, genId and entryId excepted",
                                  "diff OLD NEW\nExample: nexthop-rows diff OLD --live");
   diffs->add_option("OLD", options.before, "A folder, or a file of rows")->required();
   diffs->add_option("NEW", options.after, "The same; without it --dir, --file or --live")->excludes(dir, file, live);
   subcommand("check", check, "Verify the bytes of every row", "check --file FILE");
   subcommand("save", save, "Write all rows to a file, for --file", "save FILE --live")
      ->add_option("FILE", options.target)
      ->required();
   auto* const watches = subcommand(
      "watch", watch, "Follow the running kernel: print the rows, then every change when it comes, until SIGINT",
      "watch --live --netns blue --json");
   watches->add_flag("--json", options.isJson, "Print a line of JSON for each change, with the time it came");
   watches->needs(live);
   app.require_subcommand(0, 1);
}

} // namespace

int main(int argc, char** argv)
{
   constexpr int done = 0;
   constexpr int bad = 1;
   constexpr int badInput = 2;
   std::signal(SIGXFSZ, SIG_IGN); // a file that may not become so long is an error like others
   CLI::App app("Files a Linux kernel's next-hop objects as table rows.", "nexthop-rows");
   Options options;
   auto* chosen = &import;
   describeCommandLine(app, options, chosen);
   try {
      app.parse(argc, argv);
      if (app.get_subcommands().empty() && !options.statistics)
         throw CLI::RequiredError("A subcommand");
   } catch (const CLI::ParseError& error) {
      return app.exit(error) == 0 ? done : badInput;
   }

   Notes notes(std::cerr);
   try {
      const Tables tables = chosen(options, notes);
      if (options.statistics) // which are not JSON
         printStatistics(chosen == &json || options.isJson ? std::cerr : std::cout, tables);
      if (!std::cout.flush())
         throw BadInput("cannot write to standard output");
   } catch (const Stopped&) {
      return done;
   } catch (const std::exception& error) {
      std::cerr << "nexthop-rows: " << error.what() << '\n';
      return badInput;
   }
   return notes.isAnyBad() ? bad : done;
}
