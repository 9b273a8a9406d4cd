// BaseRow, the base class of every table row, and the one header that users of the row storage core include.
//
// A row object is a small handle of 24 bytes. Its bytes lie in a buffer on the C heap that any number of rows may own
// together: copying a row shares its buffer, and a row that is about to write into bytes it does not own alone takes
// a private copy of exactly its own bytes first (copy on write). A row without a buffer is a null row.
//
//   byte 0        2        4                     fdLen              row length
//        | length | type   | fixed columns       | variable data     | spare bytes of the buffer
//
// Columns are addressed by their byte offset from the row's header, which lies at rowOffset_ in the buffer: 0 unless
// the row is a view of a nested row inside another row's bytes.
//
// Failures: exceptions of the row database. A failed call changes nothing but may leave the private copy made, and
// what each operation states. No operation reads or writes outside the buffer, whatever the row's bytes say:
// ZoOutOfRange instead. Contract violations stop the process in every build type.
//
// Threads: one thread at a time per row object. Rows that share a buffer may be used from different threads.
#pragma once

#include <ranges>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/export.h"
#include "platform/zorva/baseRowCounters.h"
#include "platform/zorva/ethAddr.h"
#include "platform/zorva/exceptions.h"
#include "rowstore/bytes.h"
#include "rowstore/columnTypes.h"
#include "rowstore/publishedAssertions.h"
#include "rowstore/rowBuf.h"
#include "rowstore/slot.h"

namespace Zorva::Internal {

/// The text of a null row, of whatever type.
inline constexpr std::string_view nullRowText = "len: 0, NULL";

} // namespace Zorva::Internal

namespace Zorva {

/// A contiguous range of T that is not a vector: what the array writers take beside vectors.
template <class R, class T>
concept ContiguousRangeOf = std::ranges::contiguous_range<const R> && std::ranges::sized_range<const R> &&
   std::same_as<std::ranges::range_value_t<const R>, T> && !std::same_as<R, std::vector<T>>;

/// The offsets of a row type's variable-column-table slots, in column order.
using vcdType = std::vector<len_t>;

/// A table row of any type, and the base class of the row types: a handle of 24 bytes that shares its bytes with its
/// copies until one of them is written. Columns are read and written by their offsets; row types know their own.
class ZORVA_EXPORT BaseRow
{
public:
   // --- construction, copies, assignment: each counts itself in the calling thread's baseRowCounters ---

   /// A null row.
   BaseRow() noexcept { ++baseRowCounters.defaultCtor; }

   /// A row over a new zero-filled buffer of `len` bytes, row length `len`, row type 0. Throws std::bad_alloc or
   /// Halvo::MemoryResourceException. `len` below 4 stops the process.
   explicit BaseRow(len_t len) : BaseRow(len, len) {}

   /// The same with a buffer of `capacity` bytes: room for variable data behind the fixed part. A capacity below
   /// `len` is refused with ZoOutOfRange.
   BaseRow(len_t len, len_t capacity) : rowBuf_(RowBufHandle::zeroed(capacity))
   {
      if (len < zo_contentOffset) [[unlikely]]
         Internal::contractViolated("len >= zo_contentOffset", {__LINE__, __PRETTY_FUNCTION__});
      Internal::checkInside(0, len, capacity);
      Internal::store<len_t>(rowBuf_->data() + Internal::rowLengthOffset, len);
      ++baseRowCounters.lengthCtor;
   }

   /// Shares the other row's buffer and takes its position and flags.
   BaseRow(const BaseRow& other) noexcept : BaseRow(RowBufHandle(other.rowBuf_), other) { ++baseRowCounters.copyCtor; }

   /// Takes the other row's buffer, position and flags. The other is a null row afterwards; its position and flags
   /// keep their values.
   BaseRow(BaseRow&& other) noexcept : BaseRow(std::move(other.rowBuf_), other) { ++baseRowCounters.moveCtor; }

   /// Shares the other row's buffer and takes its position and flags, also when this row is read-only. Assigning a
   /// row to itself does nothing and counts nothing.
   BaseRow& operator=(const BaseRow& other) noexcept
   {
      if (this != &other) {
         rowBuf_ = other.rowBuf_;
         copyPositionAndFlags(other);
         ++baseRowCounters.copyAssign;
      }
      return *this;
   }

   /// Takes the other row's buffer, position and flags; the other is a null row afterwards.
   BaseRow& operator=(BaseRow&& other) noexcept
   {
      if (this != &other) {
         rowBuf_ = std::move(other.rowBuf_);
         copyPositionAndFlags(other);
         ++baseRowCounters.moveAssign;
      }
      return *this;
   }

   /// A generic row over a copy of `bytes`, whose row length must be their number: ZoOutOfRange otherwise. Nothing else
   /// about them is checked. Counts a construction by length.
   static inline BaseRow copyOf(std::span<const unsigned char> bytes);

   /// A row over a buffer of its own, exactly as long as this row, with a copy of this row's bytes: position 0, no
   /// view, not read-only. A null row gives a null row. Counts a construction by length (of a null row: the default
   /// one) and the move of the returned value. Throws as a private copy does.
   inline BaseRow clone() const;

   // --- virtual operations, in slot order; toString() is the key function, so the class information lies in the
   // --- row database core alone

   /// This row now holds the other row's buffer. Position and flags keep their values, no counter moves.
   virtual void shareContents(const BaseRow& other) { rowBuf_ = other.rowBuf_; }

   virtual ~BaseRow() = default;

   /// The offsets of the row type's variable-column-table slots. A generic row has none: stops the process.
   virtual const vcdType& vcd() const { Internal::contractViolated("0", {__LINE__, __PRETTY_FUNCTION__}); }

   /// The row as text. A generic row's text is the row database core's.
   virtual std::string toString() const;

   /// The row as one line of JSON; the empty string for a generic row.
   virtual std::string toJson() const { return {}; }

   /// Content equality. Generic: same row length and same bytes, header and dead bytes included. Throws ZoNullRow
   /// for a null row on either side.
   virtual inline bool rowEqual(const BaseRow& other) const;

   /// Content order. A generic row has none: ZoNotSupported.
   virtual bool rowLess(const BaseRow& /*other*/) const
   {
      ZoNotSupported::throwException("rowLess not supported on generic base rows");
   }

   /// Content hash. A generic row has none: ZoNotSupported.
   virtual std::uint64_t rowHash() const
   {
      ZoNotSupported::throwException("rowHash not supported on generic base rows");
   }

   /// The row type's fixed length in bytes, header included. A generic row has none: stops the process.
   virtual len_t baseRowLength() { Internal::contractViolated("0", {__LINE__, __PRETTY_FUNCTION__}); }

   /// Whether the row's class knows all of its columns, and so its slots: true for every row type, false here.
   virtual bool isFullyDefined() const { return false; }

   /// Zeroes every byte behind the header; row length and type stay. Nothing happens to a null row. Throws
   /// ZoPermissionViolation before anything else, then as a private copy does.
   virtual inline void clearRow();

   // --- header and state ---

   bool isNull() const noexcept { return !rowBuf_; }
   bool readOnly() const noexcept { return readOnly_; }

   /// The position of the row's header in its buffer, in bytes: 0 unless the row is a view of a nested row.
   len_t rowPosition() const noexcept { return rowOffset_; }

   /// Throws ZoNullRow "null row" for a null row.
   void requireBuffer() const
   {
      if (!rowBuf_) [[unlikely]]
         throwNullRow();
   }

   /// Sets or clears the flag that makes every modifier fail with ZoPermissionViolation.
   BaseRow& readOnlyIs(bool readOnly) noexcept
   {
      readOnly_ = readOnly;
      return *this;
   }

   /// The row length in the header, in bytes. Throws ZoNullRow.
   len_t rowLength() const { return readColumn<len_t>(Internal::rowLengthOffset); }

   /// The row type id in the header. Throws ZoNullRow.
   len_t rowType() const { return readColumn<len_t>(Internal::rowTypeOffset); }

   /// Writes the row length into the current buffer, in place, without a private copy: every row that shares the
   /// buffer sees it, so call it only on a buffer that the row owns alone. Throws ZoPermissionViolation, then
   /// ZoNullRow.
   BaseRow& rowLengthIs(len_t len) { return headerFieldIs(Internal::rowLengthOffset, len); }

   /// Writes the row type id, like rowLengthIs.
   BaseRow& rowTypeIs(len_t type) { return headerFieldIs(Internal::rowTypeOffset, type); }

   /// The row's own bytes, row length many. Valid until the row or a sole owner of its buffer changes. Throws
   /// ZoNullRow, and ZoOutOfRange when the row length is below 4 or reaches outside the buffer.
   std::span<const unsigned char> bytes() const
   {
      const len_t length = checkedRowLength();
      return {header(), length};
   }

   /// The `width` bytes at `offset` from the header, for reading several columns after one check. Throws ZoNullRow,
   /// then ZoOutOfRange.
   const unsigned char* checkedBytes(std::uint32_t offset, std::uint32_t width) const
   {
      requireBuffer();
      return checkedBytesOfBuffer(offset, width);
   }

   // --- fixed-width columns (fixedColumns.h) ---

   /// Stores `value` in the fixed column at `offset`, after a private copy if the bytes are shared or a view. `fdLen`
   /// is the row type's fixed length; 0 stops the process. Throws in this order: what the private copy throws
   /// (ZoNullRow for a null row), ZoPermissionViolation (an identical private copy may have been made), ZoOutOfRange.
   template <FixedColumnType T>
   void setColumn(len_t offset, const T& value, len_t fdLen);

   /// Reads the Ethernet address column at `offset` into `out`; a null row gives the null address. Throws
   /// ZoOutOfRange and leaves `out`.
   template <std::same_as<EthAddr> T>
   void getColumn(len_t offset, T& out) const;

   /// The value of the fixed column at `offset`. Throws ZoNullRow, then ZoOutOfRange.
   template <FixedColumnType T>
   T readColumn(len_t offset) const
   {
      return Internal::load<T>(checkedBytes(offset, sizeof(T)));
   }

   /// Makes this an empty row of `fdLen` bytes: all zero, type 0, no variable data. In place when the row owns its
   /// bytes alone, otherwise in a new buffer as long as the old one (position and view flag stay). Below 4, `fdLen`
   /// clears just so many bytes in place, and the rest of the header stays; a new buffer is zero but for the length.
   /// Throws ZoNullRow; raises a debug assertion when `fdLen` does not fit the buffer (false where the handler
   /// returns); throws ZoPermissionViolation, ZoOutOfRange when the row length does not fit the buffer; then
   /// std::bad_alloc or Halvo::MemoryResourceException. All leave the row unchanged.
   inline bool clear(len_t fdLen);

   // --- array columns (arrayColumns.h) ---

   /// Stores the array in the column whose slot lies at `offset`: the new data replaces the old in place when it is
   /// no longer, else it goes behind the row's last byte, the row growing by exactly what is missing. An empty array
   /// empties the slot. The elements may not lie in this row's own bytes. Throws in this order, with the row, its
   /// slots and data as they were: as a private copy, ZoPermissionViolation, a debug assertion for more than 32767
   /// bytes of data, ZoOutOfRange for more than 4095 elements or a row of more than 65535 bytes,
   /// Halvo::MemoryResourceException. `fdLen` 0 stops the process.
   template <class T>
   void setColumn(len_t offset, const std::vector<T>& value, len_t fdLen);

   /// The same from any other contiguous range of T.
   template <class T, ContiguousRangeOf<T> R>
   inline void setColumn(len_t offset, const R& value, len_t fdLen);

   /// A view of the array whose slot lies at `offset`, empty for a null row or an empty slot. Valid while the row's
   /// bytes stay where they are. Throws ZoOutOfRange when slot or data lie outside the buffer.
   template <class T>
   inline ArrayReference<T> arrayColumn(len_t offset) const;

   /// Whether both columns hold the same elements, wherever their data lies. A null row has an empty array.
   template <class T>
   bool arrayColumnEqual(len_t offset, const BaseRow& other, len_t otherOffset) const;

   /// The array as "[1,2,3]", plain decimal whatever the locale; "[]" for a null row.
   template <class T>
   std::string aryColumnToString(len_t offset) const;

   // --- single columns compared and hashed (columnIdentity.h); each brings its own offset ---

   /// Whether the two values are equal. Throws ZoNullRow for this row, then for the other; then ZoOutOfRange.
   template <FixedColumnType T>
   bool columnEqual(len_t offset, const BaseRow& other, len_t otherOffset) const;

   /// Whether this row's value is strictly less: numbers by value, bool by stored byte, addresses byte by byte.
   template <FixedColumnType T>
   bool columnLess(len_t offset, const BaseRow& other, len_t otherOffset) const;

   /// What the value feeds into a row hash: the value widened to 64 bits, an address by Halvo::Util::hash.
   template <FixedColumnType T>
   std::uint64_t columnHash(len_t offset) const;

   // --- nested-row columns (nestedRows.h); R is a row type ---

   /// Makes `out` a view of the row nested in the column whose slot lies at `offset`, or a null row when there is
   /// none. The view shares this row's buffer and keeps it alive; its first modification gives it a private copy.
   /// A row type refuses a nested row of another type with ZoBadCast; `out` then holds the view. A position outside
   /// the buffer is refused with ZoOutOfRange, `out` untouched, nothing counted.
   template <std::derived_from<BaseRow> R>
   void getColumnStruct(len_t offset, R& out) const;

   /// R's content hash of the nested row. Throws ZoNullRow when the column holds none.
   template <std::derived_from<BaseRow> R>
   std::uint64_t columnHash(len_t offset) const;

   /// R's content equality of the two nested rows; an absent one equals nothing, not even another absent one.
   template <std::derived_from<BaseRow> R>
   bool columnEqual(len_t offset, const BaseRow& other, len_t otherOffset) const;

   /// R's content order of the two nested rows; an absent one comes before every present one.
   template <std::derived_from<BaseRow> R>
   bool columnLess(len_t offset, const BaseRow& other, len_t otherOffset) const;

   /// The calling thread's construction statistics. With ZORVA_STATIC_TLS they are read without a call, for
   /// libraries that are there when the process starts (or fit the C library's small reserve for later ones).
#ifdef ZORVA_STATIC_TLS
   [[gnu::tls_model("initial-exec")]]
#endif
   static constinit thread_local BaseRowCounters baseRowCounters;

protected:
   /// A row over `buffer` with the position and flags of `other`. Counts nothing.
   // The owner is counted before construction begins. Otherwise compilers store the base class's vtable pointer, which
   // that atomic operation keeps them from leaving out, and then the row type's over it.
   BaseRow(RowBufHandle&& buffer, const BaseRow& other) noexcept
      : rowBuf_(std::move(buffer)), rowOffset_(other.rowOffset_), subRow_(other.subRow_), readOnly_(other.readOnly_)
   {
   }

   /// Whether this row may write where its bytes are: it owns them alone and they are not part of another row.
   bool mayWriteInPlace() const noexcept { return rowBuf_.isSoleOwner() && !subRow_; }

   /// The private copy: a new buffer with exactly this row's bytes, position 0, no longer a view; read-only stays.
   /// Throws ZoNullRow, ZoOutOfRange for a row length that leaves the buffer, std::bad_alloc or
   /// Halvo::MemoryResourceException, and keeps the old buffer then.
   [[gnu::noinline]] void unshareContents()
   {
      const len_t length = checkedRowLength();
      rowBuf_ = RowBufHandle::copyOf(header(), length);
      rowOffset_ = 0;
      subRow_ = false;
   }

   /// Copies the bytes first if they are not this row's alone: the first step of every modifier.
   void ensurePrivate()
   {
      if (!mayWriteInPlace()) [[unlikely]]
         unshareContents();
   }

   /// readColumn(offset) for a column within the first `fixedLength` bytes of the row, which the caller guarantees.
   /// Compilers merge the bounds checks of several columns, as they are the same; where it fails, the column's own
   /// check decides.
   template <FixedColumnType T>
   [[gnu::always_inline]] T readColumn(len_t offset, len_t fixedLength) const
   {
      requireBuffer();
      if (Internal::isInside(rowOffset_, fixedLength, rowBuf_->length())) [[likely]]
         return Internal::load<T>(header() + offset);
      return readColumn<T>(offset);
   }

   // --- variable column table (variableColumns.h) ---

   /// Writes the slot at `offset`. Raises the debug assertion for a length above 32767 before all else, then throws
   /// ZoPermissionViolation, ZoNullRow, ZoOutOfRange; the slot is unchanged then.
   inline void updateVCT(len_t offset, len_t dataOffset, len_t length, bool isArray);

   /// Makes room for `length` bytes of the column whose slot is `slot` (inside this row's bytes) and returns the
   /// offset where they go: the old data's if they fit there, else behind the row, after a compaction if the column
   /// had data and the row type is known. Grows the buffer by what is missing, so every address into the row is
   /// stale afterwards. The row must own its buffer alone. `baseRowLength` 0 stops the process. Throws
   /// ZoPermissionViolation, ZoOutOfRange, Halvo::MemoryResourceException and leaves row and slot as they were.
   inline len_t makeFreeSpace(VColType& slot, len_t length, len_t baseRowLength);

   /// Moves the data of all slots of vcd() together from `baseRowLength` on and returns the row length that results.
   /// Defined by the row database core.
   len_t compactVariableData(len_t baseRowLength);

   /// The row length that a compaction without the slot at `emptied` gives. Throws ZoOutOfRange when a listed slot
   /// lies behind `baseRowLength`, or its data outside the row.
   inline std::size_t compactedLength(len_t emptied, len_t baseRowLength) const;

   /// Empties a slot and, if `compacts`, compacts the row; returns the row length that results and does not store it.
   /// When the compaction throws, the slot is as before.
   inline len_t giveUpArea(len_t slotOffset, len_t baseRowLength, bool compacts);

   /// The slot of the column at `offset`. Throws ZoNullRow, then ZoOutOfRange.
   inline VColType slotAt(len_t offset) const;
   inline VColType& slotAt(len_t offset);

   /// Stores an array in a row that owns its buffer alone: the second half of the array setColumn.
   template <class T>
   inline void updateFixElemArray(len_t offset, len_t fdLen, std::span<const T> value);
   template <class T>
   void updateFixElemArray(len_t offset, len_t fdLen, const std::vector<T>& value);

   /// Drops the bytes of the variable data area that no slot names, after a private copy if the bytes are shared or a
   /// view. The buffer keeps its capacity. Throws as a private copy, ZoPermissionViolation, ZoOutOfRange when the row
   /// is shorter than `baseRowLength` or a listed slot lies outside it, and leaves the row as it was.
   inline void compactRow(len_t baseRowLength);

   /// Sets `value` to the null value of its type. Defined by the row database core for EthAddr.
   template <class T>
   static void setToNull(T& value);

   /// The first byte of the row's header; the row has a buffer, nothing else is checked.
   unsigned char* header() const noexcept { return rowBuf_->data() + rowOffset_; }

   /// The whole buffer of a row that was just constructed over a new one, for its value constructor.
   std::span<unsigned char> freshBuffer() const noexcept { return {rowBuf_->data(), rowBuf_->length()}; }

   /// As checkedBytes, of a row that has a buffer.
   unsigned char* checkedBytesOfBuffer(std::uint32_t offset, std::uint32_t width) const
   {
      if (!Internal::isInside(rowOffset_, std::size_t{offset} + width, rowBuf_->length())) [[unlikely]]
         throwOutside(offset, width);
      return header() + offset;
   }

   /// The row length, at least 4 and inside the buffer. Throws ZoNullRow, then ZoOutOfRange.
   len_t checkedRowLength() const
   {
      const len_t length = rowLength();
      if (length < zo_contentOffset) [[unlikely]]
         Internal::throwLengthBelowHeader(length);
      Internal::checkInside(rowOffset_, length, rowBuf_->length());
      return length;
   }

   void requireWritable() const
   {
      if (readOnly_) [[unlikely]]
         throwReadOnly();
   }

   RowBufHandle rowBuf_; ///< empty for a null row
   len_t rowOffset_ = 0; ///< position of the row's header in the buffer
   bool subRow_ = false; ///< a view of a nested row: the bytes belong to another row
   bool readOnly_ = false;

private:
   explicit BaseRow(RowBufHandle&& buffer) noexcept : rowBuf_(std::move(buffer)) { ++baseRowCounters.lengthCtor; }

   [[noreturn]] [[gnu::noinline]] static void throwNullRow() { ZoNullRow::throwException("null row"); }

   [[noreturn]] [[gnu::noinline]] void throwOutside(std::uint32_t offset, std::uint32_t width) const
   {
      Internal::throwOutsideBuffer(std::size_t{rowOffset_} + offset, width, rowBuf_->length());
   }

   [[noreturn]] [[gnu::noinline]] static void throwReadOnly()
   {
      ZoPermissionViolation::throwException("Attempting to modify read-only row");
   }

   void copyPositionAndFlags(const BaseRow& other) noexcept
   {
      rowOffset_ = other.rowOffset_;
      subRow_ = other.subRow_;
      readOnly_ = other.readOnly_;
   }

   BaseRow& headerFieldIs(len_t offset, len_t value)
   {
      requireWritable();
      requireBuffer();
      Internal::store<len_t>(checkedBytesOfBuffer(offset, sizeof value), value);
      return *this;
   }
};

static_assert(sizeof(BaseRow) == 24);

template <>
ZORVA_EXPORT void BaseRow::setToNull<EthAddr>(EthAddr& value);

/// The class of a view of a nested row. Adds nothing to BaseRow.
class SubRow : public BaseRow
{
public:
   /// A view of the row whose header lies `offset` bytes behind the header of `parent`: shares the parent's buffer
   /// and read-only flag. The position is a 16-bit sum; whoever reads through the view checks it.
   SubRow(const BaseRow& parent, len_t offset) noexcept : BaseRow(parent)
   {
      rowOffset_ = static_cast<len_t>(rowOffset_ + offset);
      subRow_ = true;
   }

   ~SubRow() override = default;
};

// --- the parts of BaseRow that are more than a line ---

inline BaseRow BaseRow::copyOf(std::span<const unsigned char> bytes)
{
   Internal::checkInside(0, zo_contentOffset, bytes.size());
   const len_t length = Internal::load<len_t>(bytes.data() + Internal::rowLengthOffset);
   if (length != bytes.size())
      ZoOutOfRange::throwException("row length " + std::to_string(length) + " in the header of " +
                                   std::to_string(bytes.size()) + " bytes");
   return BaseRow(RowBufHandle::copyOf(bytes.data(), length));
}

inline BaseRow BaseRow::clone() const
{
   BaseRow copy = isNull() ? BaseRow() : BaseRow(RowBufHandle::copyOf(header(), checkedRowLength()));
   BaseRow& made = copy;
   return std::move(made); // counts as a move, in every build
}

inline void BaseRow::clearRow()
{
   requireWritable();
   if (isNull())
      return;
   ensurePrivate();
   const len_t length = checkedRowLength();
   std::memset(header() + zo_contentOffset, 0, length - std::size_t{zo_contentOffset});
}

inline bool BaseRow::rowEqual(const BaseRow& other) const
{
   other.requireBuffer();
   const auto mine = bytes();
   const auto others = other.bytes();
   return mine.size() == others.size() && std::memcmp(mine.data(), others.data(), mine.size()) == 0;
}

} // namespace Zorva

// The definitions of the other members.
#include "rowstore/arrayColumns.h"    // IWYU pragma: export
#include "rowstore/columnIdentity.h"  // IWYU pragma: export
#include "rowstore/fixedColumns.h"    // IWYU pragma: export
#include "rowstore/nestedRows.h"      // IWYU pragma: export
#include "rowstore/variableColumns.h" // IWYU pragma: export
