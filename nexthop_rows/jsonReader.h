// Reads what `ip -j` prints: an array of objects, with typed access to their fields.
//
// Two things are special about that JSON. Nothing at all means an empty array. And an object may hold a key twice:
// older versions of ip print an encapsulation flat into its next hop, so that a next hop with a tunnel key has two
// "id". The first one is found by its name alone, the others by their place among those of the name.
//
// Dumps are long and their objects short, so one object at a time is in memory. It lies in two runs, of values and of
// the bytes of all keys and strings, which the next object reuses.
#pragma once

#include <algorithm>
#include <concepts>
#include <functional>
#include <iosfwd>
#include <limits>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "nexthop_rows/badInput.h"

namespace NexthopRows {

enum class JsonType : std::uint8_t { null, boolean, negative, number, fraction, string, array, object };

/// The memory of one element. A value is followed by the values within it.
struct JsonElement
{
   struct Value
   {
      JsonType type = JsonType::null;
      std::size_t keyAt = 0; ///< in `text`; the key under which an object holds it
      std::size_t keyLength = 0;
      std::size_t values = 1;   ///< that it takes, itself and those within it
      std::uint64_t number = 0; ///< or the bytes of another kind of number, or where the string begins in `text`
      std::size_t length = 0;   ///< of the string
   };

   std::vector<Value> values;
   std::string text;
};

/// A value within an element. What it returns lies in the element, too, and is gone with it.
class Json
{
public:
   /// The value at the place in `element.values`.
   explicit Json(const JsonElement& element, std::size_t at = 0) : element_(&element), at_(at) {}

   JsonType type() const { return value().type; }
   bool isObject() const { return type() == JsonType::object; }
   bool isArray() const { return type() == JsonType::array; }
   bool isString() const { return type() == JsonType::string; }
   bool isEmpty() const { return value().values == 1; } ///< of an object or array

   std::uint64_t number() const { return value().number; }
   std::string_view string() const { return std::string_view(element_->text).substr(value().number, value().length); }

   /// The values within an object or array: calls use(key, value) for each, with an empty key in arrays.
   template <class Use>
   void forEach(Use use) const
   {
      const std::size_t end = at_ + value().values;
      for (std::size_t at = at_ + 1; at != end; at += element_->values[at].values)
         use(keyOf(at), Json(*element_, at));
   }

   /// The value that an object holds under the key, or the second one of them, and so on. None when there is none, or
   /// this is no object.
   std::optional<Json> find(std::string_view key, std::size_t which = 0) const
   {
      if (!isObject())
         return {};
      const std::size_t end = at_ + value().values;
      for (std::size_t at = at_ + 1; at != end; at += element_->values[at].values)
         if (keyOf(at) == key && which-- == 0)
            return Json(*element_, at);
      return {};
   }

   bool contains(std::string_view key) const { return find(key).has_value(); }

   /// A copy for messages.
   nlohmann::json copy() const;

private:
   const JsonElement::Value& value() const { return element_->values[at_]; }

   std::string_view keyOf(std::size_t at) const
   {
      return std::string_view(element_->text).substr(element_->values[at].keyAt, element_->values[at].keyLength);
   }

   const JsonElement* element_;
   std::size_t at_;
};

using UseElement = std::function<void(const Json&)>;

/// Calls use(element) for every element of the array that the stream holds, as soon as it is read. Throws BadInput,
/// naming `source`, when the stream cannot be read, or holds more or less than a JSON array; the elements before that
/// place are used by then.
void forEachElement(const std::string& source, std::istream& in, const UseElement& use);

/// Throws BadObject: the field `name` with this value is not `what`.
[[noreturn]] void throwBadField(const std::string& name, const nlohmann::json& value, const std::string& what);
[[noreturn]] void throwBadField(const std::string& name, const Json& value, const std::string& what);

using Strings = std::vector<std::string_view>;

/// The field `name` of `object` (or the second one, and so on) if there is one: an unsigned number, a string, a list of
/// strings, or (as Json) an object. Throws BadObject when it is something else or does not fit T.
template <class T>
std::optional<T> field(const Json& object, const char* name, std::size_t which = 0)
{
   const auto at = object.find(name, which);
   if (!at)
      return {};
   if constexpr (std::unsigned_integral<T>) {
      if (at->type() != JsonType::number || at->number() > std::numeric_limits<T>::max())
         throwBadField(name, *at, "an unsigned number of " + std::to_string(8 * sizeof(T)) + " bits");
      return static_cast<T>(at->number());
   } else if constexpr (std::same_as<T, std::string_view>) {
      if (!at->isString())
         throwBadField(name, *at, "a string");
      return at->string();
   } else if constexpr (std::same_as<T, Strings>) {
      Strings strings;
      bool areStrings = at->isArray();
      if (areStrings)
         at->forEach([&](std::string_view, const Json& element) {
            areStrings = areStrings && element.isString();
            strings.push_back(areStrings ? element.string() : "");
         });
      if (!areStrings)
         throwBadField(name, *at, "a list of strings");
      return strings;
   } else {
      static_assert(std::same_as<T, Json>);
      if (!at->isObject())
         throwBadField(name, *at, "an object");
      return at;
   }
}

/// The same for a field that must be there.
template <class T>
T requiredField(const Json& object, const char* name)
{
   auto value = field<T>(object, name);
   if (!value)
      throw BadObject(std::string("no ") + name);
   return *std::move(value);
}

} // namespace NexthopRows
