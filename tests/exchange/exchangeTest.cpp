// Feeds through a real server: what a publisher's table holds comes to lie in the server and in followers' tables, byte
// for byte, whatever happens to any of them on the way.
#include <random>
#include <regex>

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
   const Bytes bytes = row.isNull() ? Bytes() : Zorva::canonicalBytes<Row>(row);
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

/// The two parts of each line of a file, in which | stands for the end of a line.
static std::vector<std::pair<std::string, std::string>> linesInTwo(const std::string& file)
{
   std::vector<std::pair<std::string, std::string>> all;
   for (const std::string& line : linesOf(PROJECT_SOURCE_DIR "/tests/exchange/" + file)) {
      const std::size_t middle = line.find(" => ");
      all.emplace_back(std::regex_replace(line.substr(0, middle), std::regex("\\|"), "\r\n"), line.substr(middle + 4));
   }
   return all;
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
         std::string& told = told_[key]; // nothing for a row that is not there
         EXPECT_EQ(told, valueOf(before)) << key;
         if ((told = valueOf(after)).empty())
            told_.erase(key);
      });
   }

   Follower<Row> follower_;
   Contents told_;
};

/// A feed with all that belongs to it, and the faults that may befall them.
template <class Row>
struct World
{
   explicit World(unsigned seed = 0) : random_(seed), server_(seed % 4 >= 2 ? "yes" : "no")
   {
      makePublisher(), makeFollower();
   }

   void changeSome()
   {
      for (unsigned i = random_() % 40; i-- != 0;) {
         Row row = Row::key(random_() % 30);
         fill(row, random_);
         random_() % 3 == 0 ? void(publisher_->erase(row)) : publisher_->put(row);
      }
   }

   void put(unsigned first, unsigned last, unsigned port = 0)
   {
      for (unsigned id = first; id <= last; ++id)
         publisher_->put(Row::key(id).portIdIs(port));
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

   void makeFollower() { told_ = std::make_unique<Told<Row>>(followersWay_.address(), "feed"); }
   void makePublisher() { publisher_ = std::make_unique<Publisher<Row>>(publishersWay_.address(), "feed", quick); }

   /// Has one of the faults befall them; its name.
   std::string fault()
   {
      switch (random_() % 9) {
      case 0: server_.kill(), server_.start(); return "server killed, with all that it did not log";
      case 1:
         server_.signal(SIGSTOP);
         work(random_() % 2 == 0 ? 10ms : 400ms);
         server_.signal(SIGCONT);
         return "server stopped, perhaps beyond the limit";
      case 2: server_.run("FLUSHALL"); return "server emptied";
      case 3:
         server_.run("SAVE");
         changeSome(), work(50ms);
         server_.kill();
         std::filesystem::remove_all(server_.file("appendonlydir")); // or it would count, not the snapshot
         server_.start();
         return "server back at an older state";
      case 4: {
         publishersWay_.cutAfter_[0] = random_() % 3000;
         sync(0ms);
         const auto gone = std::move(publisher_);
         makePublisher();
         publisher_->makeEqual(gone->table());
         return "publisher gone in mid-batch";
      }
      case 5: std::this_thread::sleep_for(quick.lease + 20ms); return "publisher silent beyond its lease";
      case 6: makeFollower(); return "follower started anew";
      case 7:
         changeSome(), sync(50ms);
         server_.run("XTRIM", keys_.changes, "MAXLEN", 0);
         return "stream trimmed";
      default:
         for (Relay* const relay : {&publishersWay_, &followersWay_})
            relay->cutAfter_[random_() % 2] = random_() % 3000;
         return "connections cut";
      }
   }

   /// What the server holds, what the follower holds and has told, and what is wrong.
   tuple<Contents, Contents, Contents, std::string> held() const
   {
      const FeedFollower& follower = told_->follower_;
      const std::string wrong =
         publisher_->problem() + follower.problem() + (follower.isPublisherAlive() ? "" : "not alive");
      return {server_.hash(keys_.rows), contentsOf<Row>(follower.table()), told_->told_, wrong};
   }

   /// They all come to hold what the publisher does.
   void expectEqual()
   {
      const Contents rows = contentsOf<Row>(publisher_->table());
      const tuple all(rows, rows, rows, std::string());
      eventually([&] {
         const bool isSent = sync(100ms);
         return told_->poll(20ms) && isSent && held() == all;
      });
      EXPECT_EQ(held(), all);
   }

   Random random_;
   Server server_;
   Relay publishersWay_{server_.address()}, followersWay_{server_.address()};
   FeedKeys keys_{"feed", Row::rowTypeName()};
   std::unique_ptr<Publisher<Row>> publisher_;
   std::unique_ptr<Told<Row>> told_;
};

template <class Row>
static void runSchedule(unsigned seed)
{
   World<Row> world(seed);
   std::string story = "seed " + std::to_string(seed) + ": ";
   for (int i = 0; i < 5; ++i) {
      world.changeSome();
      world.work(milliseconds(world.random_() % 2 * 30));
      story += world.fault() + "; ";
      SCOPED_TRACE(story);
      if (world.random_() % 2 == 0)
         world.changeSome();
      world.work(milliseconds(world.random_() % 2 * 30));
   }
   SCOPED_TRACE(story);
   world.expectEqual();
}

TEST(Exchange, SchedulesOfFaults)
{
   for (unsigned seed = 0; seed < (isFull ? 200 : 20) && !HasFailure(); ++seed)
      seed % 2 == 0 ? runSchedule<NexthopInfoRow>(seed) : runSchedule<EcmpMemberListRow>(seed);
}

using Nexthops = World<NexthopInfoRow>;

TEST(Exchange, ConnectionsCutAfterEveryByte)
{
   Nexthops pair;
   pair.put(1, 3);
   pair.expectEqual();
   pair.server_.kill();
   pair.server_.start();
   pair.expectEqual();
   for (const int way : {0, 1})
      for (long bytes = 0; bytes < 2500 && !HasFailure(); bytes += isFull ? 1 : 13) {
         SCOPED_TRACE(std::to_string(bytes) + (way == 0 ? " bytes to the server" : " bytes from the server"));
         pair.publishersWay_.cutAfter_[way] = pair.followersWay_.cutAfter_[way] = bytes;
         pair.put(1, 5, static_cast<unsigned>(bytes) + 1);
         pair.publisher_->erase(NexthopInfoRow::key(static_cast<unsigned>(bytes % 5) + 1));
         pair.expectEqual();
      }
}

TEST(Exchange, AnotherPublisherIsRefusedUntilTheLeaseEnds)
{
   Nexthops pair;
   pair.put(1, 2);
   ASSERT_TRUE(pair.publisher_->sync(1s));
   Options other = quick;
   other.publisher = "second";
   Publisher<NexthopInfoRow> second(pair.server_.address(), "feed", other);
   second.put(NexthopInfoRow::key(7));
   EXPECT_EQ(failureOf([&] { second.sync(1s); }),
             "Zorva::Exchange::FeedOwned: " + pair.server_.address().text() + ": the feed is published by test");
   std::this_thread::sleep_for(quick.lease + 50ms); // the first is stopped, its connection there and its lease watched
   EXPECT_TRUE(second.sync(1s)) << second.problem();
   const Contents seconds = contentsOf<NexthopInfoRow>(second.table());
   EXPECT_EQ(pair.server_.hash(pair.keys_.rows), seconds);
   pair.put(3, 4);
   EXPECT_FALSE(pair.publisher_->sync(0ms));
   EXPECT_EQ(pair.publisher_->problem(), pair.publishersWay_.address().text() + ": the lease of the feed has ended");
   EXPECT_THROW(pair.publisher_->sync(1s), FeedOwned);
   EXPECT_EQ(pair.server_.hash(pair.keys_.rows), seconds);
   EXPECT_TRUE(pair.told_->poll(1s));
   EXPECT_EQ(pair.told_->told_, seconds);
}

TEST(Exchange, DamagedRowsAreRefusedAndNothingElse)
{
   Nexthops pair;
   pair.put(1, 4);
   pair.expectEqual();
   const Contents good = pair.told_->told_;
   std::string other = good.at("4");
   other[2] = 1;
   pair.server_.run("HSET", pair.keys_.rows, "1", "?", "2", good.at("3"), "4", other, "no key", good.at("3"));
   pair.server_.run("XADD", pair.keys_.changes, "*", "a", "b"); // which has them compare
   const std::map<std::string, std::string> refused = {
      {"1", "bytes are no P4RuntimeRouting::NexthopInfoRow: no room for a row header at offset 0"},
      {"2", "the row's key is 3"},
      {"4", "the bytes are not canonical"},
      {"no key", "the field is no key"}};
   eventually([&] { return pair.told_->poll(10ms), pair.told_->follower_.refused() == refused; });
   EXPECT_EQ(pair.told_->follower_.refused(), refused);
   EXPECT_EQ(contentsOf<NexthopInfoRow>(pair.told_->follower_.table()), good);
   EXPECT_EQ(pair.told_->told_, good);
   Told<NexthopInfoRow> fresh(pair.server_.address(), "feed");
   EXPECT_TRUE(fresh.poll(1s));
   EXPECT_EQ(fresh.told_, (Contents{{"3", good.at("3")}}));
   EXPECT_EQ(fresh.follower_.refused(), refused);

   std::this_thread::sleep_for(quick.lease / 2); // the publisher counts the fields when it renews its lease
   pair.expectEqual();
   EXPECT_TRUE(pair.told_->follower_.refused().empty());

   pair.server_.run("HSET", pair.keys_.meta, "signature", "{}");
   Told<NexthopInfoRow> mistaken(pair.server_.address(), "feed");
   EXPECT_EQ(failureOf([&] { mistaken.poll(1s); }), "Zorva::Exchange::FeedRefused: " + pair.server_.address().text() +
                                                       ": the feed's rows are of the type {}, not " +
                                                       NexthopInfoRow::zoTypeSignature());
}

TEST(Exchange, KeysThatFlapAreReadOnce)
{
   Nexthops pair;
   pair.put(1, 1000);
   pair.expectEqual();
   for (const bool isTrimmed : {false, true}) {
      for (unsigned round = 1; round <= 50; ++round) {
         pair.put(1, 1000, round + 100 * isTrimmed);
         ASSERT_TRUE(pair.publisher_->sync(5s)) << pair.publisher_->problem();
      }
      if (isTrimmed)
         pair.server_.run("XTRIM", pair.keys_.changes, "MAXLEN", 0);
      unsigned told = 0;
      const std::size_t comparisons = pair.told_->follower_.comparisons();
      eventually([&] { return pair.told_->follower_.poll(5s, [&](auto&&...) { ++told; }); });
      EXPECT_EQ(told, 1000U);
      EXPECT_EQ(pair.told_->follower_.comparisons() - comparisons, isTrimmed ? 1U : 0U);
   }
}

TEST(Exchange, WhatTheServerRefusesIsSaidAndMended)
{
   using testing::HasSubstr;
   const auto answers = linesInTwo("answers.txt"); // longer than the relays, which may still be at one
   Nexthops pair;
   unsigned port = 1;
   const auto acl = [&](const char* rule) { pair.server_.run("ACL", "SETUSER", "default", rule); };
   const auto room = [&](const char* bytes) { pair.server_.run("CONFIG", "SET", "maxmemory", bytes); };
   const std::tuple<std::function<void(const char*)>, const char*, const char*, const char*> refusals[] = {
      {room, "1", "0", "OOM command not allowed"},
      {acl, "-xadd", "+xadd", "NOPERM this user"},
      {acl, "-hset", "+hset", "NOPERM this user"},
   };
   for (const auto& [set, broken, mended, said] : refusals) {
      pair.expectEqual();
      set(broken);
      pair.put(1, 2, ++port);
      const std::string failure = failureOf([&] { pair.publisher_->sync(20ms); });
      EXPECT_THAT(failure + pair.publisher_->problem(), HasSubstr(said));
      pair.told_->poll(20ms);
      set(mended);
   }
   pair.expectEqual();

   for (const auto& [answer, said] : answers) {
      SCOPED_TRACE(answer);
      for (Relay* const relay : {&pair.publishersWay_, &pair.followersWay_}) {
         relay->drips_ = answer.starts_with("$90");
         relay->answer_ = &answer;
      }
      const auto begin = Clock::now();
      pair.put(1, 2, ++port);
      const std::string publishers = failureOf([&] { pair.publisher_->sync(0ms), pair.publisher_->sync(30ms); });
      const std::string followers = failureOf([&] { pair.told_->poll(0ms), pair.told_->poll(30ms); });
      EXPECT_THAT(publishers + pair.publisher_->problem(), HasSubstr(said));
      EXPECT_NE(followers + pair.told_->follower_.problem(), "none");
      EXPECT_LT(Clock::now() - begin, 6 * quick.limit);
      pair.publishersWay_.answer_ = pair.followersWay_.answer_ = nullptr;
   }
   pair.expectEqual();
}

TEST(Exchange, AddressesAndPasswords)
{
   for (const auto& [url, text] : linesInTwo("addresses.txt")) {
      std::string read = "refused";
      const std::string failure = failureOf([&, address = url] { read = ServerAddress::parse(address).text(); });
      EXPECT_EQ(read, text) << url;
      EXPECT_EQ(failure.starts_with("std::invalid_argument: "), text == "refused") << url;
      EXPECT_EQ(failure.find("secret"), std::string::npos) << failure;
   }
   EXPECT_EQ(ServerAddress::parse("redis://me:se%63ret@[::1]:7000/2").password, "secret");
   EXPECT_THROW(FeedKeys("a{b}", "T"), std::invalid_argument);

   Server server;
   server.run("ACL", "SETUSER", "me", "on", ">secret", "~*", "+@all");
   unsigned port = 20'000;
   while (failureOf([&] { server.run("CONFIG", "SET", "port", port); }) != "none")
      ++port;
   const std::string place = "localhost:" + std::to_string(port) + "/1";
   const auto publish = [&](const std::string& url) {
      Publisher<NexthopInfoRow> publisher(ServerAddress::parse(url), "feed", quick);
      return publisher.sync(0ms) ? "" : publisher.problem();
   };
   EXPECT_EQ(publish("redis://me:secret@" + place), "");
   EXPECT_EQ(failureOf([&] { publish("redis://me:secret2@" + place); }),
             "Zorva::Exchange::FeedRefused: redis://" + place + ": does not take the password: WRONGPASS");
   setenv("REDISCLI_AUTH", "secret", 1);
   EXPECT_EQ(publish("redis://me@" + place), "");
   unsetenv("REDISCLI_AUTH");
   EXPECT_THAT(publish("redis://no-such-host.invalid"), testing::HasSubstr("cannot connect to redis://no-such-host"));
   EXPECT_THAT(publish("redis+unix:///nowhere"), testing::HasSubstr("No such file or directory"));
}

// A publisher, and followers in threads of their own, which end with the row of key 1000.
template <class Row>
static void exchangeMuch(const ServerAddress& server, const std::string& feed, int followers)
{
   std::vector<std::jthread> threads;
   for (int i = 0; i < followers; ++i)
      threads.emplace_back([&] {
         Told<Row> told(server, feed);
         EXPECT_TRUE(eventually([&] { return told.poll(1s), told.follower_.table().contains(Row::key(1000)); }));
         EXPECT_EQ(told.told_.size(), 101U);
         EXPECT_EQ(contentsOf<Row>(told.follower_.table()), told.told_);
      });
   Publisher<Row> publisher(server, feed, quick);
   Random random(1);
   for (unsigned round = 0; round <= 300; ++round) {
      Row row = Row::key(round < 300 ? round % 100 : 1000);
      fill(row, random);
      publisher.put(row);
      publisher.sync(1s);
   }
}

TEST(Exchange, FeedsOfTwoTypesAtOnce)
{
   const Server server;
   const ServerAddress address = server.address();
   std::jthread nexthops([&] { exchangeMuch<NexthopInfoRow>(address, "a", 2); });
   exchangeMuch<EcmpMemberListRow>(address, "b", 1);
   nexthops.join();
   std::string listed;
   for (const FeedInfo& info : feeds(address))
      listed += info.feed + ' ' + info.rowTypeName + ' ' + info.publisher + ' ' + std::to_string(info.rows) +
                (info.rowTypeSignature.size() > 100 && info.age < 10s ? "" : " strange") +
                (info.isAlive ? " alive" : "") + (info.isComplete ? " complete\n" : "\n");
   EXPECT_EQ(listed, "a P4RuntimeRouting::NexthopInfoRow test 101 complete\n"
                     "b P4RuntimeRouting::EcmpMemberListRow test 101 complete\n");
}
