// What a feed is made of in the server: its keys, the texts and numbers in them, and rows as values. The publisher's
// and the follower's common ground; docs/exchange.md shows it to people. Not installed.
#pragma once

#include <algorithm>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "embedded/table.h"
#include "exchange/connection.h"
#include "exchange/rowType.h"

namespace Zorva::Exchange {

/// Rows read or written by one command, at most.
inline constexpr std::size_t portion = 1000;

/// The names of a feed's keys. The feed's name is their hash tag, so that a cluster keeps them together.
struct FeedKeys
{
   /// Throws std::invalid_argument for a name that is not as FeedPublisher says.
   FeedKeys(const std::string& feed, const std::string& rowTypeName);

   std::string rows;    ///< hash: key column in decimal to canonical bytes
   std::string changes; ///< stream: an entry for each batch, with the keys of its rows
   std::string meta;    ///< hash: see Meta
   std::string owner;   ///< who has the lease; the server removes it when the lease ends
};

/// What the feed's meta hash says.
struct Meta
{
   /// Asks for it: one reply, which read takes.
   static void ask(Connection& server, const std::string& key);
   static Meta read(const redisReply& reply);

   bool exists() const noexcept { return !incarnation.empty(); }

   std::string signature;     ///< of the row type
   std::string incarnation;   ///< new whenever followers cannot go on from where they were
   std::uint64_t batches = 0; ///< of this incarnation
   std::string run;           ///< of the server, when the incarnation began
   bool isComplete = false;   ///< whether the publisher's whole table has been written in this incarnation
   std::uint64_t alive = 0;   ///< when the publisher was last heard of, in milliseconds of the server's clock
   std::string publisher;
};

/// One entry of the stream.
struct Batch
{
   std::string id; ///< in the stream
   std::string incarnation;
   std::uint64_t number; ///< 1, 2 ... within the incarnation
   std::string keys;     ///< with spaces between them
};

/// The batches in the reply to XREAD of one stream, no batch for nil; nothing when another has written to the stream.
std::optional<std::vector<Batch>> batchesIn(const redisReply& reply);

/// The server's run id, from the reply to INFO.
std::string runIdIn(const redisReply& reply);

/// The server's clock in milliseconds, from the reply to TIME.
std::uint64_t timeIn(const redisReply& reply);

/// Reads all fields of a hash in portions, some perhaps twice, with use(field, value); ready() is called in front of
/// each portion but the first, when no reply is outstanding.
void scanHash(
   Connection& server, const std::string& key, const std::function<void(std::string_view, std::string_view)>& use,
   const std::function<void()>& ready = [] {});

/// Sorts the values; each is there once then.
template <class T>
void sortUnique(std::vector<T>& values)
{
   std::sort(values.begin(), values.end());
   values.erase(std::unique(values.begin(), values.end()), values.end());
}

/// A row's key: the bits of its key column, as an unsigned number.
using Key = std::uint64_t;

/// Rows of one type by key, and as values in the server.
class FeedTable
{
public:
   explicit FeedTable(RowType type);

   const RowType& type() const noexcept { return type_; }
   Embedded::Table& rows() noexcept { return rows_; }
   const Embedded::Table& rows() const noexcept { return rows_; }

   Key keyOf(const BaseRow& row) const;
   std::string keyText(Key key) const;
   std::optional<Key> keyIn(std::string_view text) const; ///< none unless it is the key's only text

   /// The row with the key, null when there is none.
   const BaseRow* find(Key key);

   /// The row's canonical bytes, valid until the next call.
   std::span<const unsigned char> value(const BaseRow& row);
   bool isValue(const BaseRow& row, std::string_view bytes);

private:
   RowType type_;
   Embedded::Table rows_;
   BaseRow probe_; ///< carries a key
   std::vector<unsigned char> value_;
};

} // namespace Zorva::Exchange
