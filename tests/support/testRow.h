// TestRow, the row type with every kind of column, and the names that all suites use.
#pragma once

#include "examples/portRow.h"

namespace Test {

using TestRow = Examples::PortRow;
using P4RuntimeRouting::EcmpMemberListRow, P4RuntimeRouting::NexthopInfoRow;
using Zorva::BaseRow, Zorva::EthAddr, Zorva::len_t, Zorva::Type;

} // namespace Test
