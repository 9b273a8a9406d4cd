// The base utility library's out-of-memory exception.
#pragma once

#include <stdexcept>
#include <string>

#include "platform/export.h"

namespace Halvo {

/// A heap block could not be allocated. The message names the allocator and the requested length in bytes.
class ZORVA_EXPORT MemoryResourceException : public std::runtime_error
{
public:
   using std::runtime_error::runtime_error;

   /// Throws this exception with `message`. Defined by the utility library.
   [[noreturn]] static void throwException(const std::string& message);
};

} // namespace Halvo
