// Feeds of the program's rows in a server (docs/exchange.md). A feed of the program is two of the exchange library's
// under one name: one for each type of row. One program publishes it, any number read and follow it.
//
// Built with exchange/ only: see hasFeeds in rowsFrom.h. What these functions throw never shows a password.
#pragma once

#include "nexthop_rows/netNamespace.h"
#include "nexthop_rows/rowsFrom.h"

namespace NexthopRows {

/// The rows of the feed. Notes tell of fields that hold no sound row, and of a feed without a publisher. Throws
/// BadInput when there is no such feed, the server is not there, or rows are missing and nobody is about to write them,
/// or not in a few seconds.
Tables readFeed(const FeedIn& feed, Notes& notes);

/// Makes the feed's rows equal to these. Throws BadInput when another publishes it, or the server is not there.
void publishRows(const Tables& tables, const FeedIn& feed);

/// Follows the running kernel as followKernel and keeps the feed equal to its rows. A server that goes away is told of
/// once and connected to again, one that is not there yet, too. Throws BadInput when another publishes the feed, or the
/// server does not let us.
Tables publishKernel(const NetNamespace& netns, const FeedIn& feed, bool isQuiet);

/// Follows the feed and prints its rows, then every change, as watchKernel does; what came and went between two looks
/// is not seen. In JSON, {"event":"complete",...} follows whenever the whole feed has been read and compared. A server
/// or a feed that goes away or is not there yet is told of and waited for; the rows stay meanwhile. Throws BadInput
/// when the server does not let us, or the feed's rows have other columns.
Tables watchFeed(const FeedIn& feed, bool isJson, bool isQuiet);

/// Prints the server's feeds of our row types, as a table or as lines of JSON. Returns how many they are. Throws
/// BadInput.
std::size_t printFeeds(const std::string& server, bool isJson);

} // namespace NexthopRows
