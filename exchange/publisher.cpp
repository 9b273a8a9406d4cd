#include "exchange/publisher.h"

#include <unistd.h>

#include <algorithm>
#include <deque>
#include <vector>

#include "exchange/feed.h"
#include "rowtype/typeId.h"

namespace Zorva::Exchange {

namespace {

/// The bytes of one batch's commands, at most by one row more: a transaction keeps the server busy.
constexpr std::size_t maxBatchBytes = std::size_t{1} << 20;

/// Stream entries are kept that name so many keys together, and so many entries at most: some ten megabytes. A follower
/// may be so far behind, also while a large table is written for the first time.
constexpr std::size_t maxKeysKept = 1'000'000;
constexpr std::size_t maxBatchesKept = 10'000;

std::string randomHex()
{
   constexpr std::string_view digits = "0123456789abcdef";
   std::random_device random;
   std::string text(16, '0');
   std::ranges::generate(text, [&] { return digits[random() % digits.size()]; });
   return text;
}

std::string nameOfProcess()
{
   std::array<char, 256> host{};
   gethostname(host.data(), host.size() - 1);
   return std::string(host.data()) + ':' + std::to_string(getpid());
}

} // namespace

// How a batch is written: WATCH owner, GET owner (it is us), MULTI ... EXEC. If the lease has passed to another by
// then, the watched key has changed and the server does nothing. WATCH and GET for the next batch go out behind the
// EXEC of the one before, and while the server is at a batch, the commands of the next are put together.
struct FeedPublisher::Impl
{
   Impl(RowType type, const ServerAddress& server, const std::string& feed, const Options& options)
      : table_(std::move(type)), keys_(feed, table_.type().name), options_(options), link_(server, options),
        name_(options.publisher.empty() ? nameOfProcess() : shown(options.publisher)), owner_(name_ + ' ' + randomHex())
   {
   }

   /// Makes the change by change(), which returns whether there was any, and notes the row's key. What cannot be noted
   /// is not made.
   template <class Change>
   bool make(const BaseRow& row, Change change)
   {
      if (!isAttached_) // the comparison will find it
         return change();
      changed_.push_back(table_.keyOf(row));
      const bool isMade = change();
      if (!isMade)
         changed_.pop_back();
      return isMade;
   }

   void put(const BaseRow& row)
   {
      make(row, [&] { return table_.rows().replace(row) != Embedded::Table::Replaced::unchanged; });
   }

   bool erase(const BaseRow& keyRow)
   {
      return make(keyRow, [&] { return table_.rows().erase(keyRow); });
   }

   void requireSound(const BaseRow& row) const
   {
      const RowType& type = table_.type();
      const len_t found = row.rowType();
      if (found != type.id())
         Internal::throwBadCast(found, type.id(), row.rowPosition());
      Internal::requireSound(type.verify(row.bytes()), type.name);
   }

   void makeEqual(const Embedded::Table& table)
   {
      Embedded::Table fresh(table_.type().name);
      fresh.reserve(table.size());
      for (const BaseRow& row : table) {
         requireSound(row);
         fresh.insert(row);
      }
      if (isAttached_) {
         for (const BaseRow& row : fresh)
            if (const BaseRow* const held = table_.rows().find(row); held == nullptr || !held->BaseRow::rowEqual(row))
               changed_.push_back(table_.keyOf(row));
         for (const BaseRow& row : table_.rows())
            if (!fresh.contains(row))
               changed_.push_back(table_.keyOf(row));
      }
      table_.rows() = std::move(fresh);
   }

   void step()
   {
      if (!link_.isConnected())
         isAttached_ = false;
      if (!isAttached_)
         attach();
      link_.connection().requireSilent();
      if (!changed_.empty())
         writeChanges(false);
      else if (Clock::now() >= renewAt_)
         renew(true);
      link_.worked();
   }

   /// Takes the lease, or keeps it, then makes the feed equal to the table.
   void attach()
   {
      Connection& server = link_.connection();
      server.add("WATCH", keys_.owner);
      server.add("GET", keys_.owner);
      Meta::ask(server, keys_.meta);
      server.add("INFO", "server");
      server.add("TIME");
      server.flush();
      expectText(*server.reply(), "OK");
      const Reply owner = server.reply();
      if (!isNil(*owner) && textOf(*owner) != owner_)
         throw FeedOwned(link_.name() + ": the feed is published by " +
                         shown(textOf(*owner).substr(0, textOf(*owner).rfind(' '))));
      const Meta meta = Meta::read(*server.reply());
      const std::string run = runIdIn(*server.reply());
      serverTime_ = milliseconds(timeIn(*server.reply()));
      serverTimeAt_ = Clock::now();

      // A batch whose reply was lost may have been done. If anything else is not as we left it, or the server may have
      // forgotten what followers have seen, they start over.
      const bool goesOn = !incarnation_.empty() && meta.incarnation == incarnation_ && meta.run == run &&
                          (meta.batches == batches_ || meta.batches == batches_ + 1);
      batches_ = batchesSent_ = goesOn ? meta.batches : 0;
      if (!goesOn) {
         incarnation_ = randomHex();
         kept_.clear();
         keysKept_ = 0;
      }
      server.add("MULTI");
      server.add("SET", keys_.owner, owner_, "PX", options_.lease.count());
      server.add("HSET", keys_.meta, "signature", table_.type().signature, "incarnation", incarnation_, "batches",
                 batches_, "run", run, "state", "comparing", "alive", serverTime(), "publisher", name_);
      if (!goesOn)
         server.add("DEL", keys_.changes);
      addEnd(server);
      server.flush();
      confirm(server, goesOn ? 2 : 3);
      compare(server);
      isAttached_ = true;
      writeChanges(true);
   }

   /// Finds what of the feed is not as in the table.
   void compare(Connection& server)
   {
      changed_.clear();
      strange_.clear();
      std::vector<Key> equal;
      const auto look = [&](std::string_view field, std::string_view value) {
         const std::optional<Key> key = table_.keyIn(field);
         const BaseRow* const row = key ? table_.find(*key) : nullptr;
         if (!key)
            strange_.emplace_back(field);
         else if (row == nullptr)
            changed_.push_back(*key);
         else if (table_.isValue(*row, value))
            equal.push_back(*key);
      };
      scanHash(server, keys_.rows, look, [&] {
         if (Clock::now() >= renewAt_)
            renew(false);
      });
      std::ranges::sort(equal);
      for (const BaseRow& row : table_.rows())
         if (const Key key = table_.keyOf(row); !std::ranges::binary_search(equal, key))
            changed_.push_back(key);
   }

   /// Writes the present state of the keys that changed, in batches. The last one of a comparison says, even if there
   /// is nothing else to say, that it is the last.
   void writeChanges(bool isComparison)
   {
      Connection& server = link_.connection();
      // Not in the order of our table: rows that come in the order of their hashes fill a follower's table unevenly
      // while it grows, and its probes get long.
      sortUnique(changed_);
      std::size_t next = 0;
      for (std::optional<Sent> sent = addBatch(server, next, isComparison); sent;) {
         server.flush();
         std::optional<Sent> following;
         if (next < changed_.size() || !strange_.empty())
            following = addBatch(server, next, isComparison);
         confirm(server, sent->commands);
         batches_ = sent->number;
         sent = following;
      }
      changed_.clear();
   }

   /// A batch under way.
   struct Sent
   {
      std::uint64_t number;
      std::size_t commands; ///< within the transaction
   };

   /// Adds the commands of a batch of the changed keys from number `next` on, which becomes the number of the first
   /// that found no room.
   Sent addBatch(Connection& server, std::size_t& next, bool isComparison)
   {
      std::vector<const BaseRow*> present;
      std::vector<std::string> absent;
      std::string keys;
      std::size_t bytes = 0;
      while (next < changed_.size() && present.size() + absent.size() < portion && bytes < maxBatchBytes) {
         const Key key = changed_[next++];
         const std::string text = table_.keyText(key);
         keys += keys.empty() ? text : ' ' + text;
         if (const BaseRow* const row = table_.find(key)) {
            present.push_back(row);
            bytes += row->rowLength();
         } else {
            absent.push_back(text);
         }
      }
      noteKept(present.size() + absent.size());
      // What is no key cannot be named to followers; a number that is missing has them compare.
      batchesSent_ += strange_.empty() ? 1U : 2U;
      while (!strange_.empty() && present.size() + absent.size() < portion) {
         absent.push_back(std::move(strange_.back()));
         strange_.pop_back();
      }
      const bool isLast = next == changed_.size() && strange_.empty();

      server.add("MULTI");
      server.add("PEXPIRE", keys_.owner, options_.lease.count());
      server.add("HSET", keys_.meta, "batches", batchesSent_, "alive", serverTime(), "state",
                 isComparison && !isLast ? "comparing" : "complete");
      server.add("XADD", keys_.changes, "MAXLEN", "~", kept_.size(), "*", "incarnation", incarnation_, "batch",
                 batchesSent_, "keys", keys);
      if (!present.empty()) {
         server.begin(2 + 2 * present.size());
         server.word("HSET");
         server.word(keys_.rows);
         for (const BaseRow* const row : present) {
            server.word(table_.keyText(table_.keyOf(*row)));
            server.word(table_.value(*row));
         }
      }
      if (!absent.empty())
         server.addFields("HDEL", keys_.rows, absent);
      addEnd(server);
      return {batchesSent_, std::size_t{3} + (present.empty() ? 0 : 1) + (absent.empty() ? 0 : 1)};
   }

   void noteKept(std::size_t keys)
   {
      kept_.push_back(keys);
      keysKept_ += keys;
      while (keysKept_ > maxKeysKept || kept_.size() > maxBatchesKept) {
         keysKept_ -= kept_.front();
         kept_.pop_front();
      }
   }

   /// Keeps the lease; with `isCounted`, finds out by the way whether rows were lost or added behind our back.
   void renew(bool isCounted)
   {
      Connection& server = link_.connection();
      server.add("MULTI");
      server.add("PEXPIRE", keys_.owner, options_.lease.count());
      server.add("HSET", keys_.meta, "alive", serverTime());
      server.add("HLEN", keys_.rows);
      addEnd(server);
      server.flush();
      const Reply results = confirm(server, 3);
      if (isCounted && numberOf(*elementsOf(*results)[2]) != table_.rows().size())
         server.fail("the feed's rows were changed by another");
   }

   /// Ends a transaction, and watches the lease for the next.
   void addEnd(Connection& server) const
   {
      server.add("EXEC");
      server.add("WATCH", keys_.owner);
      server.add("GET", keys_.owner);
   }

   /// Reads the replies to a transaction of so many commands and to addEnd.
   Reply confirm(Connection& server, std::size_t commands)
   {
      Reply results = server.transaction(commands);
      if (!results)
         server.fail("the lease of the feed has ended");
      expectText(*server.reply(), "OK");
      expectText(*server.reply(), owner_);
      renewAt_ = Clock::now() + options_.lease / 3;
      return results;
   }

   /// Now, by the server's clock.
   std::int64_t serverTime() const
   {
      return (serverTime_ + std::chrono::duration_cast<milliseconds>(Clock::now() - serverTimeAt_)).count();
   }

   /// Ends the lease, if the server is there.
   void release()
   {
      if (!link_.isConnected())
         return;
      Connection& server = link_.connection();
      server.add("MULTI");
      server.add("DEL", keys_.owner);
      server.add("HSET", keys_.meta, "alive", serverTime());
      server.add("EXEC");
      server.flush();
      server.transaction(2);
   }

   FeedTable table_;
   FeedKeys keys_;
   Options options_;
   Link link_;
   std::string name_;        ///< as others are told
   std::string owner_;       ///< what we write to the key of the lease: no other publisher's
   bool isAttached_ = false; ///< whether we have the lease, watch it, and the feed is as the table but for changed_
   std::vector<Key> changed_;
   std::vector<std::string> strange_; ///< fields of the feed that are no keys
   std::string incarnation_;
   std::uint64_t batches_ = 0;     ///< of this incarnation, as the server has confirmed
   std::uint64_t batchesSent_ = 0; ///< with those that it has not yet
   std::deque<std::size_t> kept_;  ///< of the stream's entries, the newest last: the number of keys in each
   std::size_t keysKept_ = 0;
   Clock::time_point renewAt_{};
   milliseconds serverTime_{}; ///< at serverTimeAt_
   Clock::time_point serverTimeAt_{};
};

FeedPublisher::FeedPublisher(RowType type, const ServerAddress& server, const std::string& feed, const Options& options)
   : impl_(std::make_unique<Impl>(std::move(type), server, feed, options))
{
}

FeedPublisher::~FeedPublisher()
{
   try {
      impl_->release();
   } catch (const std::exception&) {
      // the lease ends by itself
   }
}

void FeedPublisher::put(const BaseRow& row)
{
   impl_->requireSound(row);
   impl_->put(row);
}

bool FeedPublisher::erase(const BaseRow& keyRow) { return impl_->erase(keyRow); }

void FeedPublisher::makeEqual(const Embedded::Table& table) { impl_->makeEqual(table); }

const Embedded::Table& FeedPublisher::table() const { return impl_->table_.rows(); }

bool FeedPublisher::sync(milliseconds patience)
{
   return impl_->link_.attempt(Clock::now() + patience, [&] { impl_->step(); });
}

FeedPublisher::Clock::time_point FeedPublisher::wakeAt() const
{
   return impl_->link_.isConnected() ? impl_->renewAt_ : impl_->link_.retryAt();
}

const std::string& FeedPublisher::problem() const { return impl_->link_.problem(); }

} // namespace Zorva::Exchange
