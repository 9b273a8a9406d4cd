// The embedded utility library: byte hash and debug assertions.
#include "platform/halvo/util.h"

#include <cstdio>
#include <string>

#include "platform/halvo/debug.h"

// FNV-1a, 32 bits (Fowler, Noll, Vo).
unsigned Halvo::Util::hash(const void* data, unsigned length)
{
   constexpr unsigned offsetBasis = 2166136261;
   constexpr unsigned prime = 16777619;
   const auto* const bytes = static_cast<const unsigned char*>(data);
   unsigned hash = offsetBasis;
   for (unsigned i = 0; i < length; ++i)
      hash = (hash ^ bytes[i]) * prime;
   return hash;
}

Halvo::Platform::DebugHandler* Halvo::Platform::defaultHandle()
{
   static constinit DebugHandler handler;
   return &handler;
}

void Halvo::debugAndThrowAssertException(Platform::DebugHandler* handler, int /*level*/, Platform::DebugStream& stream,
                                         const char* file, const char* function, int line)
{
   const std::string text = std::string(file) + ":" + std::to_string(line) + ": " + function + ": " + stream.str();
   if (handler == nullptr || handler->throws)
      throw AssertException(text);
   std::fprintf(stderr, "%s\n", text.c_str());
}
