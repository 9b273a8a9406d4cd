// Table, an in-memory table of rows of one type. It knows nothing of the type: it asks the type's registered generator
// for the operations of index 0 and keeps its rows by key through them. TableOf (embedded/tableOf.h) is its typed face.
//
// A row in the table shares its buffer with the one that was inserted; copy on write keeps the two apart. Rows handed
// out are references into the table, and generic: of no row type's class. A table that was moved from may only be
// assigned to, swapped and destroyed.
//
// Iteration visits every row once, in an order that differs from table to table and from run to run. What stays valid:
//
//   insert, replace that inserts       no iterator; references unless the table grows, which reserve can prevent
//   reserve that grows the table       nothing
//   replace of a row that is held      all; references show the new row
//   erase                              end(), and what is visited before the erased row; rows behind it may move
//   erase_if                           end(), and what is visited before the first erased row
//   clear                              end()
//   move, swap                         all, now in the other table
//
// Nobody can choose keys that collide: the hash function is drawn at random, another one for each table.
//
// Threads: any number may call the const operations (find, contains, size, iteration) at once. All others need the
// table for themselves: no other call may run beside them.
#pragma once

#include <concepts>
#include <cstddef>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "platform/export.h"
#include "rowstore/baseRow.h"

namespace Zorva::Embedded {

class ZORVA_EXPORT Table
{
   struct Impl;

public:
   class const_iterator;

   /// What a replace did.
   enum class Replaced { inserted, changed, unchanged };

   /// An empty table for the rows of the type named `rowTypeName`. The first row inserted decides which type id they
   /// have. Throws std::invalid_argument when no generator is installed under that name, or its type has no index 0.
   explicit Table(const std::string& rowTypeName);

   /// The same for rows with the type id `rowType`, from the first one on.
   Table(const std::string& rowTypeName, len_t rowType);

   ~Table();
   Table(Table&&) noexcept;
   Table& operator=(Table&&) noexcept;
   void swap(Table& other) noexcept;

   const std::string& rowTypeName() const;

   /// Inserts `row`. False, and nothing changes, when the table holds a row with its key. Throws ZoNullRow for a null
   /// row, ZoBadCast for a row of another type id than the table's, ZoOutOfRange for one too short to hold a key,
   /// std::bad_alloc, std::length_error as reserve; the table is unchanged then.
   bool insert(const BaseRow& row);

   /// Inserts `row`, in place of the row with its key if there is one. `unchanged`, with the old row kept, when the two
   /// are equal by content (rowEquals). Throws as insert, and ZoOutOfRange when either is too short for that
   /// comparison.
   Replaced replace(const BaseRow& row);

   /// The row with the key of `keyRow`, null when there is none. Allocates nothing. The type of `keyRow` is not tested.
   /// Throws ZoNullRow for a null row, ZoOutOfRange for one too short to hold a key.
   const BaseRow* find(const BaseRow& keyRow) const;
   bool contains(const BaseRow& keyRow) const { return find(keyRow) != nullptr; }

   /// Removes the row with the key of `keyRow`; false when there is none. Throws as find.
   bool erase(const BaseRow& keyRow);

   /// Removes the row at the iterator and returns the next one, or end(). An iteration that erases rows visits every
   /// row once, too. (To erase begin() again and again looks for the first row anew each time.)
   const_iterator erase(const_iterator at);

   /// Removes the rows for which predicate(row) is true and returns how many they were. All rows are asked first, each
   /// once: when `predicate` throws, or memory is short (std::bad_alloc), the table is unchanged. `predicate` may not
   /// change the table.
   template <std::predicate<const BaseRow&> Predicate>
   std::size_t erase_if(Predicate predicate);

   /// Removes all rows. The table keeps its room, and takes rows of the same type id.
   void clear() noexcept;

   std::size_t size() const noexcept;
   bool empty() const noexcept { return size() == 0; }

   /// Makes room for `rows` rows, so that inserting them neither moves a row nor allocates. Throws std::bad_alloc, and
   /// std::length_error beyond the 3.4 thousand million rows that a table can hold; the table is unchanged then.
   void reserve(std::size_t rows);

   class ZORVA_EXPORT const_iterator
   {
   public:
      using value_type = BaseRow;
      using reference = const BaseRow&;
      using pointer = const BaseRow*;
      using difference_type = std::ptrdiff_t;
      using iterator_category = std::forward_iterator_tag;

      const_iterator() noexcept = default;
      reference operator*() const;
      pointer operator->() const { return &**this; }
      const_iterator& operator++();
      const_iterator operator++(int)
      {
         const const_iterator before = *this;
         ++*this;
         return before;
      }
      friend bool operator==(const const_iterator&, const const_iterator&) noexcept = default;

   private:
      friend class Table;
      const_iterator(const Impl* table, std::size_t entry) noexcept : table_(table), entry_(entry) {}

      const Impl* table_ = nullptr;
      std::size_t entry_ = 0;
   };

   const_iterator begin() const noexcept;
   const_iterator end() const noexcept;

private:
   void remove(const_iterator at) noexcept;

   std::unique_ptr<Impl> impl_;
};

template <std::predicate<const BaseRow&> Predicate>
std::size_t Table::erase_if(Predicate predicate)
{
   std::vector<const_iterator> found;
   for (auto at = begin(); at != end(); ++at)
      if (predicate(*at))
         found.push_back(at);
   for (auto at = found.rbegin(); at != found.rend(); ++at) // what is visited before it stays where it is
      remove(*at);
   return found.size();
}

} // namespace Zorva::Embedded
