// The library's load step: the two generators are constructed, and so registered with the row database, in this order.
// Nothing else happens when the library is loaded; row type ids are fetched on first use.
//
// Below them stand the instances of BaseRow's per-type members that other libraries may rely on finding here.
#include "routing_types/P4RuntimeRoutingEcmpTypes.h"

#define ZORVA_ROW P4RuntimeRouting::NexthopInfoRow
#include "rowtype/loadRowType.inc"
#define ZORVA_ROW P4RuntimeRouting::EcmpMemberListRow
#include "rowtype/loadRowType.inc"

#define ZORVA_INSTANCE template
#include "routing_types/baseRowInstances.inc"
