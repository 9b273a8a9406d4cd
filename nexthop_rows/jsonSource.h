// Recordings as a source: what `ip -j` printed of a kernel's next hops, neighbours and links.
//
// An object that cannot be used is refused with a note and left out, whatever else the recording holds; only a file
// that cannot be read at all is BadInput.
#pragma once

#include "nexthop_rows/jsonReader.h"
#include "nexthop_rows/kernelState.h"
#include "nexthop_rows/notes.h"

namespace NexthopRows {

/// One text and its name, for messages.
struct Source
{
   std::string name;
   std::string text;
};

/// The three dumps that belong together.
struct Recording
{
   Source nexthop; ///< ip -j -d nexthop
   Source neigh;   ///< ip -j neigh
   Source link;    ///< ip -j -d link
};

/// Reads a whole file. Throws BadInput when that fails.
Source readFile(const std::string& path);

/// Reads FOLDER/nexthop.json, neigh.json and link.json. Throws BadInput for a file that cannot be read.
Recording readFolder(const std::string& folder);

/// What the recording tells. FDB objects are skipped with a note, bad ones refused. Throws BadInput when a text is not
/// a JSON array.
KernelState stateOf(const Recording& recording, Notes& notes);

} // namespace NexthopRows
