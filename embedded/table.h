// Table, an in-memory table of rows of one type. It knows nothing of the type: it asks the type's registered generator
// for the operations of index 0 and keeps its rows by key through them.
//
// A filed row shares its buffer with the row it was filed from; copy on write keeps the two apart. Rows handed out are
// references into the table, valid until the next insert, replace, erase or reserve, and generic: of no row type's
// class. A table that was moved from may only be assigned to and destroyed.
//
// Threads: any number may call the const operations (find, contains, size, iteration) at once. insert, replace, erase
// and reserve need the table for themselves: no other call may run beside them.
#pragma once

#include <cstddef>
#include <iterator>
#include <memory>
#include <string>

#include "platform/export.h"
#include "rowstore/baseRow.h"

namespace Zorva::Embedded {

class ZORVA_EXPORT Table
{
   struct Impl;

public:
   /// What a replace did.
   enum class Replaced { inserted, changed, unchanged };

   /// An empty table for the rows of the type named `rowTypeName`. Throws std::invalid_argument when no generator is
   /// installed under that name, or its type has no index 0.
   explicit Table(const std::string& rowTypeName);
   ~Table();
   Table(Table&&) noexcept;
   Table& operator=(Table&&) noexcept;

   const std::string& rowTypeName() const;

   /// Files `row`. False, and nothing changes, when the table holds a row with its key. Throws ZoNullRow for a null
   /// row, ZoBadCast for a row of another type than the first one filed, ZoOutOfRange for one too short to hold a key,
   /// std::bad_alloc, std::length_error as reserve; the table is unchanged then.
   bool insert(const BaseRow& row);

   /// Files `row`, in place of the row with its key if there is one. `unchanged`, with the old row kept, when the two
   /// are equal by content (rowEquals). Throws as insert, and ZoOutOfRange when either is too short for that
   /// comparison.
   Replaced replace(const BaseRow& row);

   /// The row with the key of `keyRow`, null when there is none. Allocates nothing. The type of `keyRow` is not tested.
   /// Throws ZoNullRow for a null row, ZoOutOfRange for one too short to hold a key.
   const BaseRow* find(const BaseRow& keyRow) const;
   bool contains(const BaseRow& keyRow) const { return find(keyRow) != nullptr; }

   /// Removes the row with the key of `keyRow`; false when there is none. Throws as find.
   bool erase(const BaseRow& keyRow);

   std::size_t size() const noexcept;
   bool empty() const noexcept { return size() == 0; }

   /// Makes room for `rows` rows, so that filing them neither moves a row nor allocates. Throws std::bad_alloc, and
   /// std::length_error beyond the 3.4 thousand million rows that a table can hold; the table is unchanged then.
   void reserve(std::size_t rows);

   /// Walks the rows in no particular order.
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
         const_iterator before = *this;
         ++*this;
         return before;
      }
      friend bool operator==(const const_iterator&, const const_iterator&) noexcept = default;

   private:
      friend class Table;
      const_iterator(const Impl* table, std::size_t position) noexcept : table_(table), position_(position) {}

      const Impl* table_ = nullptr;
      std::size_t position_ = 0;
   };

   const_iterator begin() const noexcept;
   const_iterator end() const noexcept;

private:
   std::unique_ptr<Impl> impl_;
};

} // namespace Zorva::Embedded
