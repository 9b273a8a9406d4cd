// verifyRow: whether bytes from outside (a file, a socket, a core dump) are a row of a type, and if not, why and where.
//
// Only reads the bytes, in time linear in their number. What means nothing is not looked at: the offset and array bit
// of an empty slot, the upper four bits of an array header, bytes of the variable data area that no slot names.
// adoptRow then makes a row of them: type ids are assigned per process, so those in foreign bytes say nothing, and the
// caller names the type.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "rowtype/columnTable.h"

namespace Zorva {

/// What may be wrong with a row's bytes, in the order in which it is looked for.
enum class RowFault : std::uint8_t {
   none,
   noHeader,          ///< fewer than the 4 bytes of a header
   tooLong,           ///< more than 65535 bytes
   lengthBelowFixed,  ///< the row length is shorter than the type's fixed part
   lengthBeyondBytes, ///< the row length says more bytes than there are
   bytesBeyondLength, ///< there are more bytes than the row length says
   otherType,         ///< the type id is not the one asked for
   badBool,           ///< a bool is neither 0 nor 1
   slotBeforeData,    ///< a slot names bytes of the header or the fixed part
   slotBeyondRow,     ///< a slot names bytes behind the row
   slotsOverlap,      ///< two slots name the same byte
   notArray,          ///< a slot with data of an array column lacks the array bit
   noArrayHeader,     ///< array data of less than 2 bytes
   countMismatch,     ///< an array's count does not say what its slot's length says
   nestedBeyondSlot,  ///< a nested row does not fit the bytes that its slot names
   nestedTooDeep,     ///< nested rows within nested rows, 16 deep
};

/// A fault in words.
constexpr std::string_view text(RowFault fault) noexcept
{
   switch (fault) {
   case RowFault::none: return "ok";
   case RowFault::noHeader: return "no room for a row header";
   case RowFault::tooLong: return "more than 65535 bytes";
   case RowFault::lengthBelowFixed: return "row length shorter than the fixed part";
   case RowFault::lengthBeyondBytes: return "row length beyond the bytes";
   case RowFault::bytesBeyondLength: return "bytes beyond the row length";
   case RowFault::otherType: return "another row type";
   case RowFault::badBool: return "bool neither 0 nor 1";
   case RowFault::slotBeforeData: return "slot names bytes before the variable data";
   case RowFault::slotBeyondRow: return "slot names bytes behind the row";
   case RowFault::slotsOverlap: return "slots overlap";
   case RowFault::notArray: return "slot of an array without the array bit";
   case RowFault::noArrayHeader: return "array data without a header";
   case RowFault::countMismatch: return "array count differs from its slot's length";
   case RowFault::nestedBeyondSlot: return "nested row beyond its slot";
   case RowFault::nestedTooDeep: return "rows nested too deep";
   }
   return "unknown";
}

/// The first fault found and the offset of the field it was found in, from the outermost row's header.
struct RowCheck
{
   RowFault fault = RowFault::none;
   std::size_t offset = 0;

   constexpr bool ok() const noexcept { return fault == RowFault::none; }

   friend constexpr bool operator==(const RowCheck&, const RowCheck&) noexcept = default;
};

/// Rows nested within rows, at most.
inline constexpr unsigned maxNestingDepth = 16;

/// Checks the row whose header lies at `base` in `all` and which has `available` bytes, against its type's columns.
inline RowCheck verifyColumns(std::span<const Column> columns, std::span<const unsigned char> all, std::size_t base,
                              std::size_t available, unsigned depth = 0)
{
   if (depth > maxNestingDepth)
      return {RowFault::nestedTooDeep, base};
   if (available < zo_contentOffset)
      return {depth == 0 ? RowFault::noHeader : RowFault::nestedBeyondSlot, base};
   const std::size_t fixedLength = columns.back().end();
   const std::size_t length = load<len_t>(&all[base + rowLengthOffset]);
   if (length < fixedLength)
      return {RowFault::lengthBelowFixed, base};
   if (length > available)
      return {depth == 0 ? RowFault::lengthBeyondBytes : RowFault::nestedBeyondSlot, base};

   for (const Column& column : columns)
      if (column.type == Type::boolean && all[base + column.offset] > 1)
         return {RowFault::badBool, base + column.offset};

   const auto slotOf = [&](const Column& column) -> const VColType& {
      return *reinterpret_cast<const VColType*>(&all[base + column.offset]);
   };
   for (const Column& column : columns) {
      if (!column.isVariable() || slotOf(column).isEmpty())
         continue;
      const std::size_t at = base + column.offset;
      const VColType& slot = slotOf(column);
      const std::size_t begin = slot.dataOffset();
      const std::size_t end = begin + slot.dataLength();
      if (begin < fixedLength)
         return {RowFault::slotBeforeData, at};
      if (end > length)
         return {RowFault::slotBeyondRow, at};
      for (const Column& earlier : columns) {
         if (&earlier == &column)
            break;
         if (!earlier.isVariable() || slotOf(earlier).isEmpty())
            continue;
         const std::size_t earlierBegin = slotOf(earlier).dataOffset();
         if (begin < earlierBegin + slotOf(earlier).dataLength() && earlierBegin < end)
            return {RowFault::slotsOverlap, at};
      }
      if (column.type == Type::row) {
         const RowCheck nested =
            verifyColumns(column.nested->columns, all, base + begin, slot.dataLength(), depth + 1);
         if (!nested.ok())
            return nested;
         continue;
      }
      if (!slot.isArray())
         return {RowFault::notArray, at};
      if (slot.dataLength() < arrayHeaderLength)
         return {RowFault::noArrayHeader, at};
      const std::size_t count = load<len_t>(&all[base + begin]) & ArrayReference<std::uint32_t>::countMask;
      if (arrayHeaderLength + count * sizeof(std::uint32_t) != slot.dataLength())
         return {RowFault::countMismatch, base + begin};
   }
   return {};
}

/// Whether `bytes` are exactly one row of the type Row, fit for every operation; with `rowType`, also whether it
/// carries that id. Throws nothing.
template <class Row>
RowCheck verifyRow(std::span<const unsigned char> bytes, std::optional<len_t> rowType = {})
{
   if (bytes.size() > maxRowLength)
      return {RowFault::tooLong, 0};
   const RowCheck check = verifyColumns(Row::columns_.columns, bytes, 0, bytes.size());
   if (!check.ok())
      return check;
   if (load<len_t>(bytes.data() + rowLengthOffset) < bytes.size())
      return {RowFault::bytesBeyondLength, rowLengthOffset};
   if (rowType && load<len_t>(bytes.data() + rowTypeOffset) != *rowType)
      return {RowFault::otherType, rowTypeOffset};
   return {};
}

/// Gives the rows nested in a row that nobody else holds, whose columns are `columns`, this process's type ids.
inline void adoptNestedRows(const BaseRow& row, std::span<const Column> columns)
{
   for (const Column& column : columns) {
      if (column.type != Type::row)
         continue;
      BaseRow nested;
      row.getColumnStruct<BaseRow>(column.offset, nested);
      if (nested.isNull())
         continue;
      nested.rowTypeIs(column.nested->rowType());
      adoptNestedRows(nested, column.nested->columns);
   }
}

/// A row of type Row over a copy of `bytes`, with this process's type ids. Throws ZoBadCast, naming fault and offset,
/// when verifyRow finds one; ZoNullRow when the registry does not know a type; as BaseRow::copyOf.
template <class Row>
Row adoptRow(std::span<const unsigned char> bytes)
{
   const RowCheck check = verifyRow<Row>(bytes);
   if (!check.ok())
      ZoBadCast::throwException("bytes are no " + Row::rowTypeName() + ": " + std::string(text(check.fault)) +
                                " at offset " + std::to_string(check.offset));
   BaseRow row = BaseRow::copyOf(bytes);
   row.rowTypeIs(Row::protRowType());
   adoptNestedRows(row, Row::columns_.columns);
   return Row(std::move(row));
}

} // namespace Zorva
