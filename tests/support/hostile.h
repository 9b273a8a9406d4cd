// Everything that can be done with a row, done to rows whose bytes may say anything. Bytes that verifyRow accepts must
// bear it all; others are put under a typed row by force and may be refused, call by call. A throw out of here is a
// finding; so is what the address sanitizer sees, as every buffer is exactly as long as its bytes.
#pragma once

#include "rowtype/describe.h"
#include "rowtype/verify.h"
#include "tests/support/rows.h"
#include "tests/support/testRow.h"

namespace Test {

using Bytes = std::vector<unsigned char>;

/// The row's bytes, as far as its length and its buffer go.
template <class Row>
Bytes heldBytes(const Exposed<Row>& row)
{
   const std::size_t held = row.rowBuf_->length();
   if (row.rowOffset_ + sizeof(len_t) > held)
      return {};
   const std::size_t length = Zorva::load<len_t>(row.header());
   return {row.header(), row.header() + std::min(length, held - row.rowOffset_)};
}

template <class Row>
void useRow(const Exposed<Row>& row, bool sound)
{
   std::size_t sum = 0; // of everything read, so that nothing is left out
   const auto attempt = [&](auto... calls) {
      const auto one = [&](auto call) {
         try {
            sum += call();
         } catch (const Zorva::ZoNotSupported&) { // the order of arrays
         } catch (const Zorva::ZoNullRow&) {      // the hash of a nested row that is not there
         } catch (const std::runtime_error&) {
            if (sound)
               throw;
         }
      };
      (one(calls), ...);
   };
   // Changes a row that shares these bytes, and one that has them alone.
   const Bytes before = heldBytes(row);
   const auto change = [&](auto call) {
      Exposed<Row> shares(row), alone(row);
      alone.rowBuf_ = Zorva::RowBufHandle::copyOf(row.rowBuf_->data(), row.rowBuf_->length());
      alone.subRow_ = false;
      for (Exposed<Row>* const changed : {&shares, &alone})
         try {
            call(*changed);
         } catch (const std::runtime_error&) {
            if (sound || heldBytes(*changed) != before)
               throw std::logic_error("a refused change changed the row");
         }
   };

   const Exposed<Row> good;
   const BaseRow &base = row, &goodBase = good;
   constexpr len_t fdLen = Row::baseRowLength_;
   attempt([&] { return base.BaseRow::toString().size(); }, [&] { return row.toString().size(); },
           [&] { return row.toJson().size(); }, [&] { return Zorva::describeRow<Row>(row).size(); },
           [&] { return row.rowHash(); }, [&] { return Zorva::keyHash<Row::columns_>(row); },
           [&] { return Row(row.clone()).rowEqual(row); }, [&] { return Row(base).rowLength(); },
           [&] { return Zorva::verifyRow<Row>(row.bytes()).offset; });
   const auto compare = [&](const Row& a, const Row& b) {
      attempt([&] { return a.rowEqual(b); }, [&] { return a.rowLess(b); },
              [&] { return a.BaseRow::rowEqual(b); }, [&] { return Zorva::columnsEqual<Row::columns_>(a, b); },
              [&] { return Zorva::keyEqual<Row::columns_>(a, b); }, [&] { return Zorva::keyLess<Row::columns_>(a, b); });
   };
   compare(row, good), compare(good, row), compare(row, row);
   change([](auto& changed) { changed.clearRow(); });
   change([](auto& changed) { changed.BaseRow::clearRow(); });
   const auto useColumn = [&](auto index) {
      constexpr Zorva::Column column = Row::columns_.columns[index];
      constexpr len_t at = column.offset;
      using Value = Zorva::ValueOf<column.type>;
      if constexpr (column.type == Type::arrayOfU32) {
         attempt([&] { const auto array = row.template arrayColumn<unsigned>(at);
                       return std::accumulate(array.begin(), array.end(), 0u); },
                 [&] { return base.arrayColumnEqual<unsigned>(at, goodBase, at); });
         for (const std::size_t size : {0u, 1u, 9u})
            change([&](auto& changed) { changed.template setColumn<unsigned>(at, upTo(size), fdLen); });
      } else if constexpr (column.type == Type::row) {
         using Nested = std::conditional_t<column.nested == &Zorva::nestedType<NexthopInfoRow>, NexthopInfoRow, EcmpMemberListRow>;
         Exposed<Nested> view{BaseRow()};
         attempt([&] { return base.getColumnStruct<Nested>(at, view), std::size_t{view.isNull()}; });
         if (!view.isNull())
            useRow(view, sound);
      } else {
         attempt([&] { return base.columnLess<Value>(at, goodBase, at) + base.columnHash<Value>(at); });
         change([&](auto& changed) { changed.template setColumn<Value>(at, Value(), fdLen); });
      }
   };
   Zorva::withColumns<Row::columns_>([&](auto... indices) { (useColumn(indices), ...); });
   [[maybe_unused]] volatile const std::size_t used = sum;
   if (heldBytes(row) != before)
      throw std::logic_error("a change of a copy changed the row");
}

/// Does everything to a row of these bytes, at `position` in its buffer when it is there by force.
template <class Row>
void useBytes(const Bytes& bytes, len_t position = 0)
{
   if (Zorva::verifyRow<Row>(bytes).ok())
      return useRow<Row>(Zorva::adoptRow<Row>(bytes), true);
   if (failureOf([&] { Zorva::adoptRow<Row>(bytes); }).find("Zorva::ZoBadCast: bytes are no ") != 0)
      throw std::logic_error("bytes that are no row became one");
   Exposed<Row> forced{BaseRow()};
   forced.rowBuf_ = Zorva::RowBufHandle::copyOf(bytes.data(), static_cast<len_t>(bytes.size()));
   forced.rowOffset_ = position;
   if (bytes.size() >= std::size_t{position} + Zorva::zo_contentOffset)
      forced.rowTypeIs(Row::protRowType());
   useRow(forced, false);
}

} // namespace Test
