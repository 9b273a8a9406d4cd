// What the program does, a function for each subcommand. Each prints to standard output and returns the rows that it is
// about, for statistics; notes tell of refused objects and faulty rows. They throw BadInput, and what else they name.
#pragma once

#include <optional>
#include <string>

#include "nexthop_rows/notes.h"
#include "nexthop_rows/tables.h"

namespace NexthopRows {

/// The command line.
struct Options
{
   std::string folder; ///< --dir
   std::string file;   ///< --file
   bool isLive = false;
   std::optional<std::string> netns;
   std::string kind;
   std::uint32_t id = 0;
   std::string before;
   std::string after;
   std::string target;
   bool isJson = false;
   bool statistics = false;
};

/// Nothing but the import, from --dir, --file or --live.
Tables import(const Options& options, Notes& notes);

Tables list(const Options& options, Notes& notes);
Tables json(const Options& options, Notes& notes);
Tables get(const Options& options, Notes& notes);
Tables dump(const Options& options, Notes& notes);
Tables check(const Options& options, Notes& notes);
Tables diff(const Options& options, Notes& notes);

/// Throws as saveRows.
Tables save(const Options& options, Notes& notes);

/// Throws as watchKernel. Has notes of its own.
Tables watch(const Options& options, Notes& notes);

void printStatistics(std::ostream& out, const Tables& tables);

} // namespace NexthopRows
