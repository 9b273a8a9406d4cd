// The column table: a row type's columns, once, in order. Offsets, the fixed length, the slot list, the type
// signature, the accessors' offsets, identity, rendering and checks all follow from it.
//
//   inline constexpr auto exampleColumns = Zorva::layOut({{"id", Zorva::Type::u32, Zorva::key},
//                                                         {"port", Zorva::Type::arrayOfU32}});
//   static_assert(exampleColumns.fixedLength == 12);
//
// Tables are constants of static storage and are named as template arguments; nothing here runs at run time but the
// signature and the slot list.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "rowstore/baseRow.h"

namespace Zorva {

/// Marks the key column of a table.
struct KeyMark
{
   bool isKey = false;
};
inline constexpr KeyMark key{true};

struct NestedType;

/// Which row type a column nests, if any. Knows whether it was given one: the comparison of a variable's address with
/// null is no constant to compilers that check for null pointers at run time.
class NestedTypeOf
{
public:
   constexpr NestedTypeOf() noexcept = default;
   constexpr NestedTypeOf(const NestedType* type) noexcept : type_(type), isGiven_(true) {}
   NestedTypeOf(std::nullptr_t) = delete;

   constexpr bool isGiven() const noexcept { return isGiven_; }
   constexpr const NestedType& operator*() const noexcept { return *type_; }
   constexpr const NestedType* operator->() const noexcept { return type_; }

private:
   const NestedType* type_ = nullptr;
   bool isGiven_ = false;
};

/// One column. `offset` is assigned by layOut.
struct Column
{
   std::string_view name;
   Type type = Type::u32;
   KeyMark mark = {};
   NestedTypeOf nested = {};
   len_t offset = 0;

   constexpr bool isKey() const noexcept { return mark.isKey; }

   /// Whether the fixed part holds a slot, and the data lies elsewhere.
   constexpr bool isVariable() const noexcept { return Internal::factsOf(type).hasSlot; }

   /// Bytes that the column takes in the fixed part.
   constexpr len_t width() const noexcept { return Internal::factsOf(type).width; }

   constexpr len_t end() const noexcept { return static_cast<len_t>(offset + width()); }
};

/// What a table knows of the row type nested in one of its columns: the type's columns, and its operations as plain
/// functions. nestedType<R> in rowtype/nestedType.h is one; tables being constants, calls through it are direct.
struct NestedType
{
   std::span<const Column> columns;
   len_t fixedLength;
   len_t (*rowType)();
   std::uint64_t (*hash)(const BaseRow& row, len_t offset);
   bool (*equal)(const BaseRow& row, len_t offset, const BaseRow& other, len_t otherOffset);
   bool (*less)(const BaseRow& row, len_t offset, const BaseRow& other, len_t otherOffset);
   std::string (*toString)(const BaseRow& row, len_t offset);
   std::string (*toJson)(const BaseRow& row, len_t offset); ///< "null" when the column holds no row
};

/// The columns of one row type, laid out.
template <std::size_t N>
struct ColumnTable
{
   std::array<Column, N> columns;
   len_t fixedLength = 0; ///< header and fixed part, in bytes

   static consteval std::size_t size() noexcept { return N; }

   /// The column `name`. Another name does not compile.
   consteval Column column(std::string_view name) const
   {
      for (const Column& column : columns)
         if (column.name == name)
            return column;
      throw "no such column";
   }

   /// The key column.
   consteval const Column& keyColumn() const
   {
      for (const Column& column : columns)
         if (column.isKey())
            return column;
      throw "the table has no key column";
   }
};

/// Lays columns out one behind the other from the end of the row header, without gaps. Two columns of one name, more
/// than one key column or a nested row without its type do not compile.
template <std::size_t N>
consteval ColumnTable<N> layOut(const Column (&columns)[N])
{
   ColumnTable<N> table{};
   len_t offset = zo_contentOffset;
   for (std::size_t i = 0; i < N; ++i) {
      if (std::ranges::count(columns, columns[i].name, &Column::name) > 1)
         throw "two columns of one name";
      if ((columns[i].type == Type::row) != columns[i].nested.isGiven())
         throw "a nested-row column, and no other, names its type";
      table.columns[i] = columns[i];
      table.columns[i].offset = offset;
      offset = table.columns[i].end();
   }
   if (std::ranges::count_if(columns, &Column::isKey) > 1)
      throw "more than one key column";
   table.fixedLength = offset;
   return table;
}

} // namespace Zorva

namespace Zorva::Internal {

/// A column's name as a template argument: get<"genId">().
template <std::size_t N>
struct ColumnName
{
   consteval ColumnName(const char (&name)[N]) { std::ranges::copy(name, characters); }
   consteval operator std::string_view() const { return {characters, N - 1}; }

   char characters[N];
};

template <std::size_t... I, class Use>
[[gnu::always_inline]] constexpr decltype(auto) withConstants(Use&& use, std::index_sequence<I...>)
{
   return use(std::integral_constant<std::size_t, I>{}...);
}

/// Calls `use` with the numbers of all columns of Table, in order, each a compile-time constant: for folds. Always
/// inlined, so that what a fold refers to stays in registers.
template <const auto& Table, class Use>
[[gnu::always_inline]] constexpr decltype(auto) withColumns(Use&& use)
{
   return withConstants(use, std::make_index_sequence<Table.size()>{});
}

/// The offsets of Table's slots, in column order. Built on first use and never destroyed: rows may outlive every static
/// object.
template <const auto& Table>
const vcdType& slotOffsets()
{
   static const vcdType& offsets = *[] {
      vcdType list;
      for (const Column& column : Table.columns)
         if (column.isVariable())
            list.push_back(column.offset);
      return new vcdType(std::move(list));
   }();
   return offsets;
}

/// Hands the pieces of the type signature to `use`: JSON text that names the columns and their types, in order.
template <std::size_t N, class Use>
constexpr void useSignature(const ColumnTable<N>& table, Use&& use)
{
   std::string_view separator = "{\"";
   for (const Column& column : table.columns) {
      for (const std::string_view piece :
           {separator, column.name, std::string_view("\":\""), factsOf(column.type).name})
         use(piece);
      separator = "\", \"";
   }
   use("\"}");
}

template <std::size_t N>
std::string typeSignature(const ColumnTable<N>& table)
{
   std::string text;
   useSignature(table, [&](std::string_view piece) { text += piece; });
   return text;
}

} // namespace Zorva::Internal

namespace Zorva {

/// The type signature's length, in characters.
template <std::size_t N>
consteval std::size_t typeSignatureLength(const ColumnTable<N>& table)
{
   std::size_t length = 0;
   Internal::useSignature(table, [&](std::string_view piece) { length += piece.size(); });
   return length;
}

} // namespace Zorva
