// Follows the running kernel: keeps tables of its rows and prints every change to them.
#pragma once

#include "nexthop_rows/netNamespace.h"
#include "nexthop_rows/tables.h"

namespace NexthopRows {

/// Files the kernel's rows and prints them to standard output as inserted; then files and prints every change when it
/// comes, a line each, as text or as JSON (changeText, changeJson), until SIGINT, SIGTERM or SIGHUP. What came at once
/// is one change. In JSON, {"event":"complete",...} follows whenever everything has been read: at the start, after the
/// kernel had no room for messages, and for a new namespace of the name. Notes go to standard error, an object's only
/// when it is another than its last, and none when that is to be quiet. Returns the tables. Throws BadInput when the
/// kernel cannot be read at the start, or output not be written; Stopped when nobody takes the output.
///
/// A row keeps its entryId from its first filing on; its genId is the number of the reading that inserted or last
/// changed it. When a named namespace goes, so do its rows; one that is made under the name again is followed.
Tables watchKernel(const NetNamespace& netns, bool isJson, bool isQuiet);

} // namespace NexthopRows
