#include "exchange/publisher.h"

#include <algorithm>

#include "nexthop_rows/atFeed.h"
#include "nexthop_rows/followKernel.h"

namespace NexthopRows {

namespace {

using std::chrono::milliseconds;
using Zorva::Exchange::ServerAddress;

/// A feed's publishers.
class Publishers
{
public:
   explicit Publishers(const FeedIn& feed) : Publishers(feed, ServerAddress::parse(feed.server)) {}

   /// Brings the server up to date; returns what is in the way. Throws BadInput.
   std::string sync(milliseconds patience)
   {
      return atFeed(feed_, [&] {
         nexthops_.sync(patience);
         groups_.sync(patience);
         return nexthops_.problem().empty() ? groups_.problem() : nexthops_.problem();
      });
   }

   void makeEqual(const Tables& tables)
   {
      nexthops_.makeEqual(tables.nexthops);
      groups_.makeEqual(tables.groups);
   }

   void change(const Change<NexthopInfoRow>& change) { make(nexthops_, change); }
   void change(const Change<EcmpMemberListRow>& change) { make(groups_, change); }

   Following::Clock::time_point wakeAt() const { return std::min(nexthops_.wakeAt(), groups_.wakeAt()); }
   std::size_t size() const { return nexthops_.table().size() + groups_.table().size(); }

private:
   Publishers(const FeedIn& feed, const ServerAddress& server)
      : feed_(feed), nexthops_(server, feed.name), groups_(server, feed.name)
   {
   }

   template <class Row>
   static void make(Zorva::Exchange::Publisher<Row>& publisher, const Change<Row>& change)
   {
      if (change.after)
         publisher.put(*change.after);
      else
         publisher.erase(*change.before);
   }

   const FeedIn& feed_;
   Zorva::Exchange::Publisher<NexthopInfoRow> nexthops_;
   Zorva::Exchange::Publisher<EcmpMemberListRow> groups_;
};

/// The rows of a kernel that is followed, in a feed.
class PublishedRows final : public KernelRows
{
public:
   PublishedRows(const FeedIn& feed, Following& following)
      : following_(following), publishers_(feed), condition_(text(feed), following.notes(), Condition::unknown)
   {
   }

   void changed(const Change<NexthopInfoRow>& change) override { publishers_.change(change); }
   void changed(const Change<EcmpMemberListRow>& change) override { publishers_.change(change); }

   void settle() override
   {
      const std::string problem = publishers_.sync(milliseconds(0));
      if (problem.empty())
         condition_.is(Condition::well, std::to_string(publishers_.size()) + " rows published");
      else
         condition_.is(Condition::noServer, problem);
      following_.flush();
   }

   Following::Clock::time_point wakeAt() const override { return publishers_.wakeAt(); }

private:
   Following& following_;
   Publishers publishers_;
   Condition condition_;
};

} // namespace

void publishRows(const Tables& tables, const FeedIn& feed)
{
   Publishers publishers(feed);
   publishers.makeEqual(tables);
   if (const std::string problem = publishers.sync(milliseconds(1000)); !problem.empty())
      throw BadInput(text(feed) + ": " + problem);
}

Tables publishKernel(const NetNamespace& netns, const FeedIn& feed, bool isQuiet)
{
   Following following(isQuiet);
   const StopDeadline deadline(following.stop());
   PublishedRows rows(feed, following);
   return followKernel(netns, following, rows);
}

} // namespace NexthopRows
