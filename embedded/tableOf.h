// TableOf<Row>, a Table of the rows of one type that is known when the program is compiled; and what reads the rows of
// either as rows of their type. What Table says of buffers, threads, iterators and references holds here, too, but for
// this: a row handed out is a Row of its own that shares the buffer, and stays as it is whatever happens to the table.
//
// Every row's type id is compared with the type's when the row is inserted, and not again when it is read.
#pragma once

#include <algorithm>
#include <concepts>
#include <functional>
#include <optional>
#include <vector>

#include "embedded/table.h"

namespace Zorva::Embedded {

template <class Row>
class TableOf
{
   /// A Row over the buffer of a row in the table. The base's assignment does not look at the type id.
   static Row typed(const BaseRow& row)
   {
      Row typed{BaseRow()};
      typed.BaseRow::operator=(row);
      return typed;
   }

public:
   using Replaced = Table::Replaced;

   /// An empty table. Throws as Table, and ZoNullRow when the registry does not know the row type.
   TableOf() : table_(Row::rowTypeName(), Row::protRowType()) {}

   void swap(TableOf& other) noexcept { table_.swap(other.table_); }

   // As in Table. Rows of other types and generic ones, which would convert to a Row, do not compile.
   bool insert(const std::derived_from<Row> auto& row) { return table_.insert(row); }
   Replaced replace(const std::derived_from<Row> auto& row) { return table_.replace(row); }
   bool contains(const std::derived_from<Row> auto& keyRow) const { return table_.contains(keyRow); }
   bool erase(const std::derived_from<Row> auto& keyRow) { return table_.erase(keyRow); }
   void clear() noexcept { table_.clear(); }
   std::size_t size() const noexcept { return table_.size(); }
   bool empty() const noexcept { return table_.empty(); }
   void reserve(std::size_t rows) { table_.reserve(rows); }

   /// The row with the key of `keyRow`, none when there is none. Throws as Table::find.
   std::optional<Row> find(const std::derived_from<Row> auto& keyRow) const
   {
      const BaseRow* const row = table_.find(keyRow);
      return row != nullptr ? std::optional<Row>(typed(*row)) : std::nullopt;
   }

   template <std::predicate<const Row&> Predicate>
   std::size_t erase_if(Predicate predicate)
   {
      return table_.erase_if([&](const BaseRow& row) { return predicate(typed(row)); });
   }

   /// Gives the rows by value.
   class const_iterator
   {
   public:
      using value_type = Row;
      using reference = Row;
      using pointer = void;
      using difference_type = std::ptrdiff_t;
      using iterator_category = std::input_iterator_tag;
      using iterator_concept = std::forward_iterator_tag;

      const_iterator() noexcept = default;
      Row operator*() const { return typed(*at_); }
      const_iterator& operator++()
      {
         ++at_;
         return *this;
      }
      const_iterator operator++(int) { return const_iterator(at_++); }
      friend bool operator==(const const_iterator&, const const_iterator&) noexcept = default;

   private:
      friend class TableOf;
      explicit const_iterator(Table::const_iterator at) noexcept : at_(at) {}

      Table::const_iterator at_;
   };

   const_iterator begin() const noexcept { return const_iterator(table_.begin()); }
   const_iterator end() const noexcept { return const_iterator(table_.end()); }
   const_iterator erase(const_iterator at) { return const_iterator(table_.erase(at.at_)); }

private:
   Table table_;
};

/// The table's row with the key of `key`, none when there is none. Throws as Table::find, and ZoBadCast when it is of
/// another type.
template <class Row>
std::optional<Row> findRow(const Table& table, const Row& key)
{
   const BaseRow* const row = table.find(key);
   return row != nullptr ? std::optional<Row>(*row) : std::nullopt;
}

/// The rows of a Table or a TableOf, sorted by what `projection` makes of a row: by key if there is none. Throws what
/// that throws, std::bad_alloc, and ZoBadCast for a row of another type.
template <class Row, class AnyTable, class Projection = std::identity>
std::vector<Row> rowsInOrder(const AnyTable& table, Projection projection = {})
{
   std::vector<Row> rows(table.begin(), table.end());
   std::ranges::sort(rows, {}, projection);
   return rows;
}

} // namespace Zorva::Embedded
