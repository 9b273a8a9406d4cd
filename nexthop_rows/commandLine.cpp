#include "nexthop_rows/commandLine.h"

#include <charconv>

namespace NexthopRows {

namespace {

constexpr const char* pathText =
   hasFeeds ? "Folder of --dir, file of --file, or feed:NAME of --from" : "Folder of --dir, or file of --file";

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

std::string withoutPasswords(std::string text)
{
   constexpr std::string_view beginning = "://";
   for (std::size_t at = 0; (at = text.find(beginning, at)) != std::string::npos;) {
      at += beginning.size();
      const std::string_view word = std::string_view(text).substr(at, text.find_first_of(" \n", at) - at);
      const std::size_t end = word.rfind('@');
      if (end != std::string_view::npos && !word.starts_with('[')) // as where the form of an address is explained
         text.replace(at, end, "...");
   }
   return text;
}

CommandLine::CommandLine() : app_("Files a Linux kernel's next-hop objects as table rows.", "nexthop-rows")
{
   declareSource(app_);
   declareCommon(app_);
   app_.footer("Exit status: 0 done, 1 an object was refused or a row is faulty, and the rest is done, 2 bad input,\n"
               "or output that could not be written. watch says what it refused and ends with 0.");
   app_.require_subcommand(0, 1);
   app_.failure_message([](const CLI::App* app, const CLI::Error& error) {
      return withoutPasswords(CLI::FailureMessage::simple(app, error));
   });

   reading("list", list, "Print every row as text", "list --live");
   reading("json", json, "Print every row as a line of JSON", "json --dir FOLDER");
   oneRow("get", get, "Look one row up by its id", "get nexthop 31 --live --netns blue");
   oneRow("dump", dump, "Print the bytes of one row", "dump group 103 --dir FOLDER");
   CLI::App& differences = subcommand("diff", diff, "Print the changes from OLD to NEW, genId and entryId excepted",
                                      "diff OLD NEW\nExample: nexthop-rows diff OLD --live");
   declarePath(differences, "OLD", options_.before,
               hasFeeds ? "A folder, a file of rows, or feed:NAME of --from" : "A folder, or a file of rows")
      ->required();
   declarePath(differences, "NEW", options_.from, "The same; without it, an option that names a source");
   declareSource(differences);
   reading("check", check, "Verify the bytes of every row", "check --file FILE");
   CLI::App& saves = subcommand("save", save, "Write all rows to a file, for --file", "save FILE --live");
   saves.add_option("FILE", options_.target)->type_name("")->required();
   declareSource(saves);
   CLI::App& watches = subcommand(
      "watch", watch,
      hasFeeds ? "Follow the running kernel, or a feed: print the rows, then every change when it comes, until SIGINT"
               : "Follow the running kernel: print the rows, then every change when it comes, until SIGINT",
      "watch --live --netns blue --json");
   declareKernel(watches);
   declareJson(watches, "Print a line of JSON for each change, with the time it came");
   if constexpr (hasFeeds) {
      declareFeed(watches);
      CLI::App& publishes = subcommand("publish", publish, "Write all rows to a feed, which others read and follow",
                                       "publish --live --watch --to redis://server --feed leaf1");
      declarePath(publishes, "PATH", options_.from, "Folder of --dir, or file of --file");
      declareRecorded(publishes);
      declareKernel(publishes);
      declareServer(publishes, "--to", options_.feed.server)->required();
      publishes.add_option("--feed", options_.feed.name, "The feed that is written")->type_name("NAME")->required();
      publishes.add_flag("--watch", options_.isFollowed,
                         "Follow the running kernel: write every change when it comes, until SIGINT");
      CLI::App& lists = subcommand("feeds", feeds, "List the feeds in a server", "feeds --from redis://server");
      declareServer(lists, "--from", options_.feed.server)->required();
      declareJson(lists, "Print a line of JSON for each feed");
   }
}

void CommandLine::parse(int argc, const char* const* argv)
{
   app_.parse(argc, argv);
   if (!run_ && !options_.statistics)
      throw CLI::RequiredError("A subcommand");
   if (!run_)
      run_ = import;
   completeSources();
}

/// Brings together what belongs to one source, in whatever order the options stand.
void CommandLine::completeSources()
{
   auto* const kernel = options_.from ? std::get_if<RunningKernel>(&*options_.from) : nullptr;
   if (netns_ && kernel == nullptr)
      throw CLI::RequiresError("--netns", "--live");
   if (netns_)
      kernel->netns = netns_;

   bool isServerUsed = false;
   for (std::optional<RowsFrom>* const from : {&options_.before, &options_.from})
      if (auto* const feed = *from ? std::get_if<FeedIn>(&**from) : nullptr) {
         feed->server = server_;
         isServerUsed = true;
      }
   if (isServerUsed != !server_.empty())
      throw isServerUsed ? CLI::RequiresError("A feed", "--from") : CLI::RequiresError("--from", "--feed");
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
   declareRecorded(app);
   declareKernel(app);
   if constexpr (hasFeeds)
      declareFeed(app);
}

void CommandLine::declareRecorded(CLI::App& app)
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
}

void CommandLine::declareFeed(CLI::App& app)
{
   declareServer(app, "--from", server_);
   const auto use = [this](const std::string& name) { fromIs(options_.from, FeedIn{"", name}); };
   app.add_option_function<std::string>("--feed", use, "The feed of --from whose rows these are")->type_name("NAME");
}

CLI::Option* CommandLine::declareServer(CLI::App& app, const char* name, std::string& server)
{
   return app
      .add_option(name, server,
                  "Redis server: redis://[user:password@]host[:port] or redis+unix://path; password also from "
                  "REDISCLI_AUTH")
      ->type_name("URL");
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
