// The types of columns, once: what each is called, how wide it is and what its values are in C++. Everything else that
// depends on a column's type follows from this list, or does not compile.
#pragma once

#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>

#include "rowstore/bytes.h"

namespace Zorva {

class BaseRow;
template <class T>
class ArrayReference;

/// What a column holds.
enum class Type : std::uint8_t { u64, u32, u16, i64, i32, boolean, ethAddr, arrayOfU32, row };

namespace Internal {

/// One type of columns, whose values are V in C++: of arrays the view, of nested rows the generic row.
template <class V>
struct ColumnType
{
   using Value = V;

   Type type;
   len_t width;           ///< bytes in the fixed part: the value, or the slot of data that lies elsewhere
   std::string_view name; ///< in a type signature, where an array is listed with its element type
   std::string_view kind; ///< in a listing of a row's bytes
   bool hasSlot = false;
   bool isNumber = std::integral<V> && !std::same_as<V, bool>;
};

/// All of them, in the order of Type.
inline constexpr std::tuple columnTypes{
   ColumnType<std::uint64_t>{Type::u64, 8, "uint64_t", "u64"},
   ColumnType<std::uint32_t>{Type::u32, 4, "uint32_t", "u32"},
   ColumnType<std::uint16_t>{Type::u16, 2, "uint16_t", "u16"},
   ColumnType<std::int64_t>{Type::i64, 8, "int64_t", "i64"},
   ColumnType<std::int32_t>{Type::i32, 4, "int32_t", "i32"},
   ColumnType<bool>{Type::boolean, 1, "bool", "bool"},
   ColumnType<EthAddr>{Type::ethAddr, 6, "EthAddr", "mac"},
   ColumnType<ArrayReference<std::uint32_t>>{Type::arrayOfU32, 4, "uint32_t", "slot", true},
   ColumnType<BaseRow>{Type::row, 4, "row", "slot", true},
};

/// The C++ type of the values of columns of type `type`.
template <Type type>
using ValueOf =
   typename std::tuple_element_t<static_cast<std::size_t>(type), std::remove_cv_t<decltype(columnTypes)>>::Value;

/// What is known of a type beside its C++ type, for use at run time.
using TypeFacts = ColumnType<void>;

constexpr TypeFacts factsOf(Type type) noexcept
{
   constexpr auto facts = std::apply(
      [](const auto&... each) {
         return std::array{TypeFacts{each.type, each.width, each.name, each.kind, each.hasSlot, each.isNumber}...};
      },
      columnTypes);
   return facts[static_cast<std::size_t>(type)];
}

/// Whether T is the C++ type of a column without a slot.
template <class T, class... V>
consteval bool isFixed(const std::tuple<ColumnType<V>...>& types)
{
   return ((std::same_as<T, V> && !std::get<ColumnType<V>>(types).hasSlot) || ...);
}

} // namespace Internal

/// The value types of fixed-width columns.
template <class T>
concept FixedColumnType = Internal::isFixed<T>(Internal::columnTypes);

namespace Internal {

/// Calls use(value) with the value of a fixed column of type `type` that is stored at `at`. Nothing for types with a
/// slot.
template <class Use>
void withFixedValue(Type type, const unsigned char* at, Use&& use)
{
   const auto useIf = [&]<class V>(const ColumnType<V>& each) {
      if constexpr (FixedColumnType<V>)
         if (each.type == type)
            use(load<V>(at));
   };
   std::apply([&](const auto&... each) { (useIf(each), ...); }, columnTypes);
}

/// Whether `type` is the one at `index` in Type, and a fixed column as wide as its value.
template <class V>
constexpr bool isRight(const ColumnType<V>& type, std::size_t index)
{
   if constexpr (FixedColumnType<V>)
      if (type.width != sizeof(V) || !std::is_trivially_copyable_v<V>)
         return false;
   return type.type == static_cast<Type>(index);
}
static_assert(std::apply(
   [index = std::size_t{0}](const auto&... each) mutable { return (isRight(each, index++) && ...); }, columnTypes));

} // namespace Internal
} // namespace Zorva
