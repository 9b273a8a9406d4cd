// Publisher: the one writer of a feed, which keeps the feed's rows in a server equal to a table of its own. That table
// shares its rows' buffers with whoever gave them.
//
// put, erase and makeEqual only change the table; sync brings the server up to date, over one connection, made when it
// is needed and again when it is lost. Whatever happened in between, a publisher that comes back compares the whole
// feed with its table and writes the difference. A publisher owns its feed by a lease: sync must be called by wakeAt()
// to keep it.
#pragma once

#include <memory>
#include <string>

#include "embedded/table.h"
#include "exchange/rowType.h"
#include "exchange/server.h"

namespace Zorva::Exchange {

/// A publisher of generic rows; Publisher is its typed face.
class ZORVA_EXPORT FeedPublisher
{
public:
   using Clock = std::chrono::steady_clock;

   /// Connects to nothing yet. The feed's name is of 1 to 128 letters, digits and "._:/@-": std::invalid_argument
   /// otherwise, and as Table.
   FeedPublisher(RowType type, const ServerAddress& server, const std::string& feed, const Options& options = {});

   /// Releases the lease, within `limit`. The rows stay in the server.
   ~FeedPublisher();
   FeedPublisher(const FeedPublisher&) = delete;
   FeedPublisher& operator=(const FeedPublisher&) = delete;

   /// Inserts the row, in place of the one with its key if there is one. Throws ZoBadCast for a row of another type or
   /// bytes that are no row of the type, and as Table::replace; nothing has changed then.
   void put(const BaseRow& row);

   /// Removes the row with the key of `keyRow`; false when there is none.
   bool erase(const BaseRow& keyRow);

   /// Makes the rows those of `table`, which must be of the same type. Throws as put; nothing has changed
   /// then.
   void makeEqual(const Embedded::Table& table);

   const Embedded::Table& table() const;

   /// Writes what the server lacks, and renews the lease when it is time. Temporary server failures are retried for
   /// `patience`, with at least one attempt unless the pause after the last one is not over. True when the server has
   /// all rows and this publisher holds the lease; else problem() says why not. Throws FeedOwned when another publisher
   /// has the feed, FeedRefused for other permanent failures; sync may be called again all the same. Blocks no
   /// longer than `patience` and what the attempt under way takes, to which `limit` applies reply by reply.
   bool sync(milliseconds patience);

   /// When sync must be called again: to renew the lease, or to connect.
   Clock::time_point wakeAt() const;

   /// Why the last attempt failed; empty once all is well.
   const std::string& problem() const;

private:
   struct Impl;
   std::unique_ptr<Impl> impl_;
};

/// The publisher of a feed of rows of type Row.
template <class Row>
class Publisher : public FeedPublisher
{
public:
   explicit Publisher(const ServerAddress& server, const std::string& feed, const Options& options = {})
      : FeedPublisher(rowTypeOf<Row>(), server, feed, options)
   {
   }

   void put(const Row& row) { FeedPublisher::put(row); }
   bool erase(const Row& keyRow) { return FeedPublisher::erase(keyRow); }
};

} // namespace Zorva::Exchange
