// Reads what `ip -j` prints: an array of objects, with typed access to their fields.
//
// Two things are special about that JSON. Nothing at all means an empty array. And an object may hold a key twice:
// older versions of ip print an encapsulation flat into its next hop, so that a next hop with a tunnel key has two
// "id". The first one keeps its name; the second is filed under repeated(name).
//
// Dumps are long and their objects short: one object at a time is in memory.
#pragma once

#include <algorithm>
#include <concepts>
#include <functional>
#include <iosfwd>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "nexthop_rows/badInput.h"

namespace NexthopRows {

using Json = nlohmann::ordered_json; ///< its objects are lists of keys and values

/// The name under which the second value of a key is found.
inline std::string repeated(const std::string& name) { return name + " (repeated)"; }

using UseElement = std::function<void(const Json&)>;

/// Calls use(element) for every element of the array that the stream holds, as soon as it is read. Throws BadInput,
/// naming `source`, when the stream cannot be read, or holds more or less than a JSON array; the elements before that
/// place are used by then.
void forEachElement(const std::string& source, std::istream& in, const UseElement& use);

/// Throws BadObject: the field `name` with this value is not `what`.
[[noreturn]] void throwBadField(const std::string& name, const Json& value, const std::string& what);

/// The field `name` of `object` if there is one: an unsigned number, a string, a list of strings, or (as Json) an
/// object. Throws BadObject when it is something else or does not fit T.
template <class T>
std::optional<T> field(const Json& object, const std::string& name)
{
   const auto at = object.find(name);
   if (at == object.end())
      return {};
   if constexpr (std::unsigned_integral<T>) {
      if (!at->is_number_unsigned() || at->get<std::uint64_t>() > std::numeric_limits<T>::max())
         throwBadField(name, *at, "an unsigned number of " + std::to_string(8 * sizeof(T)) + " bits");
   } else if constexpr (std::same_as<T, std::string>) {
      if (!at->is_string())
         throwBadField(name, *at, "a string");
   } else if constexpr (std::same_as<T, std::vector<std::string>>) {
      if (!at->is_array() || !std::ranges::all_of(*at, [](const Json& element) { return element.is_string(); }))
         throwBadField(name, *at, "a list of strings");
   } else {
      static_assert(std::same_as<T, Json>);
      if (!at->is_object())
         throwBadField(name, *at, "an object");
   }
   return at->get<T>();
}

/// The same for a field that must be there.
template <class T>
T requiredField(const Json& object, const std::string& name)
{
   auto value = field<T>(object, name);
   if (!value)
      throw BadObject("no " + name);
   return *std::move(value);
}

} // namespace NexthopRows
