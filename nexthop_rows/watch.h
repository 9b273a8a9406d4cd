// Prints what is followed: the rows, then every change to them.
#pragma once

#include "nexthop_rows/netNamespace.h"
#include "nexthop_rows/tables.h"

namespace NexthopRows {

/// Follows the running kernel as followKernel, and prints each change to standard output, as text or as JSON
/// (changeText, changeJson), until SIGINT, SIGTERM or SIGHUP. In JSON, {"event":"complete",...} follows whenever
/// everything has been read. Notes go to standard error, an object's only when it is another than its last, and none
/// when that is to be quiet. Throws also BadInput when output cannot be written, and Stopped when nobody takes it.
Tables watchKernel(const NetNamespace& netns, bool isJson, bool isQuiet);

} // namespace NexthopRows
