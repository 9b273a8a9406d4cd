// Next hop rows as text and JSON, against the plain way: a string stream and one insertion after the other.
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

} // namespace

void registerTextCases()
{
   measure(
      "text/row", [] { return row.toString(); }, textSum);
   measure(
      "text/string-stream", [] { return streamedText(row); }, textSum);
   measure(
      "json-text/row", [] { return row.toJson(); }, textSum);
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
      "insertion/plain",
      [] {
         sink.restart();
         insertText(stream, row);
         return &stream;
      },
      sumOfSink);
}

} // namespace Bench
