// Symbol visibility. Everything is compiled with -fvisibility=hidden; what other libraries must see carries this mark.
#pragma once

#include "platform/requirements.h"

#define ZORVA_EXPORT __attribute__((visibility("default")))

// What is inline and exported all the same. The library's own source files, which define ZORVA_KEEPS_INLINE, keep it
// even where they have no use for it.
#ifdef ZORVA_KEEPS_INLINE
#define ZORVA_EXPORT_INLINE ZORVA_EXPORT __attribute__((used))
#else
#define ZORVA_EXPORT_INLINE ZORVA_EXPORT
#endif
