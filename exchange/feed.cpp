#include "exchange/feed.h"

#include <algorithm>

#include "rowtype/canonical.h"

namespace Zorva::Exchange {

namespace {

constexpr std::string_view keyPrefix = "zorva:{";

constexpr std::array<const char*, 7> metaFields = {"signature", "incarnation", "batches",  "run",
                                                   "state",     "alive",       "publisher"};

/// The fields of a stream entry, in their order.
constexpr std::array<std::string_view, 3> batchFields = {"incarnation", "batch", "keys"};

bool isFeedName(std::string_view name)
{
   constexpr std::string_view marks = "._:/@-";
   return !name.empty() && name.size() <= 128 && std::ranges::all_of(name, [&](char c) {
      return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
             marks.find(c) != std::string_view::npos;
   });
}

} // namespace

FeedKeys::FeedKeys(const std::string& feed, const std::string& rowTypeName)
{
   if (!isFeedName(feed))
      throw std::invalid_argument('"' + shown(feed) + "\" is no feed's name: 1 to 128 letters, digits and ._:/@-");
   const std::string base = std::string(keyPrefix) + feed + "}:" + rowTypeName + ':';
   rows = base + "rows";
   changes = base + "changes";
   meta = base + "meta";
   owner = base + "owner";
}

void Meta::ask(Connection& server, const std::string& key) { server.addFields("HMGET", key, metaFields); }

Meta Meta::read(const redisReply& reply)
{
   const auto fields = elementsOf(reply, metaFields.size());
   const auto text = [&](std::size_t i) { return isNil(*fields[i]) ? std::string() : std::string(textOf(*fields[i])); };
   const auto number = [&](std::size_t i) { return isNil(*fields[i]) ? 0 : numberIn(textOf(*fields[i])); };
   return {.signature = text(0),
           .incarnation = text(1),
           .batches = number(2),
           .run = text(3),
           .isComplete = text(4) == "complete",
           .alive = number(5),
           .publisher = text(6)};
}

std::optional<std::vector<Batch>> batchesIn(const redisReply& reply)
{
   std::vector<Batch> batches;
   if (isNil(reply))
      return batches;
   const auto stream = elementsOf(*elementsOf(reply, 1)[0], 2);
   for (const redisReply* const entry : elementsOf(*stream[1])) {
      const auto idAndFields = elementsOf(*entry, 2);
      const auto fields = elementsOf(*idAndFields[1]);
      if (fields.size() != 2 * batchFields.size())
         return std::nullopt;
      for (std::size_t i = 0; i < batchFields.size(); ++i)
         if (textOf(*fields[2 * i]) != batchFields[i])
            return std::nullopt;
      const std::optional<std::uint64_t> number = wholeNumber(textOf(*fields[3]));
      if (!number)
         return std::nullopt;
      batches.push_back({std::string(textOf(*idAndFields[0])), std::string(textOf(*fields[1])), *number,
                         std::string(textOf(*fields[5]))});
   }
   return batches;
}

std::string runIdIn(const redisReply& reply)
{
   constexpr std::string_view name = "run_id:";
   const std::string_view info = textOf(reply);
   const std::size_t at = info.find(name);
   if (at == std::string_view::npos)
      throw ServerTrouble("the server does not say which run it is in");
   const std::string_view rest = info.substr(at + name.size());
   return std::string(rest.substr(0, rest.find('\r')));
}

std::uint64_t timeIn(const redisReply& reply)
{
   const auto parts = elementsOf(reply, 2);
   return numberIn(textOf(*parts[0])) * 1000 + numberIn(textOf(*parts[1])) / 1000;
}

void scanHash(Connection& server, const std::string& key,
              const std::function<void(std::string_view, std::string_view)>& use, const std::function<void()>& ready)
{
   std::string cursor = "0";
   server.add("HSCAN", key, cursor, "COUNT", portion);
   server.flush();
   do {
      const Reply reply = server.reply();
      const auto parts = elementsOf(*reply, 2);
      cursor = textOf(*parts[0]);
      if (cursor != "0") { // the server looks for the next portion while we use this one
         ready();
         server.add("HSCAN", key, cursor, "COUNT", portion);
         server.flush();
      }
      const auto fields = elementsOf(*parts[1]);
      if (fields.size() % 2 != 0)
         throw ServerTrouble("the server answered a field without a value");
      for (std::size_t i = 0; i < fields.size(); i += 2)
         use(textOf(*fields[i]), textOf(*fields[i + 1]));
   } while (cursor != "0");
}

FeedTable::FeedTable(RowType type) : type_(std::move(type)), rows_(type_.name), probe_(type_.fixedLength) {}

Key FeedTable::keyOf(const BaseRow& row) const
{
   Key key = 0;
   std::memcpy(&key, row.checkedBytes(type_.key.offset, type_.key.width()), type_.key.width());
   return key;
}

std::string FeedTable::keyText(Key key) const
{
   return type_.key.type == Type::i32 ? std::to_string(static_cast<std::int32_t>(key)) : std::to_string(key);
}

std::optional<Key> FeedTable::keyIn(std::string_view text) const
{
   std::optional<Key> key;
   if (type_.key.type != Type::i32)
      key = wholeNumber(text);
   else if (const auto number = wholeNumber<std::int32_t>(text))
      key = static_cast<std::uint32_t>(*number);
   const bool fits = key && (type_.key.width() == sizeof(Key) || *key >> (8 * type_.key.width()) == 0);
   const bool isOnlyText = fits && keyText(*key) == text;
   return isOnlyText ? key : std::nullopt;
}

const BaseRow* FeedTable::find(Key key)
{
   switch (type_.key.width()) {
   case 8: probe_.setColumn<std::uint64_t>(type_.key.offset, key, type_.fixedLength); break;
   case 4: probe_.setColumn(type_.key.offset, static_cast<std::uint32_t>(key), type_.fixedLength); break;
   default: probe_.setColumn(type_.key.offset, static_cast<std::uint16_t>(key), type_.fixedLength);
   }
   return rows_.find(probe_);
}

std::span<const unsigned char> FeedTable::value(const BaseRow& row)
{
   const auto bytes = row.bytes();
   value_.assign(bytes.begin(), bytes.end());
   makeCanonical(value_, type_.columns);
   return value_;
}

bool FeedTable::isValue(const BaseRow& row, std::string_view bytes)
{
   const auto canonical = value(row);
   return canonical.size() == bytes.size() && std::memcmp(canonical.data(), bytes.data(), bytes.size()) == 0;
}

std::vector<FeedInfo> feeds(const ServerAddress& address, const Options& options)
{
   Connection server(address, options.limit);
   constexpr std::string_view suffix = ":meta";
   std::vector<std::string> found;
   std::string cursor = "0";
   do {
      server.add("SCAN", cursor, "MATCH", "zorva:{*}:*:meta", "COUNT", portion, "TYPE", "hash");
      server.flush();
      const Reply reply = server.reply();
      const auto parts = elementsOf(*reply, 2);
      cursor = textOf(*parts[0]);
      for (const redisReply* const key : elementsOf(*parts[1]))
         if (textOf(*key).size() > keyPrefix.size() + suffix.size())
            found.emplace_back(textOf(*key));
   } while (cursor != "0");
   sortUnique(found);

   std::vector<FeedInfo> infos;
   for (const std::string& key : found) {
      const std::string_view inner =
         std::string_view(key).substr(0, key.size() - suffix.size()).substr(keyPrefix.size());
      const std::size_t nameEnd = inner.find("}:");
      if (nameEnd == std::string_view::npos || !isFeedName(inner.substr(0, nameEnd)))
         continue;
      const std::string name(inner.substr(0, nameEnd));
      const std::string type(inner.substr(nameEnd + 2));
      const FeedKeys keys(name, type);
      Meta::ask(server, keys.meta);
      server.add("HLEN", keys.rows);
      server.add("EXISTS", keys.owner);
      server.add("TIME");
      server.flush();
      try {
         const Meta meta = Meta::read(*server.reply());
         const std::uint64_t rows = numberOf(*server.reply());
         const bool isAlive = numberOf(*server.reply()) != 0;
         const std::uint64_t now = timeIn(*server.reply());
         infos.push_back({name, type, meta.signature, meta.publisher, rows,
                          milliseconds(now - std::min(now, meta.alive)), isAlive, meta.isComplete});
      } catch (const FeedRefused& refused) {
         throw FeedRefused("feed " + name + ": " + refused.what());
      } catch (const ServerTrouble& trouble) {
         throw ServerTrouble("feed " + name + ": " + trouble.what());
      }
   }
   return infos;
}

} // namespace Zorva::Exchange
