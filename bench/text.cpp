// Next hop rows as text and JSON, against the digits and texts alone, put together by hand (the limit), and against the
// plain way, a string stream and one insertion after the other.
#include <charconv>
#include <ostream>
#include <sstream>
#include <streambuf>
#include <string_view>

#include "bench/jsonSum.h"
#include "bench/support.h"
#include "routing_types/NexthopInfoRow.h"

namespace Bench {

namespace {

using P4RuntimeRouting::NexthopInfoRow;

const NexthopInfoRow row(values.genId, values.entryHandle, values.valid, values.entryId, values.id, values.portId,
                         values.dmac, values.smac, values.drop, values.encapType, values.encapId);

/// The cheapest place for text: an array, written anew each time.
class Sink : public std::streambuf
{
public:
   Sink() { restart(); }

   void restart() { setp(room_, room_ + sizeof room_); }
   std::string_view text() const { return {pbase(), static_cast<std::size_t>(pptr() - pbase())}; }

private:
   char room_[512];
};

void insertText(std::ostream& os, const NexthopInfoRow& r)
{
   using Zorva::FMT;
   os << "genId = " << r.genId() << ", entryHandle = " << r.entryHandle() << ", valid = " << FMT<bool>{r.valid()}
      << ", entryId = " << r.entryId() << ", id = " << r.id() << ", portId = " << r.portId() << ", dmac = \""
      << r.dmac() << "\", smac = \"" << r.smac() << "\", drop = " << FMT<bool>{r.drop()}
      << ", encapType = " << r.encapType() << ", encapId = " << r.encapId();
}

std::string streamedText(const NexthopInfoRow& r)
{
   std::stringstream stream;
   insertText(stream, r);
   return stream.str();
}

std::string streamedJson(const NexthopInfoRow& r)
{
   using Zorva::FMT;
   std::stringstream stream;
   stream << "{\"genId\":" << r.genId() << ", \"entryHandle\":" << r.entryHandle()
          << ", \"valid\":" << FMT<bool>{r.valid()} << ", \"entryId\":" << r.entryId() << ", \"id\":" << r.id()
          << ", \"portId\":" << r.portId() << ", \"dmac\":\"" << r.dmac() << "\", \"smac\":\"" << r.smac()
          << "\", \"drop\":" << FMT<bool>{r.drop()} << ", \"encapType\":" << r.encapType()
          << ", \"encapId\":" << r.encapId() << '}';
   return stream.str();
}

/// Characters in an array, one after the other: no stream, no formatting flags, no room to look for.
class Characters
{
public:
   Characters& operator<<(std::string_view text)
   {
      std::memcpy(end_, text.data(), text.size());
      end_ += text.size();
      return *this;
   }

   template <std::integral T> // bool by its own type, or texts would become one
   Characters& operator<<(T value)
   {
      if constexpr (std::same_as<T, bool>)
         return *this << std::string_view(value ? "true" : "false");
      else
         end_ = std::to_chars(end_, room_ + sizeof room_, value).ptr;
      return *this;
   }

   Characters& operator<<(const Mac& address)
   {
      for (std::size_t i = 0; i < address.size(); ++i) {
         constexpr char digits[] = "0123456789abcdef";
         const char text[] = {':', digits[address[i] >> 4], digits[address[i] & 0xf]};
         *this << std::string_view(text, sizeof text).substr(i == 0);
      }
      return *this;
   }

   std::string_view text() const { return {room_, static_cast<std::size_t>(end_ - room_)}; }

private:
   char room_[512];
   char* end_ = room_;
};

Packed packed = [] {
   Packed made;
   pack(made, values);
   return made;
}();

Characters writtenText()
{
   const Packed& p = packed;
   Characters to;
   to << "genId = " << std::uint64_t{p.genId} << ", entryHandle = " << std::uint64_t{p.entryHandle}
      << ", valid = " << (p.valid != 0) << ", entryId = " << std::uint32_t{p.entryId}
      << ", id = " << std::uint32_t{p.id} << ", portId = " << std::uint32_t{p.portId} << ", dmac = \"" << p.dmac
      << "\", smac = \"" << p.smac << "\", drop = " << (p.drop != 0) << ", encapType = " << std::int32_t{p.encapType}
      << ", encapId = " << std::uint16_t{p.encapId};
   return to;
}

Characters writtenJson()
{
   const Packed& p = packed;
   Characters to;
   to << "{\"genId\":" << std::uint64_t{p.genId} << ", \"entryHandle\":" << std::uint64_t{p.entryHandle}
      << ", \"valid\":" << (p.valid != 0) << ", \"entryId\":" << std::uint32_t{p.entryId}
      << ", \"id\":" << std::uint32_t{p.id} << ", \"portId\":" << std::uint32_t{p.portId} << ", \"dmac\":\"" << p.dmac
      << "\", \"smac\":\"" << p.smac << "\", \"drop\":" << (p.drop != 0)
      << ", \"encapType\":" << std::int32_t{p.encapType} << ", \"encapId\":" << std::uint16_t{p.encapId} << "}";
   return to;
}

} // namespace

void registerTextCases()
{
   measure(
      "text/row", [] { return row.toString(); }, textSum);
   measure(
      "text/limit", [] { return std::string(writtenText().text()); }, textSum);
   measure(
      "text/string-stream", [] { return streamedText(row); }, textSum);
   measure(
      "json-text/row", [] { return row.toJson(); }, textSum);
   measure(
      "json-text/limit", [] { return std::string(writtenJson().text()); }, textSum);
   measure(
      "json-text/string-stream", [] { return streamedJson(row); }, textSum);
   measure(
      "json/row", [] { return row.toJson(); }, jsonSum); // the peers' texts differ, their values do not

   // Into a caller's stream, which is there already and starts over each time.
   static Sink sink;
   static std::ostream stream(&sink);
   const auto sumOfSink = [](auto*) { return textSum(sink.text()); };
   measure(
      "insertion/row",
      [] {
         sink.restart();
         return &(stream << row);
      },
      sumOfSink);
   measure(
      "insertion/limit",
      [] {
         sink.restart();
         const Characters written = writtenText();
         sink.sputn(written.text().data(), static_cast<std::streamsize>(written.text().size()));
         return &stream;
      },
      sumOfSink);
   measure(
      "insertion/plain",
      [] {
         sink.restart();
         insertText(stream, row);
         return &stream;
      },
      sumOfSink);
}

} // namespace Bench
