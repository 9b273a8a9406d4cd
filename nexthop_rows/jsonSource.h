// Recordings as a source: what `ip -j` printed of a kernel's next hops, neighbours and links.
//
// An object that cannot be used is refused with a note and left out, whatever else the recording holds; only a file
// that cannot be read at all is BadInput.
#pragma once

#include <istream>
#include <memory>

#include "nexthop_rows/jsonReader.h"
#include "nexthop_rows/kernelState.h"
#include "nexthop_rows/notes.h"

namespace NexthopRows {

/// A stream of bytes, read once, and its name, for messages.
struct Source
{
   std::string name;
   std::unique_ptr<std::istream> in;
};

/// The three dumps that belong together.
struct Recording
{
   Source nexthop; ///< ip -j -d nexthop
   Source neigh;   ///< ip -j neigh
   Source link;    ///< ip -j -d link
};

/// Opens a file. Throws BadInput when that fails.
Source openFile(const std::string& path);

/// Opens FOLDER/nexthop.json, neigh.json and link.json. Throws BadInput for a file that cannot be opened.
Recording readFolder(const std::string& folder);

/// What the recording tells; reads its streams to their ends. FDB objects are skipped with a note, bad ones refused.
/// Throws BadInput when a stream cannot be read or is not a JSON array.
KernelState stateOf(const Recording& recording, Notes& notes);

} // namespace NexthopRows
