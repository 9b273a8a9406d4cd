// Building a row: all columns written in one pass into a new buffer, where no check can fail. Used by the value
// constructors of row types; header-only, so a caller that builds many rows may inline it.
#pragma once

#include <span>
#include <type_traits>

#include "rowtype/columnTable.h"

namespace Zorva {

/// Stands in a list of column values for a nested row, which is absent in a row that is built from values.
struct AbsentRow
{
};
inline constexpr AbsentRow absentRow;

} // namespace Zorva

namespace Zorva::Internal {

/// Whether V may initialise a column of type `type`: its value type, a vector for an array, AbsentRow for a nested row
/// (whoever stores one lays out its bytes).
template <Type type, class V>
inline constexpr bool initialises = type == Type::row          ? std::same_as<V, AbsentRow>
                                    : type == Type::arrayOfU32 ? std::same_as<V, std::vector<std::uint32_t>>
                                                               : std::same_as<V, ValueOf<type>>;

/// The room that an array value takes behind the fixed part, header included also when it is empty; 0 for others.
template <class V>
constexpr std::size_t variableRoom([[maybe_unused]] const V& value) noexcept
{
   if constexpr (initialises<Type::arrayOfU32, V>)
      return arrayHeaderLength + value.size() * sizeof(std::uint32_t);
   else
      return 0;
}

/// The room that a row of Table's type with these values takes, in bytes: the fixed part and every array. Wide, since
/// the arrays may be longer than any row.
template <const auto& Table, class... V>
constexpr std::size_t roomFor(const V&... values) noexcept
{
   return (std::size_t{Table.fixedLength} + ... + variableRoom(values));
}

/// Stores the values column by column, growing the row as they come: for values that the buffer has no room for.
template <const auto& Table, class... V>
void storeOneByOne(BaseRow& row, const V&... values)
{
   const auto storeColumn = [&]<class Value>(len_t offset, const Value& value) {
      if constexpr (!std::same_as<Value, AbsentRow>)
         row.setColumn(offset, value, Table.fixedLength);
   };
   withColumns<Table>([&](auto... i) { (storeColumn(Table.columns[i].offset, values), ...); });
}

} // namespace Zorva::Internal

namespace Zorva {

/// The buffer size for such a row: the room it takes or, when no row has that, the fixed part alone.
template <const auto& Table, class... V>
len_t rowCapacity(const V&... values) noexcept
{
   const std::size_t room = Internal::roomFor<Table>(values...);
   return room > maxRowLength ? Table.fixedLength : static_cast<len_t>(room);
}

/// Stores one value per column into `row`, whose fresh buffer of zero bytes is `buffer`, at least the fixed part, with
/// the row length already written. A buffer of rowCapacity(values...) bytes takes them in one pass; in a smaller one
/// the row grows as they come. Throws what storing an array that is too long throws; the row is to be dropped then.
/// Always inlined: a call would have every value stored in memory to pass its address.
///
///   bytes  | length | type | fixed columns and slots | first array | second array | ...
template <const auto& Table, class... V>
[[gnu::always_inline]] inline void storeColumns(BaseRow& row, std::span<unsigned char> buffer, const V&... values)
{
   static_assert(sizeof...(V) == Table.size(), "one value per column");
   if (Internal::roomFor<Table>(values...) > buffer.size()) [[unlikely]]
      return Internal::storeOneByOne<Table>(row, values...);
   unsigned char* const bytes = buffer.data();
   len_t end = Table.fixedLength; // where the next array goes
   const auto storeColumn = [&](auto i, const auto& value) {
      using Value = std::remove_cvref_t<decltype(value)>;
      constexpr Column column = Table.columns[i];
      static_assert(Internal::initialises<column.type, Value>, "a value of another type than its column's");
      if constexpr (column.type == Type::row) {
         // absent: the slot is zero
      } else if constexpr (column.type != Type::arrayOfU32) {
         Internal::store<Value>(bytes + column.offset, value);
      } else if (value.size() > maxArrayElements) {
         row.setColumn<std::uint32_t>(column.offset, value, Table.fixedLength); // refuses it
      } else if (!value.empty()) {
         const auto length = static_cast<len_t>(Internal::arrayDataLength(value.size(), sizeof(std::uint32_t)));
         Internal::storeArray(bytes + end, std::span<const std::uint32_t>(value));
         Internal::store(bytes + column.offset, VColType(end, length, true));
         end = static_cast<len_t>(end + length);
      }
   };
   Internal::withColumns<Table>([&](auto... i) { (storeColumn(i, values), ...); });
   if (end != Table.fixedLength)
      Internal::store<len_t>(bytes + Internal::rowLengthOffset, end);
}

} // namespace Zorva
