// Everything that the library P4RuntimeRoutingEcmpTypes offers: its row types, their KEY operations and generators.
#pragma once

#include <tuple>

#include "routing_types/EcmpMemberListRow.h"       // IWYU pragma: export
#include "routing_types/EcmpMemberListRowRowOps.h" // IWYU pragma: export
#include "routing_types/NexthopInfoRow.h"          // IWYU pragma: export
#include "routing_types/NexthopInfoRowRowOps.h"    // IWYU pragma: export

namespace P4RuntimeRouting {

/// The library's row types, in the order of their registration.
using RowTypes = std::tuple<NexthopInfoRow, EcmpMemberListRow>;

} // namespace P4RuntimeRouting
