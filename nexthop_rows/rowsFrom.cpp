#include "nexthop_rows/rowsFrom.h"

#include <filesystem>

#include "nexthop_rows/feeds.h"
#include "nexthop_rows/jsonSource.h"
#include "nexthop_rows/liveKernel.h"
#include "nexthop_rows/rowFile.h"
#include "nexthop_rows/rowKeeper.h"

namespace NexthopRows {

namespace {

Imported rowsOf(KernelState state, const std::string& source, std::uint64_t genId, Notes& notes)
{
   RowKeeper keeper(source, notes);
   keeper.reserve(state);
   keeper.settle(state, genId, [](const auto&) {});
   return {keeper.takeTables(), std::move(state)};
}

/// Imports from a source of each kind.
struct Import
{
   std::uint64_t genId;
   Notes& notes;

   Imported operator()(const RecordedFolder& from) const
   {
      const Recording recording = readFolder(from.path);
      return rowsOf(stateOf(recording, notes), recording.nexthop.name, genId, notes);
   }

   Imported operator()(const SavedFile& from) const { return {loadRows(from.path), {}}; }

   Imported operator()(const RunningKernel& from) const
   {
      const NetNamespace netns(from.netns);
      return rowsOf(LiveKernel(netns).read(notes), netns.text(), genId, notes);
   }

   Imported operator()([[maybe_unused]] const FeedIn& from) const
   {
      if constexpr (hasFeeds)
         return {readFeed(from, notes), {}};
      return {};
   }
};

struct Text
{
   std::string operator()(const RecordedFolder& from) const { return from.path; }
   std::string operator()(const SavedFile& from) const { return nameOfFile(from.path); }
   std::string operator()(const RunningKernel& from) const { return NetNamespace(from.netns).text(); }
   std::string operator()(const FeedIn& from) const { return "feed " + from.name; }
};

} // namespace

RowsFrom fromPath(const std::string& path)
{
   constexpr std::string_view feed = "feed:";
   if (hasFeeds && path.starts_with(feed))
      return FeedIn{"", path.substr(feed.size())};
   std::error_code none;
   if (std::filesystem::is_directory(path, none))
      return RecordedFolder{path};
   return SavedFile{path};
}

std::string text(const RowsFrom& from) { return std::visit(Text(), from); }

Imported importRows(const RowsFrom& from, std::uint64_t genId, Notes& notes)
{
   return std::visit(Import{genId, notes}, from);
}

} // namespace NexthopRows
