#include "nexthop_rows/feeds.h"

#include <algorithm>
#include <iomanip>
#include <iostream>
#include <map>
#include <nlohmann/json.hpp>

#include "exchange/server.h"
#include "nexthop_rows/badInput.h"
#include "nexthop_rows/kernelObjects.h"

namespace NexthopRows {

namespace {

using std::chrono::milliseconds;

/// What the server has under one name.
struct FeedState
{
   std::optional<std::uint64_t> nexthops; ///< none: no feed of this type
   std::optional<std::uint64_t> groups;
   std::string publisher = {};
   milliseconds age{0}; ///< since both were last heard of
   bool isAlive = true;
   bool isComplete = true;
   bool isOurs = true; ///< whether the rows have our columns
};

template <class Row>
void add(const Zorva::Exchange::FeedInfo& info, FeedState& feed, std::optional<std::uint64_t>& rows)
{
   if (info.rowTypeName != Row::rowTypeName())
      return;
   rows = info.rows;
   feed.publisher = shownName(info.publisher);
   feed.age = std::max(feed.age, info.age);
   feed.isAlive &= info.isAlive;
   feed.isComplete &= info.isComplete;
   feed.isOurs &= info.rowTypeSignature == Row::zoTypeSignature();
}

std::map<std::string, FeedState> feedsIn(const std::string& server)
{
   std::map<std::string, FeedState> feeds;
   for (const auto& info : Zorva::Exchange::feeds(Zorva::Exchange::ServerAddress::parse(server))) {
      FeedState& feed = feeds[info.feed];
      add<NexthopInfoRow>(info, feed, feed.nexthops);
      add<EcmpMemberListRow>(info, feed, feed.groups);
   }
   std::erase_if(feeds, [](const auto& feed) { return !feed.second.nexthops && !feed.second.groups; });
   for (auto& [name, feed] : feeds)
      feed.isComplete &= feed.nexthops && feed.groups;
   return feeds;
}

/// "59 s", "59 min", "47 h", "300 d".
std::string ageText(milliseconds age)
{
   auto count = age.count() / 1000;
   const char* unit = " s";
   for (const auto& [size, larger] : {std::pair{60L, " min"}, {60L, " h"}, {24L, " d"}})
      if (count >= 2 * size) {
         count /= size;
         unit = larger;
      } else {
         break;
      }
   return std::to_string(count) + unit;
}

std::string stateText(const FeedState& feed)
{
   return std::string(feed.isAlive ? "alive" : "gone") + (feed.isComplete ? "" : ", incomplete") +
          (feed.isOurs ? "" : ", other columns");
}

} // namespace

std::size_t printFeeds(const std::string& server, bool isJson)
{
   const auto feeds = feedsIn(server);
   std::size_t width = 4;
   std::size_t stateWidth = 5;
   for (const auto& [name, feed] : feeds) {
      width = std::max(width, name.size());
      stateWidth = std::max(stateWidth, stateText(feed).size());
   }
   const auto line = [&](const auto& name, const auto& nexthops, const auto& groups, const auto& age, const auto& state,
                         const auto& publisher) {
      std::cout << std::left << std::setw(static_cast<int>(width)) << name << std::right << std::setw(10) << nexthops
                << std::setw(8) << groups << std::setw(9) << age << "  " << std::left
                << std::setw(static_cast<int>(stateWidth)) << state << "  " << publisher << '\n';
   };
   if (!isJson)
      line("feed", "nexthops", "groups", "age", "state", "publisher");
   for (const auto& [name, feed] : feeds) {
      const auto nexthops = feed.nexthops.value_or(0), groups = feed.groups.value_or(0);
      if (isJson)
         std::cout << nlohmann::ordered_json{{"type", "feed"},
                                             {"feed", name},
                                             {"nexthops", nexthops},
                                             {"groups", groups},
                                             {"age", static_cast<double>(feed.age.count()) / 1000},
                                             {"alive", feed.isAlive},
                                             {"complete", feed.isComplete},
                                             {"ours", feed.isOurs},
                                             {"publisher", feed.publisher}}
                   << '\n';
      else
         line(name, nexthops, groups, ageText(feed.age), stateText(feed), feed.publisher);
   }
   return feeds.size();
}

} // namespace NexthopRows
