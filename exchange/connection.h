// Connection: one connection to a server, with commands and replies as the server's protocol (RESP2) has them; and
// Link, which makes it again when it is lost. Not installed: the exchange library's own.
//
// Sockets never block: all waiting is done by poll, with a timeout. After an error a connection cannot be used any
// more, as replies may still be outstanding.
#pragma once

#include <hiredis/hiredis.h>

#include <charconv>
#include <chrono>
#include <concepts>
#include <memory>
#include <memory_resource>
#include <optional>
#include <random>
#include <span>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

#include "exchange/server.h"

namespace Zorva::Exchange {

using Clock = std::chrono::steady_clock;

/// The memory that a reply's pieces lie in, side by side, and its root: a reply of a thousand rows is as much as one
/// allocation, where hiredis' own would be two thousand.
struct ReplyMemory
{
   std::pmr::monotonic_buffer_resource pieces{1024};
   const redisReply* root = nullptr;
};

/// A whole reply, or none.
class Reply
{
public:
   Reply() = default;
   explicit Reply(std::unique_ptr<ReplyMemory> memory) noexcept : memory_(std::move(memory)) {}

   explicit operator bool() const noexcept { return memory_ != nullptr; }
   const redisReply& operator*() const noexcept { return *memory_->root; }
   const redisReply* operator->() const noexcept { return memory_->root; }

private:
   std::unique_ptr<ReplyMemory> memory_;
};

// --- what a reply holds. All throw ServerTrouble, saying what came instead, for a reply of another type.

std::string_view textOf(const redisReply& reply);
std::uint64_t numberOf(const redisReply& reply);
std::span<redisReply* const> elementsOf(const redisReply& reply);
std::span<redisReply* const> elementsOf(const redisReply& reply, std::size_t count); ///< exactly so many
inline bool isNil(const redisReply& reply) noexcept { return reply.type == REDIS_REPLY_NIL; }
void expectText(const redisReply& reply, std::string_view text);

/// The decimal number that is the whole text; numberIn throws ServerTrouble where there is none.
template <std::integral Number = std::uint64_t>
std::optional<Number> wholeNumber(std::string_view text) noexcept
{
   Number number = 0;
   const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
   const bool isWhole = error == std::errc() && end == text.data() + text.size();
   return isWhole ? std::optional(number) : std::nullopt;
}
std::uint64_t numberIn(std::string_view text);

/// Text from outside fit to be shown: control characters as "?", and not too long.
std::string shown(std::string_view text);

/// A file descriptor, closed with the object.
class Socket
{
public:
   explicit Socket(int fd) noexcept : fd_(fd) {}
   Socket(Socket&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
   Socket& operator=(Socket&&) = delete;
   ~Socket();

   int fd() const noexcept { return fd_; }

private:
   int fd_;
};

class Connection
{
public:
   /// Connects, authenticates and selects the database. Throws ServerTrouble, and FeedRefused when the server denies
   /// access.
   Connection(const ServerAddress& server, milliseconds limit);

   int fd() const noexcept { return socket_.fd(); }

   /// Begins a command of so many words, which must follow; nothing is sent before flush.
   void begin(std::size_t words);
   void word(std::string_view word);
   void word(std::span<const unsigned char> bytes)
   {
      word(std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
   }
   void word(std::integral auto number) { word(std::to_string(number)); }

   template <class... Words>
   void add(const Words&... words)
   {
      begin(sizeof...(words));
      (word(words), ...);
   }

   /// Adds a command on some fields of the hash `key`.
   template <class Fields>
   void addFields(std::string_view command, std::string_view key, const Fields& fields)
   {
      begin(2 + fields.size());
      word(command);
      word(key);
      for (const auto& field : fields)
         word(field);
   }

   /// The bytes of the commands that flush will send.
   std::size_t pending() const noexcept { return out_.size(); }

   /// Sends what was added, within `limit`; takes in replies meanwhile, so that neither side waits for the other.
   void flush();

   /// Whether a whole reply has come by then.
   bool await(Clock::time_point until);

   /// Throws ServerTrouble when the server has closed the connection, or says something without being asked.
   void requireSilent();

   /// The next reply, awaited for `limit`. An error, also within an array, is thrown: FeedRefused for permanent
   /// failures, else ServerTrouble.
   Reply reply();

   /// The replies of a transaction of so many commands; none when the server did not do it since a watched key changed.
   Reply transaction(std::size_t commands);

   [[noreturn]] void fail(const std::string& what) const;

private:
   bool receive(Clock::time_point until);
   void authenticate(const ServerAddress& server);
   void throwIfError(const redisReply& reply) const;

   struct FreeReader
   {
      void operator()(redisReader* reader) const noexcept { redisReaderFree(reader); }
   };

   std::string name_;
   milliseconds limit_;
   Socket socket_;
   std::unique_ptr<redisReader, FreeReader> reader_;
   std::string out_;
   std::unique_ptr<ReplyMemory> memory_; ///< of the reply that the reader is at; whole when it has its root
   std::size_t received_ = 0;            ///< bytes since the last whole reply
};

/// The connection of a publisher or follower, made when it is needed; after trouble, not before a pause.
class Link
{
public:
   Link(ServerAddress server, const Options& options) : server_(std::move(server)), options_(options) {}

   bool isConnected() const noexcept { return connection_.has_value(); }
   int fd() const noexcept { return connection_ ? connection_->fd() : -1; }
   Connection& connection()
   {
      if (!connection_)
         connection_.emplace(server_, options_.limit);
      return *connection_;
   }
   void disconnect() noexcept { connection_.reset(); }

   std::string name() const { return server_.text(); }
   const std::string& problem() const noexcept { return problem_; }
   Clock::time_point retryAt() const noexcept { return retryAt_; }

   /// Calls step() until it succeeds or time is up, with a pause after each ServerTrouble, which is kept as problem().
   /// After anything else that it throws there is no connection either.
   template <class Step>
   bool attempt(Clock::time_point until, Step step)
   {
      for (;;) {
         if (retryAt_ > Clock::now()) {
            std::this_thread::sleep_until(std::min(until, retryAt_));
            if (retryAt_ > until)
               return false;
         }
         try {
            step();
            problem_.clear();
            return true;
         } catch (const ServerTrouble& trouble) {
            failed(trouble.what());
         } catch (...) {
            disconnect();
            throw;
         }
         if (Clock::now() >= until)
            return false;
      }
   }

   /// Has done what it was made for: the next pause is a short one.
   void worked() noexcept { pause_ = options_.firstPause; }

private:
   void failed(const std::string& problem);

   ServerAddress server_;
   Options options_;
   std::optional<Connection> connection_;
   std::string problem_;
   milliseconds pause_ = options_.firstPause;
   Clock::time_point retryAt_{};
   std::minstd_rand random_{std::random_device()()};
};

} // namespace Zorva::Exchange
