#include "exchange/follower.h"

#include <algorithm>
#include <map>
#include <thread>

#include "nexthop_rows/atFeed.h"
#include "nexthop_rows/following.h"
#include "nexthop_rows/kernelObjects.h"

namespace NexthopRows {

namespace {

using std::chrono::milliseconds;
using Zorva::Exchange::ServerAddress;

/// The rows of one type in a feed that is followed.
template <class Row>
class FollowedRows
{
public:
   FollowedRows(const ServerAddress& server, const FeedIn& feed) : source_(text(feed)), follower_(server, feed.name) {}

   const Zorva::Exchange::Follower<Row>& follower() const { return follower_; }

   /// Receives what there is. Returns whether the rows are the feed's.
   bool poll()
   {
      return follower_.poll(milliseconds(0), [&](const Row& before, const Row& after) {
         const auto row = [](const Row& given) { return given.isNull() ? std::nullopt : std::optional(given); };
         const std::uint32_t id = (after.isNull() ? before : after).id();
         const auto [change, isFirst] = changes_.try_emplace(id, Change<Row>{row(before), {}});
         change->second.after = row(after);
      });
   }

   /// Prints what has changed since the last call, and notes which fields of the feed are refused.
   void print(ChangePrinter& printer, Notes& notes)
   {
      for (const Change<Row>& change : takeChanges())
         printer.print(change);
      for (const auto& [object, reason] : noted_)
         if (!follower_.refused().contains(object))
            notes.forget(nameOf(object));
      noteRefused(notes);
      noted_ = follower_.refused();
   }

   void noteRefused(Notes& notes) const
   {
      for (const auto& [field, reason] : follower_.refused())
         notes.faulty(nameOf(field), reason);
   }

private:
   /// In the order of changesBetween; rows that became what they were, or were only filed again, left out.
   std::vector<Change<Row>> takeChanges()
   {
      std::vector<Change<Row>> changes;
      for (const auto& [id, change] : std::exchange(changes_, {}))
         if (change.before && change.after ? differ(*change.before, *change.after) : change.before || change.after)
            changes.push_back(change);
      std::ranges::stable_sort(changes, {}, [](const Change<Row>& change) {
         return std::pair(!change.before, (change.before ? change.before : change.after)->entryId());
      });
      return changes;
   }

   std::string nameOf(const std::string& field) const { return source_ + ": " + kindOf<Row> + ' ' + shownName(field); }

   std::string source_;
   Zorva::Exchange::Follower<Row> follower_;
   std::map<std::uint32_t, Change<Row>> changes_; ///< by id, since they were printed
   std::map<std::string, std::string> noted_;     ///< what was refused then
};

/// A feed that is followed.
class FollowedFeed
{
public:
   explicit FollowedFeed(const FeedIn& feed) : FollowedFeed(feed, ServerAddress::parse(feed.server)) {}

   /// Receives what there is. Returns whether the rows are the feed's. Throws BadInput.
   bool poll()
   {
      return atFeed(feed_, [&] {
         const bool areNexthopsWhole = nexthops.poll();
         return groups.poll() && areNexthopsWhole;
      });
   }

   bool hasPublisher() const { return nexthops.follower().isPublisherAlive() && groups.follower().isPublisherAlive(); }

   /// What is in the way of having the feed's rows.
   const std::string& problem() const
   {
      const std::string& ofNexthops = nexthops.follower().problem();
      return ofNexthops.empty() ? groups.follower().problem() : ofNexthops;
   }

   bool isConnected() const { return nexthops.follower().fd() >= 0 && groups.follower().fd() >= 0; }

   Following::Clock::time_point wakeAt() const
   {
      return std::min(nexthops.follower().wakeAt(), groups.follower().wakeAt());
   }

   /// How often the feed was read as a whole.
   std::size_t readings() const { return nexthops.follower().comparisons() + groups.follower().comparisons(); }

   /// The rows so far; they share the buffers of ours.
   Tables tables() const
   {
      Tables tables;
      const auto fill = [](Table& table, const Table& from) {
         table.reserve(from.size());
         for (const Zorva::BaseRow& row : from)
            table.insert(row);
      };
      fill(tables.nexthops, nexthops.follower().table());
      fill(tables.groups, groups.follower().table());
      return tables;
   }

private:
   FollowedFeed(const FeedIn& feed, const ServerAddress& server)
      : feed_(feed), nexthops(server, feed), groups(server, feed)
   {
   }

   const FeedIn& feed_;

public:
   FollowedRows<NexthopInfoRow> nexthops;
   FollowedRows<EcmpMemberListRow> groups;
};

class FeedWatch
{
public:
   FeedWatch(const FeedIn& feed, Following& following, bool isJson)
      : feed_(feed), following_(following), printer_(following, isJson),
        condition_(text(feed), following.notes(), Condition::well)
   {
   }

   Tables run()
   {
      do {
         look();
         following_.flush();
      } while (following_.await({feed_.nexthops.follower().fd(), feed_.groups.follower().fd()}, feed_.wakeAt()));
      return feed_.tables();
   }

private:
   void look()
   {
      const bool isWhole = feed_.poll();
      following_.timeIsNow();
      feed_.nexthops.print(printer_, following_.notes());
      feed_.groups.print(printer_, following_.notes());
      if (isWhole && feed_.readings() != readings_) {
         readings_ = feed_.readings();
         printer_.complete("", feed_.nexthops.follower().table().size(), feed_.groups.follower().table().size());
      }
      if (!feed_.problem().empty())
         condition_.is(feed_.isConnected() ? Condition::noWholeFeed : Condition::noServer, feed_.problem());
      else if (isWhole && !feed_.hasPublisher())
         condition_.is(Condition::noPublisher, "has no publisher");
      else if (isWhole)
         condition_.is(Condition::well, "is followed again");
   }

   FollowedFeed feed_;
   Following& following_;
   ChangePrinter printer_;
   Condition condition_;
   std::size_t readings_ = 0; ///< of which was told
};

} // namespace

Tables readFeed(const FeedIn& from, Notes& notes)
{
   constexpr milliseconds patience(5000);
   const auto until = Following::Clock::now() + patience;
   FollowedFeed feed(from);
   while (!feed.poll()) { // a publisher that is there is about to write what is missing
      if (Following::Clock::now() >= until || (!feed.problem().empty() && !feed.hasPublisher()))
         throw BadInput(text(from) + ": " +
                        (feed.problem().empty() ? "changes faster than it is read" : feed.problem()));
      std::this_thread::sleep_for(milliseconds(20));
   }
   feed.nexthops.noteRefused(notes);
   feed.groups.noteRefused(notes);
   if (!feed.hasPublisher())
      notes.told(text(from), "has no publisher; the rows are the last that were published");
   return feed.tables();
}

Tables watchFeed(const FeedIn& feed, bool isJson, bool isQuiet)
{
   Following following(isQuiet);
   const StopDeadline deadline(following.stop());
   return FeedWatch(feed, following, isJson).run();
}

} // namespace NexthopRows
