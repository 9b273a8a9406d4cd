// What the functions of feeds.h share.
#pragma once

#include <string>

#include "exchange/server.h"
#include "nexthop_rows/badInput.h"
#include "nexthop_rows/feeds.h"

namespace NexthopRows {

/// Calls act(), and throws BadInput with the feed's name for what the exchange library ends with.
template <class Act>
auto atFeed(const FeedIn& feed, Act act)
{
   try {
      return act();
   } catch (const Zorva::Exchange::FeedRefused& refused) {
      throw BadInput(text(feed) + ": " + refused.what());
   }
}

/// How a feed fares; another condition than the last is told of, once.
class Condition
{
public:
   enum Kind { unknown, well, noServer, noWholeFeed, noPublisher };

   Condition(std::string source, Notes& notes, Kind kind) : source_(std::move(source)), notes_(notes), kind_(kind) {}

   void is(Kind kind, const std::string& what)
   {
      if (kind != kind_)
         notes_.told(source_, kind == well ? what : what + "; waiting for it");
      kind_ = kind;
   }

private:
   std::string source_;
   Notes& notes_;
   Kind kind_;
};

} // namespace NexthopRows
