// Byte hashing of the base utility library.
#pragma once

#include "platform/export.h"

namespace Halvo {

class ZORVA_EXPORT Util
{
public:
   /// 32-bit hash of the `length` bytes at `data`: deterministic within one process, reads nothing else, keeps no
   /// state, any thread. Defined by the utility library.
   static unsigned hash(const void* data, unsigned length);
};

} // namespace Halvo
