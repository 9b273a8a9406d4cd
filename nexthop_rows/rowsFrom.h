// Where rows come from: one of several kinds of source, and the import from it.
//
// A new kind of source is one more alternative of RowsFrom, its name in text(), its import in importRows(), and the
// options that choose it in commandLine.cpp.
#pragma once

#include <optional>
#include <string>
#include <variant>

#include "nexthop_rows/kernelState.h"
#include "nexthop_rows/notes.h"
#include "nexthop_rows/tables.h"

namespace NexthopRows {

/// A folder of recordings.
struct RecordedFolder
{
   std::string path;
};

/// A file of rows that `save` wrote; path standardFile: on standard input.
struct SavedFile
{
   std::string path;
};

/// The running kernel, in the named network namespace or in the program's own.
struct RunningKernel
{
   std::optional<std::string> netns;
};

/// A feed in a server, which is an address as docs/exchange.md has it, maybe with a password.
struct FeedIn
{
   std::string server;
   std::string name;
};

/// Whether the program is built with exchange/, and feeds are a source.
#ifdef NEXTHOP_ROWS_HAS_FEEDS
inline constexpr bool hasFeeds = true;
#else
inline constexpr bool hasFeeds = false;
#endif

using RowsFrom = std::variant<RecordedFolder, SavedFile, RunningKernel, FeedIn>;

/// The folder or the file that has the path; a feed, of a server yet to be named, for "feed:NAME".
RowsFrom fromPath(const std::string& path);

/// What the source is called in messages.
std::string text(const RowsFrom& from);

/// The rows of a source, and what they were made of.
struct Imported
{
   Tables tables;
   std::optional<KernelState> state; ///< none for a file of rows, which has nothing but rows
};

/// Files the rows of the source, as of import number `genId`. Throws BadInput when it cannot be read.
Imported importRows(const RowsFrom& from, std::uint64_t genId, Notes& notes);

} // namespace NexthopRows
