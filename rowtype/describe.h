// describeRow: every byte of a row, annotated, for people. One line per field: offset from the outermost
// row's header in hexadecimal, the bytes, the type, the value, the column.
//
//   +0019 | 04 00 00 00             | u32   | 4 | id (key)
//
// Reads any bytes that have a sound row length, however wrong the rest is, and says where slots or nested rows are
// wrong. The upper four bits of an array header, which mean nothing, are shown as 0.
#pragma once

#include <algorithm>
#include <iomanip>
#include <vector>

#include "platform/zorva/ethAddr.h"
#include "rowtype/columnTable.h"
#include "rowtype/plainStream.h"

namespace Zorva::Internal {

/// Builds the listing of one row. Holds a view of its bytes and owns the text.
class RowListing
{
public:
   explicit RowListing(std::span<const unsigned char> row) : row_(row) {}

   std::string build(std::span<const Column> columns)
   {
      listRow(columns, 0, row_.size());
      return plain_.buffer().str();
   }

private:
   static constexpr std::size_t bytesPerLine = 8;

   /// Bytes that a column's slot names, from the outermost row's header.
   struct ColumnData
   {
      std::size_t begin;
      std::size_t end;
      const Column* column;
   };

   // The row whose header lies at `base`, and which ends at `end`.
   void listRow(std::span<const Column> columns, std::size_t base, std::size_t end)
   {
      const std::size_t fixedEnd = std::min<std::size_t>(base + columns.back().end(), end);
      line(base + rowLengthOffset, 2, "len", load<len_t>(&row_[base]), "row length");
      line(base + rowTypeOffset, 2, "type", load<len_t>(&row_[base + rowTypeOffset]), "row type");
      std::vector<ColumnData> areas;
      for (const Column& column : columns) {
         if (base + column.end() > end) {
            dead(base + column.offset, end, "cut off");
            return;
         }
         if (column.isVariable())
            listSlot(column, base, fixedEnd, end, areas);
         withFixedValue(column.type, &row_[base + column.offset], [&]<class V>(const V& value) {
            using Shown = std::conditional_t<std::same_as<V, bool>, FMT<bool>, V>;
            line(base + column.offset, column.width(), factsOf(column.type).kind, Shown{value}, name(column));
         });
      }
      std::ranges::sort(areas, {}, &ColumnData::begin);
      std::size_t at = fixedEnd;
      for (const ColumnData& area : areas) {
         dead(at, area.begin, "dead");
         if (area.begin < at) {
            text_ << "      the data of " << area.column->name << " overlaps what stands before it\n";
            dead(at, area.end, "overlapping");
         } else if (area.column->type == Type::arrayOfU32)
            listArray(area);
         else
            listNested(area);
         at = std::max(at, area.end);
      }
      dead(at, end, "dead");
   }

   void listSlot(const Column& column, std::size_t base, std::size_t fixedEnd, std::size_t end,
                 std::vector<ColumnData>& areas)
   {
      const auto slot = load<VColType>(&row_[base + column.offset]);
      const Area area = slot.area();
      std::string value = "empty";
      if (!slot.isEmpty()) {
         value = "offset " + std::to_string(slot.dataOffset()) + " length " + std::to_string(slot.dataLength());
         if (area.faultIn(fixedEnd - base, end - base) != AreaFault::none)
            value += ", outside the variable data";
         else
            areas.push_back({base + area.begin, base + area.end, &column});
      }
      if (slot.isArray())
         value += ", array";
      line(base + column.offset, 4, "slot", value, name(column));
   }

   void listArray(const ColumnData& area)
   {
      const ArrayReference<std::uint32_t> array(&row_[area.begin], static_cast<len_t>(area.end - area.begin));
      const std::string_view columnName = area.column->name;
      if (area.end - area.begin < arrayHeaderLength) {
         dead(area.begin, area.end, "no array header");
         return;
      }
      const unsigned count = load<len_t>(&row_[area.begin]) & ArrayReference<std::uint32_t>::countMask;
      const unsigned char header[] = {static_cast<unsigned char>(count & 0xff), static_cast<unsigned char>(count >> 8)};
      line(area.begin, header, "count", count, columnName);
      std::size_t at = area.begin + arrayHeaderLength;
      for (std::size_t i = 0; i < array.size(); ++i, at += 4)
         line(at, 4, "u32", array[i], std::string(columnName) + '[' + std::to_string(i) + ']');
      dead(at, area.end, "no element");
   }

   void listNested(const ColumnData& area)
   {
      const NestedType& type = *area.column->nested;
      const std::size_t room = area.end - area.begin;
      const std::size_t length = room < zo_contentOffset ? 0 : load<len_t>(&row_[area.begin]);
      if (length < type.fixedLength || length > room || depth_ == maxNestingDepth) {
         dead(area.begin, area.end, "no row");
         return;
      }
      text_ << "      row of " << area.column->name << '\n';
      ++depth_;
      listRow(type.columns, area.begin, area.begin + length);
      --depth_;
      dead(area.begin + length, area.end, "dead");
   }

   static std::string name(const Column& column) { return std::string(column.name) + (column.isKey() ? " (key)" : ""); }

   /// Bytes [begin, end) that no column has, in lines of bytesPerLine.
   void dead(std::size_t begin, std::size_t end, std::string_view what)
   {
      for (; begin < end; begin += bytesPerLine)
         line(begin, std::min(bytesPerLine, end - begin), "", "", what);
   }

   template <class Value>
   void line(std::size_t offset, std::size_t width, std::string_view type, const Value& value, std::string_view what)
   {
      line(offset, row_.subspan(offset, width), type, value, what);
   }

   template <class Value>
   void line(std::size_t offset, std::span<const unsigned char> bytes, std::string_view type, const Value& value,
             std::string_view what)
   {
      text_ << '+' << std::hex << std::setfill('0') << std::setw(4) << offset << " |";
      for (const unsigned byte : bytes)
         text_ << ' ' << std::setw(2) << byte;
      text_ << std::dec << std::setfill(' ') << std::setw(static_cast<int>(3 * (bytesPerLine - bytes.size()))) << ""
            << std::left << " | " << std::setw(5) << type << std::right << " | " << value << " | " << what << '\n';
   }

   std::span<const unsigned char> row_;
   PlainStream plain_;
   std::ostream& text_ = plain_.os();
   unsigned depth_ = 0;
};

} // namespace Zorva::Internal

namespace Zorva {

/// The annotated bytes of a row of type Row, one line per field, dead bytes included. Throws ZoNullRow,
/// and ZoOutOfRange when the row length does not fit the buffer.
template <class Row>
std::string describeRow(const BaseRow& row)
{
   return Internal::RowListing(row.bytes()).build(Row::columns_.columns);
}

} // namespace Zorva
