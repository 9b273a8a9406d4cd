// What the header of a row type includes: the column table, the base row, and what rowtype/rowMembers.inc names. The
// source file of the type includes rowtype/rowTypeDefined.h besides.
#pragma once

#include <atomic>
#include <compare>
#include <concepts>
#include <cstdint>
#include <iosfwd>
#include <span>
#include <string>
#include <vector>

#include "platform/export.h"
#include "platform/zorva/rowOps.h"
#include "rowtype/columnTable.h" // IWYU pragma: export
#include "rowtype/functional.h"  // IWYU pragma: export
#include "rowtype/nestedType.h"  // IWYU pragma: export

/// The name of a row type's companion: ZORVA_JOIN(NexthopInfoRow, RowOps_KEY) is NexthopInfoRowRowOps_KEY.
#define ZORVA_JOIN(a, b) ZORVA_JOIN_EXPANDED(a, b)
#define ZORVA_JOIN_EXPANDED(a, b) a##b

namespace Zorva::Internal {

/// A value that converts to its own type only, so that an accessor neither widens nor narrows its column's.
template <class T>
struct Exactly
{
   T value;

   template <std::same_as<T> U>
   [[gnu::always_inline]] operator U() const noexcept
   {
      return value;
   }
};

} // namespace Zorva::Internal
