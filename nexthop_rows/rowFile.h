// Rows saved to a file as they lie in memory, to look into them later or elsewhere: a debugging aid, not a format for
// exchange.
//
//   nexthop-rows file 1: 3 rows                        first line, with the number of rows
//   P4RuntimeRouting::NexthopInfoRow 52 1c291ca3       a row: its type, the number of its bytes, their CRC-32 ...
//   <52 bytes>                                         ... and the bytes, with a line feed behind them
//
// The bytes are canonical (rowtype/canonical.h): what means nothing to another process is 0.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "nexthop_rows/jsonSource.h"
#include "nexthop_rows/tables.h"

namespace NexthopRows {

/// In place of a path: standard input where rows are loaded, standard output where they are saved.
inline const std::string standardFile = "-";

/// What the file is called in messages.
inline std::string nameOfFile(const std::string& path) { return path == standardFile ? "standard input" : path; }

/// Takes the next bytes of a file.
using Write = std::function<void(std::string_view)>;

/// Writes a file of all rows, next hops first, each kind in the order of its filing. Throws what `write` throws.
void writeRows(const Tables& tables, const Write& write);

/// Writes all rows to the file, and puts it in the place of the one that may be there, with its owner (where that is
/// permitted) and mode, once it is complete. Where the path is a symbolic link, that is the file it leads to. Throws
/// std::runtime_error, naming the file, when that fails, and Stopped when the program is to stop; the old file is as it
/// was then, and nothing is left of the new one. Standard output is left to the caller to flush.
void saveRows(const Tables& tables, const std::string& path);

/// Told of a faulty row: the position in the file of its first byte, or of its first line where that names no type of
/// row, and the reason.
using Fault = std::function<void(std::size_t at, const std::string& reason)>;

/// Opens a file of rows. Throws BadInput when that fails.
Source openRows(const std::string& path);

/// Reads a file of rows to its end, files its rows and tells of those that are faulty. Throws BadInput, naming the
/// position and the reason, when it cannot be told where the next row begins or the number of rows is not the one in
/// the first line; the rows before are filed then.
void readRows(const Source& file, Tables& tables, const Fault& fault);

/// The rows of the file, filed. Throws BadInput when it cannot be read or is damaged in any way, naming the position
/// and the reason.
Tables loadRows(const std::string& path);

} // namespace NexthopRows
