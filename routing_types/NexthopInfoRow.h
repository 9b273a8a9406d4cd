// NexthopInfoRow, one next hop: port, MAC addresses, drop flag and encapsulation, keyed by `id`.
//
// A thin typed layer over Zorva::BaseRow without data members of its own; the columns stand in nexthopInfoColumns and
// everything else follows from that table. Rows share buffers and copy them on write; see rowstore/baseRow.h for
// ownership, failures and threads, which hold here too. There is no move: moving from a row copies it, which costs one
// owner count.
#pragma once

#include <atomic>
#include <compare>
#include <functional>
#include <iosfwd>
#include <span>
#include <string>

#include "platform/export.h"
#include "rowtype/columnTable.h"
#include "rowtype/functional.h" // IWYU pragma: export

namespace P4RuntimeRouting {

inline constexpr auto nexthopInfoColumns = Zorva::layOut({
   {"genId", Zorva::Type::u64},
   {"entryHandle", Zorva::Type::u64},
   {"valid", Zorva::Type::boolean},
   {"entryId", Zorva::Type::u32},
   {"id", Zorva::Type::u32, Zorva::key},
   {"portId", Zorva::Type::u32},
   {"dmac", Zorva::Type::ethAddr},
   {"smac", Zorva::Type::ethAddr},
   {"drop", Zorva::Type::boolean},
   {"encapType", Zorva::Type::i32},
   {"encapId", Zorva::Type::u16},
});
static_assert(nexthopInfoColumns.fixedLength == 52);
static_assert(nexthopInfoColumns.keyColumn().offset == 25);
static_assert(Zorva::typeSignatureLength(nexthopInfoColumns) == 218);

class ZORVA_EXPORT NexthopInfoRow : public Zorva::BaseRow
{
public:
   static constexpr const auto& columns_ = nexthopInfoColumns;                    ///< the column table
   static constexpr Zorva::len_t baseRowLength_ = nexthopInfoColumns.fixedLength; ///< fixed part, in bytes
   static constexpr std::int32_t encapType_DEFAULT = 0;

   // --- construction, conversion, assignment. All but the copy constructor need the row type id (of a null row they
   // --- do not) and throw ZoNullRow "null row" when the registry does not know the type.

   /// A new row with every column zero and `encapType` its default. Throws as BaseRow(len_t).
   NexthopInfoRow();

   /// A new row with these values. Throws as BaseRow(len_t).
   NexthopInfoRow(const std::uint64_t& genId, const std::uint64_t& entryHandle, const bool& valid,
                  const std::uint32_t& entryId, const std::uint32_t& id, const std::uint32_t& portId,
                  const Zorva::EthAddr& dmac, const Zorva::EthAddr& smac, const bool& drop,
                  const std::int32_t& encapType, const std::uint16_t& encapId);

   /// Shares the other row's buffer, without a check.
   NexthopInfoRow(const NexthopInfoRow& other) noexcept : Zorva::BaseRow(other) {}

   /// Shares, or takes over, a generic row's buffer. Throws ZoBadCast for a row of another type; a source that was to
   /// be moved is empty then.
   NexthopInfoRow(const Zorva::BaseRow& other);
   NexthopInfoRow(Zorva::BaseRow&& other);

   /// As the conversions. A refused assignment is not undone: this row keeps the other row's buffer. Assigning a row
   /// to itself changes nothing and still checks its type.
   NexthopInfoRow& operator=(const NexthopInfoRow& other);
   NexthopInfoRow& operator=(const Zorva::BaseRow& other);
   NexthopInfoRow& operator=(Zorva::BaseRow&& other);

   /// Inline: dropping a row costs no call. Exported all the same.
   ZORVA_EXPORT ~NexthopInfoRow() override = default;

   /// A new row that carries only a key value, for look-ups.
   static NexthopInfoRow key(const std::uint32_t& id);

   /// A row over a copy of bytes from outside, verified (rowtype/verify.h) and given this process's type id. Throws
   /// ZoBadCast, naming what is wrong and where; otherwise as BaseRow(len_t).
   static NexthopInfoRow fromBytes(std::span<const unsigned char> bytes);

   /// A row over a copy of this row's bytes in a buffer of its own; null for a null row.
   NexthopInfoRow clone() const;

   // --- the type ---

   /// The row type id, fetched from the registry once. Throws ZoNullRow when the registry does not know the type.
   static Zorva::len_t protRowType();

   /// Forgets the row type id; the next use asks the registry again.
   static void reset();

   static std::string rowTypeName();     ///< "P4RuntimeRouting::NexthopInfoRow"
   static std::string zoTypeSignature(); ///< columns and their types, as JSON
   static bool isBaseRow();              ///< false

   // --- virtual operations of the base row ---

   const Zorva::vcdType& vcd() const override; ///< empty: no variable columns
   std::string toString() const override;      ///< "len: 0, NULL" for a null row
   std::string toJson() const override;        ///< throws ZoNullRow

   /// Content: all columns, and for equality the type id. Throw ZoNullRow for a null row on either side.
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
   bool operator==(const NexthopInfoRow& other) const;
   bool operator<(const NexthopInfoRow& other) const;
   std::weak_ordering operator<=>(const NexthopInfoRow& other) const;

   /// The text of any row of this type. Throws ZoBadCast for another type.
   static std::string browToString(const Zorva::BaseRow& row);

   // --- columns. Readers throw ZoNullRow for a null row. Writers take a private copy first if the buffer is shared,
   // --- and throw ZoNullRow, ZoPermissionViolation, or what the copy throws, with the columns unchanged.

   std::uint64_t genId() const { return read(columns_.at<std::uint64_t>("genId")); }
   std::uint64_t entryHandle() const { return read(columns_.at<std::uint64_t>("entryHandle")); }
   bool valid() const { return read(columns_.at<bool>("valid")); }
   std::uint32_t entryId() const { return read(columns_.at<std::uint32_t>("entryId")); }
   std::uint32_t id() const { return read(columns_.at<std::uint32_t>("id")); }
   std::uint32_t portId() const { return read(columns_.at<std::uint32_t>("portId")); }
   Zorva::EthAddr dmac() const { return read(columns_.at<Zorva::EthAddr>("dmac")); }
   Zorva::EthAddr smac() const { return read(columns_.at<Zorva::EthAddr>("smac")); }
   bool drop() const { return read(columns_.at<bool>("drop")); }
   std::int32_t encapType() const { return read(columns_.at<std::int32_t>("encapType")); }
   std::uint16_t encapId() const { return read(columns_.at<std::uint16_t>("encapId")); }

   NexthopInfoRow& genIdIs(const std::uint64_t& v) { return write(columns_.at<std::uint64_t>("genId"), v); }
   NexthopInfoRow& entryHandleIs(const std::uint64_t& v) { return write(columns_.at<std::uint64_t>("entryHandle"), v); }
   NexthopInfoRow& validIs(const bool& v) { return write(columns_.at<bool>("valid"), v); }
   NexthopInfoRow& entryIdIs(const std::uint32_t& v) { return write(columns_.at<std::uint32_t>("entryId"), v); }
   NexthopInfoRow& idIs(const std::uint32_t& v) { return write(columns_.at<std::uint32_t>("id"), v); }
   NexthopInfoRow& portIdIs(const std::uint32_t& v) { return write(columns_.at<std::uint32_t>("portId"), v); }
   NexthopInfoRow& dmacIs(const Zorva::EthAddr& v) { return write(columns_.at<Zorva::EthAddr>("dmac"), v); }
   NexthopInfoRow& smacIs(const Zorva::EthAddr& v) { return write(columns_.at<Zorva::EthAddr>("smac"), v); }
   NexthopInfoRow& dropIs(const bool& v) { return write(columns_.at<bool>("drop"), v); }
   NexthopInfoRow& encapTypeIs(const std::int32_t& v) { return write(columns_.at<std::int32_t>("encapType"), v); }
   NexthopInfoRow& encapIdIs(const std::uint16_t& v) { return write(columns_.at<std::uint16_t>("encapId"), v); }

private:
   template <class T>
   T read(Zorva::ColumnPlace<T> column) const
   {
      return readColumn<T>(column.offset, baseRowLength_);
   }

   template <class T>
   NexthopInfoRow& write(Zorva::ColumnPlace<T> column, const T& value)
   {
      setColumn<T>(column.offset, value, baseRowLength_);
      return *this;
   }

   static std::atomic<Zorva::len_t> rowType_;
};

/// Writes the text form of `row` into `os`, in that stream's number formatting; "len: 0, NULL" for a null row.
ZORVA_EXPORT std::ostream& operator<<(std::ostream& os, const NexthopInfoRow& row);

} // namespace P4RuntimeRouting

/// The key hash, as == is key equality. Throws ZoNullRow for a null row.
template <>
struct std::hash<P4RuntimeRouting::NexthopInfoRow>
{
   std::size_t operator()(const P4RuntimeRouting::NexthopInfoRow& row) const { return row.hash(); }
};
