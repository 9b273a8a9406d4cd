// Construction statistics of row objects, one record per thread.
#pragma once

#include <cstdint>

namespace Zorva {

/// How many row objects a thread has constructed and assigned, by kind. Nothing a row does depends on them.
struct BaseRowCounters
{
   std::uint64_t defaultCtor = 0; ///< null rows
   std::uint64_t lengthCtor = 0;  ///< rows over a new buffer, clones included
   std::uint64_t copyCtor = 0;
   std::uint64_t moveCtor = 0;
   std::uint64_t copyAssign = 0; ///< self-assignment excepted
   std::uint64_t moveAssign = 0; ///< self-assignment excepted
};

} // namespace Zorva
