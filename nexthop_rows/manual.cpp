#include "nexthop_rows/manual.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "nexthop_rows/badInput.h"

namespace NexthopRows {

namespace {

/// A line of help: an option, an argument or a subcommand.
struct Entry
{
   std::string name;
   std::string text;
};

/// Flags have no name of a value, and arguments are no options.
bool takesValue(const CLI::Option& option) { return !option.get_type_name().empty(); }

std::string nameOf(const CLI::Option& option)
{
   if (option.get_positional())
      return option.get_name(true, false);
   std::string name = option.get_name(false, true); // "-h,--help"
   if (const std::size_t comma = name.find(','); comma != std::string::npos)
      name.insert(comma + 1, " ");
   return takesValue(option) ? name + ' ' + option.get_type_name() : name;
}

std::vector<const CLI::Option*> shown(const CLI::App& app, bool isPositional)
{
   return app.get_options([&](const CLI::Option* option) {
      return option->get_positional() == isPositional && !option->get_group().empty();
   });
}

std::vector<Entry> entriesOf(const std::vector<const CLI::Option*>& options)
{
   std::vector<Entry> entries(options.size());
   std::ranges::transform(options, entries.begin(), [](const CLI::Option* option) {
      return Entry{nameOf(*option), option->get_description()};
   });
   return entries;
}

std::vector<const CLI::App*> subcommandsOf(const CLI::App& app)
{
   return app.get_subcommands([](const CLI::App* sub) { return !sub->get_group().empty(); });
}

std::vector<Entry> subcommandEntries(const CLI::App& app)
{
   const std::vector<const CLI::App*> subcommands = subcommandsOf(app);
   std::vector<Entry> entries(subcommands.size());
   std::ranges::transform(subcommands, entries.begin(), [](const CLI::App* sub) {
      return Entry{sub->get_name(), sub->get_description()};
   });
   return entries;
}

/// What may follow the name of the app.
std::string usageOf(const CLI::App& app)
{
   std::string usage = "[OPTIONS]";
   for (const CLI::Option* const option : shown(app, true))
      usage += option->get_required() ? ' ' + nameOf(*option) : " [" + nameOf(*option) + ']';
   return subcommandsOf(app).empty() ? usage : usage + " [SUBCOMMAND]";
}

std::string fullName(const CLI::App& app, const char* separator)
{
   return app.get_parent() == nullptr ? app.get_name()
                                      : fullName(*app.get_parent(), separator) + separator + app.get_name();
}

void printEntries(std::ostream& out, const char* heading, const std::vector<Entry>& entries)
{
   if (entries.empty())
      return;
   constexpr std::size_t width = 18;
   out << heading << ":\n";
   for (const Entry& entry : entries)
      out << "  " << entry.name << std::string(std::max(width, entry.name.size() + 2) - entry.name.size(), ' ')
          << entry.text << '\n';
   out << '\n';
}

/// Text as roff has it: nothing in it is an instruction.
std::string roff(const std::string& text)
{
   std::string escaped = text.starts_with('.') || text.starts_with('\'') ? "\\&" : "";
   for (const char character : text) {
      if (character == '-' || character == '\\')
         escaped += '\\';
      escaped += character == '\\' ? 'e' : character;
   }
   constexpr std::string_view times = "×";
   for (std::size_t at = 0; (at = escaped.find(times, at)) != std::string::npos;)
      escaped.replace(at, times.size(), "\\[mu]");
   return escaped;
}

std::string upper(std::string text)
{
   std::ranges::transform(text, text.begin(), [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
   return text;
}

void printEntriesAsRoff(std::ostream& out, const char* heading, const std::vector<Entry>& entries)
{
   if (!entries.empty())
      out << ".SH " << heading << '\n';
   for (const Entry& entry : entries)
      out << ".TP\n.B " << roff(entry.name) << '\n' << roff(entry.text) << '\n';
}

/// Paragraphs as manual.h says.
void printTextAsRoff(std::ostream& out, const std::string& text)
{
   std::istringstream lines(text);
   bool isVerbatim = false;
   bool isFirst = true; // of its paragraph
   for (std::string line; std::getline(lines, line);) {
      const bool isIndented = line.starts_with(' ');
      if (isVerbatim && !isIndented)
         out << ".fi\n";
      if (isFirst && line.ends_with(':') && lines.peek() == ' ')
         out << ".SH " << roff(upper(line.substr(0, line.size() - 1))) << '\n';
      else if (isIndented)
         out << (isVerbatim ? "" : ".nf\n") << roff(line.substr(2)) << '\n';
      else if (!line.empty())
         out << (isFirst ? ".PP\n" : "") << roff(line) << '\n';
      isVerbatim = isIndented;
      isFirst = line.empty();
   }
   if (isVerbatim)
      out << ".fi\n";
}

std::string manualPage(const CLI::App& app)
{
   const bool isProgram = app.get_parent() == nullptr;
   const std::string page = fullName(app, "-");
   std::ostringstream out;
   out << ".TH " << roff(upper(page)) << " 1 \"\" \"" << roff(fullName(*(isProgram ? &app : app.get_parent()), " "))
       << "\" \"User Commands\"\n.SH NAME\n"
       << roff(page) << " \\- " << roff(app.get_description()) << "\n.SH SYNOPSIS\n.B " << roff(fullName(app, " "))
       << '\n'
       << roff(usageOf(app)) << "\n";
   printEntriesAsRoff(out, "SUBCOMMANDS", subcommandEntries(app));
   printEntriesAsRoff(out, "ARGUMENTS", entriesOf(shown(app, true)));
   printEntriesAsRoff(out, "OPTIONS", entriesOf(shown(app, false)));
   out << ".SH DESCRIPTION\n";
   printTextAsRoff(out, app.get_footer() + '\n' + (isProgram ? '\n' + columnsText() : ""));
   out << ".SH SEE ALSO\n";
   if (isProgram)
      for (const CLI::App* const sub : subcommandsOf(app))
         out << ".BR " << roff(fullName(*sub, "-")) << " (1),\n";
   else
      out << ".BR " << roff(app.get_parent()->get_name()) << " (1),\n";
   out << ".BR ip\\-nexthop (8)\n";
   return out.str();
}

/// The names of network namespaces, a line each.
std::string namespaceNames()
{
   std::string names;
   std::error_code none;
   for (std::filesystem::directory_iterator at("/run/netns", none), end; !none && at != end; at.increment(none))
      names += at->path().filename().string() + '\n';
   return names;
}

/// What may stand where the text of an option or argument of this name stands.
std::string values(const CLI::App& app, const std::string& name)
{
   if (name == "KIND")
      return "nexthop\ngroup\n";
   if (name == "NAME")
      return namespaceNames();
   std::string topics = "columns\twhat the columns mean\n";
   for (const Entry& entry : subcommandEntries(app))
      topics += entry.name + '\t' + entry.text + '\n';
   if (name == "TOPIC")
      return topics;
   const bool isFile = name == "PATH" || name == "FOLDER" || name == "FILE" || name == "OLD" || name == "NEW";
   return isFile ? ":files\n" : "";
}

std::string optionNames(const CLI::App& app)
{
   std::string names;
   for (const CLI::Option* const option : shown(app, false))
      names +=
         (option->get_lnames().empty() ? '-' + option->get_snames().front() : "--" + option->get_lnames().front()) +
         '\t' + option->get_description() + '\n';
   return names;
}

} // namespace

std::string columnsText()
{
   return R"(Columns of next hops:
  genId        number of the import that filed the row; of watch, the reading that last changed it
  entryHandle  what names the entry in its table: 2^32 plus id
  valid        whether packets can leave through the next hop
  entryId      the place at which the row was filed, from 1; a row keeps it as long as its id lives
  id           the kernel's id, and the key; next hops and groups share one space of ids
  portId       ifindex of the device that sends the frames, below VLAN devices; 0: none
  dmac         MAC address of the gateway, as the neighbour table has it; zero: not known
  smac         MAC address of the next hop's device; zero: it has none
  drop         whether packets are dropped (a blackhole)
  encapType    what is put around a packet: 0 nothing, 1 a VLAN tag, 2 an MPLS label, 3 an IPv4 tunnel
               with a key, 4 an IPv6 tunnel with a key, -1 what the row cannot hold
  encapId      the tag, the label or the key

Columns of groups:
  genId        as above
  entryHandle  2 times 2^32 plus id
  valid        whether a member is valid
  entryId      as above, counted among groups
  id           as above
  member       ids of next hops, each as often as its weight has it, the weights divided by what they
               have in common
  watch        the portId of each member, at the same place
)";
}

std::string HelpFormatter::make_help(const CLI::App* app, std::string, CLI::AppFormatMode) const
{
   std::ostringstream out;
   out << app->get_description() << "\n\nUsage: " << fullName(*app, " ") << ' ' << usageOf(*app) << "\n\n";
   printEntries(out, "Arguments", entriesOf(shown(*app, true)));
   printEntries(out, "Options", entriesOf(shown(*app, false)));
   printEntries(out, "Subcommands", subcommandEntries(*app));
   out << app->get_footer() << '\n';
   return out.str();
}

void writeManualPages(const CLI::App& app, const std::string& folder)
{
   const auto write = [&](const CLI::App& page) {
      const std::string path = folder + '/' + fullName(page, "-") + ".1";
      std::ofstream file(path);
      if (!(file << manualPage(page)).flush())
         throw BadInput(path + ": cannot be written");
   };
   write(app);
   std::ranges::for_each(subcommandsOf(app), [&](const CLI::App* sub) { write(*sub); });
}

std::string completions(const CLI::App& app, const std::vector<std::string>& words)
{
   const CLI::App* at = &app;
   const CLI::Option* open = nullptr; // waits for its value
   std::size_t arguments = 0;
   for (std::size_t i = 0; i + 1 < words.size(); ++i) {
      const std::string& word = words[i];
      if (open != nullptr) {
         if (word != "=") // which bash makes a word of its own
            open = nullptr;
      } else if (word.size() > 1 && word.starts_with('-')) {
         open = at->get_option_no_throw(word);
         if (open != nullptr && !takesValue(*open))
            open = nullptr;
      } else if (at == &app) {
         const auto subs = app.get_subcommands([&](const CLI::App* sub) { return sub->get_name() == word; });
         if (subs.empty())
            return "";
         at = subs.front();
      } else {
         ++arguments;
      }
   }

   std::string candidates;
   const std::string last = words.empty() ? "" : words.back();
   if (open != nullptr) {
      candidates = values(app, open->get_type_name());
   } else if (last.starts_with('-')) {
      candidates = optionNames(*at);
   } else if (at == &app) {
      for (const Entry& entry : subcommandEntries(app))
         candidates += entry.name + '\t' + entry.text + '\n';
   } else {
      const auto places = shown(*at, true);
      for (bool isOptional = true; isOptional && arguments < places.size(); ++arguments) {
         isOptional = !places[arguments]->get_required(); // so that the next one may stand here, too
         candidates += values(app, places[arguments]->get_name(true, false));
      }
   }
   std::string matching;
   std::istringstream lines(candidates);
   for (std::string line; std::getline(lines, line);)
      if (line.starts_with(':') || line.starts_with(last))
         matching += line + '\n';
   return matching;
}

} // namespace NexthopRows
