#include "nexthop_rows/commandLine.h"

#include <charconv>

namespace NexthopRows {

namespace {

constexpr const char* pathText = "Folder of --dir, or file of --file";

/// Rows come from one source.
void fromIs(std::optional<RowsFrom>& from, RowsFrom value)
{
   if (from)
      throw CLI::ValidationError("rows come from one source, not from " + text(*from) + " and " + text(value));
   from = std::move(value);
}

std::uint32_t number(const std::string& text)
{
   std::uint32_t value = 0;
   const char* const end = text.data() + text.size();
   const auto [stop, error] = std::from_chars(text.data(), end, value);
   if (error != std::errc() || stop != end)
      throw CLI::ValidationError(text + " is not a decimal number of 32 bits");
   return value;
}

} // namespace

CommandLine::CommandLine() : app_("Files a Linux kernel's next-hop objects as table rows.", "nexthop-rows")
{
   declareSource(app_);
   declareCommon(app_);
   app_.footer("Exit status: 0 done, 1 an object was refused or a row is faulty, and the rest is done, 2 bad input,\n"
               "or output that could not be written. watch says what it refused and ends with 0.");
   app_.require_subcommand(0, 1);

   reading("list", list, "Print every row as text", "list --live");
   reading("json", json, "Print every row as a line of JSON", "json --dir FOLDER");
   oneRow("get", get, "Look one row up by its id", "get nexthop 31 --live --netns blue");
   oneRow("dump", dump, "Print the bytes of one row", "dump group 103 --dir FOLDER");
   CLI::App& differences = subcommand("diff", diff, "Print the changes from OLD to NEW, genId and entryId excepted",
                                      "diff OLD NEW\nExample: nexthop-rows diff OLD --live");
   declarePath(differences, "OLD", options_.before, "A folder, or a file of rows")->required();
   declarePath(differences, "NEW", options_.from, "The same; without it --dir, --file or --live");
   declareSource(differences);
   reading("check", check, "Verify the bytes of every row", "check --file FILE");
   CLI::App& saves = subcommand("save", save, "Write all rows to a file, for --file", "save FILE --live");
   saves.add_option("FILE", options_.target)->type_name("")->required();
   declareSource(saves);
   CLI::App& watches = subcommand(
      "watch", watch, "Follow the running kernel: print the rows, then every change when it comes, until SIGINT",
      "watch --live --netns blue --json");
   declareKernel(watches);
   declareJson(watches, "Print a line of JSON for each change, with the time it came");
}

void CommandLine::parse(int argc, const char* const* argv)
{
   app_.parse(argc, argv);
   if (!run_ && !options_.statistics)
      throw CLI::RequiredError("A subcommand");
   if (!run_)
      run_ = import;
   if (!netns_)
      return;
   auto* const kernel = options_.from ? std::get_if<RunningKernel>(&*options_.from) : nullptr;
   if (kernel == nullptr)
      throw CLI::RequiresError("--netns", "--live");
   kernel->netns = netns_;
}

CLI::App& CommandLine::subcommand(const char* name, Run run, const char* text, const std::string& example)
{
   CLI::App& sub = *app_.add_subcommand(name, text)->footer("Example: nexthop-rows " + example);
   sub.callback([this, run] { run_ = run; });
   declareCommon(sub);
   return sub;
}

/// A subcommand about all rows of a source.
void CommandLine::reading(const char* name, Run run, const char* text, const std::string& example)
{
   CLI::App& sub = subcommand(name, std::move(run), text, example);
   declarePath(sub, "PATH", options_.from, pathText);
   declareSource(sub);
}

/// A subcommand about one row of a source.
void CommandLine::oneRow(const char* name, Run run, const char* text, const std::string& example)
{
   CLI::App& sub = subcommand(name, std::move(run), text, example);
   sub.add_option("KIND", options_.kind)->type_name("")->required()->check(CLI::IsMember({"nexthop", "group"}));
   sub.add_option_function<std::string>("ID", [this](const std::string& id) { options_.id = number(id); })
      ->type_name("")
      ->required();
   declarePath(sub, "PATH", options_.from, pathText);
   declareSource(sub);
}

void CommandLine::declareCommon(CLI::App& app)
{
   app.add_flag("--stats", options_.statistics, "Print rows, bytes and row objects (json: to standard error)");
}

/// The options that name a source.
void CommandLine::declareSource(CLI::App& app)
{
   const auto option = [&](const char* name, const char* type, auto use, const char* text) {
      app.add_option_function<std::string>(name, use, text)->type_name(type);
   };
   option(
      "--dir", "FOLDER", [this](const std::string& path) { fromIs(options_.from, RecordedFolder{path}); },
      "Folder with nexthop.json, neigh.json and link.json");
   option(
      "--file", "FILE", [this](const std::string& path) { fromIs(options_.from, SavedFile{path}); },
      "File of rows that save wrote");
   declareKernel(app);
}

void CommandLine::declareKernel(CLI::App& app)
{
   app.add_flag_callback(
      "--live", [this] { fromIs(options_.from, RunningKernel{}); }, "The running kernel (rtnetlink)");
   app.add_option("--netns", netns_, "Network namespace for --live, as `ip netns` names it")->type_name("NAME");
}

void CommandLine::declareJson(CLI::App& app, const char* text) { app.add_flag("--json", options_.isJson, text); }

CLI::Option* CommandLine::declarePath(CLI::App& app, const char* name, std::optional<RowsFrom>& from, const char* text)
{
   const auto use = [&from](const std::string& path) { fromIs(from, fromPath(path)); };
   return app.add_option_function<std::string>(name, use, text)->type_name("");
}

} // namespace NexthopRows
