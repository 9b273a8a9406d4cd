// What the program does, a function for each subcommand. Each prints to standard output and returns the rows that it is
// about, for statistics, and what it has come to; notes tell of refused objects and faulty rows. They throw BadInput,
// and what else they name.
#pragma once

#include <optional>
#include <string>

#include "nexthop_rows/notes.h"
#include "nexthop_rows/rowFilter.h"

namespace NexthopRows {

/// Exit statuses; the program's help says when. It is `other` as well when a note told of a refused object or a faulty
/// row.
enum class Status { done = 0, other = 1, bad = 2 };

/// The command line.
struct Options
{
   std::optional<RowsFrom> from;
   std::optional<RowsFrom> before; ///< OLD of diff
   RowFilter rows;                 ///< for list and json; its kind also for get and dump
   std::uint32_t id = 0;           ///< of get and dump
   std::string target;             ///< FILE of save
   FeedIn feed;                    ///< that publish writes; its server alone: that feeds asks
   bool isFollowed = false;        ///< publish --watch
   bool isJson = false;
   bool isQuiet = false;
   bool statistics = false;
};

/// What a subcommand has come to.
struct Result
{
   Imported imported;
   Status status = Status::done;
   bool isOutputTaken = false; ///< by what others read: nothing may be added to standard output
};

/// Nothing but the import.
Result import(const Options& options, Notes& notes);

Result list(const Options& options, Notes& notes);
Result json(const Options& options, Notes& notes);
Result get(const Options& options, Notes& notes);
Result dump(const Options& options, Notes& notes);
Result check(const Options& options, Notes& notes);
Result diff(const Options& options, Notes& notes);

/// Throws as saveRows.
Result save(const Options& options, Notes& notes);

/// Throws as watchKernel and watchFeed. Has notes of its own.
Result watch(const Options& options, Notes& notes);

// With hasFeeds only. They throw as the functions of feeds.h; publish --watch has notes of its own.
Result publish(const Options& options, Notes& notes);
Result feeds(const Options& options, Notes& notes);

/// Rows, bytes and the construction counters, as text or as a line of JSON.
void printStatistics(std::ostream& out, const Tables& tables, bool isJson);

} // namespace NexthopRows
