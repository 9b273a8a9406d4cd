// Array columns of BaseRow. The data that a non-empty array's slot names:
//
//   data byte     0       1             2
//            | elemCount | xxxx|elemCount | element 0 | element 1 | ...    elements packed, no alignment
//              bits 0-7        bits 8-11
//
// The four bits marked x are not part of the count; a store clears the lowest of them and keeps the rest. An empty
// array has no data at all: its slot is empty. Included by rowstore/baseRow.h, which documents the members of BaseRow.
#pragma once

#include <algorithm>
#include <compare>
#include <concepts>
#include <iterator>
#include <limits>
#include <memory>
#include <ostream>
#include <ranges>
#include <span>
#include <string>
#include <vector>

#include "rowstore/baseRow.h"
#include "rowstore/decimal.h"

namespace Zorva::Internal {

/// Writes an array that is not empty at `at`: the count, the header's upper three bits kept, and the elements.
template <class T>
inline void storeArray(unsigned char* at, std::span<const T> value) noexcept
{
   constexpr len_t keptBits = 0xe000;
   store<len_t>(at, static_cast<len_t>((load<len_t>(at) & keptBits) | value.size()));
   std::memcpy(at + arrayHeaderLength, value.data(), value.size_bytes());
}

} // namespace Zorva::Internal

namespace Zorva {

/// A read-only view of one array column of one row: where the array's header lies, and how many bytes the slot named
/// when the view was made. Owns nothing; valid while the row's bytes stay where they are, which any store into the row
/// may end. The count is read from the header at each call, so a view shows a shorter array that was stored over the
/// first; a count of more elements than those bytes hold is cut to what they hold. Elements are returned by value,
/// since they are not aligned.
///
/// Iterators remember positions, not the count: those made before such a store go over the same positions as before,
/// where elements of the old array may still lie behind the new one's end.
template <class T>
class ZORVA_EXPORT ArrayReference
{
public:
   /// Random access; yields values, so it satisfies std::random_access_iterator but is an input iterator to
   /// algorithms from before C++20.
   class iterator
   {
   public:
      using value_type = T;
      using difference_type = std::ptrdiff_t;
      using reference = T;
      using pointer = void;
      using iterator_category = std::input_iterator_tag;
      using iterator_concept = std::random_access_iterator_tag;

      iterator() noexcept = default;
      explicit iterator(const unsigned char* at) noexcept : at_(at) {}

      T operator*() const noexcept { return Internal::load<T>(at_); }
      T operator[](difference_type n) const noexcept { return *(*this + n); }

      iterator& operator+=(difference_type n) noexcept
      {
         at_ += n * width;
         return *this;
      }
      iterator& operator-=(difference_type n) noexcept { return *this += -n; }
      iterator& operator++() noexcept { return *this += 1; }
      iterator& operator--() noexcept { return *this -= 1; }
      iterator operator++(int) noexcept { return std::exchange(*this, *this + 1); }
      iterator operator--(int) noexcept { return std::exchange(*this, *this - 1); }

      friend iterator operator+(iterator i, difference_type n) noexcept { return i += n; }
      friend iterator operator+(difference_type n, iterator i) noexcept { return i += n; }
      friend iterator operator-(iterator i, difference_type n) noexcept { return i -= n; }
      friend difference_type operator-(iterator a, iterator b) noexcept { return (a.at_ - b.at_) / width; }
      friend bool operator==(iterator, iterator) noexcept = default;
      friend auto operator<=>(iterator, iterator) noexcept = default;

   private:
      static constexpr difference_type width = sizeof(T);

      const unsigned char* at_ = nullptr;
   };
   using const_iterator = iterator;
   using value_type = T;

   /// A view of no elements.
   ArrayReference() noexcept = default;

   /// A view of the array data of `dataLength` bytes at `data`, header included; of no elements when these are too few
   /// for a header.
   ArrayReference(const unsigned char* data, len_t dataLength) noexcept
   {
      if (dataLength >= Internal::arrayHeaderLength) {
         header_ = data;
         dataLength_ = dataLength;
      }
   }

   /// The element at `index`. Throws ZoOutOfRange "Invalid Index".
   T operator[](std::size_t index) const
   {
      if (index >= size()) [[unlikely]]
         ZoOutOfRange::throwException("Invalid Index");
      return Internal::load<T>(header_ + Internal::arrayHeaderLength + index * sizeof(T));
   }

   std::size_t size() const noexcept
   {
      if (header_ == nullptr)
         return 0;
      const std::size_t held = (dataLength_ - std::size_t{Internal::arrayHeaderLength}) / sizeof(T);
      return std::min<std::size_t>(Internal::load<len_t>(header_) & countMask, held);
   }

   bool empty() const noexcept { return size() == 0; }

   /// The first or last element. Throw ZoOutOfRange "Invalid Index" when there is none.
   T front() const { return (*this)[0]; }
   T back() const { return (*this)[size() - 1]; }

   iterator begin() const noexcept { return iterator(bytes().data()); }
   iterator end() const noexcept { return iterator(std::to_address(bytes().end())); }

   /// The elements' bytes as stored: little-endian, packed, without the header.
   std::span<const unsigned char> bytes() const noexcept
   {
      if (header_ == nullptr)
         return {};
      return {header_ + Internal::arrayHeaderLength, size() * sizeof(T)};
   }

   /// A copy of the elements.
   operator std::vector<T>() const { return std::vector<T>(begin(), end()); }

   /// "[1,2,3]", plain decimal whatever the locale.
   std::string toString() const;

   friend std::ostream& operator<<(std::ostream& os, const ArrayReference& array) { return os << array.toString(); }

   /// Whether the range, another view for example, has the same elements in the same order.
   template <std::ranges::input_range R>
   requires std::equality_comparable_with<T, std::ranges::range_reference_t<R>>
   friend bool operator==(const ArrayReference& array, R&& range) { return std::ranges::equal(array, range); }

   static constexpr len_t countMask = maxArrayElements; ///< all bits of the count

private:
   const unsigned char* header_ = nullptr; ///< null for no elements
   len_t dataLength_ = 0;                  ///< at least arrayHeaderLength where there is a header
};

template <class T>
inline std::string ArrayReference<T>::toString() const
{
   constexpr std::size_t widest = std::numeric_limits<T>::digits10 + 3; // digits, sign and comma of one element
   const std::span<const unsigned char> elements = bytes();
   std::string text(2 + elements.size() / sizeof(T) * widest, '[');
   char* at = text.data() + 1;
   for (std::size_t i = 0; i < elements.size(); i += sizeof(T)) {
      at = Internal::putDecimal(at, Internal::load<T>(elements.data() + i));
      *at++ = ',';
   }
   if (!elements.empty())
      --at;
   *at++ = ']';
   text.resize(static_cast<std::size_t>(at - text.data()));
   return text;
}

template <class T>
inline ArrayReference<T> BaseRow::arrayColumn(len_t offset) const
{
   if (isNull())
      return {};
   const VColType slot = slotAt(offset);
   if (slot.isEmpty())
      return {};
   return {checkedBytesOfBuffer(slot.dataOffset(), slot.dataLength()), slot.dataLength()};
}

template <class T>
inline bool BaseRow::arrayColumnEqual(len_t offset, const BaseRow& other, len_t otherOffset) const
{
   const auto mine = arrayColumn<T>(offset).bytes();
   const auto others = other.arrayColumn<T>(otherOffset).bytes();
   return mine.size() == others.size() && (mine.empty() || std::memcmp(mine.data(), others.data(), mine.size()) == 0);
}

template <class T>
std::string BaseRow::aryColumnToString(len_t offset) const
{
   return arrayColumn<T>(offset).toString();
}

template <class T, ContiguousRangeOf<T> R>
inline void BaseRow::setColumn(len_t offset, const R& value, len_t fdLen)
{
   if (fdLen == 0) [[unlikely]]
      Internal::contractViolated("fdLen != 0", Internal::arraySetColumnLocation);
   ensurePrivate();
   updateFixElemArray<T>(offset, fdLen, std::span<const T>(std::ranges::data(value), std::ranges::size(value)));
}

template <class T>
inline void BaseRow::setColumn(len_t offset, const std::vector<T>& value, len_t fdLen)
{
   setColumn<T>(offset, std::span<const T>(value), fdLen);
}

template <class T>
void BaseRow::updateFixElemArray(len_t offset, len_t fdLen, const std::vector<T>& value)
{
   updateFixElemArray<T>(offset, fdLen, std::span<const T>(value));
}

template <class T>
void BaseRow::updateFixElemArray(len_t offset, len_t fdLen, std::span<const T> value)
{
   requireBuffer();
   requireWritable();
   if (!Internal::mayStoreArray(value.size(), sizeof(T)))
      return;
   if (value.empty()) {
      slotAt(offset).empty();
      return;
   }
   const auto length = static_cast<len_t>(Internal::arrayDataLength(value.size(), sizeof(T)));
   const len_t dataOffset = makeFreeSpace(slotAt(offset), length, fdLen);
   Internal::storeArray(header() + dataOffset, value);
   slotAt(offset).fieldsAre(dataOffset, length, true);
}

} // namespace Zorva

/// Iterators outlive the view they come from: they point into the row's bytes.
template <class T>
inline constexpr bool std::ranges::enable_borrowed_range<Zorva::ArrayReference<T>> = true;
