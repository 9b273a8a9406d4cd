// A Redis server of the tests' own on a unix socket in a temporary folder, and a relay in front of it that cuts
// connections or answers in its place.
#pragma once

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <filesystem>
#include <functional>
#include <list>
#include <map>
#include <thread>

#include "exchange/connection.h"

namespace Test {

using namespace std::chrono_literals;
using Zorva::Exchange::Connection, Zorva::Exchange::Reply, Zorva::Exchange::ServerAddress, Zorva::Exchange::textOf;

/// Whether the condition comes true in time, which asking for it may further.
inline bool eventually(const std::function<bool()>& condition)
{
   const auto until = Zorva::Exchange::Clock::now() + 20s;
   while (!condition())
      if (Zorva::Exchange::Clock::now() > until)
         return false;
   return true;
}

inline std::filesystem::path newFolder() { return mkdtemp(std::string("/tmp/exchangeXXXXXX").data()); }
inline ServerAddress unixAddress(const std::string& path) { return ServerAddress::parse("redis+unix://" + path); }

class Server
{
public:
   explicit Server(const char* log = "no") : log_(log) { start(); }
   ~Server() { kill(), std::filesystem::remove_all(folder_); }

   ServerAddress address() const { return unixAddress(file("socket")); }
   std::filesystem::path file(const char* name) const { return folder_ / name; }

   void start()
   {
      const std::string command =
         "cd " + folder_.string() +
         "; exec redis-server --port 0 --unixsocket socket --save '' --logfile log --appendonly " + log_;
      const char* const arguments[] = {"sh", "-c", command.c_str(), nullptr};
      posix_spawnp(&pid_, "sh", nullptr, nullptr, const_cast<char**>(arguments), environ);
      const auto isUp = [&] {
         try {
            return run("DBSIZE")->integer >= 0;
         } catch (const Zorva::Exchange::ServerTrouble&) { // not yet there, or still loading
            return std::this_thread::sleep_for(2ms), false;
         }
      };
      if (!eventually(isUp))
         throw std::runtime_error("redis-server does not answer");
   }
   void signal(int number) const { ::kill(pid_, number); }
   void kill()
   {
      signal(SIGKILL);
      waitpid(pid_, nullptr, 0);
   }

   template <class... Words>
   Reply run(const Words&... words) const
   {
      Connection connection(address(), 5s);
      connection.add(words...);
      connection.flush();
      return connection.reply();
   }

   std::map<std::string, std::string> hash(const std::string& key) const
   {
      const Reply reply = run("HGETALL", key);
      std::map<std::string, std::string> fields;
      for (std::size_t i = 0; i < reply->elements; i += 2)
         fields.emplace(textOf(*reply->element[i]), textOf(*reply->element[i + 1]));
      return fields;
   }

private:
   const std::filesystem::path folder_ = newFolder();
   const char* log_;
   pid_t pid_ = 0;
};

class Relay
{
public:
   explicit Relay(const ServerAddress& server) : server_(server) { listen(listening_.fd(), 64); }
   ~Relay() { isEnding_ = true, std::filesystem::remove_all(folder_); }

   ServerAddress address() const { return unixAddress(folder_ / "socket"); }

   std::atomic<long> cutAfter_[2] = {-1, -1};         ///< bytes to the server, and from it; negative for no cut
   std::atomic<const std::string*> answer_ = nullptr; ///< in place of the server's answers, once a connection
   std::atomic<const std::string*> says_ = nullptr;   ///< to all clients, once and without being asked
   std::atomic<bool> drips_ = false;                  ///< the answer, a byte every 20 ms
   std::atomic<bool> endsAnswer_ = false;             ///< by the end of what it says

private:
   using Socket = Zorva::Exchange::Socket;
   struct Pair
   {
      Socket client, server;
   };

   /// A socket that is bound or connected to the path.
   static Socket socketAt(const std::string& path, int (*attach)(int, const sockaddr*, socklen_t))
   {
      sockaddr_un address{AF_UNIX, {}};
      path.copy(address.sun_path, sizeof address.sun_path - 1);
      Socket made(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
      attach(made.fd(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
      return made;
   }

   void answer(const Socket& client) const
   {
      std::string_view rest = *answer_.load();
      for (std::size_t length = 0; !rest.empty() && !isEnding_; rest.remove_prefix(length)) {
         length = drips_ ? 1 : rest.size();
         send(client.fd(), rest.data(), length, MSG_NOSIGNAL);
         std::this_thread::sleep_for(drips_ ? 20ms : 0ms);
      }
      if (endsAnswer_)
         shutdown(client.fd(), SHUT_WR);
   }

   /// False when there is no more, or it is time to cut.
   bool pass(const Socket& from, const Socket& to, std::atomic<long>& cutAfter) const
   {
      char buffer[1 << 16];
      const ssize_t length = recv(from.fd(), buffer, sizeof buffer, 0);
      const long left = cutAfter;
      const bool isCut = left >= 0 && left <= length;
      send(to.fd(), buffer, static_cast<std::size_t>(std::max<ssize_t>(isCut ? left : length, 0)), MSG_NOSIGNAL);
      cutAfter = isCut || left < 0 ? -1 : left - length;
      return length > 0 && !isCut;
   }

   void run()
   {
      std::list<Pair> pairs;
      while (!isEnding_) {
         std::vector<pollfd> polled{{listening_.fd(), POLLIN, 0}};
         for (const Pair& pair : pairs)
            polled.insert(polled.end(), {{pair.client.fd(), POLLIN, 0}, {pair.server.fd(), POLLIN, 0}});
         poll(polled.data(), polled.size(), 5);
         auto at = polled.cbegin();
         std::erase_if(pairs, [&](const Pair& pair) {
            const bool toServer = (++at)->revents != 0, toClient = (++at)->revents != 0;
            return (answer_ != nullptr && pair.server.fd() >= 0) ||
                   (toServer && !pass(pair.client, pair.server, cutAfter_[0])) ||
                   (toClient && !pass(pair.server, pair.client, cutAfter_[1]));
         });
         if (const std::string* const said = says_.exchange(nullptr))
            for (const Pair& pair : pairs)
               send(pair.client.fd(), said->data(), said->size(), MSG_NOSIGNAL);
         if (polled[0].revents != 0) {
            Socket client(accept(listening_.fd(), nullptr, nullptr));
            if (answer_ != nullptr)
               answer(client);
            pairs.push_back({std::move(client), answer_ != nullptr ? Socket(-1) : socketAt(server_.path, &connect)});
         }
      }
   }

   const std::filesystem::path folder_ = newFolder();
   ServerAddress server_;
   Socket listening_ = socketAt(folder_ / "socket", &bind);
   std::atomic<bool> isEnding_ = false;
   std::jthread thread_{[this] { run(); }};
};

} // namespace Test
