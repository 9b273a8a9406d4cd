// The nesting limit of operations that descend into nested rows through their types' own virtual functions, which have
// no parameter for the depth. It keeps bytes in which a row contains itself from overflowing the stack. Owns nothing;
// each thread has its own count.
#pragma once

#include <string>

#include "platform/zorva/exceptions.h"

namespace Zorva {

/// Rows nested within rows, at most.
inline constexpr unsigned maxNestingDepth = 16;

} // namespace Zorva

namespace Zorva::Internal {

/// Counts one level of nesting in the calling thread while the object lives, if there is a nested row:
///
///    const NestingLevel level(!nested.isNull());
///    return nested.toString();
class NestingLevel
{
public:
   /// Throws ZoOutOfRange "rows nested deeper than 16" for a row below maxNestingDepth levels, and counts nothing then.
   explicit NestingLevel(bool hasRow = true) : levels_(hasRow ? 1 : 0)
   {
      if (depth_ + levels_ > maxNestingDepth) [[unlikely]]
         ZoOutOfRange::throwException("rows nested deeper than " + std::to_string(maxNestingDepth));
      depth_ += levels_;
   }
   NestingLevel(const NestingLevel&) = delete;
   NestingLevel& operator=(const NestingLevel&) = delete;
   ~NestingLevel() { depth_ -= levels_; }

private:
   const unsigned levels_;

#ifdef ZORVA_STATIC_TLS
   [[gnu::tls_model("initial-exec")]]
#endif
   static inline constinit thread_local unsigned depth_ = 0;
};

} // namespace Zorva::Internal
