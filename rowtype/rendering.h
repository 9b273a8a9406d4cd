// Rows as text and as JSON, from the column table.
//
//   text   genId = 1, entryHandle = 2, valid = true, ..., dmac = "02:00:00:00:00:01", ..., member = [1,2,3]
//   JSON   {"genId":1, "entryHandle":2, "valid":true, ..., "dmac":"02:00:00:00:00:01", ..., "member":[1,2,3]}
//
// A row is inserted into a stream piece by piece: what closes the value before, the separator, the name with what
// follows it, the value; in that stream's formatting, bool and addresses by the row database's own operators. A run of
// names and numbers, its pieces joined at compile time, goes straight into the stream buffer's put area where that has
// the same effect (rowstore/putArea.h), which is checked for each run. toString() and toJson() insert into a plain
// stream, whatever the global locale. Rendering only reads the row.
#pragma once

#include <algorithm>
#include <array>
#include <numeric>
#include <ostream>
#include <string>
#include <string_view>

#include "rowstore/decimal.h"
#include "rowstore/nestingDepth.h"
#include "rowstore/putArea.h"
#include "rowtype/columnTable.h"
#include "rowtype/plainStream.h"

namespace Zorva::Internal {

enum class Form : bool { text, json };

/// The pieces in front of column I's value (I == size: behind the last one), joined.
template <std::size_t Length>
struct Label
{
   std::array<char, Length> text;
   std::array<std::size_t, 3> lengths; ///< of the pieces; 0: there is none

   constexpr std::string_view joined() const { return {text.data(), Length}; }

   /// Inserts piece by piece.
   void insert(std::ostream& os) const
   {
      std::size_t at = 0;
      for (const std::size_t length : lengths) {
         if (length > 0)
            os << joined().substr(at, length);
         at += length;
      }
   }
};

template <const auto& Table, Form form, std::size_t I>
consteval auto labelParts()
{
   constexpr bool json = form == Form::json;
   constexpr auto quote = [](std::size_t i) consteval { return Table.columns[i].type == Type::ethAddr ? "\"" : ""; };
   std::array<std::string_view, 6> parts{};
   if constexpr (I > 0)
      parts[0] = quote(I - 1);
   if constexpr (I < Table.size()) {
      parts[1] = I > 0 ? ", " : json ? "{" : "";
      parts[2] = json ? "\"" : "";
      parts[3] = Table.columns[I].name;
      parts[4] = json ? "\":" : " = ";
      parts[5] = quote(I);
   } else {
      parts[1] = json ? "}" : "";
   }
   return parts;
}

template <const auto& Table, Form form, std::size_t I>
consteval auto makeLabel()
{
   constexpr auto parts = labelParts<Table, form, I>();
   constexpr std::size_t length =
      std::transform_reduce(parts.begin(), parts.end(), std::size_t{0}, std::plus(), std::ranges::size);
   Label<length> label{{}, {parts[0].size(), parts[1].size(), length - parts[0].size() - parts[1].size()}};
   auto at = label.text.begin();
   for (const std::string_view part : parts)
      at = std::ranges::copy(part, at).out;
   return label;
}

template <const auto& Table, Form form, std::size_t I>
inline constexpr auto label = makeLabel<Table, form, I>();

/// Whether column I exists and is written as an integer.
template <const auto& Table>
consteval bool isNumber(std::size_t i)
{
   return i < Table.size() && factsOf(Table.columns[i].type).isNumber;
}

/// The column that ends the run that begins with column `first`: the next one that is no number, or size.
template <const auto& Table>
consteval std::size_t endOfRun(std::size_t first)
{
   while (isNumber<Table>(first))
      ++first;
   return first;
}

/// The number in column I, as it is inserted.
template <const auto& Table, std::size_t I>
[[gnu::always_inline]] inline auto numberIn(const unsigned char* fixed)
{
   constexpr Column column = Table.columns[I];
   const auto value = load<ValueOf<column.type>>(fixed + column.offset);
   if constexpr (std::signed_integral<decltype(value)>)
      return value;
   else
      return std::uint64_t{value};
}

/// The value of column I, which is no number.
template <const auto& Table, Form form, std::size_t I>
[[gnu::always_inline]] inline void insertValue(std::ostream& os, const BaseRow& row, const unsigned char* fixed)
{
   constexpr Column column = Table.columns[I];
   if constexpr (column.type == Type::arrayOfU32) {
      insertText(os, row.aryColumnToString<std::uint32_t>(column.offset));
   } else if constexpr (column.type == Type::row) {
      const NestingLevel level(!load<VColType>(fixed + column.offset).isEmpty());
      insertText(os, form == Form::json ? column.nested->toJson(row, column.offset)
                                        : '{' + column.nested->toString(row, column.offset) + '}');
   } else if constexpr (column.type == Type::boolean) {
      os << FMT<bool>{load<bool>(fixed + column.offset)};
   } else {
      os << load<EthAddr>(fixed + column.offset);
   }
}

/// The names and numbers of columns First to Last, with Last's name, or the closing literal, at the end.
template <const auto& Table, Form form, std::size_t First, std::size_t... I>
[[gnu::always_inline]] inline void insertRun(std::ostream& os, [[maybe_unused]] const unsigned char* fixed,
                                             std::index_sequence<I...>)
{
   constexpr std::size_t last = First + sizeof...(I);
   constexpr auto& end = label<Table, form, last>;
   constexpr std::size_t longest =
      (end.text.size() + ... + (label<Table, form, First + I>.text.size() + longestDecimal));
   if (char* at = sizeof...(I) > 0 ? roomForNumbers(os, longest) : roomForText(os, longest)) [[likely]] {
      ((at = copyText(at, label<Table, form, First + I>.joined()),
        at = putDecimal(at, numberIn<Table, First + I>(fixed))),
       ...);
      textEndIs(os, copyText(at, end.joined()));
   } else {
      ((label<Table, form, First + I>.insert(os), os << numberIn<Table, First + I>(fixed)), ...);
      end.insert(os);
   }
}

/// The columns from First on.
template <const auto& Table, Form form, std::size_t First = 0>
[[gnu::always_inline]] inline void insertColumns(std::ostream& os, const BaseRow& row, const unsigned char* fixed)
{
   constexpr std::size_t last = endOfRun<Table>(First);
   insertRun<Table, form, First>(os, fixed, std::make_index_sequence<last - First>());
   if constexpr (last < Table.size()) {
      insertValue<Table, form, last>(os, row, fixed);
      insertColumns<Table, form, last + 1>(os, row, fixed);
   }
}

/// Inserts the whole row. Throws ZoNullRow, and ZoOutOfRange when the fixed part leaves the buffer, before anything is
/// written; ZoOutOfRange for an array that does and for rows nested too deep, behind the name of the column.
template <const auto& Table, Form form>
void insertRow(std::ostream& os, const BaseRow& row)
{
   insertColumns<Table, form>(os, row, row.checkedBytes(0, Table.fixedLength));
}

/// Writes the text form of a row of Table's type into `os`, in that stream's formatting, as insertRow() does.
template <const auto& Table>
std::ostream& writeText(std::ostream& os, const BaseRow& row)
{
   if (row.isNull())
      os << nullRowText;
   else
      insertRow<Table, Form::text>(os, row);
   return os;
}

/// The text form. Throws as writeText(), and std::bad_alloc.
template <const auto& Table>
std::string rowText(const BaseRow& row)
{
   PlainStream stream;
   writeText<Table>(stream.os(), row);
   return stream.buffer().str();
}

/// The JSON form. Throws ZoNullRow for a null row, and as rowText().
template <const auto& Table>
std::string rowJson(const BaseRow& row)
{
   PlainStream stream;
   insertRow<Table, Form::json>(stream.os(), row);
   return stream.buffer().str();
}

} // namespace Zorva::Internal
