// Everything that can be done with a row, done to rows whose bytes may say anything. Bytes that verifyRow accepts must
// bear it all; others are put under a typed row by force and may be refused, call by call. A throw out of here is a
// finding; so is what the address sanitizer sees, as every buffer is exactly as long as its bytes.
#pragma once

#include "rowtype/canonical.h"
#include "rowtype/describe.h"
#include "rowtype/verify.h"
#include "tests/support/rows.h"

namespace Test {

/// The row's bytes, as far as its length and its buffer go.
inline std::string_view heldBytes(const Exposed<BaseRow>& row)
{
   const std::size_t room = std::max<std::size_t>(row.rowBuf_->length(), row.rowOffset_) - row.rowOffset_;
   const std::size_t length = room < sizeof(len_t) ? 0 : Zorva::Internal::load<len_t>(row.header());
   return {reinterpret_cast<const char*>(row.header()), std::min(length, room)};
}

/// Of a row's changes and nested views, every so manieth gets its turn; all do in the course of many rows.
inline unsigned turns = 1, turn = 0;
inline bool isDue() { return ++turn % turns == 0; }

template <class Row>
void useRow(const Exposed<Row>& row, bool sound)
{
   [[maybe_unused]] volatile std::size_t result = 0; // so that nothing is left out
   const auto attempt = [&](auto call) {
      const auto use = [&] { result = call(); };
      try {
         use();
      } catch (const std::runtime_error& e) { // sound rows refuse the order of arrays, and the hash of a row not there
         if (sound && !dynamic_cast<const Zorva::ZoNotSupported*>(&e) && !dynamic_cast<const Zorva::ZoNullRow*>(&e))
            throw;
      }
      if (heap.mayFail)
         eachAllocationFailing(failureOf(use), use, [](auto&&...) {});
   };
   // Changes a row that shares these bytes, and one that has them alone.
   const std::string before(heldBytes(row));
   const auto change = [&](auto call) {
      if (!isDue())
         return;
      Exposed<Row> shares(row), alone(row);
      alone.rowBuf_ = Zorva::RowBufHandle::copyOf(row.rowBuf_->data(), row.rowBuf_->length());
      alone.subRow_ = false;
      for (Exposed<Row>* const changed : {&shares, &alone}) {
         const auto unchanged = [&](auto&&...) {
            if (heldBytes(*changed) != before)
               throw std::logic_error("a refused change changed the row");
         };
         if (sound)
            eachAllocationFailing(
               "none", [&] { call(*changed); }, unchanged);
         else
            try {
               call(*changed);
            } catch (const std::runtime_error&) {
               unchanged();
            }
      }
   };
   const auto compare = [&](const Row& a, const Row& b) {
      attempt([&] { return a.rowEqual(b) + 2u * a.BaseRow::rowEqual(b); });
      attempt([&] { return a.rowLess(b) + 2u * Zorva::Internal::keyEqual<Row::columns_>(a, b); });
   };
   const auto useColumn = [&](auto index) {
      constexpr Zorva::Column column = Row::columns_.columns[index];
      constexpr len_t at = column.offset;
      using Value = Zorva::Internal::ValueOf<column.type>;
      if constexpr (column.type == Type::arrayOfU32) {
         attempt([&] { return std::ranges::count(row.template arrayColumn<unsigned>(at), 7u) >= 0; });
         change([](auto& changed) { changed.template setColumn<unsigned>(at, upTo(9), Row::baseRowLength_); });
         change([](auto& changed) {
            changed.template setColumn<unsigned>(at, upTo(changed.rowLength() % 2), Row::baseRowLength_);
         });
      } else if constexpr (column.type == Type::row) {
         constexpr bool isHop = &*column.nested == &Zorva::nestedType<NexthopInfoRow>;
         using Nested = std::conditional_t<isHop, NexthopInfoRow, EcmpMemberListRow>;
         Exposed<Nested> view{BaseRow()};
         attempt([&] { return row.template getColumnStruct<Nested>(at, view), view.isNull(); });
         if (!view.isNull() && isDue())
            useRow(view, sound);
      } else {
         // A typed reader gives the column's bytes, and refuses those outside the buffer, no others.
         const std::size_t begin = std::size_t{row.rowOffset_} + at, length = row.rowBuf_->length();
         const bool isInside = begin + column.width() <= length;
         const Value stored = isInside ? Zorva::Internal::load<Value>(row.header() + at) : Value();
         Value value{};
         const std::string end = failureOf([&] { value = row.template readColumn<Value>(at, Row::baseRowLength_); });
         if (value != stored || !end.starts_with(isInside ? "none" : "Zorva::ZoOutOfRange: row bytes at offset "))
            throw std::logic_error(std::string(column.name) + " read with " + end);
         change([](auto& changed) { changed.template setColumn<Value>(at, Value(), Row::baseRowLength_); });
      }
   };
   attempt([&] { return row.toString().size() + row.BaseRow::toString().size(); });
   attempt([&] { return row.toJson().size(); });
   attempt([&] { return Zorva::describeRow<Row>(row).size(); });
   attempt([&] { return row.rowHash() + Zorva::Internal::keyHash<Row::columns_>(row); });
   attempt([&] { return Row(row.clone()).rowEqual(row); });
   attempt([&] { return Zorva::verifyRow<Row>(row.bytes()).offset; });
   attempt([&] {
      const bool isRow = Zorva::verifyRow<Row>(Zorva::canonicalBytes<Row>(row), len_t{0}).ok();
      return isRow || !sound ? isRow : throw std::logic_error("canonical bytes are no row");
   });
   compare(row, Row()), compare(Row(), row), compare(row, row);
   change([](auto& changed) { changed.clearRow(); });
   change([](auto& changed) { changed.BaseRow::clearRow(); });
   Zorva::Internal::withColumns<Row::columns_>([&](auto... indices) { (useColumn(indices), ...); });
   if (heldBytes(row) != before)
      throw std::logic_error("a change of a copy changed the row");
}

/// Does everything to a row of these bytes, at `position` in its buffer when it is there by force.
template <class Row>
void useBytes(const Bytes& bytes, len_t position = 0)
{
   if (Zorva::verifyRow<Row>(bytes).ok())
      return useRow<Row>(Zorva::Internal::adoptRow<Row>(bytes), true);
   Exposed<Row> forced{BaseRow()};
   forced.rowBuf_ = Zorva::RowBufHandle::copyOf(bytes.data(), static_cast<len_t>(bytes.size()));
   forced.rowOffset_ = position;
   if (bytes.size() >= std::size_t{position} + Zorva::zo_contentOffset)
      forced.rowTypeIs(Row::protRowType());
   useRow(forced, false);
}

} // namespace Test
