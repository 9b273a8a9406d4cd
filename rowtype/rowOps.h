// Making the operations object of a row type's only index.
#pragma once

#include <memory>

#include "platform/zorva/rowOps.h"

namespace Zorva::Internal {

/// The number of the KEY index, the only one of a row type.
inline constexpr unsigned char keyIndex = 0;

/// A new operations object of class Ops for index keyIndex, an empty pointer for any other. The object and its count
/// are two allocations, so the object's memory goes with its last owner even while weak pointers remain.
template <class Ops>
std::shared_ptr<RowOpsBase> makeRowOps(unsigned char index)
{
   if (index != keyIndex)
      return {};
   return std::shared_ptr<RowOpsBase>(new Ops);
}

} // namespace Zorva::Internal
