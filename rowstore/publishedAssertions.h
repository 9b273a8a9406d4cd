// Assertions: how they are reported, and the files, lines and signatures under which they are published. Users' tools
// match on these. They are not lines of the files here and stay as they are when the code moves.
#pragma once

#include <string>

#include "platform/halvo/debug.h"

/// The C library's assertion failure, in the form that also agrees with `<cassert>`.
extern "C" void __assert_fail(const char*, const char*, unsigned, const char*) noexcept __attribute__((__noreturn__));

namespace Zorva::Internal {

/// Where an assertion is reported.
struct PublishedLocation
{
   unsigned line;
   const char* function;
};

inline constexpr const char* assertionFile = "baseRow";

inline constexpr PublishedLocation clearLocation{327, "clear"};
inline constexpr PublishedLocation updateVCTLocation{427, "updateVCT"};
inline constexpr PublishedLocation makeFreeSpaceLocation{
   848, "Zorva::len_t Zorva::BaseRow::makeFreeSpace(Zorva::VColType&, Zorva::len_t, Zorva::len_t)"};
inline constexpr PublishedLocation arraySetColumnLocation{
   1535, "void Zorva::BaseRow::setColumn(Zorva::len_t, const std::vector<_Ch_type>&, Zorva::len_t) [with T = unsigned "
         "int; Zorva::len_t = short unsigned int]"};

/// Reports a broken contract of the calling code through the C library and stops the process, in every build type.
[[noreturn]] inline void contractViolated(const char* assertion, const PublishedLocation& location) noexcept
{
   __assert_fail(assertion, assertionFile, location.line, location.function);
}

/// Raises a debug assertion with the default handler; returns where the handler does. A failed allocation is
/// thrown instead of cutting the text short.
[[gnu::noinline]] inline void raiseDebugAssertion(const std::string& text, const PublishedLocation& location)
{
   Halvo::Platform::DebugStream stream;
   stream.exceptions(std::ios_base::badbit);
   stream << text;
   Halvo::debugAndThrowAssertException(HALVO_DEFAULT_HANDLE, 0, stream, assertionFile, location.function,
                                       static_cast<int>(location.line));
}

} // namespace Zorva::Internal
