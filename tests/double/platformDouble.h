// A second platform, scripted: it stands in for the embedded core and defines what the routing types need of one,
// nothing more. One record for the process; tests set it up and read it.
#pragma once

#include "rowstore/baseRow.h"

struct PlatformDouble
{
   std::vector<Zorva::BaseRow> answers; ///< what zoClass returns, one call after the other; the last one stays
   std::size_t asked = 0;               ///< calls of zoClass
   std::vector<std::string> calls;      ///< all calls of the registry, hashed bytes and debug assertions, in order

   static PlatformDouble& get();
};
