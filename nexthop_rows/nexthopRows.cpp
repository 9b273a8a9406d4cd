// nexthop-rows: files a Linux kernel's next-hop objects as rows and prints, looks up, dumps, checks, saves, compares
// and follows them.
//
// What was asked for goes to standard output, messages to standard error. commandLine.cpp says what all of it means,
// exit statuses included.
#include <csignal>
#include <fcntl.h>
#include <iostream>
#include <string_view>
#include <unistd.h>

#include "nexthop_rows/badInput.h"
#include "nexthop_rows/commandLine.h"
#include "nexthop_rows/manual.h"
#include "nexthop_rows/stopSignals.h"

namespace {

using namespace NexthopRows;

/// What the arguments of main() ask for. Throws BadInput, Stopped, and what else subcommands throw.
Status run(int argc, char** argv)
{
   CommandLine commandLine;
   if (argc > 1 && std::string_view(argv[1]) == "complete") { // what shells ask, of words that may not be parsed
      std::cout << completions(commandLine.app(), {argv + 2, argv + argc});
      return Status::done;
   }
   try {
      commandLine.parse(argc, argv);
   } catch (const CLI::Success& asked) { // for help
      commandLine.app().exit(asked);
      return Status::done;
   } catch (const CLI::ParseError& error) {
      throw BadInput(error.what() + std::string("; see --help"));
   }

   const Options& options = commandLine.options();
   std::ostream nowhere(nullptr);
   Notes notes(options.isQuiet ? nowhere : std::cerr);
   // Its rows go with the process: to take a million apart one by one would be a quarter of an import's time.
   static const Result& result = *new Result(commandLine.run()(options, notes));
   if (options.statistics)
      printStatistics(result.isOutputTaken ? std::cerr : std::cout, result.imported.tables, options.isJson);
   return notes.isAnyBad() ? Status::other : result.status;
}

/// Standard files that are closed become ones of which nothing can be read, and to which nothing can be written but
/// messages: no other file may take their place.
void openStandardFiles()
{
   for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
      if (fcntl(fd, F_GETFD) == -1)
         open("/dev/null", fd == STDOUT_FILENO ? O_RDONLY : O_WRONLY);
}

} // namespace

int main(int argc, char** argv)
{
   openStandardFiles();
   std::signal(SIGXFSZ, SIG_IGN); // a file that may not become so long is an error like others
   Status status = Status::bad;
   try {
      status = run(argc, argv);
      if (!std::cout.flush())
         throw BadInput("cannot write to standard output");
   } catch (const Stopped&) {
      status = Status::done;
   } catch (const std::exception& error) {
      status = Status::bad;
      std::cerr << programName << shownLine(withoutPasswords(error.what())) << '\n';
   }
   return static_cast<int>(status);
}
