// The command line, declared once: what parses it, its help, manual pages and completion all follow from it.
#pragma once

#include <CLI/CLI.hpp>

#include <functional>

#include "nexthop_rows/subcommands.h"

namespace NexthopRows {

/// The text with what stands between :// and @ left out: a password, where the word is a server's address.
std::string withoutPasswords(std::string text);

class CommandLine
{
public:
   /// What a subcommand does.
   using Run = std::function<Result(const Options&, Notes&)>;

   CommandLine();
   CommandLine(const CommandLine&) = delete;
   CommandLine& operator=(const CommandLine&) = delete;

   /// Reads the arguments of main(), once. Throws CLI::ParseError: a wish for help, or arguments that say nothing.
   void parse(int argc, const char* const* argv);

   /// What the arguments ask for, and with what.
   const Run& run() const { return run_; }
   const Options& options() const { return options_; }

   /// The declarations, for whoever parses or prints them.
   CLI::App& app() { return app_; }

private:
   CLI::App& subcommand(const char* name, const Run& run, const char* summary, const char* text);
   CLI::App& reading(const char* name, const Run& run, const char* summary, const char* text);
   void allRows(CLI::App& app);
   void oneRow(CLI::App& app);
   void help(CLI::App& app);
   const CLI::App& topic() const;
   void declareCommon(CLI::App& app);
   void declareSource(CLI::App& app);
   void declareRecorded(CLI::App& app);
   void declareKernel(CLI::App& app);
   void declareFeed(CLI::App& app);
   void declareJson(CLI::App& app);
   void declareFeedSubcommands();
   CLI::Option& server(CLI::App& app, const char* name, std::string& server);
   void completeSources();
   void declarePath(CLI::App& app);
   CLI::Option& path(CLI::App& app, const char* name, std::optional<RowsFrom>& from, const char* text);

   CLI::App app_;
   Run run_;
   Options options_;
   std::optional<std::string> netns_; ///< --netns, which may stand before its --live
   std::string server_;               ///< --from of feeds that are read
   std::string topic_;                ///< of help
   std::string pagesFolder_;          ///< for the manual pages, of `help man`
};

} // namespace NexthopRows
