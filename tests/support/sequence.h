// Sequences of operations on four rows, with a plain model beside them that is checked after every step, also after one
// that failed for want of memory. Bytes choose the operations, so one engine serves exhaustive short sequences, seeded
// random ones and a fuzzer. A row that differs from its model throws std::logic_error.
#pragma once

#include "rowtype/verify.h"
#include "tests/support/rows.h"

namespace Test {

/// What a step does to row a, mostly with row b.
// clang-format off
enum class Operation : unsigned char {
   create, null, assign, moveAssign, write, writeArray, clear, copy, clone, fromBytes, key, view, share, compare,
   readOnly, render, end };
// clang-format on

class Sequence
{
public:
   static constexpr auto operations = static_cast<unsigned char>(Operation::end);

   void run(std::span<const unsigned char> bytes)
   {
      // Of four bytes one is the operation, one its rows, and two choose values.
      for (; bytes.size() >= 4; bytes = bytes.subspan(4)) {
         operation_ = Operation(bytes[0] % operations);
         const unsigned a = bytes[1] % 4, b = bytes[1] / 4 % 4;
         models_[a] = step(a, b, (bytes[1] & 16) != 0, bytes[2], bytes[3]);
         checkAll();
      }
   }

private:
   using Row = EcmpMemberListRow; // the type with more to go wrong
   using Column = Zorva::Column;

   static constexpr auto& columns_ = Row::columns_.columns;
   static constexpr std::size_t idColumn = 4;

   // A column's value, zero-extended; of an array the first element, the others following in steps of one.
   struct Value
   {
      std::uint64_t bits = 0;
      std::size_t count = 0; // elements of an array
      friend bool operator==(const Value&, const Value&) = default;
   };

   struct Model
   {
      int buffer = 0; // rows of one number share their bytes; 0 for a null row
      bool readOnly = false;
      bool view = false;
      std::array<Value, columns_.size()> values{};
   };

   void require(bool holds, std::string_view what) const
   {
      if (!holds)
         throw std::logic_error(std::string(what) + " after operation " + std::to_string(static_cast<int>(operation_)));
   }

   // The call ends in `failure` and makes so many allocations, -1 for any. One that fails leaves all rows as they were,
   // but for row a's private copy, with which a write begins.
   void expect(std::size_t a, const std::string& failure, const long& allocations, const std::function<void()>& call)
   {
      const bool isWrite = operation_ == Operation::write || operation_ == Operation::writeArray;
      const long made = eachAllocationFailing(failure, call, [&](long number, const std::string& end) {
         const std::string lengths = std::to_string(bufferOf(a) ? bufferOf(a)->length() : 0) +
                                     " requested new length: " + std::to_string(heap.failedSize);
         require(end.find("realloc") == end.npos || end.ends_with(" length: " + lengths), end);
         if (isWrite && number > 2)
            modelPrivateCopy(models_[a], false);
         checkAll();
      });
      require(!heap.mayFail || allocations < 0 || made == allocations, std::to_string(made) + " allocations");
   }

   const Zorva::RowBufHandle& bufferOf(std::size_t i) const { return rows_[i].*(&Exposed<BaseRow>::rowBuf_); }

   long ownersOf(const Model& model) const { return std::ranges::count(models_, model.buffer, &Model::buffer); }
   bool needsCopy(const Model& model) const { return model.buffer != 0 && (model.view || ownersOf(model) > 1); }

   // A value that fits the column: small, or with every byte the same.
   static Value valueFor(const Column& column, std::size_t byte)
   {
      const std::uint64_t repeated = byte % 4 == 0 ? byte * 0x0101010101010101 : byte;
      if (column.isVariable())
         return byte % 9 == 0 ? Value() : Value{static_cast<unsigned>(repeated), byte % 9};
      return {column.type == Type::boolean ? byte % 2 : repeated & ~std::uint64_t{0} >> (64 - 8 * column.width())};
   }

   static auto elements(const Value& value) { return upTo(value.count, static_cast<unsigned>(value.bits)); }

   Model create(std::size_t a, std::size_t x, std::size_t y)
   {
      Model model{++lastBuffer_, false, false, {}};
      auto& v = model.values;
      for (std::size_t i = 0; i < v.size(); ++i)
         v[i] = valueFor(columns_[i], (x + i * y) % 256);
      const auto entryId = static_cast<unsigned>(v[3].bits), id = static_cast<unsigned>(v[4].bits);
      const auto member = elements(v[5]), watch = elements(v[6]);
      expect(a, "none", 2, [&] { rows_[a] = Row(v[0].bits, v[1].bits, v[2].bits, entryId, id, member, watch); });
      return model;
   }

   // What every modifier does first.
   void modelPrivateCopy(Model& model, bool keepsView)
   {
      if (needsCopy(model)) {
         model.buffer = ++lastBuffer_;
         model.view = model.view && keepsView;
      }
   }

   Model write(std::size_t a, std::size_t x, std::size_t y)
   {
      Model& model = models_[a];
      BaseRow& row = rows_[a];
      const std::size_t number = operation_ == Operation::write ? x % columns_.size() : idColumn + 1 + x % 2;
      const Column& column = columns_[number];
      const Value value = valueFor(column, y);
      const bool copies = needsCopy(model), isNull = model.buffer == 0, tooLong = column.isVariable() && y == 255;
      const auto array = tooLong ? upTo(4096) : elements(value);
      const int room = isNull ? 0 : copies ? row.rowLength() : bufferOf(a)->length();
      const std::string failure = isNull           ? nullRow
                                  : model.readOnly ? readOnlyRow
                                  : tooLong        ? "Zorva::ZoOutOfRange: array of 4096 elements is longer than 4095"
                                                   : "none";
      long allocations = -1;
      expect(a, failure, allocations, [&] {
         switch (column.isVariable() ? 0 : column.width()) {
         case 0: row.setColumn<unsigned>(column.offset, array, 37); break;
         case 1: row.setColumn<bool>(column.offset, value.bits != 0, 37); break;
         case 4: row.setColumn<unsigned>(column.offset, static_cast<unsigned>(value.bits), 37); break;
         default: row.setColumn<unsigned long>(column.offset, value.bits, 37);
         }
         allocations = 2 * copies + (bufferOf(a)->length() > room);
      });
      modelPrivateCopy(model, false);
      if (failure == "none")
         model.values[number] = value;
      return model;
   }

   // A parent row with row b's bytes nested behind one slot, and row a a view of them.
   Model view(std::size_t a, std::size_t b)
   {
      const auto nested = snapshot(rows_[b]);
      const auto length = static_cast<len_t>(nested.size());
      Exposed<BaseRow> parent(static_cast<len_t>(12 + length));
      parent.rowOffset_ = 4; // itself in a row
      parent.updateVCT(4, 8, length, false);
      std::ranges::copy(nested, parent.header() + 8);
      parent.readOnlyIs(models_[b].readOnly);
      expect(a, "none", 0, [&] { parent.getColumnStruct(4, rows_[a]); });
      return {++lastBuffer_, models_[b].readOnly, true, models_[b].values};
   }

   // Assigns row b or, for null, what is no row of the type: that is refused and not undone.
   Model assign(std::size_t a, std::size_t b, bool moves, bool foreign)
   {
      BaseRow other = foreign ? NexthopInfoRow::key(1) : BaseRow();
      BaseRow& source = foreign ? other : rows_[b];
      const std::string end =
         failureOf([&] { moves ? rows_[a] = std::move(source) : rows_[a] = std::as_const(source); });
      require(end.starts_with(foreign ? "Zorva::ZoBadCast: " : "none"), end);
      require(!foreign || std::exchange(rows_[a], BaseRow()).rowLength() == 52, "refused assignment");
      const Model model = foreign ? Model() : models_[b];
      if (moves && !foreign && a != b)
         models_[b].buffer = 0;
      return model;
   }

   Model compare(const Model& x, const Model& y, const Row& row, const Row& other)
   {
      const bool anyNull = x.buffer == 0 || y.buffer == 0;
      expect(0, anyNull ? nullRow : "none", anyNull ? -1 : 0, [&] {
         const bool equal = row.rowEqual(other);
         require(equal == (x.values == y.values), "equality");
         require(!equal || row.rowHash() == other.rowHash(), "equal rows, different hashes");
         const auto order = x.values[idColumn].bits <=> y.values[idColumn].bits;
         require((row <=> other) == order && (row == other) == (order == 0) && (row < other) == (order < 0), "key");
         require((row.hash() == other.hash()) == (order == 0), "key hash");
      });
      if (anyNull)
         return x;
      const auto last = x.values.begin() + idColumn; // before the arrays
      const auto [i, j] = std::mismatch(x.values.begin(), last, y.values.begin());
      const bool noOrder = *i == *j, less = i->bits < j->bits;
      expect(0, noOrder ? noArrayOrder : "none", noOrder ? -1 : 0,
             [&] { require(row.rowLess(other) == less, "order"); });
      return x;
   }

   // The model of row a after the step.
   Model step(std::size_t a, std::size_t b, bool flag, std::size_t x, std::size_t y)
   {
      Row& row = rows_[a];
      Model& model = models_[a];
      Model other = models_[b];
      switch (operation_) {
      case Operation::create: return create(a, x, y);
      case Operation::null: row = BaseRow(); return {};
      case Operation::assign:
      case Operation::moveAssign: return assign(a, b, operation_ == Operation::moveAssign, flag);
      case Operation::write:
      case Operation::writeArray: return write(a, x, y);
      case Operation::clear: {
         const bool refused = model.buffer != 0 && model.readOnly;
         expect(a, refused ? readOnlyRow : "none", refused ? -1 : 2 * needsCopy(model), [&] { row.clearRow(); });
         if (!refused)
            modelPrivateCopy(model, true), model.values = {};
         return model;
      }
      case Operation::copy: // through the generic row if the flag says so
         expect(a, "none", 0, [&] { row = flag ? Row(BaseRow(rows_[b])) : Row(rows_[b]); });
         return other;
      case Operation::clone:
      case Operation::fromBytes:
         if (other.buffer == 0)
            return operation_ == Operation::clone ? (row = rows_[b].clone(), Model()) : model;
         expect(a, "none", 2, [&, clones = operation_ == Operation::clone] {
            row = clones ? rows_[b].clone() : Row::fromBytes(rows_[b].bytes());
         });
         return {++lastBuffer_, false, false, other.values};
      case Operation::key:
         expect(a, "none", 4, [&] { row = Row::key(static_cast<unsigned>(x)); });
         other = {++lastBuffer_, false, false, {}};
         other.values[idColumn].bits = x;
         return other;
      case Operation::view: return other.buffer == 0 ? model : view(a, b);
      case Operation::share:
         if (a == b || model.buffer == 0 || other.buffer == 0 || model.view || other.view)
            return model;
         row.shareContents(rows_[b]);
         return {other.buffer, model.readOnly, false, other.values};
      case Operation::compare: return compare(model, other, row, rows_[b]);
      case Operation::readOnly: row.readOnlyIs(flag); return {model.buffer, flag, model.view, model.values};
      default: // the two ways to one text
         std::ostringstream text;
         text << std::showbase; // no longer plain, and shows in no decimal number
         text << row;
         expect(a, "none", -1, [&] { require(text.str() == row.toString(), "text"); });
         require(model.buffer == 0 || row.toJson().back() == '}', "JSON");
         return model;
      }
   }

   void checkAll() const
   {
      for (std::size_t i = 0; i < rows_.size(); ++i) {
         const Row& row = rows_[i];
         const Model& model = models_[i];
         require(row.isNull() == (model.buffer == 0), "null");
         if (model.buffer == 0)
            continue;
         require(row.readOnly() == model.readOnly, "read-only");
         require(bufferOf(i).use_count() == ownersOf(model), "owner count");
         require(row.*(&Exposed<BaseRow>::subRow_) == model.view, "view");
         require(Zorva::verifyRow<Row>(row.bytes(), Row::protRowType()).ok(), "verification");
         for (const Column& c : columns_) {
            const Value& value = model.values[static_cast<std::size_t>(&c - columns_.data())];
            require(c.isVariable() ? std::ranges::equal(row.arrayColumn<unsigned>(c.offset), elements(value))
                                   : std::memcmp(row.checkedBytes(c.offset, c.width()), &value.bits, c.width()) == 0,
                    c.name);
         }
      }
   }

   std::array<Row, 4> rows_{BaseRow(), BaseRow(), BaseRow(), BaseRow()};
   std::array<Model, 4> models_;
   int lastBuffer_ = 0;
   Operation operation_{};
};

} // namespace Test
