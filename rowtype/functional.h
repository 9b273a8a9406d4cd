// Function objects for the standard containers: rows by content. By key, rows need none: std::hash<Row>, ==, < and <=>
// are the key's.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <utility>

#include "rowstore/baseRow.h"

namespace Zorva {

/// Hashes a row by content: std::unordered_set<Row, ContentHash, ContentEqual>. Throws ZoNullRow for a null row.
struct ContentHash
{
   std::size_t operator()(const BaseRow& row) const { return row.rowHash(); }
};

/// Compares two rows by content. Throws ZoNullRow for a null row.
struct ContentEqual
{
   bool operator()(const BaseRow& a, const BaseRow& b) const { return a.rowEqual(b); }
};

} // namespace Zorva

/// Hashes a row of a row type by key, as == is key equality. Throws ZoNullRow for a null row.
template <std::derived_from<Zorva::BaseRow> Row>
requires std::same_as<decltype(std::declval<const Row&>().hash()), std::uint64_t>
struct std::hash<Row>
{
   std::size_t operator()(const Row& row) const { return row.hash(); }
};
