// Feeds through a real server: what a publisher's table holds comes to lie in the server and in followers' tables, byte
// for byte, whatever happens to any of them on the way.
#include <random>

#include "exchange/feed.h"
#include "exchange/follower.h"
#include "exchange/publisher.h"
#include "routing_types/P4RuntimeRoutingEcmpTypes.h"
#include "rowtype/canonical.h"
#include "tests/exchange/server.h"
#include "tests/support/rows.h"

using namespace Test;
using namespace Zorva::Exchange;
using Zorva::Embedded::Table;
using Contents = std::map<std::string, std::string>; ///< key in decimal to canonical bytes

static const Options quick{
   .limit = 300ms, .lease = 400ms, .firstPause = 2ms, .longestPause = 20ms, .publisher = "test"};

template <class Row>
static std::string valueOf(const Row& row)
{
   const Bytes bytes = Zorva::canonicalBytes<Row>(row);
   return {bytes.begin(), bytes.end()};
}

template <class Row>
static Contents contentsOf(const Table& table)
{
   Contents contents;
   for (const Row row : table)
      contents[std::to_string(row.id())] = valueOf(row);
   return contents;
}

using Random = std::independent_bits_engine<std::minstd_rand, 32, unsigned>;

static void fill(NexthopInfoRow& row, Random& random) { row.portIdIs(random() % 3); }
static void fill(EcmpMemberListRow& row, Random& random)
{
   row.memberIs(upTo(random() % 5)).watchIs(upTo(random() % 3));
}

/// A follower, and what it has told, applied to a copy of its own.
template <class Row>
struct Told
{
   Told(const ServerAddress& server, const std::string& feed) : follower_(server, feed, quick) {}

   bool poll(milliseconds patience)
   {
      return follower_.poll(patience, [&](const Row& before, const Row& after) {
         const std::string key = std::to_string((before.isNull() ? after : before).id());
         const auto held = told_.find(key);
         EXPECT_EQ(held == told_.end() ? "" : held->second, before.isNull() ? "" : valueOf(before)) << key;
         if (after.isNull())
            told_.erase(key);
         else
            told_[key] = valueOf(after);
      });
   }

   Follower<Row> follower_;
   Contents told_;
};

/// A feed with all that belongs to it, and the faults that may befall them.
template <class Row>
class World
{
public:
   explicit World(unsigned seed) : random_(seed), server_(seed % 4 < 2) { makePublisher(), makeFollower(); }

   void changeSome()
   {
      for (unsigned i = random_() % 40; i-- != 0;) {
         Row row = Row::key(random_() % 30);
         fill(row, random_);
         if (random_() % 3 == 0)
            publisher_->erase(row);
         else
            publisher_->put(row);
      }
   }

   void work(milliseconds patience)
   {
      sync(patience);
      told_->poll(patience);
   }

   bool sync(milliseconds patience)
   {
      try {
         return publisher_->sync(patience);
      } catch (const FeedOwned&) { // by the one before
         std::this_thread::sleep_for(patience);
         return false;
      }
   }

   using Fault = void (World::*)();
   static constexpr std::pair<const char*, Fault> faults[] = {
      {"nothing", &World::nothing},
      {"server killed, its log kept or nothing", &World::killServer},
      {"server stopped beyond the limit", &World::stopServer},
      {"server emptied", &World::emptyServer},
      {"server back at an older state", &World::restoreServer},
      {"publisher gone in mid-batch", &World::losePublisher},
      {"publisher silent beyond its lease", &World::delayPublisher},
      {"follower started anew", &World::makeFollower},
      {"stream trimmed", &World::trimStream},
      {"connections cut", &World::cut},
   };

   void expectEqual()
   {
      const auto until = Clock::now() + 20s;
      while (Clock::now() < until) {
         const bool isSent = sync(100ms), isCurrent = told_->poll(20ms);
         const Contents published = contentsOf<Row>(publisher_->table());
         if (isSent && isCurrent && contentsOf<Row>(told_->follower_.table()) == published &&
             server_.hash(keys_.rows) == published)
            break;
      }
      const Contents published = contentsOf<Row>(publisher_->table());
      EXPECT_EQ(server_.hash(keys_.rows), published) << publisher_->problem();
      EXPECT_EQ(contentsOf<Row>(told_->follower_.table()), published) << told_->follower_.problem();
      EXPECT_EQ(told_->told_, published);
      EXPECT_EQ(publisher_->problem() + told_->follower_.problem(), "");
   }

   Random random_;
   Server server_;
   Relay publishersWay_{server_.address()}, followersWay_{server_.address()};
   FeedKeys keys_{"feed", Row::rowTypeName()};
   std::unique_ptr<Publisher<Row>> publisher_;
   std::unique_ptr<Told<Row>> told_;

private:
   void nothing() {}
   void makeFollower() { told_ = std::make_unique<Told<Row>>(followersWay_.address(), "feed"); }
   void makePublisher() { publisher_ = std::make_unique<Publisher<Row>>(publishersWay_.address(), "feed", quick); }
   void killServer()
   {
      server_.kill();
      server_.start();
   }
   void stopServer()
   {
      server_.signal(SIGSTOP);
      work(random_() % 2 == 0 ? 10ms : 400ms);
      server_.signal(SIGCONT);
   }
   void emptyServer() { server_.run("FLUSHALL"); }
   void restoreServer()
   {
      server_.run("SAVE");
      changeSome();
      work(50ms);
      server_.kill();
      std::filesystem::remove_all(server_.file("appendonlydir")); // or it would count, not the snapshot
      server_.start();
   }
   void losePublisher()
   {
      publishersWay_.cutAfter_[0] = random_() % 3000;
      sync(0ms);
      Table rows(Row::rowTypeName());
      for (const BaseRow& row : publisher_->table())
         rows.insert(row);
      makePublisher();
      publisher_->makeEqual(rows);
   }
   void delayPublisher() { std::this_thread::sleep_for(quick.lease + 20ms); }
   void trimStream() { server_.run("XTRIM", keys_.changes, "MAXLEN", 0); }
   void cut()
   {
      for (Relay* const relay : {&publishersWay_, &followersWay_})
         relay->cutAfter_[random_() % 2] = random_() % 3000;
   }
};

template <class Row>
static void runSchedule(unsigned seed)
{
   World<Row> world(seed);
   std::string story;
   for (int i = 0; i < 5; ++i) {
      const auto& [name, fault] = World<Row>::faults[world.random_() % std::size(World<Row>::faults)];
      story += std::string(name) + "; ";
      SCOPED_TRACE("seed " + std::to_string(seed) + ": " + story);
      world.changeSome();
      world.work(milliseconds(world.random_() % 2 * 30));
      (world.*fault)();
      world.changeSome();
      world.work(milliseconds(world.random_() % 2 * 30));
   }
   SCOPED_TRACE("seed " + std::to_string(seed) + ": " + story);
   world.expectEqual();
}

TEST(Exchange, SchedulesOfFaults)
{
   for (unsigned seed = 0; seed < (isFull ? 200 : 20) && !HasFailure(); ++seed)
      seed % 2 == 0 ? runSchedule<NexthopInfoRow>(seed) : runSchedule<EcmpMemberListRow>(seed);
}
