// std::formatter for row types, where the standard library has <format>: std::format("{}", row) is the row's text form,
// with the options of a string: std::format("{:>200}", row).
#pragma once

#include <version>

// libc++ 16 has it with -fexperimental-library, libc++ 17 always; neither says so by the macro.
#if defined(__cpp_lib_format) ||                                                                                       \
   (defined(_LIBCPP_VERSION) && _LIBCPP_VERSION >= 160000 && !defined(_LIBCPP_HAS_NO_INCOMPLETE_FORMAT))

#include <concepts>
#include <format>
#include <string>

#include "rowstore/baseRow.h"

/// The text form of a row as toString() gives it, whatever the locale; a generic row's says its length and type.
/// Throws as toString().
template <std::derived_from<Zorva::BaseRow> Row>
struct std::formatter<Row, char> : std::formatter<std::string, char>
{
   template <class Context>
   auto format(const Row& row, Context& context) const
   {
      return std::formatter<std::string, char>::format(row.toString(), context);
   }
};

#endif
