// The nesting limit of operations that go down into nested rows through their types' own virtual functions, which
// cannot hand a depth on. Bytes that name a row within itself end there in place of the stack. Owns nothing; each
// thread counts for itself.
#pragma once

#include <string>

#include "rowtype/columnTable.h"

namespace Zorva::Internal {

/// One level further down in the calling thread, for as long as the object lives:
///
///    const NestingLevel level;
///    return nested.toString();
class NestingLevel
{
public:
   /// Throws ZoOutOfRange "rows nested deeper than 16" below maxNestingDepth levels, and counts nothing then.
   NestingLevel()
   {
      if (depth_ == maxNestingDepth) [[unlikely]]
         ZoOutOfRange::throwException("rows nested deeper than " + std::to_string(maxNestingDepth));
      ++depth_;
   }
   NestingLevel(const NestingLevel&) = delete;
   NestingLevel& operator=(const NestingLevel&) = delete;
   ~NestingLevel() { --depth_; }

private:
#ifdef ZORVA_STATIC_TLS
   [[gnu::tls_model("initial-exec")]]
#endif
   static inline constinit thread_local unsigned depth_ = 0;
};

} // namespace Zorva::Internal
