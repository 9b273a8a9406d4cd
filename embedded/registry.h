// The embedded core's metadata registry: row type names, their generators and ids.
//
// It is ready before any library's static initialisation and never destroyed. Any thread may call any operation at
// any time. Generators belong to the libraries that install them.
#pragma once

#include <string>
#include <vector>

#include "platform/export.h"
#include "platform/zorva/rowOps.h"
#include "platform/zorva/zorvaDB.h"

namespace Zorva::Embedded {

/// One installed generator, as a tool or a test sees it.
struct Registration
{
   std::string rowTypeName;
   RowOpsGenerator* generator; ///< the one installed last under the name
   unsigned short rowType;     ///< 0 until the type's metadata has been asked for
};

/// Everything installed, in the order in which the names first came.
ZORVA_EXPORT std::vector<Registration> registrations();

/// The generator of the row type `rowTypeName`, null when none is installed.
ZORVA_EXPORT RowOpsGenerator* rowOpsGenerator(const std::string& rowTypeName);

} // namespace Zorva::Embedded
