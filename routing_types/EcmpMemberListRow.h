// EcmpMemberListRow, one ECMP group: the arrays `member` and `watch`, keyed by `id`.
//
// A thin typed layer over Zorva::BaseRow without data members of its own; the columns stand in ecmpMemberListColumns
// and everything else follows from that table. Rows share buffers and copy them on write; see rowstore/baseRow.h for
// ownership, failures and threads, which hold here too. There is no move: moving from a row copies it, which costs one
// owner count.
#pragma once

#include <atomic>
#include <compare>
#include <functional>
#include <iosfwd>
#include <span>
#include <string>
#include <vector>

#include "platform/export.h"
#include "rowtype/columnTable.h"
#include "rowtype/functional.h" // IWYU pragma: export

namespace P4RuntimeRouting {

inline constexpr auto ecmpMemberListColumns = Zorva::layOut({
   {"genId", Zorva::Type::u64},
   {"entryHandle", Zorva::Type::u64},
   {"valid", Zorva::Type::boolean},
   {"entryId", Zorva::Type::u32},
   {"id", Zorva::Type::u32, Zorva::key},
   {"member", Zorva::Type::arrayOfU32},
   {"watch", Zorva::Type::arrayOfU32},
});
static_assert(ecmpMemberListColumns.fixedLength == 37);
static_assert(ecmpMemberListColumns.keyColumn().offset == 25);
static_assert(ecmpMemberListColumns.columns[5].offset == 29 && ecmpMemberListColumns.columns[6].offset == 33);
static_assert(Zorva::typeSignatureLength(ecmpMemberListColumns) == 142);

class ZORVA_EXPORT EcmpMemberListRow : public Zorva::BaseRow
{
public:
   /// A view of one array column: valid while this row's bytes stay where they are.
   using Array = Zorva::ArrayReference<std::uint32_t>;

   static constexpr const auto& columns_ = ecmpMemberListColumns;                    ///< the column table
   static constexpr Zorva::len_t baseRowLength_ = ecmpMemberListColumns.fixedLength; ///< fixed part, in bytes

   // --- construction, conversion, assignment. All but the copy constructor need the row type id (of a null row they
   // --- do not) and throw ZoNullRow "null row" when the registry does not know the type.

   /// A new row with every column zero and both arrays empty. Throws as BaseRow(len_t).
   EcmpMemberListRow();

   /// A new row with these values, in a buffer that holds both arrays. Throws as BaseRow(len_t, len_t), and what
   /// storing an array of more than 4095 elements throws.
   EcmpMemberListRow(const std::uint64_t& genId, const std::uint64_t& entryHandle, const bool& valid,
                     const std::uint32_t& entryId, const std::uint32_t& id, const std::vector<std::uint32_t>& member,
                     const std::vector<std::uint32_t>& watch);

   /// Shares the other row's buffer, without a check.
   EcmpMemberListRow(const EcmpMemberListRow& other) noexcept : Zorva::BaseRow(other) {}

   /// Shares, or takes over, a generic row's buffer. Throws ZoBadCast for a row of another type; a source that was to
   /// be moved is empty then.
   EcmpMemberListRow(const Zorva::BaseRow& other);
   EcmpMemberListRow(Zorva::BaseRow&& other);

   /// As the conversions. A refused assignment is not undone: this row keeps the other row's buffer. Assigning a row
   /// to itself changes nothing and still checks its type.
   EcmpMemberListRow& operator=(const EcmpMemberListRow& other);
   EcmpMemberListRow& operator=(const Zorva::BaseRow& other);
   EcmpMemberListRow& operator=(Zorva::BaseRow&& other);

   /// Inline: dropping a row costs no call. Exported all the same.
   ZORVA_EXPORT ~EcmpMemberListRow() override = default;

   /// A new row that carries only a key value, for look-ups.
   static EcmpMemberListRow key(const std::uint32_t& id);

   /// A row over a copy of bytes from outside, verified (rowtype/verify.h) and given this process's type id. Throws
   /// ZoBadCast, naming what is wrong and where; otherwise as BaseRow(len_t).
   static EcmpMemberListRow fromBytes(std::span<const unsigned char> bytes);

   /// A row over a copy of this row's bytes in a buffer of its own; null for a null row.
   EcmpMemberListRow clone() const;

   // --- the type ---

   /// The row type id, fetched from the registry once. Throws ZoNullRow when the registry does not know the type.
   static Zorva::len_t protRowType();

   /// Forgets the row type id; the next use asks the registry again.
   static void reset();

   static std::string rowTypeName();     ///< "P4RuntimeRouting::EcmpMemberListRow"
   static std::string zoTypeSignature(); ///< columns and their types, as JSON; arrays by their element type
   static bool isBaseRow();              ///< false

   // --- virtual operations of the base row ---

   const Zorva::vcdType& vcd() const override; ///< the slots of member and watch: {29, 33}
   std::string toString() const override;      ///< "len: 0, NULL" for a null row
   std::string toJson() const override;        ///< throws ZoNullRow

   /// Content: all columns, and for equality the type id. Throw ZoNullRow for a null row on either side. Arrays have
   /// no order: rowLess throws ZoNotSupported on rows that are equal in their five fixed columns.
   bool rowEqual(const Zorva::BaseRow& other) const override;
   bool rowLess(const Zorva::BaseRow& other) const override;
   std::uint64_t rowHash() const override;

   Zorva::len_t baseRowLength() override;
   bool isFullyDefined() const override;

   /// Makes this an empty row of the type; a null row stays one. Throws as clear(); when the registry does not know the
   /// type, ZoNullRow with the row cleared and its type 0.
   void clearRow() override;

   /// Drops the variable data that no column holds any more, which stays in the row otherwise: the old data of an array
   /// that was emptied, or moved for want of room. Nothing else does so of itself but a store that moves an array. The
   /// buffer keeps its capacity. Takes a private copy first if the buffer is shared. Throws ZoNullRow, what the copy
   /// throws, ZoPermissionViolation, ZoOutOfRange for a row whose slots lie; the row's columns are unchanged then.
   void compact();

   // --- key identity; all throw ZoNullRow for a null row ---

   std::uint64_t hash() const;
   bool operator==(const EcmpMemberListRow& other) const;
   bool operator<(const EcmpMemberListRow& other) const;
   std::weak_ordering operator<=>(const EcmpMemberListRow& other) const;

   /// The text of any row of this type. Throws ZoBadCast for another type.
   static std::string browToString(const Zorva::BaseRow& row);

   // --- array columns as text, "[1,2,3]", the same in JSON ---

   std::string memberToStringArray() const;
   std::string memberToJsonArray() const;
   std::string watchToStringArray() const;
   std::string watchToJsonArray() const;

   // --- columns. Readers of fixed columns throw ZoNullRow for a null row, readers of arrays give an empty view.
   // --- Writers take a private copy first if the buffer is shared, and throw ZoNullRow, ZoPermissionViolation, what
   // --- the copy throws, or what storing an array throws, with the columns unchanged.

   std::uint64_t genId() const { return read(columns_.at<std::uint64_t>("genId")); }
   std::uint64_t entryHandle() const { return read(columns_.at<std::uint64_t>("entryHandle")); }
   bool valid() const { return read(columns_.at<bool>("valid")); }
   std::uint32_t entryId() const { return read(columns_.at<std::uint32_t>("entryId")); }
   std::uint32_t id() const { return read(columns_.at<std::uint32_t>("id")); }
   Array member() const { return arrayColumn<std::uint32_t>(columns_.at<Array>("member").offset); }
   Array watch() const { return arrayColumn<std::uint32_t>(columns_.at<Array>("watch").offset); }

   EcmpMemberListRow& genIdIs(const std::uint64_t& v) { return write(columns_.at<std::uint64_t>("genId"), v); }
   EcmpMemberListRow& entryHandleIs(const std::uint64_t& v)
   {
      return write(columns_.at<std::uint64_t>("entryHandle"), v);
   }
   EcmpMemberListRow& validIs(const bool& v) { return write(columns_.at<bool>("valid"), v); }
   EcmpMemberListRow& entryIdIs(const std::uint32_t& v) { return write(columns_.at<std::uint32_t>("entryId"), v); }
   EcmpMemberListRow& idIs(const std::uint32_t& v) { return write(columns_.at<std::uint32_t>("id"), v); }

   EcmpMemberListRow& memberIs(const std::vector<std::uint32_t>& v) { return write(columns_.at<Array>("member"), v); }
   EcmpMemberListRow& watchIs(const std::vector<std::uint32_t>& v) { return write(columns_.at<Array>("watch"), v); }

   /// The array writers from any other contiguous range, which may not lie in this row's own bytes.
   template <Zorva::ContiguousRangeOf<std::uint32_t> R>
   EcmpMemberListRow& memberIs(const R& v)
   {
      return write(columns_.at<Array>("member"), v);
   }
   template <Zorva::ContiguousRangeOf<std::uint32_t> R>
   EcmpMemberListRow& watchIs(const R& v)
   {
      return write(columns_.at<Array>("watch"), v);
   }

private:
   template <class T>
   T read(Zorva::ColumnPlace<T> column) const
   {
      return readColumn<T>(column.offset, baseRowLength_);
   }

   template <class T>
   EcmpMemberListRow& write(Zorva::ColumnPlace<T> column, const T& value)
   {
      setColumn<T>(column.offset, value, baseRowLength_);
      return *this;
   }

   template <class R>
   EcmpMemberListRow& write(Zorva::ColumnPlace<Array> column, const R& value)
   {
      setColumn<std::uint32_t>(column.offset, value, baseRowLength_);
      return *this;
   }

   static std::atomic<Zorva::len_t> rowType_;
};

/// Writes the text form of `row` into `os`, in that stream's number formatting, its arrays in plain
/// decimal; "len: 0, NULL" for a null row.
ZORVA_EXPORT std::ostream& operator<<(std::ostream& os, const EcmpMemberListRow& row);

} // namespace P4RuntimeRouting

/// The key hash, as == is key equality. Throws ZoNullRow for a null row.
template <>
struct std::hash<P4RuntimeRouting::EcmpMemberListRow>
{
   std::size_t operator()(const P4RuntimeRouting::EcmpMemberListRow& row) const { return row.hash(); }
};
