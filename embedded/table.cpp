#include "embedded/table.h"

#include <atomic>
#include <optional>
#include <random>
#include <stdexcept>
#include <utility>

#include "embedded/hashIndex.h"
#include "embedded/registry.h"

namespace Zorva::Embedded {

namespace {

std::shared_ptr<RowOpsBase> keyOps(const std::string& rowTypeName)
{
   RowOpsGenerator* const generator = rowOpsGenerator(rowTypeName);
   if (generator == nullptr)
      throw std::invalid_argument("no row operations are installed for row type \"" + rowTypeName + "\"");
   std::shared_ptr<RowOpsBase> ops = (*generator)(0);
   if (ops == nullptr)
      throw std::invalid_argument("row type \"" + rowTypeName + "\" has no index 0");
   return ops;
}

/// An odd number, another one at each call, that cannot be predicted. The process asks the system for randomness once;
/// splitmix64 (Steele, Lea, Flood) makes all numbers of that.
std::uint64_t randomMultiplier()
{
   static std::atomic<std::uint64_t> state = [] {
      std::random_device random;
      return std::uint64_t{random()} << 32 | random();
   }();
   std::uint64_t z = state.fetch_add(0x9E3779B97F4A7C15, std::memory_order_relaxed);
   z = (z ^ z >> 30) * 0xBF58476D1CE4E5B9;
   z = (z ^ z >> 27) * 0x94D049BB133111EB;
   return (z ^ z >> 31) | 1;
}

} // namespace

struct __attribute__((visibility("hidden"))) Table::Impl
{
   Impl(const std::string& typeName, std::optional<len_t> type)
      : rowTypeName_(typeName), rowType_(type), index_(keyOps(typeName), randomMultiplier())
   {
   }

   /// The entry of the row with `row`'s key, none when there was none: `row` is inserted then.
   std::optional<std::size_t> insertUnlessHeld(const BaseRow& row)
   {
      const std::uint32_t hash = index_.hashOf(row);
      const len_t type = row.rowType();
      if (rowType_ && type != *rowType_)
         Internal::throwBadCast(type, *rowType_, row.rowPosition());
      const std::size_t at = index_.probe(row, hash);
      if (!index_.isFree(at))
         return at;
      index_.insert(at, row, hash);
      rowType_ = type;
      return std::nullopt;
   }

   std::size_t probe(const BaseRow& keyRow) const { return index_.probe(keyRow, index_.hashOf(keyRow)); }

   std::string rowTypeName_;
   std::optional<len_t> rowType_; ///< of the rows; until the first one is inserted, it may be unknown
   Internal::HashIndex index_;
};

Table::Table(const std::string& rowTypeName) : impl_(std::make_unique<Impl>(rowTypeName, std::nullopt)) {}
Table::Table(const std::string& rowTypeName, len_t rowType) : impl_(std::make_unique<Impl>(rowTypeName, rowType)) {}
Table::~Table() = default;
Table::Table(Table&&) noexcept = default;
Table& Table::operator=(Table&&) noexcept = default;

void Table::swap(Table& other) noexcept { impl_.swap(other.impl_); }

const std::string& Table::rowTypeName() const { return impl_->rowTypeName_; }

bool Table::insert(const BaseRow& row) { return !impl_->insertUnlessHeld(row); }

Table::Replaced Table::replace(const BaseRow& row)
{
   const std::optional<std::size_t> held = impl_->insertUnlessHeld(row);
   if (!held)
      return Replaced::inserted;
   if (impl_->index_.ops().rowEquals(impl_->index_[*held], row))
      return Replaced::unchanged;
   impl_->index_.replace(*held, row);
   return Replaced::changed;
}

const BaseRow* Table::find(const BaseRow& keyRow) const
{
   const std::size_t at = impl_->probe(keyRow);
   return impl_->index_.isFree(at) ? nullptr : &impl_->index_[at];
}

bool Table::erase(const BaseRow& keyRow)
{
   const std::size_t at = impl_->probe(keyRow);
   if (impl_->index_.isFree(at))
      return false;
   impl_->index_.remove(at);
   return true;
}

Table::const_iterator Table::erase(const_iterator at)
{
   remove(at);
   return impl_->index_.isFree(at.entry_) ? ++at : at; // a row from behind may have taken the entry
}

void Table::remove(const_iterator at) noexcept { impl_->index_.remove(at.entry_); }

void Table::clear() noexcept { impl_->index_.clear(); }

std::size_t Table::size() const noexcept { return impl_->index_.size(); }

void Table::reserve(std::size_t rows) { impl_->index_.reserve(rows); }

Table::const_iterator::reference Table::const_iterator::operator*() const { return table_->index_[entry_]; }

Table::const_iterator& Table::const_iterator::operator++()
{
   entry_ = table_->index_.after(entry_);
   return *this;
}

Table::const_iterator Table::begin() const noexcept { return ++end(); }

Table::const_iterator Table::end() const noexcept { return {impl_.get(), impl_->index_.end()}; }

} // namespace Zorva::Embedded
