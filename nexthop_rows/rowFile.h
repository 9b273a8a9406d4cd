// Rows saved to a file as they lie in memory, to look into them later or elsewhere: a debugging aid, not a format for
// exchange.
//
//   nexthop-rows file 1: 3 rows                        first line, with the number of rows
//   P4RuntimeRouting::NexthopInfoRow 52 1c291ca3       a row: its type, the number of its bytes, their CRC-32 ...
//   <52 bytes>                                         ... and the bytes, with a line feed behind them
//
// The bytes are canonical (rowtype/canonical.h): what means nothing to another process is 0.
#pragma once

#include <string>

#include "nexthop_rows/tables.h"

namespace NexthopRows {

/// In place of a path: standard input where rows are loaded, standard output where they are saved.
inline const std::string standardFile = "-";

/// What the file is called in messages.
inline std::string nameOfFile(const std::string& path) { return path == standardFile ? "standard input" : path; }

/// Writes all rows to the file, next hops first, each kind in the order of its filing, and puts it in the place of the
/// one that may be there once it is complete. Throws std::runtime_error, naming the file, when that fails; the old file
/// is as it was then. Standard output is left to the caller to flush.
void saveRows(const Tables& tables, const std::string& path);

/// The rows of the file, filed. Throws BadInput when it cannot be read or is damaged in any way, naming the position
/// (of a faulty row: that of its first byte) and the reason.
Tables loadRows(const std::string& path);

} // namespace NexthopRows
