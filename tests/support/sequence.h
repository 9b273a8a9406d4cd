// Sequences of operations on four rows, with a plain model beside them that is checked after every step. Bytes choose
// the operations, so one engine serves exhaustive short sequences, seeded random ones and a fuzzer. A row that differs
// from its model throws std::logic_error.
#pragma once

#include <iomanip>
#include <memory>
#include <variant>

#include "routing_types/P4RuntimeRoutingEcmpTypes.h"
#include "rowtype/verify.h"
#include "tests/support/rows.h"

namespace Test {

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
   using Column = Zorva::Column;
   using Type = Zorva::Type;
   using NexthopInfoRow = P4RuntimeRouting::NexthopInfoRow;
   using EcmpMemberListRow = P4RuntimeRouting::EcmpMemberListRow;
   using Value = std::variant<std::uint64_t, std::vector<std::uint32_t>>; // signed numbers sign-extended

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
      std::uint64_t number(std::size_t column) const { return std::get<std::uint64_t>(values[column]); }
   };

   static constexpr std::size_t idColumn = 4;

   std::size_t next()
   {
      if (bytes_.empty())
         return 0;
      const std::size_t byte = bytes_.front();
      bytes_ = bytes_.subspan(1);
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

   long owners(std::size_t i) const
   {
      return std::ranges::count(models_, models_[i].buffer, &Model::buffer);
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
   void create(std::size_t i, bool isGroup, std::vector<Value> values)
   {
      const auto u32 = [&](std::size_t c) { return static_cast<std::uint32_t>(std::get<0>(values[c])); };
      const auto mac = [&](std::size_t c) {
         const std::uint64_t v = std::get<0>(values[c]);
         const auto byte = [v](unsigned n) { return static_cast<unsigned char>(v >> (40 - 8 * n)); };
         return Zorva::EthAddr(byte(0), byte(1), byte(2), byte(3), byte(4), byte(5));
      };
      if (values.empty() && isGroup)
         rows_[i] = std::make_unique<EcmpMemberListRow>(Zorva::BaseRow());
      else if (values.empty())
         rows_[i] = std::make_unique<NexthopInfoRow>(Zorva::BaseRow());
      else if (isGroup)
         rows_[i] = std::make_unique<EcmpMemberListRow>(std::get<0>(values[0]), std::get<0>(values[1]), u32(2) != 0, u32(3), u32(4),
                                                        std::get<1>(values[5]), std::get<1>(values[6]));
      else
         rows_[i] = std::make_unique<NexthopInfoRow>(std::get<0>(values[0]), std::get<0>(values[1]), u32(2) != 0, u32(3), u32(4), u32(5),
                                                     mac(6), mac(7), u32(8) != 0, static_cast<std::int32_t>(u32(9)),
                                                     static_cast<std::uint16_t>(u32(10)));
      models_[i] = {isGroup, values.empty() ? 0 : ++lastBuffer_, false, false, std::move(values)};
   }

   // A value that fits the column: small, or with every byte the same.
   Value valueFor(Type type)
   {
      const std::uint64_t byte = next();
      const std::uint64_t repeated = byte % 4 == 0 ? byte * 0x0101010101010101 : byte;
      switch (type) {
      case Type::boolean: return byte & 1;
      case Type::u16: return repeated & 0xffff;
      case Type::u32: return repeated & 0xffffffff;
      case Type::i32: return static_cast<std::uint64_t>(std::int64_t{static_cast<std::int32_t>(repeated)});
      case Type::ethAddr: return repeated & 0xffffffffffff;
      case Type::arrayOfU32: return std::vector<std::uint32_t>(byte % 9, static_cast<std::uint32_t>(repeated));
      default: return repeated;
      }
   }

   std::vector<Value> valuesFor(std::span<const Column> columns, bool zero)
   {
      std::vector<Value> values;
      for (const Column& column : columns)
         values.push_back(!zero                             ? valueFor(column.type)
                          : column.type == Type::arrayOfU32 ? Value(std::vector<std::uint32_t>())
                                                            : Value(std::uint64_t{0}));
      return values;
   }

   // What every modifier does first.
   void modelPrivateCopy(Model& model, bool keepsView)
   {
      const auto shares = std::ranges::count(models_, model.buffer, &Model::buffer) > 1;
      if (model.buffer != 0 && (shares || model.view))
         model.buffer = ++lastBuffer_;
      model.view = model.view && keepsView;
   }

   void write(std::size_t i)
   {
      Model& model = models_[i];
      const std::size_t number = next() % model.columns().size();
      const Column column = model.columns()[number];
      Value value = valueFor(column.type);
      const bool tooLong = column.type == Type::arrayOfU32 && next() == 255;
      if (tooLong)
         value = std::vector<std::uint32_t>(Zorva::maxArrayElements + 1);
      expect(model.buffer == 0 ? nullRow : model.readOnly ? readOnlyRow : tooLong ? "Zorva::ZoOutOfRange: array" : "none",
             [&] { writeColumn(*rows_[i], column, value, model.columns().back().end()); });
      modelPrivateCopy(model, model.buffer == 0);
      if (model.buffer != 0 && !model.readOnly && !tooLong)
         model.values[number] = value;
   }

   static void writeColumn(Zorva::BaseRow& row, const Column& column, const Value& value, Zorva::len_t fdLen)
   {
      if (column.type == Type::arrayOfU32)
         return row.setColumn<unsigned>(column.offset, std::get<1>(value), fdLen);
      const std::uint64_t number = std::get<0>(value);
      unsigned char mac[6];
      for (unsigned n = 0; n < 6; ++n)
         mac[n] = static_cast<unsigned char>(number >> (40 - 8 * n));
      switch (column.type) {
      case Type::boolean: return row.setColumn<bool>(column.offset, number != 0, fdLen);
      case Type::u16: return row.setColumn<unsigned short>(column.offset, static_cast<unsigned short>(number), fdLen);
      case Type::u32: return row.setColumn<unsigned>(column.offset, static_cast<unsigned>(number), fdLen);
      case Type::i32: return row.setColumn<int>(column.offset, static_cast<int>(number), fdLen);
      case Type::ethAddr: return row.setColumn<Zorva::EthAddr>(column.offset, Zorva::load<Zorva::EthAddr>(mac), fdLen);
      default: return row.setColumn<unsigned long>(column.offset, number, fdLen);
      }
   }

   static Value readColumn(const Zorva::BaseRow& row, const Column& column)
   {
      const auto signExtended = [](std::int64_t v) { return static_cast<std::uint64_t>(v); };
      switch (column.type) {
      case Type::boolean: return std::uint64_t{row.readColumn<bool>(column.offset)};
      case Type::u16: return std::uint64_t{row.readColumn<unsigned short>(column.offset)};
      case Type::u32: return std::uint64_t{row.readColumn<unsigned>(column.offset)};
      case Type::i32: return signExtended(row.readColumn<int>(column.offset));
      case Type::ethAddr: {
         std::uint64_t number = 0;
         const auto mac = row.readColumn<Zorva::EthAddr>(column.offset);
         for (unsigned n = 0; n < 6; ++n)
            number = number << 8 | mac.bytes()[n];
         return number;
      }
      case Type::arrayOfU32: {
         const auto array = row.arrayColumn<unsigned>(column.offset);
         return std::vector<std::uint32_t>(array.begin(), array.end());
      }
      default: return row.readColumn<unsigned long>(column.offset);
      }
   }

   // A parent row with row b's bytes nested behind one slot, and row a a view of them.
   void view(std::size_t a, std::size_t b)
   {
      const auto nested = snapshot(*rows_[b]);
      Exposed<Zorva::BaseRow> parent(8, static_cast<Zorva::len_t>(8 + nested.size()));
      parent.rowLengthIs(static_cast<Zorva::len_t>(8 + nested.size()));
      parent.updateVCT(4, 8, static_cast<Zorva::len_t>(nested.size()), false);
      std::ranges::copy(nested, parent.header() + 8);
      parent.readOnlyIs(models_[b].readOnly);
      Model model = models_[b];
      create(a, model.isGroup, {});
      with(a, [&](auto& row) { parent.getColumnStruct(4, row); });
      model.buffer = ++lastBuffer_;
      model.view = true;
      models_[a] = model;
   }

   void assign(std::size_t a, std::size_t b, bool moves)
   {
      const bool refused = models_[b].buffer != 0 && models_[a].isGroup != models_[b].isGroup;
      Model model = models_[b];
      expect(refused ? "Zorva::ZoBadCast: row type " : "none", [&] {
         with(a, [&](auto& row) {
            if (moves)
               row = std::move(*rows_[b]);
            else
               row = std::as_const(*rows_[b]);
         });
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
         const bool actual = rows_[a]->rowEqual(*rows_[b]);
         require(actual == equal, "equality");
         require(!equal || rows_[a]->rowHash() == rows_[b]->rowHash(), "equal rows, different hashes");
      });
      if (anyNull || x.isGroup != y.isGroup)
         return;
      const std::size_t ordered = x.isGroup ? idColumn + 1 : x.values.size();
      std::size_t i = 0;
      while (i + 1 < ordered && x.values[i] == y.values[i])
         ++i;
      const bool throws = x.isGroup && x.values[i] == y.values[i];
      const auto signedness = [&](std::uint64_t v) { return x.columns()[i].type == Type::i32 ? v ^ (std::uint64_t{1} << 63) : v; };
      expect(throws ? "Zorva::ZoNotSupported: column less not supported for arrays" : "none", [&] {
         require(rows_[a]->rowLess(*rows_[b]) == (signedness(x.number(i)) < signedness(y.number(i))), "order");
      });
      with(a, [&](auto& row) {
         const auto& other = static_cast<const std::remove_reference_t<decltype(row)>&>(*rows_[b]);
         require((row == other) == (x.number(idColumn) == y.number(idColumn)), "key equality");
         require((row < other) == (x.number(idColumn) < y.number(idColumn)), "key order");
         require((row.hash() == other.hash()) == (x.number(idColumn) == y.number(idColumn)), "key hash");
      });
   }

   // The JSON of the model, the plain way.
   static std::string json(const Model& model)
   {
      std::ostringstream text;
      for (std::size_t i = 0; i < model.values.size(); ++i) {
         const Column& column = model.columns()[i];
         text << (i == 0 ? "{\"" : ", \"") << column.name << "\":";
         if (column.type == Type::arrayOfU32) {
            const char* separator = "";
            text << '[';
            for (const std::uint32_t element : std::get<1>(model.values[i]))
               text << std::exchange(separator, ",") << element;
            text << ']';
         } else if (column.type == Type::boolean) {
            text << (model.number(i) != 0 ? "true" : "false");
         } else if (column.type == Type::ethAddr) {
            text << std::hex << std::setfill('0');
            for (int shift = 40; shift >= 0; shift -= 8)
               text << (shift == 40 ? '"' : ':') << std::setw(2) << (model.number(i) >> shift & 0xff);
            text << '"' << std::dec;
         } else if (column.type == Type::i32) {
            text << static_cast<std::int64_t>(model.number(i));
         } else {
            text << model.number(i);
         }
      }
      return text.str() + '}';
   }

   void step()
   {
      operation_ = next() % operations;
      const std::size_t rows = next();
      const std::size_t a = rows % 4;
      const std::size_t b = rows / 4 % 4;
      const bool flag = (rows & 16) != 0;
      Model& model = models_[a];
      switch (operation_) {
      case 0: return create(a, flag, valuesFor(columnsOf(flag), false));
      case 1: return create(a, flag, {});
      case 2: case 3: return assign(a, b, operation_ == 3);
      case 4: case 5: return write(a);
      case 6: // clear
         expect(model.buffer != 0 && model.readOnly ? readOnlyRow : "none", [&] { rows_[a]->clearRow(); });
         if (model.buffer == 0 || model.readOnly)
            return;
         modelPrivateCopy(model, true);
         model.values = valuesFor(model.columns(), true);
         return;
      case 7: { // copy, through the generic row if the flag says so
         const Model copied = models_[b];
         with(b, [&](auto& row) {
            using Row = std::remove_reference_t<decltype(row)>;
            rows_[a] = flag ? std::make_unique<Row>(Zorva::BaseRow(row)) : std::make_unique<Row>(row);
         });
         model = copied;
         return;
      }
      case 8: case 9: { // clone, or the way of bytes from outside
         Model copied = models_[b];
         if (operation_ == 9 && copied.buffer == 0)
            return;
         with(b, [&](auto& row) {
            using Row = std::remove_reference_t<decltype(row)>;
            rows_[a] = std::make_unique<Row>(operation_ == 8 ? row.clone() : Row::fromBytes(row.bytes()));
         });
         copied.buffer = copied.buffer == 0 ? 0 : ++lastBuffer_;
         copied.readOnly = copied.view = false;
         model = copied;
         return;
      }
      case 10: { // key
         create(a, flag, valuesFor(columnsOf(flag), true));
         model.values[idColumn] = valueFor(Type::u32);
         with(a, [&](auto& row) { row = row.key(static_cast<std::uint32_t>(model.number(idColumn))); });
         return;
      }
      case 11: return models_[b].buffer == 0 ? void() : view(a, b);
      case 12: // share
         if (a == b || model.buffer == 0 || models_[b].buffer == 0 || model.view || models_[b].view ||
             model.isGroup != models_[b].isGroup)
            return;
         rows_[a]->shareContents(*rows_[b]);
         model.buffer = models_[b].buffer;
         model.values = models_[b].values;
         return;
      case 13: return compare(a, b);
      case 14:
         rows_[a]->readOnlyIs(flag);
         model.readOnly = flag;
         return;
      default:
         if (model.buffer != 0)
            require(rows_[a]->toJson() == json(model), "JSON");
         return;
      }
   }

   void check(std::size_t i)
   {
      const Model& model = models_[i];
      require(rows_[i]->isNull() == (model.buffer == 0), "null");
      require(rows_[i]->readOnly() == model.readOnly || model.buffer == 0, "read-only");
      if (model.buffer == 0) {
         require(rows_[i]->toString() == "len: 0, NULL", "text of a null row");
         return;
      }
      require((*rows_[i].*(&Exposed<Zorva::BaseRow>::rowBuf_)).use_count() == owners(i), "owner count");
      require(*rows_[i].*(&Exposed<Zorva::BaseRow>::subRow_) == model.view, "view");
      with(i, [&](auto& row) {
         using Row = std::remove_reference_t<decltype(row)>;
         require(Zorva::verifyRow<Row>(row.bytes(), Row::protRowType()).ok(), "verification");
      });
      for (std::size_t c = 0; c < model.values.size(); ++c)
         require(readColumn(*rows_[i], model.columns()[c]) == model.values[c], model.columns()[c].name);
   }

   std::span<const unsigned char> bytes_;
   std::array<std::unique_ptr<Zorva::BaseRow>, 4> rows_;
   std::array<Model, 4> models_;
   int lastBuffer_ = 0;
   std::size_t operation_ = 0;
};

} // namespace Test
