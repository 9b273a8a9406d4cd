// The row database's metadata registry, as far as row types need it.
#pragma once

#include <string>

#include "platform/export.h"

namespace Zorva {

class BaseRow;

class ZORVA_EXPORT ZorvaDB
{
public:
   /// The class row of the row type with the full name `typeName`, or a null row when the registry has none. The
   /// first column of a class row (at offset 4 from its header) is a 32-bit value whose low 16 bits are the row type
   /// id. Any thread. Defined by the row database core.
   static BaseRow zoClass(const std::string& typeName);

   /// Makes the registry load the type's metadata, so that a following zoClass can find it. Any thread. Defined by
   /// the row database core.
   static void loadMetadata(const std::string& typeName);
};

} // namespace Zorva
