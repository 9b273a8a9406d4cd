// Sequences of operations on four rows, with a plain model beside them that is checked after every step. Bytes choose
// the operations, so one engine serves exhaustive short sequences, seeded random ones and a fuzzer. A row that differs
// from its model throws std::logic_error.
#pragma once

#include <memory>
#include <variant>

#include "routing_types/P4RuntimeRoutingEcmpTypes.h"
#include "rowtype/verify.h"
#include "tests/support/rows.h"

namespace Test {

using Zorva::Column, Zorva::Type;

class Sequence
{
public:
   explicit Sequence(std::span<const unsigned char> bytes) : bytes_(bytes) {}

   void run()
   {
      for (std::size_t i = 0; i < rows_.size(); ++i)
         create(i, {});
      while (!bytes_.empty()) {
         step();
         for (std::size_t i = 0; i < rows_.size(); ++i)
            check(i);
      }
   }

   static constexpr unsigned char operations = 16;

private:
   using Row = P4RuntimeRouting::EcmpMemberListRow; // the type with more to go wrong
   using Value = std::variant<std::uint64_t, std::vector<std::uint32_t>>; // a fixed column's bytes, or an array

   struct Model
   {
      int buffer = 0; // rows of one number share their bytes; 0 for a null row
      bool readOnly = false;
      bool view = false;
      std::vector<Value> values;
   };

   static constexpr auto& columns_ = Row::columns_.columns;
   static constexpr std::size_t idColumn = 4;

   template <class T>
   static T as(const Value& value)
   {
      return Zorva::load<T>(reinterpret_cast<const unsigned char*>(&std::get<0>(value)));
   }

   std::size_t next()
   {
      const std::size_t byte = bytes_.empty() ? 0 : bytes_.front();
      bytes_ = bytes_.subspan(bytes_.empty() ? 0 : 1);
      return byte;
   }

   void require(bool holds, std::string_view what) const
   {
      if (!holds)
         throw std::logic_error(std::string(what) + " after operation " + std::to_string(operation_));
   }

   void expect(const std::string& failure, const std::function<void()>& call) const
   {
      const std::string actual = failureOf(call);
      if (!actual.starts_with(failure))
         require(false, "wanted \"" + failure + "\", got \"" + actual + '"');
   }

   // Makes row i a new one: null without values.
   void create(std::size_t i, const std::vector<Value>& v)
   {
      rows_[i] = v.empty() ? std::make_unique<Row>(Zorva::BaseRow())
                           : std::make_unique<Row>(as<std::uint64_t>(v[0]), as<std::uint64_t>(v[1]), as<bool>(v[2]),
                                                   as<std::uint32_t>(v[3]), as<std::uint32_t>(v[4]),
                                                   std::get<1>(v[5]), std::get<1>(v[6]));
      models_[i] = {v.empty() ? 0 : ++lastBuffer_, false, false, v};
   }

   // A value that fits the column: small, or with every byte the same.
   Value valueFor(const Column& column)
   {
      const std::uint64_t byte = column.type == Type::boolean ? next() & 1 : next();
      const std::uint64_t repeated = byte % 4 == 0 ? byte * 0x0101010101010101 : byte;
      if (column.isVariable())
         return std::vector<std::uint32_t>(byte % 9, static_cast<std::uint32_t>(repeated));
      return repeated & ~std::uint64_t{0} >> (64 - 8 * column.width());
   }

   std::vector<Value> values()
   {
      std::vector<Value> values;
      for (const Column& column : columns_)
         values.push_back(valueFor(column));
      return values;
   }

   static std::vector<Value> zeroes()
   {
      using Array = std::vector<std::uint32_t>;
      return {0ul, 0ul, 0ul, 0ul, 0ul, Array(), Array()};
   }

   // What every modifier does first.
   void modelPrivateCopy(Model& model, bool keepsView)
   {
      if (model.buffer != 0 && (std::ranges::count(models_, model.buffer, &Model::buffer) > 1 || model.view))
         model.buffer = ++lastBuffer_;
      model.view = model.view && keepsView;
   }

   void write(std::size_t i)
   {
      Model& model = models_[i];
      Zorva::BaseRow& row = *rows_[i];
      const std::size_t number = next() % columns_.size();
      const Column& column = columns_[number];
      Value value = valueFor(column);
      const bool tooLong = column.isVariable() && next() == 255;
      if (tooLong)
         value = std::vector<std::uint32_t>(Zorva::maxArrayElements + 1);
      expect(model.buffer == 0 ? nullRow : model.readOnly ? readOnlyRow : tooLong ? "Zorva::ZoOutOfRange: array" : "none",
             [&] {
                switch (column.width() + 100 * column.isVariable()) {
                case 1: return row.setColumn<bool>(column.offset, as<bool>(value), 37);
                case 4: return row.setColumn<unsigned>(column.offset, as<unsigned>(value), 37);
                case 8: return row.setColumn<unsigned long>(column.offset, as<unsigned long>(value), 37);
                default: return row.setColumn<unsigned>(column.offset, std::get<1>(value), 37);
                }
             });
      modelPrivateCopy(model, model.buffer == 0);
      if (model.buffer != 0 && !model.readOnly && !tooLong)
         model.values[number] = value;
   }

   // A parent row with row b's bytes nested behind one slot, and row a a view of them.
   void view(std::size_t a, std::size_t b)
   {
      const auto nested = snapshot(*rows_[b]);
      const auto length = static_cast<Zorva::len_t>(nested.size());
      Exposed<Zorva::BaseRow> parent(static_cast<Zorva::len_t>(8 + length));
      parent.updateVCT(4, 8, length, false);
      std::ranges::copy(nested, parent.header() + 8);
      parent.readOnlyIs(models_[b].readOnly);
      parent.getColumnStruct(4, *rows_[a]);
      models_[a] = {++lastBuffer_, models_[b].readOnly, true, models_[b].values};
   }

   // Assigns row b, or what is no row of the type.
   void assign(std::size_t a, std::size_t b, bool moves, bool foreign)
   {
      Zorva::BaseRow other = foreign ? P4RuntimeRouting::NexthopInfoRow::key(1) : Zorva::BaseRow();
      Zorva::BaseRow& source = foreign ? other : *rows_[b];
      expect(foreign ? "Zorva::ZoBadCast: row type " : "none",
             [&] { moves ? *rows_[a] = std::move(source) : *rows_[a] = std::as_const(source); });
      if (foreign) {
         require(rows_[a]->rowLength() == 52, "a refused assignment is not undone");
         return create(a, {});
      }
      models_[a] = models_[b];
      if (moves && a != b)
         models_[b].buffer = 0;
   }

   void compare(std::size_t a, std::size_t b)
   {
      const Model& x = models_[a];
      const Model& y = models_[b];
      const bool anyNull = x.buffer == 0 || y.buffer == 0;
      expect(anyNull ? nullRow : "none", [&] {
         const bool equal = rows_[a]->rowEqual(*rows_[b]);
         require(equal == (x.values == y.values), "equality");
         require(!equal || rows_[a]->rowHash() == rows_[b]->rowHash(), "equal rows, different hashes");
      });
      if (anyNull)
         return;
      std::size_t i = 0;
      while (i < idColumn && x.values[i] == y.values[i])
         ++i;
      expect(x.values[i] == y.values[i] ? "Zorva::ZoNotSupported: column less" : "none",
             [&] { require(rows_[a]->rowLess(*rows_[b]) == (x.values[i] < y.values[i]), "order"); });
      const auto order = x.values[idColumn] <=> y.values[idColumn];
      const Row& row = *rows_[a];
      const Row& other = *rows_[b];
      require((row <=> other) == order && (row == other) == (order == 0) && (row < other) == (order < 0), "key");
      require((row.hash() == other.hash()) == (order == 0), "key hash");
   }

   void step()
   {
      operation_ = next() % operations;
      const std::size_t rows = next();
      const std::size_t a = rows % 4;
      const std::size_t b = rows / 4 % 4;
      const bool flag = (rows & 16) != 0;
      Model& model = models_[a];
      Model other = models_[b];
      switch (operation_) {
      case 0: return create(a, values());
      case 1: return create(a, {});
      case 2:
      case 3: return assign(a, b, operation_ == 3, flag);
      case 4:
      case 5: return write(a);
      case 6: // clear
         expect(model.buffer != 0 && model.readOnly ? readOnlyRow : "none", [&] { rows_[a]->clearRow(); });
         if (model.buffer == 0 || model.readOnly)
            return;
         modelPrivateCopy(model, true);
         model.values = zeroes();
         return;
      case 7: // copy, through the generic row if the flag says so
         rows_[a] = flag ? std::make_unique<Row>(Zorva::BaseRow(*rows_[b])) : std::make_unique<Row>(*rows_[b]);
         model = other;
         return;
      case 8:
      case 9: // clone, or the way of bytes from outside
         if (operation_ == 9 && other.buffer == 0)
            return;
         rows_[a] = std::make_unique<Row>(operation_ == 8 ? rows_[b]->clone() : Row::fromBytes(rows_[b]->bytes()));
         model = {other.buffer == 0 ? 0 : ++lastBuffer_, false, false, other.values};
         return;
      case 10: // key
         create(a, zeroes());
         model.values[idColumn] = next();
         *rows_[a] = Row::key(as<std::uint32_t>(model.values[idColumn]));
         return;
      case 11: return other.buffer == 0 ? void() : view(a, b);
      case 12: // share
         if (a == b || model.buffer == 0 || other.buffer == 0 || model.view || other.view)
            return;
         rows_[a]->shareContents(*rows_[b]);
         model.buffer = other.buffer;
         model.values = other.values;
         return;
      case 13: return compare(a, b);
      case 14:
         rows_[a]->readOnlyIs(flag);
         model.readOnly = flag;
         return;
      default: // render: the two ways to one text
         std::ostringstream text;
         text << std::showbase; // no longer plain, and shows in no decimal number
         text << *rows_[a];
         require(text.str() == rows_[a]->toString() && (model.buffer == 0 || rows_[a]->toJson().back() == '}'), "text");
      }
   }

   void check(std::size_t i)
   {
      const Model& model = models_[i];
      require(rows_[i]->isNull() == (model.buffer == 0), "null");
      if (model.buffer == 0)
         return;
      const auto owners = std::ranges::count(models_, model.buffer, &Model::buffer);
      require(rows_[i]->readOnly() == model.readOnly, "read-only");
      require((*rows_[i].*(&Exposed<Zorva::BaseRow>::rowBuf_)).use_count() == owners, "owner count");
      require(*rows_[i].*(&Exposed<Zorva::BaseRow>::subRow_) == model.view, "view");
      require(Zorva::verifyRow<Row>(rows_[i]->bytes(), Row::protRowType()).ok(), "verification");
      for (std::size_t c = 0; c < model.values.size(); ++c) {
         const Column& column = columns_[c];
         Value actual = std::uint64_t{0};
         if (column.isVariable())
            actual = std::ranges::equal(rows_[i]->arrayColumn<std::uint32_t>(column.offset), std::get<1>(model.values[c]))
                        ? model.values[c]
                        : Value();
         else
            std::memcpy(&std::get<0>(actual), rows_[i]->checkedBytes(column.offset, column.width()), column.width());
         require(actual == model.values[c], column.name);
      }
   }

   std::span<const unsigned char> bytes_;
   std::array<std::unique_ptr<Row>, 4> rows_;
   std::array<Model, 4> models_;
   int lastBuffer_ = 0;
   std::size_t operation_ = 0;
};

} // namespace Test
