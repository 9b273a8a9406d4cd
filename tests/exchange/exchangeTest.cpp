// Feeds through a real server: what a publisher's table holds comes to lie in the server and in followers' tables, byte
// for byte, whatever happens to any of them on the way.
#include <sys/resource.h>
#include <sys/time.h>

#include <random>
#include <regex>

#include "exchange/feed.h"
#include "exchange/follower.h"
#include "exchange/publisher.h"
#include "routing_types/P4RuntimeRoutingEcmpTypes.h"
#include "rowtype/canonical.h"
#include "rowtype/rowTypeDefined.h"
#include "tests/exchange/server.h"
#include "tests/support/rows.h"

// Rows with keys of the other types.
#define ZORVA_QUOTED_AS_IS(name) #name
#define ZORVA_QUOTED(name) ZORVA_QUOTED_AS_IS(name)
#define KEYED_NAMESPACE KeyedByU16
#define KEY_TYPE Zorva::Type::u16
#include "tests/exchange/keyedRow.inc"
#define KEYED_NAMESPACE KeyedByI32
#define KEY_TYPE Zorva::Type::i32
#include "tests/exchange/keyedRow.inc"
#define KEYED_NAMESPACE KeyedByU64
#define KEY_TYPE Zorva::Type::u64
#include "tests/exchange/keyedRow.inc"

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

template <class Row>
static void fill(Row& row, Random& random)
{
   row.portIdIs(random() % 3);
}
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
         Row row = Row::key(static_cast<typename Row::Key>(15 - static_cast<int>(random_() % 30)));
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
      std::array{&runSchedule<NexthopInfoRow>, &runSchedule<EcmpMemberListRow>, &runSchedule<KeyedByU16::KeyedRow>,
                 &runSchedule<KeyedByI32::KeyedRow>, &runSchedule<KeyedByU64::KeyedRow>}[seed % 5](seed);
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
   pair.server_.run("HSET", pair.keys_.rows, "1", "?", "2", good.at("3"), "4", other, "no key", good.at("3"), "03",
                    good.at("3"), "4294967296", "");
   pair.server_.run("XADD", pair.keys_.changes, "*", "a", "b"); // which has them compare
   const std::map<std::string, std::string> refused = {
      {"1", "bytes are no P4RuntimeRouting::NexthopInfoRow: no room for a row header at offset 0"},
      {"2", "the row's key is 3"},
      {"4", "the bytes are not canonical"},
      {"no key", "the field is no key"},
      {"03", "the field is no key"},
      {"4294967296", "the field is no key"}};
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
   EXPECT_EQ(FeedTable(rowTypeOf<KeyedByI32::KeyedRow>()).keyIn("2147483648"), std::nullopt);

   FeedPublisher& generic = *pair.publisher_;
   expectFailure(wrongType + '0', {[&] { generic.put(EcmpMemberListRow()); }});
   expectFailure("Zorva::ZoBadCast: bytes are no P4RuntimeRouting::NexthopInfoRow: bool neither 0 nor 1 at offset 20",
                 {[&] { generic.put(rowOf("34 00 01 00 | 00*16 | 02 | 00*31")); }});
   EXPECT_EQ(contentsOf<NexthopInfoRow>(generic.table()), good);
}

// What a follower cannot go on from has it compare, once; what a publisher comes back to after a cut does not.
TEST(Exchange, FeedsAreComparedWhenTheyMustAndNotMoreOften)
{
   Nexthops pair;
   pair.put(1, 4);
   pair.expectEqual();
   unsigned port = 0;
   const auto comparisonsAfter = [&](const std::function<void()>& happens) {
      const std::size_t before = pair.told_->follower_.comparisons();
      happens();
      pair.put(2, 3, ++port);
      pair.expectEqual();
      return pair.told_->follower_.comparisons() - before;
   };
   EXPECT_EQ(comparisonsAfter([&] { pair.publishersWay_.cutAfter_[0] = 0; }), 0U); // not done
   EXPECT_EQ(comparisonsAfter([&] { pair.publishersWay_.cutAfter_[1] = 0; }), 0U); // done, the reply lost
   for (const auto& [field, value] : {std::pair("batches", "77"), std::pair("incarnation", "other")})
      EXPECT_NE(comparisonsAfter([&, name = field, content = value] {
                   pair.server_.run("HSET", pair.keys_.meta, name, content);
                   pair.publishersWay_.cutAfter_[0] = 0;
                }),
                0U)
         << field;
   const auto meta = [&](const char* field) { return pair.server_.hash(pair.keys_.meta)[field]; };
   const auto next = [&] { return std::to_string(std::stoi(meta("batches")) + 1); };
   const auto strange = [&](const std::string& batch, const char* name, const char* keys) {
      pair.server_.run("XADD", pair.keys_.changes, "*", "incarnation", meta("incarnation"), "batch", batch, name, keys);
      return eventually([&] { return pair.told_->poll(10ms); });
   };
   EXPECT_EQ(comparisonsAfter([&] { EXPECT_TRUE(strange("x", "keys", "1")); }), 1U);
   EXPECT_EQ(comparisonsAfter([&] { EXPECT_TRUE(strange(next(), "key", "1")); }), 1U);
   EXPECT_EQ(comparisonsAfter([&] { EXPECT_TRUE(strange(next(), "keys", "1 one")); }), 1U);

   Table table(NexthopInfoRow::rowTypeName()); // one as it is, one that is not, one more, two less
   for (const unsigned id : {1U, 2U, 7U})
      table.insert(NexthopInfoRow::key(id).portIdIs(id - 1));
   EXPECT_EQ(comparisonsAfter([&] { pair.publisher_->makeEqual(table); }), 0U);
}

TEST(Exchange, LeasesAreRenewedInTime)
{
   const Server server;
   Options slow = quick;
   slow.lease = 1500ms;
   slow.publisher = "";
   Publisher<NexthopInfoRow> publisher(server.address(), "feed", slow);
   EXPECT_LE(publisher.wakeAt(), Clock::now());
   for (unsigned port = 0; port < 3; ++port) {
      std::this_thread::sleep_until(publisher.wakeAt());
      if (port != 1) // then there is nothing but the lease
         publisher.put(NexthopInfoRow::key(1).portIdIs(port));
      const auto before = Clock::now();
      EXPECT_TRUE(publisher.sync(0ms)) << publisher.problem();
      EXPECT_GE(publisher.wakeAt(), before + slow.lease / 3);
      EXPECT_LE(publisher.wakeAt(), Clock::now() + slow.lease / 3);
      EXPECT_GT(server.run("PTTL", FeedKeys("feed", NexthopInfoRow::rowTypeName()).owner)->integer, 1000) << port;
   }
   const auto listed = feeds(server.address());
   EXPECT_TRUE(listed[0].publisher.ends_with(':' + std::to_string(getpid()))) << listed[0].publisher;
}

// More than a portion of everything, and more than a socket takes.
TEST(Exchange, LargeFeedsGoThroughInPortions)
{
   World<EcmpMemberListRow> pair;
   pair.server_.run("EVAL", "for i = 1, 1500 do redis.call('HSET', KEYS[1], 'strange ' .. i, '?') end", 1,
                    pair.keys_.rows);
   for (unsigned id = 1; id <= 2500; ++id)
      pair.publisher_->put(EcmpMemberListRow::key(id).memberIs(upTo(id % 3)));
   pair.expectEqual();
   pair.makeFollower();
   pair.expectEqual();
   EXPECT_EQ(pair.told_->follower_.comparisons(), 1U);

   Follower<EcmpMemberListRow> silent(pair.server_.address(), "feed", quick);
   EXPECT_TRUE(eventually([&] { return silent.poll(100ms); })) << silent.problem();
   EXPECT_EQ(contentsOf<EcmpMemberListRow>(silent.table()), pair.told_->told_);

   for (unsigned id = 1; id <= 400; ++id) // 6 megabytes
      pair.publisher_->put(EcmpMemberListRow::key(id).memberIs(upTo(4000)));
   pair.expectEqual();
   for (unsigned id = 1; id <= 400; ++id)
      pair.publisher_->put(EcmpMemberListRow::key(id).watchIs(upTo(4000)));
   pair.server_.signal(SIGSTOP);
   EXPECT_FALSE(pair.publisher_->sync(0ms));
   EXPECT_EQ(pair.publisher_->problem(), pair.publishersWay_.address().text() + ": takes nothing for 300 ms");
   pair.server_.signal(SIGCONT);
   pair.expectEqual();
   for (unsigned i = 0; i < 11'000; ++i) {
      pair.publisher_->put(EcmpMemberListRow::key(1).memberIs(upTo(i % 2)));
      pair.publisher_->sync(1s);
   }
   EXPECT_LE(pair.server_.run("XLEN", pair.keys_.changes)->integer, 10'200); // about what is wanted
}

// The same rows in other bytes, which mean nothing, are taken over and not told.
TEST(Exchange, OtherBytesOfTheSameRowAreTakenOver)
{
   World<EcmpMemberListRow> pair;
   EcmpMemberListRow row = EcmpMemberListRow::key(1).memberIs({1, 2});
   pair.publisher_->put(row.memberIs({3}));
   pair.expectEqual();
   pair.makePublisher();
   row.compact();
   pair.publisher_->put(row);
   std::this_thread::sleep_for(quick.lease);
   const Contents compacted = contentsOf<EcmpMemberListRow>(pair.publisher_->table()), told = pair.told_->told_;
   EXPECT_NE(told, compacted);
   eventually([&] {
      return pair.sync(10ms) && pair.told_->poll(10ms) &&
             contentsOf<EcmpMemberListRow>(pair.told_->follower_.table()) == compacted;
   });
   EXPECT_EQ(contentsOf<EcmpMemberListRow>(pair.told_->follower_.table()), compacted);
   EXPECT_EQ(pair.told_->told_, told);
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
   auto answers = linesInTwo("answers.txt"); // longer than the relays, which may still be at one
   const std::string signature = NexthopInfoRow::zoTypeSignature(), length = std::to_string(signature.size());
   const std::string meta = "*7\r\n$" + length + "\r\n" + signature +
                            "\r\n$1\r\ni\r\n$1\r\n5\r\n$3\r\nabc\r\n$8\r\ncomplete\r\n$1\r\n0\r\n$1\r\np\r\n";
   for (auto& each : answers) // META stands for a sound one
      for (std::size_t at; (at = each.first.find("META")) != std::string::npos;)
         each.first.replace(at, 4, meta);
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

   const auto without = [](const std::string& thrown, const std::string& kept) {
      static const std::regex noise(R"(Zorva::Exchange::\w+: |redis\+unix:\S+: )");
      const std::string text = std::regex_replace(thrown == "none" ? kept : thrown, noise, "");
      return text.empty() ? "all is well" : text;
   };
   for (const auto& [answer, said] : answers) {
      SCOPED_TRACE(answer);
      for (Relay* const relay : {&pair.publishersWay_, &pair.followersWay_}) {
         relay->drips_ = answer.starts_with("$90");
         relay->endsAnswer_ = said.find("300 ms") == said.npos;
         relay->answer_ = &answer;
      }
      const auto begin = Clock::now();
      pair.put(1, 2, ++port);
      const std::string publishers = failureOf([&] { pair.publisher_->sync(0ms), pair.publisher_->sync(30ms); });
      const std::string followers = failureOf([&] { pair.told_->poll(0ms), pair.told_->poll(30ms); });
      EXPECT_LT(Clock::now() - begin, 6 * quick.limit);
      const std::string lists = failureOf([&] { feeds(pair.followersWay_.address(), quick); });
      EXPECT_EQ(without(publishers, pair.publisher_->problem()) + "; " +
                   without(followers, pair.told_->follower_.problem()) + "; " + without(lists, ""),
                said);
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
   const std::string longest = std::string(119, 'x') + "azAZ09._:/@-"; // of 131 characters
   expectFailure("none", {[&] { FeedKeys(longest.substr(3), "T"); }});
   for (const auto& [name, text] : {std::pair<std::string, std::string>{longest.substr(2), longest.substr(2)},
                                    {"", ""},
                                    {"a{b}", "a{b}"},
                                    {"[", "["},
                                    {";", ";"},
                                    {"\n\x7f" + std::string(200, '['), "??" + std::string(198, '[') + "..."}})
      expectFailure("std::invalid_argument: \"" + text + "\" is no feed's name: 1 to 128 letters, digits and ._:/@-",
                    {[&, feed = name] { FeedKeys(feed, "T"); }});

   Server server;
   server.run("ACL", "SETUSER", "me", "on", ">secret", "~*", "+@all");
   unsigned port = 20'000;
   while (failureOf([&] { server.run("CONFIG", "SET", "port", port); }) != "none")
      ++port;
   const std::string place = "localhost:" + std::to_string(port) + "/1";
   Options options = quick;
   options.limit = 20s; // looking up a name may take long on a busy machine
   const auto publish = [&](const std::string& url) {
      Publisher<NexthopInfoRow> publisher(ServerAddress::parse(url), "feed", options);
      return publisher.sync(0ms) ? "" : publisher.problem();
   };
   EXPECT_EQ(publish("redis://me:secret@" + place), "");
   const std::string refused = "Zorva::Exchange::FeedRefused: redis://" + place + ": does not take the password: ";
   EXPECT_EQ(failureOf([&] { publish("redis://me:secret2@" + place); }), refused + "WRONGPASS");
   EXPECT_EQ(failureOf([&] { publish("redis://:secret@" + place); }), refused + "ERR");
   setenv("REDISCLI_AUTH", "secret", 1);
   EXPECT_EQ(publish("redis://me@" + place), "");
   unsetenv("REDISCLI_AUTH");
   for (const auto& [url, said] : linesInTwo("places.txt"))
      EXPECT_THAT(failureOf([&, address = url] { throw std::runtime_error(publish(address)); }),
                  testing::HasSubstr(said));

   const std::string full = "redis://127.0.0.1:" + std::to_string(port), socket = server.address().text();
   rlimit files{};
   getrlimit(RLIMIT_NOFILE, &files);
   const rlimit none{0, files.rlim_max};
   setrlimit(RLIMIT_NOFILE, &none);
   const std::string withoutFiles[] = {publish(full), publish(socket)};
   setrlimit(RLIMIT_NOFILE, &files);
   EXPECT_THAT(withoutFiles, testing::Each(testing::EndsWith(": Too many open files")));

   options.limit = -1ms;
   EXPECT_TRUE(eventually([&] { return publish("redis://" + place).ends_with("look-up of its name takes too long"); }));
   server.signal(SIGSTOP); // what waits to be accepted has a limit
   for (const auto& [url, said] :
        {std::pair(full, "Connection timed out"), {socket, "Resource temporarily unavailable"}}) {
      std::list<Connection> waiting;
      EXPECT_THAT(failureOf([&, address = url] {
                     for (;;)
                        waiting.emplace_back(ServerAddress::parse(address), 20ms);
                  }),
                  testing::EndsWith(said));
   }
}

TEST(Exchange, UnaskedAnswersAndSignals)
{
   Nexthops pair;
   pair.put(1, 2);
   pair.expectEqual();
   const std::string unasked = "+unasked\r\n", nothing;
   pair.publishersWay_.says_ = &unasked;
   EXPECT_TRUE(eventually([&] { return !pair.publisher_->sync(0ms); }));
   EXPECT_EQ(pair.publisher_->problem(), pair.publishersWay_.address().text() + ": answers without being asked");
   pair.expectEqual();

   signal(SIGALRM, [](int) {});
   const itimerval often{{0, 5'000}, {0, 5'000}}, never{};
   ServerAddress silent = pair.publishersWay_.address();
   silent.password = "secret";
   pair.publishersWay_.answer_ = &nothing;
   setitimer(ITIMER_REAL, &often, nullptr);
   const std::string failure = failureOf([&] { Connection(silent, 300ms); });
   setitimer(ITIMER_REAL, &never, nullptr);
   EXPECT_EQ(failure, "Zorva::Exchange::ServerTrouble: " + silent.text() + ": no whole reply within 300 ms");
   pair.publishersWay_.answer_ = nullptr;

   const Connection connection(pair.server_.address(), 1s);
   rlimit files{};
   getrlimit(RLIMIT_NOFILE, &files);
   const rlimit none{0, files.rlim_max};
   setrlimit(RLIMIT_NOFILE, &none); // poll takes fewer then
   const std::string polled = failureOf([&] { const_cast<Connection&>(connection).await(Clock::now()); });
   setrlimit(RLIMIT_NOFILE, &files);
   EXPECT_EQ(polled, "Zorva::Exchange::ServerTrouble: poll: Invalid argument");
}

/// Memory of so many blocks and no more.
struct Scarce : std::pmr::memory_resource
{
   void* do_allocate(std::size_t bytes, std::size_t alignment) override
   {
      return left_-- > 0 ? std::pmr::new_delete_resource()->allocate(bytes, alignment) : throw std::bad_alloc();
   }
   void do_deallocate(void* block, std::size_t bytes, std::size_t alignment) override
   {
      std::pmr::new_delete_resource()->deallocate(block, bytes, alignment);
   }
   bool do_is_equal(const memory_resource& other) const noexcept override { return this == &other; }
   int left_ = 0;
};

TEST(Exchange, ShortageOfMemoryIsAFailureLikeOthers)
{
   const Server server;
   const std::string many = "local t = {} for i = 1, 132 do t[i] = i end return t"; // nearly fill a block, as do
   const std::function<void()> commands[] = {[&] { server.run("INCR", "number"); },
                                             [&] { server.run("ECHO", std::string(1060, ' ')); },
                                             [&] { server.run("EVAL", many, 0); }};
   for (const auto& command : commands) {
      Scarce scarce;
      std::pmr::memory_resource* const plenty = std::pmr::set_default_resource(&scarce);
      std::string failure;
      int blocks = 0;
      for (; scarce.left_ = blocks, failure = failureOf(command), failure != "none" && blocks < 10; ++blocks)
         EXPECT_THAT(failure, testing::EndsWith("does not speak the protocol: Out of memory"));
      std::pmr::set_default_resource(plenty);
      EXPECT_EQ(tuple(failure, blocks > 0), tuple("none", true));
   }
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
   server.run("SET", "zorva:{a b}:T:meta", "no feed's name");
   std::string listed;
   for (const FeedInfo& info : feeds(address))
      listed += info.feed + ' ' + info.rowTypeName + ' ' + info.publisher + ' ' + std::to_string(info.rows) +
                (info.rowTypeSignature.size() > 100 && info.age < 10s ? "" : " strange") +
                (info.isAlive ? " alive" : "") + (info.isComplete ? " complete\n" : "\n");
   EXPECT_EQ(listed, "a P4RuntimeRouting::NexthopInfoRow test 101 complete\n"
                     "b P4RuntimeRouting::EcmpMemberListRow test 101 complete\n");
}
