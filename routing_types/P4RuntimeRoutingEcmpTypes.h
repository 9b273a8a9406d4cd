// Everything that the library P4RuntimeRoutingEcmpTypes offers: both row types, their KEY operations and generators.
#pragma once

#include "routing_types/EcmpMemberListRow.h"       // IWYU pragma: export
#include "routing_types/EcmpMemberListRowRowOps.h" // IWYU pragma: export
#include "routing_types/NexthopInfoRow.h"          // IWYU pragma: export
#include "routing_types/NexthopInfoRowRowOps.h"    // IWYU pragma: export
