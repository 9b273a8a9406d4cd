// Debug assertions of the base utility library: a text, its source location, and a handler that decides what
// happens. Only declared here; the utility library defines the functions. Any thread may raise one.
#pragma once

#include <sstream>
#include <stdexcept>

#include "platform/export.h"

namespace Halvo {

/// What a failed debug assertion is reported as, unless the handler is configured to return.
class ZORVA_EXPORT AssertException : public std::runtime_error
{
public:
   using std::runtime_error::runtime_error;
};

namespace Platform {

/// Decides what a failed debug assertion does. Owned by the utility library; never deleted by its users.
struct ZORVA_EXPORT DebugHandler
{
   bool throws = true; ///< false: the failure is only reported, and debugAndThrowAssertException returns
};

/// The stream in which the text of a debug assertion is built. Belongs to the caller.
class ZORVA_EXPORT DebugStream : public std::ostringstream
{
public:
   using std::ostringstream::ostringstream;
};

/// The process's default handler. Never null with the embedded core; stays valid for the life of the process.
ZORVA_EXPORT DebugHandler* defaultHandle();

} // namespace Platform

/// Reports a failed debug assertion: text in `stream`, raised at `file`, `function`, `line`. Throws the utility
/// library's assertion exception; a handler may be configured to return instead, so callers return right after it
/// without changing anything. Takes ownership of nothing. `level` is 0 for every assertion of this system.
ZORVA_EXPORT void debugAndThrowAssertException(Platform::DebugHandler* handler, int level,
                                               Platform::DebugStream& stream, const char* file, const char* function,
                                               int line);

} // namespace Halvo

/// The default debug handler, under the name that the utility library's users know.
#define HALVO_DEFAULT_HANDLE (::Halvo::Platform::defaultHandle())
