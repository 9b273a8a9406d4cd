// The server that tables are exchanged through: its address, timeouts, its failures, and the feeds that lie in it. What
// a feed is made of there is described in docs/exchange.md.
//
// Threads: everything in exchange/ is used by one thread at a time, object by object; different objects by any threads.
#pragma once

#include <chrono>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "platform/export.h"

namespace Zorva::Exchange {

using std::chrono::milliseconds;

/// A permanent failure: the same call fails again until somebody changes something, here or in the server.
class ZORVA_EXPORT FeedRefused : public std::runtime_error
{
public:
   using std::runtime_error::runtime_error;
};

/// The feed has another publisher, which the message names.
class ZORVA_EXPORT FeedOwned final : public FeedRefused
{
public:
   using FeedRefused::FeedRefused;
};

/// A temporary failure: the server cannot be reached, is too slow, or sends an unexpected reply. Publishers and
/// followers retry by themselves.
class ZORVA_EXPORT ServerTrouble final : public std::runtime_error
{
public:
   using std::runtime_error::runtime_error;
};

/// Where a Redis or Valkey server is, and as whom to speak to it.
struct ZORVA_EXPORT ServerAddress
{
   std::string host; ///< a name or a number; empty for a unix socket
   std::uint16_t port = 6379;
   std::string path = {}; ///< of the unix socket
   std::string user = {}; ///< empty for the server's default user
   std::string password = {};
   unsigned database = 0;

   /// Reads "redis://[user:password@]host[:port][/database]" or "redis+unix://[user:password@]path[?db=database]", in
   /// which %XX stands for any byte. A password that is not there is taken from the environment's REDISCLI_AUTH. Throws
   /// std::invalid_argument, whose message holds nothing of the text.
   static ServerAddress parse(std::string_view url);

   /// The address without user and password.
   std::string text() const;
};

/// How long things may take. The defaults suit a network.
struct Options
{
   milliseconds limit{5000};         ///< for connecting, look-up of the name included, and for each whole reply
   milliseconds lease{10000};        ///< a feed's publisher may be silent that long before another may take the feed
   milliseconds firstPause{100};     ///< before connecting again; doubled each time, and shortened by up to a half
   milliseconds longestPause{10000}; ///< at random, so that many do not come back at once
   std::string publisher = {};       ///< what others are told of who owns the feed; "host:process id" when empty
};

/// A feed as it lies in a server.
struct FeedInfo
{
   std::string feed;
   std::string rowTypeName;
   std::string rowTypeSignature;
   std::string publisher; ///< who writes it, or wrote it last
   std::uint64_t rows;
   milliseconds age; ///< since its publisher last said that it is alive, by the server's clock
   bool isAlive;     ///< whether its publisher holds the lease
   bool isComplete;  ///< whether its publisher has got to the end of writing its whole table
};

/// The feeds in the server, by name and type. Throws ServerTrouble or FeedRefused.
ZORVA_EXPORT std::vector<FeedInfo> feeds(const ServerAddress& server, const Options& options = {});

} // namespace Zorva::Exchange
