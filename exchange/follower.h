// Follower: keeps a table of its own equal to a feed, and reports every change. Any number may follow one feed.
//
// Rows from the server go through the verifier. A bad one is refused with its key and the reason, and the last good row
// with its key stays. While the server or the feed is away, the table keeps the rows it has.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>

#include "embedded/table.h"
#include "exchange/rowType.h"
#include "exchange/server.h"

namespace Zorva::Exchange {

/// A follower of generic rows; Follower is its typed face.
class ZORVA_EXPORT FeedFollower
{
public:
   using Clock = std::chrono::steady_clock;

   /// Called for each change that the table has just made: the row before, null for one that was inserted, and after,
   /// null for one that was removed. An exception that it throws leaves poll; the change is not reported again.
   using Changed = std::function<void(const BaseRow& before, const BaseRow& after)>;

   /// Connects to nothing yet. The feed's name as a publisher's.
   FeedFollower(RowType type, const ServerAddress& server, const std::string& feed, const Options& options = {});
   ~FeedFollower();
   FeedFollower(const FeedFollower&) = delete;
   FeedFollower& operator=(const FeedFollower&) = delete;

   /// Receives for as long as `patience`; returns earlier once the table has become equal to the feed, or is so again
   /// after changes. Returns whether the table was equal to the whole of the feed when last looked; problem() says why
   /// not, and is empty when there is only more to come. Changes of one key are reported in their order, but states
   /// between two reads are not seen. Temporary server failures are retried. Throws FeedRefused for permanent ones: a
   /// feed of another type signature, which is named with ours, or a server that denies access. Blocks no longer than
   /// `patience` and what the reading under way takes, to which `limit` applies reply by reply.
   bool poll(milliseconds patience, const Changed& changed = {});

   const Embedded::Table& table() const;

   /// The fields of the feed that were refused, with the reason of each: their keys, as texts, whatever they hold.
   const std::map<std::string, std::string>& refused() const;

   /// Whether the feed's publisher held its lease when last looked.
   bool isPublisherAlive() const;

   /// How often the whole feed was read and compared, first reading included.
   std::size_t comparisons() const;

   /// Readable when poll has something to do; -1 while there is no connection. Changes with each connection: for one
   /// wait among several, of no more than until wakeAt().
   int fd() const;
   Clock::time_point wakeAt() const;

   /// Why the table is not equal to the feed; empty when all is well.
   const std::string& problem() const;

private:
   struct Impl;
   std::unique_ptr<Impl> impl_;
};

/// The follower of a feed of rows of type Row.
template <class Row>
class Follower : public FeedFollower
{
public:
   explicit Follower(const ServerAddress& server, const std::string& feed, const Options& options = {})
      : FeedFollower(rowTypeOf<Row>(), server, feed, options)
   {
   }

   bool poll(milliseconds patience) { return FeedFollower::poll(patience); }

   /// The same; changed(const Row& before, const Row& after) gets typed rows.
   template <class TypedChanged>
   bool poll(milliseconds patience, TypedChanged changed)
   {
      return FeedFollower::poll(patience,
                                [&](const BaseRow& before, const BaseRow& after) { changed(Row(before), Row(after)); });
   }
};

} // namespace Zorva::Exchange
