// verifyRow: whether bytes from outside (a file, a socket, a core dump) are a row of a type, and if not, why and where.
//
// Only reads the bytes, in time linear in their number. What has no meaning is ignored: the offset and array bit
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

/// What may be wrong with a row's bytes.
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
   constexpr std::string_view words[] = {
      "ok",
      "no room for a row header",
      "more than 65535 bytes",
      "row length shorter than the fixed part",
      "row length beyond the bytes",
      "bytes beyond the row length",
      "another row type",
      "bool neither 0 nor 1",
      "slot names bytes before the variable data",
      "slot names bytes behind the row",
      "slots overlap",
      "slot of an array without the array bit",
      "array data without a header",
      "array count differs from its slot's length",
      "nested row beyond its slot",
      "rows nested too deep",
   };
   static_assert(std::size(words) == static_cast<std::size_t>(RowFault::nestedTooDeep) + 1);
   return words[static_cast<std::size_t>(fault)];
}

/// The first fault found and the offset of the field it was found in, from the outermost row's header.
struct RowCheck
{
   RowFault fault = RowFault::none;
   std::size_t offset = 0;

   constexpr bool ok() const noexcept { return fault == RowFault::none; }

   friend constexpr bool operator==(const RowCheck&, const RowCheck&) noexcept = default;
};

} // namespace Zorva

namespace Zorva::Internal {

/// The row under examination: its columns, and its header `base` bytes from the first of all bytes given.
struct ExaminedRow
{
   std::span<const Column> columns;
   std::span<const unsigned char> all;
   std::size_t base;
   unsigned depth; ///< how many rows it is nested in

   len_t u16At(std::size_t offset) const { return load<len_t>(&all[base + offset]); }
   std::size_t length() const { return u16At(rowLengthOffset); }
   std::size_t fixedLength() const { return columns.back().end(); }

   VColType slot(const Column& column) const { return load<VColType>(&all[base + column.offset]); }

   /// The fault, found in the field at `offset` of this row.
   RowCheck found(RowFault fault, std::size_t offset) const { return {fault, base + offset}; }
};

/// Whether `available` bytes hold the row's header, its fixed part and all that its length says.
inline RowCheck checkLength(const ExaminedRow& row, std::size_t available)
{
   const bool isNested = row.depth > 0;
   if (available < zo_contentOffset)
      return row.found(isNested ? RowFault::nestedBeyondSlot : RowFault::noHeader, rowLengthOffset);
   if (row.length() < row.fixedLength())
      return row.found(RowFault::lengthBelowFixed, rowLengthOffset);
   if (row.length() > available)
      return row.found(isNested ? RowFault::nestedBeyondSlot : RowFault::lengthBeyondBytes, rowLengthOffset);
   return {};
}

/// Whether the slot of `column`, which is not empty, names bytes of the variable data that no slot before it names.
inline RowCheck checkSlot(const ExaminedRow& row, const Column& column)
{
   const Area area = row.slot(column).area();
   if (const AreaFault fault = area.faultIn(row.fixedLength(), row.length()); fault != AreaFault::none)
      return row.found(fault == AreaFault::beforeData ? RowFault::slotBeforeData : RowFault::slotBeyondRow,
                       column.offset);
   for (const Column* other = row.columns.data(); other != &column; ++other)
      if (other->isVariable() && area.overlaps(row.slot(*other).area()))
         return row.found(RowFault::slotsOverlap, column.offset);
   return {};
}

/// Whether the data of `column`, whose slot is sound, is an array.
inline RowCheck checkArray(const ExaminedRow& row, const Column& column)
{
   const VColType slot = row.slot(column);
   if (!slot.isArray())
      return row.found(RowFault::notArray, column.offset);
   if (slot.dataLength() < arrayHeaderLength)
      return row.found(RowFault::noArrayHeader, column.offset);
   const std::size_t count = row.u16At(slot.dataOffset()) & ArrayReference<std::uint32_t>::countMask;
   if (arrayHeaderLength + count * sizeof(std::uint32_t) != slot.dataLength())
      return row.found(RowFault::countMismatch, slot.dataOffset());
   return {};
}

/// Checks a row that may take `available` bytes, and the rows nested in it.
inline RowCheck checkRow(const ExaminedRow& row, std::size_t available)
{
   if (row.depth > maxNestingDepth)
      return row.found(RowFault::nestedTooDeep, rowLengthOffset);
   if (const RowCheck check = checkLength(row, available); !check.ok())
      return check;
   for (const Column& column : row.columns)
      if (column.type == Type::boolean && row.all[row.base + column.offset] > 1)
         return row.found(RowFault::badBool, column.offset);
   for (const Column& column : row.columns) {
      if (!column.isVariable() || row.slot(column).isEmpty())
         continue;
      if (const RowCheck check = checkSlot(row, column); !check.ok())
         return check;
      const VColType slot = row.slot(column);
      const RowCheck check =
         column.type == Type::arrayOfU32
            ? checkArray(row, column)
            : checkRow({column.nested->columns, row.all, row.base + slot.dataOffset(), row.depth + 1},
                       slot.dataLength());
      if (!check.ok())
         return check;
   }
   return {};
}

} // namespace Zorva::Internal

namespace Zorva {

/// Whether `bytes` are exactly one row of the type Row, fit for every operation once adoptRow has given it and its
/// nested rows their type ids; with `rowType`, also whether it carries that id. Throws nothing.
template <class Row>
RowCheck verifyRow(std::span<const unsigned char> bytes, std::optional<len_t> rowType = {})
{
   if (bytes.size() > maxRowLength)
      return {RowFault::tooLong, 0};
   const RowCheck check = Internal::checkRow({Row::columns_.columns, bytes, 0, 0}, bytes.size());
   if (!check.ok())
      return check;
   if (Internal::load<len_t>(bytes.data() + Internal::rowLengthOffset) < bytes.size())
      return {RowFault::bytesBeyondLength, Internal::rowLengthOffset};
   if (rowType && Internal::load<len_t>(bytes.data() + Internal::rowTypeOffset) != *rowType)
      return {RowFault::otherType, Internal::rowTypeOffset};
   return {};
}

} // namespace Zorva

namespace Zorva::Internal {

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

/// Throws ZoBadCast, naming fault and offset, for bytes that are no row of the type `typeName`.
inline void requireSound(const RowCheck& check, std::string_view typeName)
{
   if (!check.ok())
      ZoBadCast::throwException("bytes are no " + std::string(typeName) + ": " + std::string(text(check.fault)) +
                                " at offset " + std::to_string(check.offset));
}

/// A row of type Row over a copy of `bytes`, with this process's type ids. Throws ZoBadCast, naming fault and offset,
/// when verifyRow finds one; ZoNullRow when the registry does not know a type; as BaseRow::copyOf.
template <class Row>
Row adoptRow(std::span<const unsigned char> bytes)
{
   requireSound(verifyRow<Row>(bytes), Row::rowTypeName_);
   BaseRow row = BaseRow::copyOf(bytes);
   row.rowTypeIs(Row::protRowType());
   adoptNestedRows(row, Row::columns_.columns);
   return Row(std::move(row));
}

} // namespace Zorva::Internal
