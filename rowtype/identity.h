// The two identities of a row, from its column table: key identity (the key column alone) and content identity (every
// column in order). All only read; what a column operation would throw, these throw. The folds are unrolled at compile
// time behind one bounds check of the fixed part.
#pragma once

#include <algorithm>
#include <array>
#include <compare>
#include <iterator>

#include "rowtype/columnTable.h"

namespace Zorva::Internal {

/// Folds an array element into `seed`: the golden-ratio step of boost::hash_combine in 64 bits.
inline void foldElement(std::uint64_t& seed, std::uint64_t element) noexcept
{
   element += 0x9E3779B9;
   asm("" : "+r"(element)); // no reassociation: it makes the dependency chain through seed five cycles, not four
   seed ^= (seed << 6) + (seed >> 2) + element;
}

} // namespace Zorva::Internal

namespace Zorva {

/// Folds `value` into `hash`: one step of the 64-bit variant of MurmurHash2 by Austin Appleby, with an addend.
[[nodiscard]] constexpr std::uint64_t hashCombine(std::uint64_t hash, std::uint64_t value) noexcept
{
   constexpr std::uint64_t multiplier = 0xC6A4A7935BD1E995;
   value *= multiplier;
   value ^= value >> 47;
   value *= multiplier;
   hash ^= value;
   hash *= multiplier;
   return hash + 0xE6546B64;
}

/// What an array column feeds into a row hash: its elements folded in order, the low 32 bits of the result. 0 for an
/// empty array.
[[nodiscard]] inline std::uint64_t arrayColumnHash(const ArrayReference<std::uint32_t>& array) noexcept
{
   std::uint64_t seed = 0;
   for (const std::uint32_t element : array)
      Internal::foldElement(seed, element);
   return static_cast<std::uint32_t>(seed);
}

} // namespace Zorva

namespace Zorva::Internal {

/// What two array columns feed into a row hash. The two dependency chains run in parallel: together they take the time
/// of one.
[[nodiscard]] inline std::array<std::uint64_t, 2> arrayColumnHashes(const ArrayReference<std::uint32_t>& a,
                                                                    const ArrayReference<std::uint32_t>& b) noexcept
{
   std::uint64_t seedA = 0;
   std::uint64_t seedB = 0;
   auto atA = a.begin();
   auto atB = b.begin();
   const auto endA = a.end(); // each end reads the array's count
   const auto endB = b.end();
   for (const auto both = atA + std::min(endA - atA, endB - atB); atA != both; ++atA, ++atB) {
      foldElement(seedA, *atA);
      foldElement(seedB, *atB);
   }
   for (; atA != endA; ++atA)
      foldElement(seedA, *atA);
   for (; atB != endB; ++atB)
      foldElement(seedB, *atB);
   return {static_cast<std::uint32_t>(seedA), static_cast<std::uint32_t>(seedB)};
}

/// The key hash of a row of Table's type. Throws ZoNullRow.
template <const auto& Table>
std::uint64_t keyHash(const BaseRow& row)
{
   constexpr Column column = Table.keyColumn();
   return hashCombine(0, row.columnHash<ValueOf<column.type>>(column.offset));
}

template <const auto& Table>
bool keyEqual(const BaseRow& a, const BaseRow& b)
{
   constexpr Column column = Table.keyColumn();
   return a.columnEqual<ValueOf<column.type>>(column.offset, b, column.offset);
}

template <const auto& Table>
bool keyLess(const BaseRow& a, const BaseRow& b)
{
   constexpr Column column = Table.keyColumn();
   return a.columnLess<ValueOf<column.type>>(column.offset, b, column.offset);
}

template <const auto& Table>
std::weak_ordering keyOrder(const BaseRow& a, const BaseRow& b)
{
   return keyLess<Table>(a, b)   ? std::weak_ordering::less
          : keyLess<Table>(b, a) ? std::weak_ordering::greater
                                 : std::weak_ordering::equivalent;
}

/// Whether the array columns i and i + 1 are hashed together.
template <const auto& Table>
consteval bool beginsArrayPair(std::size_t i)
{
   const auto isArray = [](std::size_t column) { return Table.columns[column].type == Type::arrayOfU32; };
   return i + 1 < Table.size() && isArray(i) && isArray(i + 1) && (i == 0 || !beginsArrayPair<Table>(i - 1));
}

/// Stores what column I of a row feeds into its content hash in values[I]; the first of a pair of arrays also stores
/// the second one's. The row's checked fixed part is at `fixed`.
template <const auto& Table, std::size_t I>
void putHashValue(const BaseRow& row, const unsigned char* fixed, std::array<std::uint64_t, Table.size()>& values)
{
   constexpr Column column = Table.columns[I];
   if constexpr (beginsArrayPair<Table>(I)) {
      const auto pair = arrayColumnHashes(row.arrayColumn<std::uint32_t>(column.offset),
                                          row.arrayColumn<std::uint32_t>(Table.columns[I + 1].offset));
      values[I] = pair[0];
      values[I + 1] = pair[1];
   } else if constexpr (column.type == Type::arrayOfU32) {
      if constexpr (I == 0 || !beginsArrayPair<Table>(I - 1))
         values[I] = arrayColumnHash(row.arrayColumn<std::uint32_t>(column.offset));
   } else if constexpr (column.type == Type::row) {
      values[I] = column.nested->hash(row, column.offset);
   } else {
      values[I] = hashValue<ValueOf<column.type>>(fixed + column.offset);
   }
}

/// The content hash of a row of Table's type. Throws ZoNullRow, ZoOutOfRange.
template <const auto& Table>
std::uint64_t contentHash(const BaseRow& row)
{
   const unsigned char* const fixed = row.checkedBytes(0, Table.fixedLength);
   return withColumns<Table>([&](auto... i) {
      // All values first: a call between the steps would keep the dependency chain from overlapping with the loads.
      std::array<std::uint64_t, Table.size()> values;
      (putHashValue<Table, i>(row, fixed, values), ...);
      std::uint64_t hash = 0;
      ((hash = hashCombine(hash, values[i])), ...);
      return hash;
   });
}

/// Where the run of fixed columns that column I begins ends, or 0 when I begins none.
template <const auto& Table, std::size_t I>
consteval len_t fixedRunEnd()
{
   if (Table.columns[I].isVariable() || (I > 0 && !Table.columns[I - 1].isVariable()))
      return 0;
   std::size_t last = I;
   while (last + 1 < Table.size() && !Table.columns[last + 1].isVariable())
      ++last;
   return Table.columns[last].end();
}

/// Whether column I of both rows is equal; a run of fixed columns is compared at once, by its first column.
template <const auto& Table, std::size_t I>
bool columnOrRunEqual(const BaseRow& a, const unsigned char* fixedA, const BaseRow& b, const unsigned char* fixedB)
{
   constexpr Column column = Table.columns[I];
   constexpr len_t runEnd = fixedRunEnd<Table, I>();
   if constexpr (column.type == Type::arrayOfU32)
      return a.arrayColumnEqual<std::uint32_t>(column.offset, b, column.offset);
   else if constexpr (column.type == Type::row)
      return column.nested->equal(a, column.offset, b, column.offset);
   else if constexpr (runEnd != 0)
      return std::memcmp(fixedA + column.offset, fixedB + column.offset, runEnd - column.offset) == 0;
   else
      return true;
}

/// Whether all columns of the two rows are equal, whatever their type ids say. Throws ZoNullRow for `a`, then for
/// `b`; then ZoOutOfRange.
template <const auto& Table>
[[gnu::always_inline]] inline bool columnsEqual(const BaseRow& a, const BaseRow& b)
{
   b.requireBuffer();
   const unsigned char* const fixedA = a.checkedBytes(0, Table.fixedLength);
   const unsigned char* const fixedB = b.checkedBytes(0, Table.fixedLength);
   return withColumns<Table>([&](auto... i) { return (columnOrRunEqual<Table, i>(a, fixedA, b, fixedB) && ...); });
}

/// Content equality: the type ids first, then all columns. Rows of different types are unequal, however short.
template <const auto& Table>
bool contentEqual(const BaseRow& row, const BaseRow& other)
{
   const len_t type = row.rowType();
   return type == other.rowType() && columnsEqual<Table>(row, other);
}

/// Content order: the first column that differs decides, as does one in which both nested rows are absent (neither row
/// is less then, for an absent row equals nothing). An array column has no order: ZoNotSupported as soon as it
/// is reached. Throws ZoNullRow for `a`, then for `b`; then ZoOutOfRange.
template <const auto& Table>
bool contentLess(const BaseRow& a, const BaseRow& b)
{
   b.requireBuffer();
   const unsigned char* const fixedA = a.checkedBytes(0, Table.fixedLength);
   const unsigned char* const fixedB = b.checkedBytes(0, Table.fixedLength);
   bool less = false;
   const auto decides = [&](auto index) -> bool {
      constexpr Column column = Table.columns[index];
      if constexpr (column.type == Type::arrayOfU32) {
         ZoNotSupported::throwException("column less not supported for arrays");
      } else if constexpr (column.type == Type::row) {
         if (column.nested->equal(a, column.offset, b, column.offset))
            return false;
         less = column.nested->less(a, column.offset, b, column.offset);
         return true;
      } else {
         using Value = ValueOf<column.type>;
         const auto mine = comparable<Value>(fixedA + column.offset);
         const auto others = comparable<Value>(fixedB + column.offset);
         less = mine < others;
         return mine != others;
      }
   };
   withColumns<Table>([&](auto... i) { (void)(decides(i) || ...); });
   return less;
}

} // namespace Zorva::Internal
