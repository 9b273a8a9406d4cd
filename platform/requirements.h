// What the headers need of compiler and machine, said in one sentence where it is missing. Every header comes here
// before anything that would not compile; the inclusion behind each #error is what stops the compiler there.
#pragma once

#if !defined(__cplusplus) || __cplusplus < 202002L
#error "P4RuntimeRoutingEcmpTypes needs C++20 or later: compile with -std=c++20"
#include "a compiler for C++20"
#elif !defined(__cpp_exceptions)
#error "P4RuntimeRoutingEcmpTypes reports failures as exceptions: compile without -fno-exceptions"
#include "exceptions"
#elif __SIZEOF_POINTER__ != 8 || __SIZEOF_LONG__ != 8
#error "P4RuntimeRoutingEcmpTypes needs a 64-bit target: compile without -m32 and -mx32"
#include "a 64-bit target"
#elif __BYTE_ORDER__ != __ORDER_LITTLE_ENDIAN__
#error "P4RuntimeRoutingEcmpTypes stores numbers as they lie in memory: it needs a little-endian target"
#include "a little-endian target"
#elif !__has_include(<sys/single_threaded.h>)
#error "P4RuntimeRoutingEcmpTypes needs the GNU C library, 2.32 or later"
#include "the GNU C library"
#endif
