// The nesting limit of operations that go down into nested rows through their types' own virtual functions, which
// cannot hand a depth on. Bytes that name a row within itself end there in place of the stack. Owns nothing; each
// thread counts for itself.
#pragma once

#include <string>

#include "platform/zorva/exceptions.h"

namespace Zorva {

/// Rows nested within rows, at most.
inline constexpr unsigned maxNestingDepth = 16;

} // namespace Zorva

namespace Zorva::Internal {

/// One level further down in the calling thread, for as long as the object lives, where there is a nested row:
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
