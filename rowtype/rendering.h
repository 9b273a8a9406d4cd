// Rows as text and as JSON, from the column table.
//
//   text   genId = 1, entryHandle = 2, valid = true, ..., dmac = "02:00:00:00:00:01", ..., member = [1,2,3]
//   JSON   {"genId":1, "entryHandle":2, "valid":true, ..., "dmac":"02:00:00:00:00:01", ..., "member":[1,2,3]}
//
// Whatever stands between two values is one literal, joined at compile time. Numbers are plain decimal whatever the
// global locale, except through operator<< into a stream that is set otherwise. bool and addresses are written by the
// row database's own operators. Rendering only reads the row.
#pragma once

#include <pthread.h>

#include <algorithm>
#include <array>
#include <climits>
#include <locale>
#include <numeric>
#include <ostream>
#include <streambuf>
#include <string>
#include <string_view>
#include <utility>

#include "rowstore/decimal.h"
#include "rowtype/columnTable.h"

namespace Zorva {

enum class Form : bool { text, json };

/// The formatting flags of a fresh stream.
inline constexpr std::ios_base::fmtflags plainFlags = std::ios_base::skipws | std::ios_base::dec;

/// Collects text: in place first, in a string once it is longer.
class TextBuffer final : public std::streambuf
{
public:
   TextBuffer() { placeIs(room_); }

   /// Appends a text for which there is no room.
   void append(std::string_view text)
   {
      spill();
      spilled_.append(text);
   }

   /// Where the next character goes, and where the room for it ends.
   char* place() const { return pptr(); }
   char* roomEnd() const { return epptr(); }

   /// Says that everything before `place`, which lies in the room, is text.
   void placeIs(char* place) { setp(place, room_ + sizeof room_); }

   /// The same, then append(text); returns the place behind it, in front of all the room there is.
   [[gnu::noinline]] char* appendAt(char* place, std::string_view text)
   {
      placeIs(place);
      append(text);
      return pptr();
   }

   std::string str() const
   {
      if (spilled_.empty())
         return std::string(waiting());
      std::string text;
      text.reserve(spilled_.size() + waiting().size());
      return text.append(spilled_).append(waiting());
   }

   /// Drops the text and the memory that a long one took.
   void clear() noexcept
   {
      placeIs(room_);
      if (!spilled_.empty())
         std::string().swap(spilled_);
   }

   /// Writes everything to `os`, unformatted, in one piece or two.
   void writeTo(std::ostream& os) const
   {
      if (!spilled_.empty())
         os.write(spilled_.data(), static_cast<std::streamsize>(spilled_.size()));
      os.write(waiting().data(), static_cast<std::streamsize>(waiting().size()));
   }

protected:
   int_type overflow(int_type character) override
   {
      spill();
      return traits_type::eq_int_type(character, traits_type::eof()) ? traits_type::not_eof(character)
                                                                     : sputc(traits_type::to_char_type(character));
   }

   std::streamsize xsputn(const char* text, std::streamsize length) override
   {
      if (length > epptr() - pptr()) {
         append({text, static_cast<std::size_t>(length)});
      } else {
         copyInPieces(pptr(), text, static_cast<std::size_t>(length));
         placeIs(pptr() + length);
      }
      return length;
   }

private:
   // What an operator inserts it has just stored, mostly in pieces of these sizes. A load over several of them would
   // wait until all have reached the cache.
   static void copyInPieces(char* to, const char* from, std::size_t length)
   {
      const auto copy = [&](auto size) {
         std::memcpy(to, from, size);
         to += size();
         from += size();
      };
      for (; length >= 8; length -= 8)
         copy(std::integral_constant<std::size_t, 8>());
      if ((length & 4) != 0)
         copy(std::integral_constant<std::size_t, 4>());
      if ((length & 2) != 0)
         copy(std::integral_constant<std::size_t, 2>());
      if ((length & 1) != 0)
         copy(std::integral_constant<std::size_t, 1>());
   }

   std::string_view waiting() const { return {room_, static_cast<std::size_t>(pptr() - room_)}; }

   [[gnu::noinline]] void spill()
   {
      spilled_.append(waiting());
      placeIs(room_);
   }

   char room_[512];
   std::string spilled_;
};

/// A stream that formats as a fresh one of the classic locale does, whatever the global one is. Making a stream takes
/// longer than writing a row, so each thread keeps one for its next text. A text that is begun while another one is
/// being written (an operator that writes a column may render a row in turn) has a stream of its own.
class PlainStream
{
public:
   PlainStream() : stream_(std::exchange(kept.stream, nullptr))
   {
      if (stream_ == nullptr) [[unlikely]]
         stream_ = make();
   }
   PlainStream(const PlainStream&) = delete;
   PlainStream& operator=(const PlainStream&) = delete;
   ~PlainStream()
   {
      if (kept.stream != nullptr || !kept.endIsNoted) [[unlikely]] {
         delete stream_;
      } else {
         stream_->renew();
         kept.stream = stream_;
      }
   }

   TextBuffer& buffer() { return stream_->buffer; }
   std::ostream& os() { return stream_->os; }

private:
   struct Stream
   {
      Stream()
      {
         os.exceptions(std::ios_base::badbit); // a failed allocation leaves as what it is
         if (os.getloc() != std::locale::classic())
            os.imbue(std::locale::classic());
      }

      /// Takes back what the operators may have left behind: a state, flags, width, precision, fill.
      void renew() noexcept
      {
         buffer.clear();
         if (!os.good())
            os.clear();
         os.flags(plainFlags);
         os.width(0);
         os.precision(6);
         os.fill(' ');
      }

      TextBuffer buffer;
      std::ostream os{&buffer};
   };

   /// What a thread keeps. It keeps a stream only if the C library calls ended() at its end.
   struct Kept
   {
      Stream* stream;
      bool endIsNoted;
   };

   [[gnu::noinline]] static Stream* make()
   {
      static const pthread_key_t threadEnd = [] {
         pthread_key_t made = PTHREAD_KEYS_MAX; // which pthread_setspecific() refuses: without a key none is kept
         pthread_key_create(&made, ended);
         return made;
      }();
      // The destructor of a thread_local would do, if the C library did not stop the process when it cannot note it.
      if (!kept.endIsNoted)
         kept.endIsNoted = pthread_setspecific(threadEnd, &kept) == 0;
      return new Stream;
   }

   static void ended(void*) { delete std::exchange(kept, {nullptr, false}).stream; }

#ifdef ZORVA_STATIC_TLS
   [[gnu::tls_model("initial-exec")]]
#endif
   static inline constinit thread_local Kept kept{nullptr, false};

   Stream* stream_;
};

/// Writes columns into a plain stream. The stream learns how far the text has come where an operator is to go on, and
/// with finish(): in between the place lives in a register, for which writers are passed by value.
class PlainWriter
{
public:
   explicit PlainWriter(PlainStream& stream)
      : buffer_(stream.buffer()), os_(stream.os()), at_(buffer_.place()), end_(buffer_.roomEnd())
   {
   }

   /// Leaves room for a number behind it.
   [[gnu::always_inline]] void literal(std::string_view text)
   {
      if (text.size() + longestDecimal > static_cast<std::size_t>(end_ - at_)) [[unlikely]] {
         at_ = buffer_.appendAt(at_, text);
      } else {
         std::memcpy(at_, text.data(), text.size());
         at_ += text.size();
      }
   }

   /// Only behind a literal.
   template <std::integral T>
   [[gnu::always_inline]] void number(T value)
   {
      at_ = putDecimal(at_, value);
   }

   template <class T>
   [[gnu::always_inline]] void formatted(const T& value)
   {
      buffer_.placeIs(at_);
      os_ << value;
      at_ = buffer_.place();
   }

   void finish() { buffer_.placeIs(at_); }

private:
   TextBuffer& buffer_;
   std::ostream& os_;
   char* at_;
   char* end_;
};

/// Writes columns into a caller's stream, in that stream's formatting.
class StreamWriter
{
public:
   explicit StreamWriter(std::ostream& stream) : stream_(stream) {}

   void finish() {}

   void literal(std::string_view text) { stream_ << text; }
   void number(std::integral auto value) { stream_ << value; }

   template <class T>
   void formatted(const T& value)
   {
      stream_ << value;
   }

private:
   std::ostream& stream_;
};

/// The literal in front of column I's value (I == size: behind the last one), with what closes the value before it.
template <const auto& Table, Form form, std::size_t I>
consteval auto labelPieces()
{
   constexpr bool json = form == Form::json;
   constexpr auto quote = [](std::size_t i) consteval { return Table.columns[i].type == Type::ethAddr ? "\"" : ""; };
   std::array<std::string_view, 6> pieces{};
   if constexpr (I > 0)
      pieces[0] = quote(I - 1);
   if constexpr (I < Table.size()) {
      pieces[1] = I > 0 ? ", " : json ? "{" : "";
      pieces[2] = json ? "\"" : "";
      pieces[3] = Table.columns[I].name;
      pieces[4] = json ? "\":" : " = ";
      pieces[5] = quote(I);
   } else {
      pieces[1] = json ? "}" : "";
   }
   return pieces;
}

template <const auto& Table, Form form, std::size_t I>
consteval auto makeLabel()
{
   constexpr auto pieces = labelPieces<Table, form, I>();
   std::array<char, std::transform_reduce(pieces.begin(), pieces.end(), std::size_t{0}, std::plus(), std::ranges::size)>
      label{};
   auto at = label.begin();
   for (const std::string_view piece : pieces)
      at = std::ranges::copy(piece, at).out;
   return label;
}

template <const auto& Table, Form form, std::size_t I>
inline constexpr auto label = makeLabel<Table, form, I>();

/// The value of column I; `fixed` is the row's checked fixed part.
template <const auto& Table, Form form, std::size_t I, class Writer>
[[gnu::always_inline]] inline void writeValue(Writer& writer, const BaseRow& row, const unsigned char* fixed)
{
   constexpr Column column = Table.columns[I];
   if constexpr (column.type == Type::arrayOfU32) {
      writer.literal(row.aryColumnToString<std::uint32_t>(column.offset));
   } else if constexpr (column.type == Type::row) {
      writer.literal(form == Form::json ? column.nested->toJson(row, column.offset)
                                        : '{' + column.nested->toString(row, column.offset) + '}');
   } else {
      const auto value = load<ValueOf<column.type>>(fixed + column.offset);
      if constexpr (column.type == Type::boolean)
         writer.formatted(FMT<bool>{value});
      else if constexpr (column.type == Type::ethAddr)
         writer.formatted(value);
      else if constexpr (column.type == Type::i32)
         writer.number(value);
      else
         writer.number(std::uint64_t{value});
   }
}

/// The whole row. Throws ZoNullRow, and ZoOutOfRange when the fixed part leaves the buffer, before anything is written;
/// ZoOutOfRange for an array that does.
template <const auto& Table, Form form, class Writer>
void writeRow(Writer writer, const BaseRow& row)
{
   const unsigned char* const fixed = row.checkedBytes(0, Table.fixedLength);
   const auto writeLabel = [&](auto i) {
      constexpr auto& text = label<Table, form, i>;
      if constexpr (!text.empty())
         writer.literal({text.data(), text.size()});
   };
   withColumns<Table>([&](auto... i) { ((writeLabel(i), writeValue<Table, form, i>(writer, row, fixed)), ...); });
   writeLabel(std::integral_constant<std::size_t, Table.size()>{});
   writer.finish();
}

/// Whether `os` writes numbers and text as a fresh stream of the classic locale does.
inline bool isPlain(const std::ostream& os)
{
   return os.flags() == plainFlags && os.width() == 0 && os.fill() == ' ' && os.getloc() == std::locale::classic();
}

/// Writes the text form of a row of Table's type into `os`, in that stream's formatting.
template <const auto& Table>
std::ostream& writeText(std::ostream& os, const BaseRow& row)
{
   if (row.isNull()) {
      os << nullRowText;
   } else if (isPlain(os)) { // collect the text first
      PlainStream stream;
      writeRow<Table, Form::text>(PlainWriter(stream), row);
      stream.buffer().writeTo(os);
   } else {
      writeRow<Table, Form::text>(StreamWriter(os), row);
   }
   return os;
}

/// Either form of a row that has a buffer, plain whatever the locale.
template <const auto& Table, Form form>
std::string rendered(const BaseRow& row)
{
   PlainStream stream;
   writeRow<Table, form>(PlainWriter(stream), row);
   return stream.buffer().str();
}

/// The text form, plain whatever the locale.
template <const auto& Table>
std::string rowText(const BaseRow& row)
{
   return row.isNull() ? std::string(nullRowText) : rendered<Table, Form::text>(row);
}

/// The JSON form. Throws ZoNullRow for a null row.
template <const auto& Table>
std::string rowJson(const BaseRow& row)
{
   return rendered<Table, Form::json>(row);
}

} // namespace Zorva
