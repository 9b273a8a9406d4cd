// nexthop-rows: files a Linux kernel's next-hop objects as rows and prints, looks up, dumps, checks, saves, compares
// and follows them.
//
// Rows go to standard output, notes about objects that became no row, or no valid one, to standard error. Exit status:
// 0 done, 1 an object was refused or a row is faulty, and the rest is done, 2 bad input, or output that could not be
// written.
#include <iostream>

#include "nexthop_rows/badInput.h"
#include "nexthop_rows/commandLine.h"
#include "nexthop_rows/stopSignals.h"

int main(int argc, char** argv)
{
   using namespace NexthopRows;
   CommandLine commandLine;
   try {
      commandLine.parse(argc, argv);
   } catch (const CLI::ParseError& error) {
      return static_cast<int>(commandLine.app().exit(error) == 0 ? Status::done : Status::bad);
   }

   const Options& options = commandLine.options();
   Notes notes(std::cerr);
   Status status = Status::bad;
   try {
      const Result result = commandLine.run()(options, notes);
      if (options.statistics) // which are not JSON
         printStatistics(result.isOutputTaken ? std::cerr : std::cout, result.tables);
      if (!std::cout.flush())
         throw BadInput("cannot write to standard output");
      status = notes.isAnyBad() ? Status::other : result.status;
   } catch (const Stopped&) {
      status = Status::done;
   } catch (const std::exception& error) {
      std::cerr << "nexthop-rows: " << withoutPasswords(error.what()) << '\n';
   }
   return static_cast<int>(status);
}
