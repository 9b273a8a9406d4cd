#include "exchange/connection.h"

#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <mutex>

namespace Zorva::Exchange {

namespace {

/// What one reply may hold: far more than we ask for, and little enough to be kept.
constexpr std::size_t maxReplyBytes = std::size_t{256} << 20;
constexpr int maxReplyElements = 1 << 20;

/// Room for so many of T in the memory of the reply under way; null when memory is short, which ends the reading.
template <class T>
T* newRoom(const redisReadTask* task, std::size_t count) noexcept
{
   try {
      auto& memory = *static_cast<std::unique_ptr<ReplyMemory>*>(task->privdata);
      return std::pmr::polymorphic_allocator<>(&memory->pieces).allocate_object<T>(count);
   } catch (const std::bad_alloc&) {
      return nullptr;
   }
}

/// A new piece of the reply, linked to its parent; null as above.
redisReply* newPiece(const redisReadTask* task, int type) noexcept
{
   auto* const piece = newRoom<redisReply>(task, 1);
   if (piece == nullptr)
      return nullptr;
   std::construct_at(piece)->type = type;
   if (task->parent != nullptr)
      static_cast<redisReply*>(task->parent->obj)->element[task->idx] = piece;
   return piece;
}

void* createString(const redisReadTask* task, char* text, std::size_t length) noexcept
{
   char* const copy = newRoom<char>(task, length + 1);
   redisReply* const piece = copy == nullptr ? nullptr : newPiece(task, task->type);
   if (piece == nullptr)
      return nullptr;
   std::memcpy(copy, text, length);
   copy[length] = 0;
   piece->str = copy;
   piece->len = length;
   return piece;
}

/// Limited: a number alone must not have memory taken.
void* createArray(const redisReadTask* task, int elements) noexcept
{
   if (elements > maxReplyElements)
      return nullptr;
   const auto count = static_cast<std::size_t>(elements);
   redisReply** const children = newRoom<redisReply*>(task, count);
   redisReply* const piece = children == nullptr ? nullptr : newPiece(task, REDIS_REPLY_ARRAY);
   if (piece == nullptr)
      return nullptr;
   piece->element = children;
   piece->elements = count;
   return piece;
}

void* createInteger(const redisReadTask* task, long long number) noexcept
{
   redisReply* const piece = newPiece(task, REDIS_REPLY_INTEGER);
   if (piece != nullptr)
      piece->integer = number;
   return piece;
}

void* createNil(const redisReadTask* task) noexcept { return newPiece(task, REDIS_REPLY_NIL); }

/// A reader that puts replies into `memory`, which must stay where it is.
redisReader* newReader(std::unique_ptr<ReplyMemory>* memory)
{
   static redisReplyObjectFunctions functions = {&createString, &createArray, &createInteger, &createNil, [](void*) {}};
   redisReader* const reader = redisReaderCreateWithFunctions(&functions);
   if (reader == nullptr)
      throw std::bad_alloc();
   reader->privdata = memory;
   reader->maxbuf = 0; // keep the buffer
   return reader;
}

std::string_view textUpTo(std::string_view text, char end) { return text.substr(0, text.find(end)); }

/// By their types, which are all that the functions above are asked for.
constexpr std::array<const char*, 7> typeNames = {"nothing", "a text",   "an array", "a number",
                                                  "nil",     "a status", "an error"};

[[noreturn]] void throwUnexpected(const redisReply& reply, const std::string& wanted)
{
   std::string got = typeNames.at(static_cast<std::size_t>(reply.type));
   if (reply.type == REDIS_REPLY_STRING || reply.type == REDIS_REPLY_STATUS)
      got += " \"" + shown({reply.str, reply.len}) + '"';
   throw ServerTrouble("the server answered " + got + " instead of " + wanted);
}

/// Waits until the socket has one of the events, which it returns; 0 when time is up.
short awaitEvents(int fd, short events, Clock::time_point until)
{
   for (;;) {
      const auto left = std::chrono::ceil<milliseconds>(until - Clock::now()).count();
      pollfd polled{fd, events, 0};
      const int ready = poll(&polled, 1, static_cast<int>(std::clamp<long>(left, 0, 1 << 30)));
      if (ready > 0)
         return polled.revents;
      if (ready < 0 && errno != EINTR)
         throw ServerTrouble(std::string("poll: ") + std::strerror(errno));
      if (Clock::now() >= until)
         return 0;
   }
}

/// Connects to one address; 0 or the error.
int connectTo(int fd, const sockaddr* address, socklen_t length, Clock::time_point until)
{
   while (connect(fd, address, length) != 0) {
      if (errno == EAGAIN && Clock::now() < until) { // a unix socket with too many waiting to connect
         std::this_thread::sleep_for(milliseconds(5));
         continue;
      }
      if (errno != EINPROGRESS)
         return errno;
      if (awaitEvents(fd, POLLOUT, until) == 0)
         return ETIMEDOUT;
      int error = 0;
      socklen_t size = sizeof error;
      getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &size);
      return error;
   }
   return 0;
}

constexpr int socketFlags = SOCK_NONBLOCK | SOCK_CLOEXEC;

Socket connectUnix(const std::string& path, Clock::time_point until)
{
   sockaddr_un address{};
   address.sun_family = AF_UNIX;
   if (path.size() >= sizeof address.sun_path)
      throw FeedRefused(path + ": longer than the path of a unix socket may be");
   path.copy(address.sun_path, path.size());
   Socket made(socket(AF_UNIX, SOCK_STREAM | socketFlags, 0));
   const int error =
      made.fd() < 0 ? errno : connectTo(made.fd(), reinterpret_cast<const sockaddr*>(&address), sizeof address, until);
   if (error != 0)
      throw ServerTrouble(std::strerror(error));
   return made;
}

/// The look-up of a host's name. It may take longer than we wait, so that a thread of its own does it.
struct LookUp
{
   LookUp() = default;
   LookUp(const LookUp&) = delete;
   LookUp& operator=(const LookUp&) = delete;
   ~LookUp()
   {
      if (found != nullptr)
         freeaddrinfo(found);
   }

   void run(const std::string& host, const std::string& port, int flags)
   {
      addrinfo hints{};
      hints.ai_socktype = SOCK_STREAM;
      hints.ai_flags = flags | AI_NUMERICSERV;
      error = getaddrinfo(host.c_str(), port.c_str(), &hints, &found);
   }

   std::mutex mutex;
   std::condition_variable changed;
   bool isDone = false;
   int error = 0;
   addrinfo* found = nullptr;
};

std::shared_ptr<const LookUp> lookUp(const std::string& host, std::uint16_t port, Clock::time_point until)
{
   const auto lookUp = std::make_shared<LookUp>();
   lookUp->run(host, std::to_string(port), AI_NUMERICHOST);
   if (lookUp->error != EAI_NONAME)
      return lookUp;
   std::thread([lookUp, host, port] {
      LookUp result;
      result.run(host, std::to_string(port), AI_ADDRCONFIG);
      const std::lock_guard lock(lookUp->mutex);
      lookUp->error = result.error;
      std::swap(lookUp->found, result.found);
      lookUp->isDone = true;
      lookUp->changed.notify_one();
   }).detach();
   std::unique_lock lock(lookUp->mutex);
   if (!lookUp->changed.wait_until(lock, until, [&] { return lookUp->isDone; }))
      throw ServerTrouble("the look-up of its name takes too long");
   return lookUp;
}

Socket connectTcp(const std::string& host, std::uint16_t port, Clock::time_point until)
{
   const auto addresses = lookUp(host, port, until);
   if (addresses->error != 0)
      throw ServerTrouble(gai_strerror(addresses->error));
   int error = 0;
   for (const addrinfo* at = addresses->found; at != nullptr; at = at->ai_next) {
      Socket made(socket(at->ai_family, SOCK_STREAM | socketFlags, 0));
      error = made.fd() < 0 ? errno : connectTo(made.fd(), at->ai_addr, at->ai_addrlen, until);
      if (error == 0) {
         const int on = 1;
         setsockopt(made.fd(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
         return made;
      }
   }
   throw ServerTrouble(std::strerror(error));
}

Socket connectSocket(const ServerAddress& server, Clock::time_point until)
{
   try {
      return server.path.empty() ? connectTcp(server.host, server.port, until) : connectUnix(server.path, until);
   } catch (const ServerTrouble& trouble) {
      throw ServerTrouble("cannot connect to " + server.text() + ": " + trouble.what());
   }
}

} // namespace

std::string shown(std::string_view text)
{
   constexpr std::size_t longest = 200;
   std::string cut(text.substr(0, longest));
   std::ranges::replace_if(
      cut, [](char c) { return static_cast<unsigned char>(c) < ' ' || c == 0x7f; }, '?');
   return text.size() > longest ? cut + "..." : cut;
}

std::string_view textOf(const redisReply& reply)
{
   if (reply.type != REDIS_REPLY_STRING && reply.type != REDIS_REPLY_STATUS)
      throwUnexpected(reply, "a text");
   return {reply.str, reply.len};
}

std::uint64_t numberOf(const redisReply& reply)
{
   if (reply.type != REDIS_REPLY_INTEGER || reply.integer < 0)
      throwUnexpected(reply, "a count");
   return static_cast<std::uint64_t>(reply.integer);
}

std::span<redisReply* const> elementsOf(const redisReply& reply)
{
   if (reply.type != REDIS_REPLY_ARRAY)
      throwUnexpected(reply, "an array");
   return {reply.element, reply.elements};
}

std::span<redisReply* const> elementsOf(const redisReply& reply, std::size_t count)
{
   const auto elements = elementsOf(reply);
   if (elements.size() != count)
      throwUnexpected(reply, std::to_string(count) + " elements, it has " + std::to_string(elements.size()));
   return elements;
}

void expectText(const redisReply& reply, std::string_view text)
{
   if ((reply.type != REDIS_REPLY_STRING && reply.type != REDIS_REPLY_STATUS) || textOf(reply) != text)
      throwUnexpected(reply, '"' + std::string(text) + '"');
}

std::uint64_t numberIn(std::string_view text)
{
   if (const std::optional<std::uint64_t> number = wholeNumber(text))
      return *number;
   throw ServerTrouble("the server holds \"" + shown(text) + "\" where a number should be");
}

Socket::~Socket()
{
   if (fd_ >= 0)
      close(fd_);
}

Connection::Connection(const ServerAddress& server, milliseconds limit)
   : name_(server.text()), limit_(limit), socket_(connectSocket(server, Clock::now() + limit)),
     reader_(newReader(&memory_))
{
   authenticate(server);
}

void Connection::authenticate(const ServerAddress& server)
{
   if (!server.password.empty()) {
      if (server.user.empty())
         add("AUTH", server.password);
      else
         add("AUTH", server.user, server.password);
      flush();
      if (!await(Clock::now() + limit_))
         fail("no whole reply within " + std::to_string(limit_.count()) + " ms");
      const redisReply& answer = *memory_->root;
      if (answer.type == REDIS_REPLY_ERROR) // whose text may hold what we sent
         throw FeedRefused(name_ + ": does not take the password: " + shown(textUpTo({answer.str, answer.len}, ' ')));
      expectText(*reply(), "OK");
   }
   if (server.database != 0) {
      add("SELECT", server.database);
      flush();
      expectText(*reply(), "OK");
   }
}

void Connection::begin(std::size_t words) { out_ += '*' + std::to_string(words) + "\r\n"; }

void Connection::word(std::string_view word)
{
   out_ += '$';
   out_ += std::to_string(word.size());
   out_ += "\r\n";
   out_ += word;
   out_ += "\r\n";
}

void Connection::flush()
{
   const auto until = Clock::now() + limit_;
   std::string_view rest = out_;
   while (!rest.empty()) {
      const ssize_t sent = send(fd(), rest.data(), rest.size(), MSG_NOSIGNAL);
      if (sent >= 0) {
         rest.remove_prefix(static_cast<std::size_t>(sent));
         continue;
      }
      if (errno != EAGAIN)
         fail(std::strerror(errno));
      const short events = awaitEvents(fd(), POLLIN | POLLOUT, until);
      if (events == 0)
         fail("takes nothing for " + std::to_string(limit_.count()) + " ms");
      if ((events & POLLIN) != 0)
         receive(until);
   }
   out_.clear();
}

bool Connection::receive(Clock::time_point until)
{
   std::array<char, 1 << 16> buffer;
   ssize_t length;
   while ((length = recv(fd(), buffer.data(), buffer.size(), 0)) < 0) {
      if (errno != EAGAIN)
         fail(std::strerror(errno));
      if (awaitEvents(fd(), POLLIN, until) == 0)
         return false;
   }
   if (length == 0)
      fail("has closed the connection");
   received_ += static_cast<std::size_t>(length);
   if (received_ > maxReplyBytes)
      fail("a reply of more than " + std::to_string(maxReplyBytes) + " bytes");
   redisReaderFeed(reader_.get(), buffer.data(),
                   static_cast<std::size_t>(length)); // an error stays, and await tells it
   return true;
}

bool Connection::await(Clock::time_point until)
{
   if (!memory_)
      memory_ = std::make_unique<ReplyMemory>();
   while (memory_->root == nullptr) {
      void* root = nullptr;
      if (redisReaderGetReply(reader_.get(), &root) != REDIS_OK)
         fail(std::string("does not speak the protocol: ") + reader_->errstr);
      memory_->root = static_cast<const redisReply*>(root);
      if (root == nullptr && !receive(until))
         return false;
   }
   received_ = 0;
   return true;
}

void Connection::requireSilent()
{
   if (await(Clock::now()))
      fail("answers without being asked");
}

Reply Connection::reply()
{
   if (!await(Clock::now() + limit_))
      fail("no whole reply within " + std::to_string(limit_.count()) + " ms");
   Reply reply(std::move(memory_));
   throwIfError(*reply);
   return reply;
}

void Connection::throwIfError(const redisReply& reply) const
{
   if (reply.type == REDIS_REPLY_ARRAY) {
      for (const redisReply* const element : elementsOf(reply))
         throwIfError(*element);
   } else if (reply.type == REDIS_REPLY_ERROR) {
      constexpr std::string_view ends[] = {"NOAUTH", "NOPERM", "WRONGPASS", "WRONGTYPE", "MOVED"};
      const std::string_view text(reply.str, reply.len);
      if (std::ranges::find(ends, textUpTo(text, ' ')) != std::end(ends))
         throw FeedRefused(name_ + ": " + shown(text));
      fail(shown(text));
   }
}

Reply Connection::transaction(std::size_t commands)
{
   expectText(*reply(), "OK");
   for (std::size_t i = 0; i < commands; ++i)
      expectText(*reply(), "QUEUED");
   Reply results = reply();
   if (isNil(*results))
      return {};
   elementsOf(*results, commands);
   return results;
}

void Connection::fail(const std::string& what) const { throw ServerTrouble(name_ + ": " + what); }

void Link::failed(const std::string& problem)
{
   disconnect();
   problem_ = problem;
   const double part = std::uniform_real_distribution(0.5, 1.0)(random_);
   retryAt_ = Clock::now() + std::chrono::duration_cast<Clock::duration>(pause_ * part);
   pause_ = std::min(pause_ * 2, options_.longestPause);
}

} // namespace Zorva::Exchange
