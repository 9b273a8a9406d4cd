// Tables exchanged between processes through a Redis server of the program's own, on a unix socket in a temporary
// folder. Prints "name: number" lines, which bench/evaluate.py turns into goals. Counterparts, by hiredis:
//  - fields: one HSET a column and one PUBLISH a row, which a reader answers with an HGETALL and a row of its own;
//  waiting
//    for each answer, as programs do that know of nothing else, or all of a row's commands at once;
//  - bare: two processes, one writing and one reading the very commands and bytes that a publisher and a follower use,
//  made
//    ready beforehand, with nothing done about them.
#include <hiredis/hiredis.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <functional>
#include <iostream>
#include <memory>
#include <thread>
#include <vector>

#include "exchange/follower.h"
#include "exchange/publisher.h"
#include "routing_types/P4RuntimeRoutingEcmpTypes.h"
#include "rowtype/canonical.h"

using namespace std::chrono_literals;
using namespace Zorva::Exchange;
using P4RuntimeRouting::NexthopInfoRow;
using Zorva::Embedded::Table;

namespace {

constexpr const char* feed = "bench";

std::uint64_t now() { return static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count()); }

/// What a process tells its parent: memory that both see.
struct Shared
{
   volatile bool isReady;
   volatile std::uint64_t end; ///< nanoseconds of the steady clock, 0 before
   volatile std::uint64_t numbers[5'000];
};
Shared& shared =
   *static_cast<Shared*>(mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));

void await(const volatile bool& flag)
{
   while (!flag)
      std::this_thread::sleep_for(100us);
}

pid_t startProcess(const std::function<void()>& run)
{
   const pid_t pid = fork();
   if (pid == 0) {
      run();
      _exit(0);
   }
   return pid;
}

void end(pid_t pid)
{
   kill(pid, SIGKILL);
   waitpid(pid, nullptr, 0);
}

using Reply = std::unique_ptr<redisReply, void (*)(void*)>;

/// A connection of hiredis' own.
class Bare
{
public:
   explicit Bare(const std::string& path) : context_(redisConnectUnix(path.c_str()), &redisFree) {}

   void add(const std::string& commands)
   {
      redisAppendFormattedCommand(context_.get(), commands.data(), commands.size());
   }

   void flush()
   {
      for (int done = 0; done == 0;)
         if (redisBufferWrite(context_.get(), &done) != REDIS_OK)
            throw std::runtime_error(context_->errstr);
   }

   Reply reply()
   {
      void* got = nullptr;
      if (redisGetReply(context_.get(), &got) != REDIS_OK)
         throw std::runtime_error(context_->errstr);
      Reply reply(static_cast<redisReply*>(got), &freeReplyObject);
      if (reply->type == REDIS_REPLY_ERROR)
         throw std::runtime_error(reply->str);
      return reply;
   }

   Reply run(const std::vector<std::string>& words);

private:
   std::unique_ptr<redisContext, void (*)(redisContext*)> context_;
};

std::string command(const std::vector<std::string>& words)
{
   std::string text = '*' + std::to_string(words.size()) + "\r\n";
   for (const std::string& word : words)
      text += '$' + std::to_string(word.size()) + "\r\n" + word + "\r\n";
   return text;
}

Reply Bare::run(const std::vector<std::string>& words)
{
   add(command(words));
   return reply();
}

class Server
{
public:
   Server()
   {
      pid_ = startProcess([this] {
         execlp("redis-server", "redis-server", "--port", "0", "--unixsocket", path_.c_str(), "--dir", folder_.c_str(),
                "--save", "", "--logfile", "log", nullptr);
      });
      while (!std::filesystem::exists(path_))
         std::this_thread::sleep_for(10ms);
   }
   Server(const Server&) = delete;
   ~Server()
   {
      end(pid_);
      std::filesystem::remove_all(folder_);
   }

   ServerAddress address() const { return ServerAddress::parse("redis+unix://" + path_); }
   const std::string& path() const { return path_; }

   void clear() const { Bare(path_).run({"FLUSHALL"}); }

   std::uint64_t number(const std::string& section, const std::string& name) const
   {
      const Reply info = Bare(path_).run({"INFO", section});
      const std::string text(info->str, info->len);
      const std::size_t at = text.find(name);
      return at == std::string::npos ? 0 : std::stoull(text.substr(at + name.size()));
   }

private:
   std::string folder_ = mkdtemp(std::string("/tmp/exchangeXXXXXX").data());
   std::string path_ = folder_ + "/socket";
   pid_t pid_;
};

NexthopInfoRow nexthop(unsigned id)
{
   return NexthopInfoRow(1, 0x100000000 + id, true, id, id, id % 97, {2, 0, 0, 0, 0, 1}, {2, 0, 0, 0, 0, 2}, false, 0,
                         0);
}

Table nexthops(unsigned count)
{
   Table table(NexthopInfoRow::rowTypeName());
   table.reserve(count);
   for (unsigned id = 0; id < count; ++id)
      table.insert(nexthop(id));
   return table;
}

void print(const std::string& name, double number) { std::cout << name << ": " << number << '\n' << std::flush; }

/// Milliseconds from `write` in this process, after `prepare`, until `read` in another has told the end.
double exchanged(
   const std::function<void()>& read, const std::function<void()>& write, const std::function<void()>& prepare = [] {})
{
   shared.isReady = false;
   shared.end = 0;
   const pid_t reader = startProcess(read);
   prepare();
   await(shared.isReady);
   std::this_thread::sleep_for(20ms); // until it waits
   const std::uint64_t begin = now();
   write();
   while (shared.end == 0)
      std::this_thread::sleep_for(100us);
   end(reader);
   return static_cast<double>(shared.end - begin) / 1e6;
}

/// From a table, or from a publisher that is filled already.
double exchangedByUs(const Server& server, const Table& table, bool isFilled)
{
   server.clear();
   Publisher<NexthopInfoRow> publisher(server.address(), feed);
   return exchanged(
      [&] {
         Follower<NexthopInfoRow> follower(server.address(), feed);
         follower.poll(0ms);
         shared.isReady = true;
         while (follower.table().size() < table.size())
            follower.poll(1s);
         shared.end = now();
      },
      [&] {
         if (!isFilled)
            publisher.makeEqual(table);
         while (!publisher.sync(10s))
            std::cerr << publisher.problem() << '\n';
      },
      [&] {
         if (isFilled)
            publisher.makeEqual(table);
      });
}

double exchangedByFields(const Server& server, const Table& table, bool waits)
{
   server.clear();
   const auto read = [&] {
      Bare subscribed(server.path()), asking(server.path());
      subscribed.run({"SUBSCRIBE", feed});
      shared.isReady = true;
      Table filled(NexthopInfoRow::rowTypeName());
      while (filled.size() < table.size()) {
         const Reply message = subscribed.reply();
         const Reply fields = asking.run({"HGETALL", message->element[2]->str});
         const auto number = [&](std::size_t i) { return std::stoull(fields->element[2 * i + 1]->str); };
         const auto address = [&](std::size_t i) {
            Zorva::EthAddr mac;
            unsigned b[6] = {};
            std::sscanf(fields->element[2 * i + 1]->str, "%x:%x:%x:%x:%x:%x", b, b + 1, b + 2, b + 3, b + 4, b + 5);
            unsigned char bytes[6];
            std::ranges::copy(b, bytes);
            std::memcpy(&mac, bytes, sizeof bytes);
            return mac;
         };
         filled.insert(NexthopInfoRow(number(0), number(1), number(2) != 0, static_cast<std::uint32_t>(number(3)),
                                      static_cast<std::uint32_t>(number(4)), static_cast<std::uint32_t>(number(5)),
                                      address(6), address(7), number(8) != 0, static_cast<std::int32_t>(number(9)),
                                      static_cast<std::uint16_t>(number(10))));
      }
      shared.end = now();
   };
   return exchanged(read, [&] {
      Bare writer(server.path());
      for (const NexthopInfoRow row : table) {
         const std::string key = "nexthop:" + std::to_string(row.id());
         const std::vector<std::string> commands = {
            command({"HSET", key, "genId", std::to_string(row.genId())}),
            command({"HSET", key, "entryHandle", std::to_string(row.entryHandle())}),
            command({"HSET", key, "valid", std::to_string(row.valid())}),
            command({"HSET", key, "entryId", std::to_string(row.entryId())}),
            command({"HSET", key, "id", std::to_string(row.id())}),
            command({"HSET", key, "portId", std::to_string(row.portId())}),
            command({"HSET", key, "dmac", "02:00:00:00:00:01"}),
            command({"HSET", key, "smac", "02:00:00:00:00:02"}),
            command({"HSET", key, "drop", std::to_string(row.drop())}),
            command({"HSET", key, "encapType", std::to_string(row.encapType())}),
            command({"HSET", key, "encapId", std::to_string(row.encapId())}),
            command({"PUBLISH", feed, key})};
         for (const std::string& one : commands) {
            writer.add(one);
            if (waits)
               writer.reply();
         }
         if (!waits)
            for (std::size_t i = 0; i < commands.size(); ++i)
               writer.reply();
      }
   });
}

double exchangedBare(const Server& server, const Table& table)
{
   server.clear();
   constexpr std::size_t portion = 1000;
   std::vector<std::pair<std::string, std::string>> fields;
   for (const NexthopInfoRow row : table) {
      const auto bytes = Zorva::canonicalBytes<NexthopInfoRow>(row);
      fields.emplace_back(std::to_string(row.id()), std::string(bytes.begin(), bytes.end()));
   }
   std::vector<std::string> writes, reads;
   for (std::size_t at = 0; at < fields.size(); at += portion) {
      std::vector<std::string> set = {"HSET", "rows"}, get = {"HMGET", "rows"};
      std::string keys;
      for (std::size_t i = at; i < std::min(at + portion, fields.size()); ++i) {
         set.insert(set.end(), {fields[i].first, fields[i].second});
         get.push_back(fields[i].first);
         keys += fields[i].first + ' ';
      }
      const std::string number = std::to_string(writes.size() + 1);
      writes.push_back(command({"MULTI"}) + command({"PEXPIRE", "owner", "10000"}) +
                       command({"HSET", "meta", "batches", number, "alive", "1700000000000", "state", "complete"}) +
                       command({"XADD", "changes", "MAXLEN", "~", "100", "*", "incarnation", "0123456789abcdef",
                                "batch", number, "keys", keys}) +
                       command(set) + command({"EXEC"}) + command({"WATCH", "owner"}) + command({"GET", "owner"}));
      reads.push_back(command(get));
   }
   constexpr int repliesAWrite = 8;
   const auto read = [&] {
      Bare reader(server.path());
      std::string position = "0-0";
      shared.isReady = true;
      for (std::size_t got = 0; got < reads.size();) {
         const Reply reply = reader.run({"XREAD", "BLOCK", "1000", "STREAMS", "changes", position});
         if (reply->type != REDIS_REPLY_ARRAY)
            continue;
         const redisReply& entries = *reply->element[0]->element[1];
         position = entries.element[entries.elements - 1]->element[0]->str;
         for (std::size_t i = 0; i < entries.elements; ++i)
            reader.add(reads[got + i]);
         for (std::size_t i = 0; i < entries.elements; ++i)
            reader.reply();
         got += entries.elements;
      }
      shared.end = now();
   };
   return exchanged(read, [&] {
      Bare writer(server.path());
      std::size_t outstanding = 0;
      const auto take = [&] {
         for (int i = 0; i < repliesAWrite; ++i)
            writer.reply();
         --outstanding;
      };
      for (const std::string& write : writes) {
         writer.add(write);
         writer.flush();
         if (++outstanding == 4)
            take();
      }
      while (outstanding != 0)
         take();
   });
}

/// Microseconds from the publisher's call to the follower's, of single changes: the median.
double latency(const Server& server)
{
   server.clear();
   constexpr unsigned changes = 5'000;
   exchanged(
      [&] {
         Follower<NexthopInfoRow> follower(server.address(), feed);
         unsigned told = 0;
         const auto tell = [&](const NexthopInfoRow&, const NexthopInfoRow& row) {
            shared.numbers[told++] = now() - row.genId();
         };
         follower.poll(0ms, tell);
         shared.isReady = true;
         while (told < changes)
            follower.poll(1s, tell);
         shared.end = now();
      },
      [&] {
         Publisher<NexthopInfoRow> publisher(server.address(), feed);
         publisher.sync(1s);
         for (unsigned i = 0; i < changes; ++i) {
            std::this_thread::sleep_for(200us);
            publisher.put(nexthop(i % 1000).genIdIs(now()));
            publisher.sync(1s);
         }
      });
   std::vector<std::uint64_t> times(shared.numbers, shared.numbers + changes);
   std::ranges::nth_element(times, times.begin() + changes / 2);
   return static_cast<double>(times[changes / 2]) / 1e3;
}

/// 10^6 changes to 1,000 keys while the follower stands still.
void flap(const Server& server)
{
   server.clear();
   constexpr unsigned keys = 1000, changes = 1'000'000, changesAtOnce = 100;
   Publisher<NexthopInfoRow> publisher(server.address(), feed);
   Follower<NexthopInfoRow> follower(server.address(), feed);
   publisher.makeEqual(nexthops(keys));
   publisher.sync(1s);
   follower.poll(1s);
   for (unsigned i = 0; i < changes; ++i) {
      publisher.put(nexthop(i * 7 % keys).genIdIs(i));
      if (i % changesAtOnce == 0)
         publisher.sync(1s);
   }
   publisher.sync(1s);
   print("server's peak MB", static_cast<double>(server.number("memory", "used_memory_peak:")) / 1e6);
   double told = 0;
   while (!follower.poll(1s, [&](const auto&, const auto&) { ++told; }))
      ;
   print("rows told after standing still", told);
}

/// Prints the fastest of some turns of each, which take turns.
void compare(int turns, const std::vector<std::pair<std::string, std::function<double()>>>& cases)
{
   std::vector<double> best(cases.size(), 1e9);
   for (int turn = 0; turn < turns; ++turn)
      for (std::size_t i = 0; i < cases.size(); ++i)
         best[i] = std::min(best[i], cases[i].second());
   for (std::size_t i = 0; i < cases.size(); ++i)
      print(cases[i].first, best[i]);
}

} // namespace

int main(int argc, char**)
{
   const bool isQuick = argc > 1;
   const Server server;
   flap(server); // first: the server's memory only has a peak
   print("us for one change, median", latency(server));
   const Table few = nexthops(10'000), many = nexthops(1'000'000);
   compare(3, {{"ms for 10,000 rows", [&] { return exchangedByUs(server, few, false); }},
               {"ms for 10,000 rows by fields", [&] { return exchangedByFields(server, few, true); }},
               {"ms for 10,000 rows by fields, all of a row at once",
                [&] { return exchangedByFields(server, few, false); }}});
   compare(isQuick ? 2 : 5, {{"ms for 1,000,000 rows", [&] { return exchangedByUs(server, many, true); }},
                             {"ms for 1,000,000 rows, bare", [&] { return exchangedBare(server, many); }}});
}
