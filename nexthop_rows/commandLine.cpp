#include "nexthop_rows/commandLine.h"

#include <charconv>
#include <iostream>

#include "nexthop_rows/badInput.h"
#include "nexthop_rows/manual.h"
#include "nexthop_rows/rowFile.h"

namespace NexthopRows {

namespace {

/// Rows come from one source.
void fromIs(std::optional<RowsFrom>& from, RowsFrom value)
{
   if (from)
      throw CLI::ValidationError("rows come from one source, not from " + text(*from) + " and " + text(value));
   from = std::move(value);
}

/// What the option or argument of the name has as its text.
std::uint32_t number(const std::string& name, const std::string& text)
{
   std::uint32_t value = 0;
   const char* const end = text.data() + text.size();
   const auto [stop, error] = std::from_chars(text.data(), end, value);
   if (error != std::errc() || stop != end)
      throw CLI::ValidationError(name, text + " is not a decimal number of 32 bits");
   return value;
}

Zorva::EthAddr macAddress(const std::string& name, const std::string& text)
{
   const auto address = Zorva::EthAddr::parse(text);
   if (!address)
      throw CLI::ValidationError(name, text + " is not a MAC address");
   return *address;
}

/// An option or argument whose text becomes a value of another type, by parse(name, text).
template <class T>
CLI::Option& parsed(CLI::App& app, const char* name, T& value, auto parse, const char* type, const char* text)
{
   const auto use = [name, &value, parse](const std::string& word) { value = parse(name, word); };
   return *app.add_option_function<std::string>(name, use, text)->type_name(type);
}

constexpr const char* programText =
   R"(Rows come from a folder of recordings, from a file that save wrote, from the running kernel, or from
a feed: another machine's rows in a server. A folder, a file or feed:NAME may be named without an
option (PATH); the file - is standard input. A recording is three files of the ip command's JSON:
  ip -j -d nexthop show > FOLDER/nexthop.json
  ip -j neigh show > FOLDER/neigh.json
  ip -j -d link show > FOLDER/link.json

Notes on objects that became no row, or no valid one, go to standard error, with the object's id and
the reason. With --json, all that goes to standard output is a JSON object a line, of which "type"
says what it is.

Exit status:
  0  done; watch: it was told to stop, whatever it noted
  1  an object was refused, diff found a difference, get or dump found no row, check found a fault,
     feeds found none
  2  bad input or arguments, or output that could not be written

Environment:
  NO_COLOR       when it is set and not empty, nothing is coloured
  TERM           when it is "dumb" or not set, nothing is coloured, and no progress shown
  REDISCLI_AUTH  the password for a server that wants one)";

constexpr const char* listText =
   R"(On a terminal, tables for people: whether each row is valid, or why not; the port, and the next
hop's device; "20 12×3" for a group of 20 and three times 12. Elsewhere a line of text for each row,
with all its columns.

--port, --dev and --mac choose next hops, and the groups that have such a member. A saved file names
no devices: there is no --dev then, and no reason why a row is not valid.

Examples:
  nexthop-rows list --live
  nexthop-rows list FOLDER --dev eth0
  nexthop-rows list nexthop --live --invalid
  nexthop-rows list FOLDER --json)";

constexpr const char* jsonText =
   R"(Each line has the columns alone; those of `list --json` have "type", too. Statistics go to standard
error.

Examples:
  nexthop-rows json --dir FOLDER)";

constexpr const char* getText = R"(Notes are about this row only.

Examples:
  nexthop-rows get nexthop 31 --live --netns blue
  nexthop-rows get group 103 FILE --json)";

constexpr const char* dumpText =
   R"(A line has the offset, the bytes, their type, the value and the column. Notes are about this row
only.

Examples:
  nexthop-rows dump group 103 --dir FOLDER)";

constexpr const char* diffText =
   R"(Rows are compared by id. genId and entryId do not count: they say when and at which place a row was
filed. Of arrays only what differs is shown: "member[3] 12 -> 13" at one place, "member[6..7] [9,9]
-> []" for what went, with both lengths. With --json, old and new arrays are whole.

Examples:
  nexthop-rows diff OLD NEW
  nexthop-rows diff OLD --live
  nexthop-rows diff feed:leaf1 feed:leaf2 --from redis://server)";

constexpr const char* checkText = R"(Says how many rows are sound, and of each other one at which byte and why.
Goes on behind a faulty row as long as it can tell where the next one begins.

Examples:
  nexthop-rows check --file FILE)";

constexpr const char* saveText =
   R"(A file that is there is replaced when all is written. A debugging aid, not a format for exchange.
Its rows are named by an option, so that nobody mistakes the one path for the other.

Examples:
  nexthop-rows save FILE --live
  nexthop-rows save - --live | nexthop-rows list -)";

constexpr const char* watchText =
   R"(Prints the rows as inserted, and then each change when it comes, until SIGINT, SIGTERM or SIGHUP.
With --json, {"event":"complete",...} ends what is printed of each whole reading. A namespace that is
made anew under the name is followed. A feed whose server or writer goes away keeps its rows, and is
waited for.

Examples:
  nexthop-rows watch --live
  nexthop-rows watch --live --netns blue --json
  nexthop-rows watch --from redis://server --feed leaf1)";

constexpr const char* publishText =
   R"(A feed is what a machine's rows are called in a Redis server, for others to read (--from, --feed). It
has one writer: another is refused while the first is alive, and 10 s after it has vanished. With
--watch it is followed by the kernel's changes until SIGINT, SIGTERM or SIGHUP, and a server that goes
away is waited for.

An address is redis://[user:password@]host[:port][/database] or
redis+unix://[user:password@]path[?db=database]. A password that is not there is taken from the
environment's REDISCLI_AUTH.

Examples:
  nexthop-rows publish --live --watch --to redis://server --feed leaf1
  nexthop-rows publish FOLDER --to redis+unix:///run/redis/redis.sock --feed lab)";

constexpr const char* feedsText =
   R"(For each feed, its rows, when its writer was last heard of, and whether that is alive. Exit status 1
when there is none.

Examples:
  nexthop-rows feeds --from redis://server)";

constexpr const char* helpText = R"(Examples:
  nexthop-rows help columns
  nexthop-rows help list)";

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

CommandLine::CommandLine() : app_("Linux next hops and groups as table rows", "nexthop-rows")
{
   app_.formatter(std::make_shared<HelpFormatter>());
   app_.set_help_flag("-h,--help", "Print this help");
   app_.set_version_flag("--version", "nexthop-rows " NEXTHOP_ROWS_VERSION, "Print the version");
   app_.footer(programText);
   app_.require_subcommand(0, 1);
   declareCommon(app_);
   declareSource(app_);

   allRows(reading("list", list, "Print every row", listText));
   CLI::App& jsonLines = reading("json", json, "Print every row as a line of JSON", jsonText);
   jsonLines.remove_option(jsonLines.get_option("--json"));
   allRows(jsonLines);
   oneRow(reading("get", get, "Look one row up by its id", getText));
   oneRow(reading("dump", dump, "Print the bytes of one row", dumpText));
   CLI::App& differences = reading("diff", diff, "Print the changes from OLD to NEW", diffText);
   path(differences, "OLD", options_.before,
        hasFeeds ? "Folder of recordings, saved file, or feed:NAME of --from" : "Folder of recordings, or saved file")
      .required();
   path(differences, "NEW", options_.from, "The same; without it, one of the options that name rows");
   declarePath(reading("check", check, "Verify the bytes of every row", checkText));
   reading("save", save, "Write all rows to a file", saveText)
      .add_option("FILE", options_.target, "The file; - is standard output")
      ->required();
   CLI::App& watches = subcommand(
      "watch", watch, hasFeeds ? "Follow the running kernel, or a feed" : "Follow the running kernel", watchText);
   declareKernel(watches);
   watches.add_flag("--json", options_.isJson, "Print a line of JSON for each change, with the time it came");
   if constexpr (hasFeeds) {
      declareFeed(watches);
      declareFeedSubcommands();
   }
   help(*app_.add_subcommand("help", "Explain a subcommand, or what the columns mean"));
}

void CommandLine::parse(int argc, const char* const* argv)
{
   try {
      app_.parse(argc, argv);
   } catch (const CLI::ExtrasError&) {
      const std::vector<std::string> unknown = app_.remaining();
      if (app_.get_subcommands().empty() && !unknown.empty() && !unknown.front().starts_with('-'))
         throw CLI::RequiredError(unknown.front() + " is no subcommand: one");
      throw;
   }
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

   const auto isStandardInput = [](const std::optional<RowsFrom>& from) {
      const auto* const file = from ? std::get_if<SavedFile>(&*from) : nullptr;
      return file != nullptr && file->path == standardFile;
   };
   if (isStandardInput(options_.before) && isStandardInput(options_.from))
      throw CLI::ValidationError("standard input can be read once");

   bool isServerUsed = false;
   for (std::optional<RowsFrom>* const from : {&options_.before, &options_.from})
      if (auto* const feed = *from ? std::get_if<FeedIn>(&**from) : nullptr) {
         feed->server = server_;
         isServerUsed = true;
      }
   if (isServerUsed != !server_.empty())
      throw isServerUsed ? CLI::RequiresError("A feed", "--from") : CLI::RequiresError("--from", "--feed");
}

CLI::App& CommandLine::subcommand(const char* name, const Run& run, const char* summary, const char* text)
{
   CLI::App& sub = *app_.add_subcommand(name, summary)->footer(text);
   sub.callback([this, run] { run_ = run; });
   declareCommon(sub);
   return sub;
}

/// A subcommand about the rows of a source.
CLI::App& CommandLine::reading(const char* name, const Run& run, const char* summary, const char* text)
{
   CLI::App& sub = subcommand(name, run, summary, text);
   declareSource(sub);
   return sub;
}

/// Which rows: all, or those that have something in common.
void CommandLine::allRows(CLI::App& app)
{
   RowFilter& rows = options_.rows;
   app.add_option("KIND", rows.kind, "nexthop or group: only rows of this kind")
      ->check(CLI::IsMember({"nexthop", "group"}));
   declarePath(app);
   app.validate_positionals(); // so that what is no KIND is a PATH
   parsed(app, "--port", rows.port, number, "PORT", "Only next hops with this portId");
   app.add_option("--dev", rows.device, "Only next hops of this device")->type_name("DEVICE");
   parsed(app, "--mac", rows.mac, macAddress, "MAC", "Only next hops with this dmac or smac");
   parsed(app, "--group", rows.group, number, "ID", "Only this group, and next hops that are its members");
   app.add_flag("--invalid", rows.isInvalid, "Only rows that are not valid");
}

/// Which row.
void CommandLine::oneRow(CLI::App& app)
{
   app.add_option("KIND", options_.rows.kind, "nexthop or group")
      ->required()
      ->check(CLI::IsMember({"nexthop", "group"}));
   parsed(app, "ID", options_.id, number, "", "The kernel's id, in decimal").required();
   declarePath(app);
}

void CommandLine::help(CLI::App& app)
{
   app.footer(helpText);
   app.add_option("TOPIC", topic_, "A subcommand's name, or columns");
   app.add_option("FOLDER", pagesFolder_)->group(""); // of `help man`, for packages
   app.callback([this] {
      run_ = [this](const Options&, Notes&) {
         if (topic_ == "man" && !pagesFolder_.empty())
            writeManualPages(app_, pagesFolder_);
         else if (topic_ == "columns")
            std::cout << columnsText();
         else
            std::cout << app_.get_formatter()->make_help(&topic(), "", CLI::AppFormatMode::Normal);
         return Result();
      };
   });
}

/// The subcommand that help is wanted on, or the app. Throws BadInput when there is none of the name.
const CLI::App& CommandLine::topic() const
{
   const auto named = app_.get_subcommands([this](const CLI::App* sub) { return sub->get_name() == topic_; });
   if (named.empty() && !topic_.empty())
      throw BadInput("no help on " + topic_);
   return named.empty() ? app_ : *named.front();
}

void CommandLine::declareCommon(CLI::App& app)
{
   app.add_flag("-q,--quiet", options_.isQuiet, "Print no notes; errors are printed all the same");
   app.add_flag("--stats", options_.statistics, "Print rows, bytes and row objects at the end");
}

/// The options that name a source, and what may be said of every one.
void CommandLine::declareSource(CLI::App& app)
{
   declareJson(app);
   declareRecorded(app);
   declareKernel(app);
   if constexpr (hasFeeds)
      declareFeed(app);
}

void CommandLine::declareJson(CLI::App& app)
{
   app.add_flag("--json", options_.isJson, "Print JSON, an object a line, each with its type");
}

void CommandLine::declareRecorded(CLI::App& app)
{
   const auto option = [&](const char* name, const char* type, auto use, const char* text) {
      app.add_option_function<std::string>(name, use, text)->type_name(type);
   };
   option(
      "--dir", "FOLDER", [this](const std::string& folder) { fromIs(options_.from, RecordedFolder{folder}); },
      "Folder with nexthop.json, neigh.json and link.json");
   option(
      "--file", "FILE", [this](const std::string& file) { fromIs(options_.from, SavedFile{file}); },
      "File of rows that save wrote; - is standard input");
}

void CommandLine::declareFeed(CLI::App& app)
{
   server(app, "--from", server_);
   const auto use = [this](const std::string& name) { fromIs(options_.from, FeedIn{"", name}); };
   app.add_option_function<std::string>("--feed", use, "The feed of --from")->type_name("NAME");
}

/// The option that names a server.
CLI::Option& CommandLine::server(CLI::App& app, const char* name, std::string& server)
{
   return *app.add_option(name, server, "Redis server with feeds: redis://HOST or redis+unix://PATH")->type_name("URL");
}

void CommandLine::declareFeedSubcommands()
{
   CLI::App& publishes = subcommand("publish", publish, "Write all rows to a feed", publishText);
   path(publishes, "PATH", options_.from, "Folder of --dir, or file of --file");
   publishes.parse_complete_callback([this] {
      if (options_.from && std::holds_alternative<FeedIn>(*options_.from))
         throw CLI::ValidationError("PATH", "a feed is not published again; save it first");
   });
   declareJson(publishes);
   declareRecorded(publishes);
   declareKernel(publishes);
   server(publishes, "--to", options_.feed.server).required();
   publishes.add_option("--feed", options_.feed.name, "The feed that is written")->type_name("NAME")->required();
   publishes.add_flag("--watch", options_.isFollowed, "Follow the running kernel, and write every change");
   CLI::App& lists = subcommand("feeds", feeds, "List the feeds in a server", feedsText);
   server(lists, "--from", options_.feed.server).required();
   declareJson(lists);
}

void CommandLine::declareKernel(CLI::App& app)
{
   app.add_flag_callback(
      "--live", [this] { fromIs(options_.from, RunningKernel{}); }, "The running kernel (rtnetlink)");
   app.add_option("--netns", netns_, "Network namespace for --live, as `ip netns` names it")->type_name("NAME");
}

void CommandLine::declarePath(CLI::App& app)
{
   path(app, "PATH", options_.from,
        hasFeeds ? "Folder of --dir, file of --file, or feed:NAME of --from" : "Folder of --dir, or file of --file");
}

CLI::Option& CommandLine::path(CLI::App& app, const char* name, std::optional<RowsFrom>& from, const char* text)
{
   const auto use = [&from](const std::string& word) { fromIs(from, fromPath(word)); };
   return *app.add_option_function<std::string>(name, use, text);
}

} // namespace NexthopRows
