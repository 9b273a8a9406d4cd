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

using P4RuntimeRouting::EcmpMemberListRow, P4RuntimeRouting::NexthopInfoRow;
using Zorva::Column, Zorva::Type;

class Sequence
{
public:
   explicit Sequence(std::span<const unsigned char> bytes) : bytes_(bytes) {}

   void run()
   {
      for (std::size_t i = 0; i < rows_.size(); ++i)
         create(i, false, {});
      while (!bytes_.empty()) {
         step();
         for (std::size_t i = 0; i < rows_.size(); ++i)
            check(i);
      }
   }

   static constexpr unsigned char operations = 16;

private:
   using Value = std::variant<std::uint64_t, std::vector<std::uint32_t>>; // a fixed column's bytes, or an array

   static std::span<const Column> columnsOf(bool isGroup)
   {
      return isGroup ? std::span<const Column>(EcmpMemberListRow::columns_.columns)
                     : std::span<const Column>(NexthopInfoRow::columns_.columns);
   }

   struct Model
   {
      bool isGroup = false;
      int buffer = 0; // rows of one number share their bytes; 0 for a null row
      bool readOnly = false;
      bool view = false;
      std::vector<Value> values;

      std::span<const Column> columns() const { return columnsOf(isGroup); }
   };

   static constexpr std::size_t idColumn = 4;

   // Calls use(T()) with the value type of a fixed column.
   template <class Use>
   static auto withType(Type type, Use use)
   {
      switch (type) {
      case Type::boolean: return use(bool());
      case Type::u16: return use(std::uint16_t());
      case Type::i32: return use(std::int32_t());
      case Type::u64: return use(std::uint64_t());
      case Type::ethAddr: return use(Zorva::EthAddr());
      default: return use(std::uint32_t());
      }
   }

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

   // Calls use(row) with row i as what it is.
   template <class Use>
   void with(std::size_t i, Use use)
   {
      if (models_[i].isGroup)
         use(static_cast<EcmpMemberListRow&>(*rows_[i]));
      else
         use(static_cast<NexthopInfoRow&>(*rows_[i]));
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
   void create(std::size_t i, bool isGroup, std::vector<Value> v)
   {
      using u16 = std::uint16_t;
      using u32 = std::uint32_t;
      using u64 = std::uint64_t;
      if (v.empty() && isGroup)
         rows_[i] = std::make_unique<EcmpMemberListRow>(Zorva::BaseRow());
      else if (v.empty())
         rows_[i] = std::make_unique<NexthopInfoRow>(Zorva::BaseRow());
      else if (isGroup)
         rows_[i] = std::make_unique<EcmpMemberListRow>(as<u64>(v[0]), as<u64>(v[1]), as<bool>(v[2]), as<u32>(v[3]),
                                                        as<u32>(v[4]), std::get<1>(v[5]), std::get<1>(v[6]));
      else
         rows_[i] = std::make_unique<NexthopInfoRow>(as<u64>(v[0]), as<u64>(v[1]), as<bool>(v[2]), as<u32>(v[3]),
                                                     as<u32>(v[4]), as<u32>(v[5]), as<Zorva::EthAddr>(v[6]),
                                                     as<Zorva::EthAddr>(v[7]), as<bool>(v[8]), as<int>(v[9]),
                                                     as<u16>(v[10]));
      models_[i] = {isGroup, v.empty() ? 0 : ++lastBuffer_, false, false, std::move(v)};
   }

   // A value that fits the column: small, or with every byte the same.
   Value valueFor(const Column& column)
   {
      const std::uint64_t byte = column.type == Type::boolean ? next() & 1 : next();
      const std::uint64_t repeated = byte % 4 == 0 ? byte * 0x0101010101010101 : byte;
      if (column.type == Type::arrayOfU32)
         return std::vector<std::uint32_t>(byte % 9, static_cast<std::uint32_t>(repeated));
      return repeated & ~std::uint64_t{0} >> (64 - 8 * column.width());
   }

   std::vector<Value> valuesFor(bool isGroup, bool zero)
   {
      std::vector<Value> values;
      for (const Column& column : columnsOf(isGroup))
         if (zero)
            values.push_back(column.isVariable() ? Value(std::vector<std::uint32_t>()) : Value(std::uint64_t{0}));
         else
            values.push_back(valueFor(column));
      return values;
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
      const std::size_t number = next() % model.columns().size();
      const Column& column = model.columns()[number];
      const Zorva::len_t fdLen = model.columns().back().end();
      Value value = valueFor(column);
      const bool tooLong = column.isVariable() && next() == 255;
      if (tooLong)
         value = std::vector<std::uint32_t>(Zorva::maxArrayElements + 1);
      expect(model.buffer == 0 ? nullRow : model.readOnly ? readOnlyRow : tooLong ? "Zorva::ZoOutOfRange: array" : "none",
             [&] {
                if (column.isVariable())
                   return rows_[i]->setColumn<std::uint32_t>(column.offset, std::get<1>(value), fdLen);
                withType(column.type, [&]<class T>(T) { rows_[i]->setColumn<T>(column.offset, as<T>(value), fdLen); });
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
      const Model model = models_[b];
      create(a, model.isGroup, {});
      with(a, [&](auto& row) { parent.getColumnStruct(4, row); });
      models_[a] = {model.isGroup, ++lastBuffer_, model.readOnly, true, model.values};
   }

   void assign(std::size_t a, std::size_t b, bool moves)
   {
      Model model = models_[b];
      const bool refused = model.buffer != 0 && models_[a].isGroup != model.isGroup;
      expect(refused ? "Zorva::ZoBadCast: row type " : "none", [&] {
         with(a, [&](auto& row) { moves ? row = std::move(*rows_[b]) : row = std::as_const(*rows_[b]); });
      });
      require(!refused || !rows_[a]->isNull(), "a refused assignment is not undone");
      if (moves && a != b)
         models_[b].buffer = 0;
      model.isGroup = models_[a].isGroup;
      models_[a] = model;
      if (refused)
         create(a, model.isGroup, {});
   }

   void compare(std::size_t a, std::size_t b)
   {
      const Model& x = models_[a];
      const Model& y = models_[b];
      const bool anyNull = x.buffer == 0 || y.buffer == 0;
      const bool equal = x.isGroup == y.isGroup && x.values == y.values;
      expect(anyNull ? nullRow : "none", [&] {
         require(rows_[a]->rowEqual(*rows_[b]) == equal, "equality");
         require(!equal || rows_[a]->rowHash() == rows_[b]->rowHash(), "equal rows, different hashes");
      });
      if (anyNull || x.isGroup != y.isGroup)
         return;
      std::size_t i = 0;
      while (i < idColumn + (x.isGroup ? 0 : 6) && x.values[i] == y.values[i])
         ++i;
      const bool less = withType(x.columns()[i].type, [&]<class T>(T) {
         if constexpr (std::same_as<T, Zorva::EthAddr>)
            return std::memcmp(as<T>(x.values[i]).bytes(), as<T>(y.values[i]).bytes(), 6) < 0;
         else
            return as<T>(x.values[i]) < as<T>(y.values[i]);
      });
      expect(x.isGroup && x.values[i] == y.values[i] ? "Zorva::ZoNotSupported: column less" : "none",
             [&] { require(rows_[a]->rowLess(*rows_[b]) == less, "order"); });
      with(a, [&]<class Row>(Row& row) {
         const auto& other = static_cast<const Row&>(*rows_[b]);
         const auto order = as<std::uint32_t>(x.values[idColumn]) <=> as<std::uint32_t>(y.values[idColumn]);
         require((row <=> other) == order && (row == other) == (order == 0) && (row < other) == (order < 0), "key");
         require((row.hash() == other.hash()) == (order == 0), "key hash");
      });
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
      case 0: return create(a, flag, valuesFor(flag, false));
      case 1: return create(a, flag, {});
      case 2:
      case 3: return assign(a, b, operation_ == 3);
      case 4:
      case 5: return write(a);
      case 6: // clear
         expect(model.buffer != 0 && model.readOnly ? readOnlyRow : "none", [&] { rows_[a]->clearRow(); });
         if (model.buffer == 0 || model.readOnly)
            return;
         modelPrivateCopy(model, true);
         model.values = valuesFor(model.isGroup, true);
         return;
      case 7: // copy, through the generic row if the flag says so
         with(b, [&]<class Row>(Row& row) {
            rows_[a] = flag ? std::make_unique<Row>(Zorva::BaseRow(row)) : std::make_unique<Row>(row);
         });
         model = other;
         return;
      case 8:
      case 9: // clone, or the way of bytes from outside
         if (operation_ == 9 && other.buffer == 0)
            return;
         with(b, [&]<class Row>(Row& row) {
            rows_[a] = std::make_unique<Row>(operation_ == 8 ? row.clone() : Row::fromBytes(row.bytes()));
         });
         model = {other.isGroup, other.buffer == 0 ? 0 : ++lastBuffer_, false, false, other.values};
         return;
      case 10: // key
         create(a, flag, valuesFor(flag, true));
         model.values[idColumn] = next();
         return with(a, [&](auto& row) { row = row.key(as<std::uint32_t>(model.values[idColumn])); });
      case 11: return other.buffer == 0 ? void() : view(a, b);
      case 12: // share
         if (a == b || model.buffer == 0 || other.buffer == 0 || model.view || other.view || model.isGroup != other.isGroup)
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
         with(a, [&](auto& row) { text << row; });
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
      with(i, [&]<class Row>(Row& row) {
         require(Zorva::verifyRow<Row>(row.bytes(), Row::protRowType()).ok(), "verification");
      });
      for (std::size_t c = 0; c < model.values.size(); ++c) {
         const Column& column = model.columns()[c];
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
   std::array<std::unique_ptr<Zorva::BaseRow>, 4> rows_;
   std::array<Model, 4> models_;
   int lastBuffer_ = 0;
   std::size_t operation_ = 0;
};

} // namespace Test
