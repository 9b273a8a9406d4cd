#include "exchange/follower.h"

#include <algorithm>
#include <vector>

#include "exchange/feed.h"

namespace Zorva::Exchange {

// How a feed is followed, in a loop: read the meta hash; if our rows are of its incarnation, wait for entries of the
// stream behind our position, and read the rows of the keys in them, each once. The batches of a stream are numbered
// consecutively. When one is missing, or the feed is not the one we know, all of it is read and compared; the stream is
// read on from the position that it had before that.
struct FeedFollower::Impl
{
   Impl(RowType type, const ServerAddress& server, const std::string& feed, const Options& options)
      : table_(std::move(type)), keys_(feed, table_.type().name), options_(options), link_(server, options), feed_(feed)
   {
   }

   void step(Clock::time_point until, bool wasCurrent)
   {
      for (;;) {
         if (!link_.isConnected())
            connect();
         if (!isAsked_)
            ask();
         if (isCurrent_ && (hasChanged_ || !wasCurrent))
            return;
         Connection& server = link_.connection();
         if (!server.await(std::min(until, answerDue_))) {
            if (Clock::now() >= answerDue_)
               server.fail("no whole reply to XREAD");
            return;
         }
         receive();
      }
   }

   void connect()
   {
      isAsked_ = false;
      Connection& server = link_.connection();
      server.add("INFO", "server");
      server.flush();
      run_ = runIdIn(*server.reply());
   }

   /// Looks at the feed, compares it if need be, and asks for what comes.
   void ask()
   {
      Connection& server = link_.connection();
      Meta meta = look(server);
      while (isComparisonDue_ || isOther(meta)) {
         compare(server);
         meta = look(server);
      }
      link_.worked();
      batchesThere_ = meta.batches;
      isCurrent_ = meta.isComplete && meta.run == run_ && meta.batches == batches_;
      problem_ = !meta.exists()     ? link_.name() + ": no feed " + feed_ + " of " + table_.type().name
                 : meta.run != run_ ? link_.name() + ": has been restarted, and the feed's publisher has not come back"
                 : !meta.isComplete ? link_.name() + ": the feed's publisher has not written all rows"
                                    : "";
      const milliseconds block = options_.limit / 5;
      server.add("XREAD", "BLOCK", std::max<long>(block.count(), 1), "STREAMS", keys_.changes, position_);
      server.flush();
      answerDue_ = Clock::now() + block + options_.limit;
      isAsked_ = true;
   }

   Meta look(Connection& server)
   {
      Meta::ask(server, keys_.meta);
      server.add("EXISTS", keys_.owner);
      server.flush();
      Meta meta = Meta::read(*server.reply());
      isPublisherAlive_ = numberOf(*server.reply()) != 0;
      if (meta.exists() && meta.signature != table_.type().signature)
         throw FeedRefused(link_.name() + ": the feed's rows are of the type " + shown(meta.signature) + ", not " +
                           table_.type().signature);
      return meta;
   }

   /// Whether the feed is not what we can go on from. One that is not there, or an older state of ours in a server that
   /// was restarted, is none to take rows from: its publisher will make it good, in a new incarnation.
   bool isOther(const Meta& meta) const { return meta.exists() && meta.incarnation != incarnation_; }

   /// Makes the table equal to the whole feed.
   void compare(Connection& server)
   {
      server.add("MULTI");
      Meta::ask(server, keys_.meta);
      server.add("XREVRANGE", keys_.changes, "+", "-", "COUNT", 1);
      server.add("EXEC");
      server.flush();
      const Reply begin = server.transaction(2);
      if (!begin)
         server.fail("refuses to read the feed as a whole");
      const Meta meta = Meta::read(*elementsOf(*begin)[0]);
      const auto newest = elementsOf(*elementsOf(*begin)[1]);
      const std::string position(newest.empty() ? "0-0" : textOf(*elementsOf(*newest[0], 2)[0]));

      ++comparisons_;
      isComparisonDue_ = true; // until it is done
      refused_.clear();
      const bool hadRows = !table_.rows().empty();
      std::vector<Key> seen;
      scanHash(server, keys_.rows, [&](std::string_view field, std::string_view value) {
         if (const std::optional<Key> key = table_.keyIn(field)) {
            seen.push_back(*key);
            take(*key, field, value);
         } else {
            refuse(field, "the field is no key");
         }
      });
      if (hadRows)
         refresh(server, unseenRows(seen));
      incarnation_ = meta.incarnation;
      batches_ = meta.batches;
      position_ = position;
      isComparisonDue_ = false;
   }

   /// The keys of rows that are not among the keys seen: they may have gone, or come back.
   std::vector<Key> unseenRows(std::vector<Key>& seen) const
   {
      std::vector<Key> unseen;
      sortUnique(seen);
      if (seen.size() != table_.rows().size() || !refused_.empty())
         for (const BaseRow& row : table_.rows())
            if (const Key key = table_.keyOf(row); !std::ranges::binary_search(seen, key))
               unseen.push_back(key);
      return unseen;
   }

   /// Takes the reply to XREAD.
   void receive()
   {
      Connection& server = link_.connection();
      const Reply reply = server.reply();
      isAsked_ = false;
      const std::optional<std::vector<Batch>> batches = batchesIn(*reply);
      std::vector<Key> changed;
      std::uint64_t number = batches_;
      for (const Batch& batch : batches.value_or(std::vector<Batch>()))
         isComparisonDue_ |=
            batch.incarnation != incarnation_ || batch.number != ++number || !addKeys(changed, batch.keys);
      isComparisonDue_ |= !batches || number < batchesThere_;
      if (isComparisonDue_ || batches->empty())
         return;
      sortUnique(changed);
      refresh(server, changed);
      batches_ = number;
      position_ = batches->back().id;
   }

   /// False when the texts are not all keys.
   bool addKeys(std::vector<Key>& keys, std::string_view texts) const
   {
      while (!texts.empty()) {
         const std::size_t length = std::min(texts.find(' '), texts.size());
         const std::optional<Key> key = table_.keyIn(texts.substr(0, length));
         if (!key)
            return false;
         keys.push_back(*key);
         texts.remove_prefix(std::min(length + 1, texts.size()));
      }
      return true;
   }

   /// Reads the present rows of these keys.
   void refresh(Connection& server, std::span<const Key> keys)
   {
      const auto askFor = [&](std::span<const Key> some) {
         if (some.empty())
            return;
         server.begin(2 + some.size());
         server.word("HMGET");
         server.word(keys_.rows);
         for (const Key key : some)
            server.word(table_.keyText(key));
         server.flush();
      };
      const auto first = [](std::span<const Key> some) { return some.first(std::min(portion, some.size())); };
      askFor(first(keys));
      while (!keys.empty()) {
         const std::span<const Key> some = first(keys);
         keys = keys.subspan(some.size());
         const Reply reply = server.reply();
         askFor(first(keys));
         const auto values = elementsOf(*reply, some.size());
         for (std::size_t i = 0; i < some.size(); ++i) {
            const std::string field = table_.keyText(some[i]);
            if (isNil(*values[i]))
               remove(some[i], field);
            else
               take(some[i], field, textOf(*values[i]));
         }
      }
   }

   /// Puts the row that the feed holds under the key into the table, unless it is the one we have.
   void take(Key key, std::string_view field, std::string_view value)
   {
      const BaseRow* const held = table_.find(key);
      if (held != nullptr && table_.isValue(*held, value)) {
         accept(field);
         return;
      }
      BaseRow row;
      try {
         row = table_.type().fromBytes({reinterpret_cast<const unsigned char*>(value.data()), value.size()});
      } catch (const ZoBadCast& bad) {
         return refuse(field, bad.what());
      }
      if (table_.keyOf(row) != key)
         return refuse(field, "the row's key is " + table_.keyText(table_.keyOf(row)));
      if (!table_.isValue(row, value))
         return refuse(field, "the bytes are not canonical");
      accept(field);
      const BaseRow before = held != nullptr ? *held : BaseRow();
      Embedded::Table& rows = table_.rows();
      if (rows.replace(row) == Embedded::Table::Replaced::unchanged) { // other bytes, but those mean nothing
         rows.erase(row);
         rows.insert(row);
      } else {
         tell(before, row);
      }
   }

   void remove(Key key, std::string_view field)
   {
      accept(field);
      const BaseRow* const held = table_.find(key);
      if (held == nullptr)
         return;
      const BaseRow before = *held;
      table_.rows().erase(before);
      tell(before, {});
   }

   void tell(const BaseRow& before, const BaseRow& after)
   {
      hasChanged_ = true;
      if (*changed_)
         (*changed_)(before, after);
   }

   void refuse(std::string_view field, const std::string& reason)
   {
      refused_.insert_or_assign(std::string(field), reason);
   }

   void accept(std::string_view field)
   {
      if (!refused_.empty())
         refused_.erase(std::string(field));
   }

   FeedTable table_;
   FeedKeys keys_;
   Options options_;
   Link link_;
   std::string feed_;
   std::map<std::string, std::string> refused_;
   std::string run_;                ///< of the server that we are connected to
   std::string incarnation_;        ///< of the feed as it is in the table; empty before the first reading
   std::uint64_t batches_ = 0;      ///< of the incarnation, that are in the table
   std::string position_ = "0-0";   ///< in the stream, of the last of them
   std::uint64_t batchesThere_ = 0; ///< in the server, when last looked
   bool isComparisonDue_ = false;
   bool isAsked_ = false; ///< whether a reply to XREAD is outstanding
   Clock::time_point answerDue_{};
   bool isCurrent_ = false;
   bool isPublisherAlive_ = false;
   std::size_t comparisons_ = 0;
   std::string problem_;
   const Changed* changed_ = nullptr; ///< during poll
   bool hasChanged_ = false;          ///< during this poll
};

FeedFollower::FeedFollower(RowType type, const ServerAddress& server, const std::string& feed, const Options& options)
   : impl_(std::make_unique<Impl>(std::move(type), server, feed, options))
{
}

FeedFollower::~FeedFollower() = default;

bool FeedFollower::poll(milliseconds patience, const Changed& changed)
{
   Impl& self = *impl_;
   self.changed_ = &changed;
   self.hasChanged_ = false;
   const auto until = Clock::now() + patience;
   const bool wasCurrent = self.isCurrent_;
   bool isReached = false;
   try {
      isReached = self.link_.attempt(until, [&] { self.step(until, wasCurrent); });
   } catch (...) {
      self.isCurrent_ = false;
      throw;
   }
   self.isCurrent_ &= isReached;
   return self.isCurrent_;
}

const Embedded::Table& FeedFollower::table() const { return impl_->table_.rows(); }

const std::map<std::string, std::string>& FeedFollower::refused() const { return impl_->refused_; }

bool FeedFollower::isPublisherAlive() const { return impl_->isPublisherAlive_; }

std::size_t FeedFollower::comparisons() const { return impl_->comparisons_; }

int FeedFollower::fd() const { return impl_->link_.fd(); }

FeedFollower::Clock::time_point FeedFollower::wakeAt() const
{
   return impl_->link_.isConnected() ? impl_->answerDue_ : impl_->link_.retryAt();
}

const std::string& FeedFollower::problem() const
{
   return impl_->link_.problem().empty() ? impl_->problem_ : impl_->link_.problem();
}

} // namespace Zorva::Exchange
