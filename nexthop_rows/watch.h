// Follows the running kernel: keeps tables of its rows and prints every change to them.
#pragma once

#include <ostream>

#include "nexthop_rows/importer.h"
#include "nexthop_rows/liveKernel.h"

namespace NexthopRows {

/// Files the kernel's rows and prints them to `out` as inserted; then files and prints every change, at once and a line
/// each, as text or as JSON (changeText, changeJson), until SIGINT, SIGTERM or SIGHUP, or until `out` fails. A row
/// keeps the genId of the import that inserted or last changed it. Notes go to `notes`, those that the import before
/// gave too excepted. Returns the tables. Throws BadInput when the first import fails, or three later ones in a row, or
/// when the monitor, the `ip` that tells of changes, ends.
///
/// Once in a process: the signals stay caught, SIGPIPE ignored. A signal that is not seen within two seconds, as while
/// nobody takes the output, ends the process by SIGALRM.
Tables watchKernel(const LiveKernel& kernel, bool isJson, std::ostream& out, std::ostream& notes);

} // namespace NexthopRows
