// The routing types on a second platform: what they ask of it and when, and debug assertions that return. With the
// embedded core's exceptions and operations of BaseRow this defines what the routing types need of one, nothing more.
#include "platform/halvo/util.h"
#include "tests/support/rows.h"
#include "tests/support/streams.h"

using namespace Test;
using Calls = std::vector<std::string>;

// The platform is scripted, by one record for the process, which is there before the routing types are loaded.
struct PlatformDouble
{
   std::vector<BaseRow> answers;             ///< what zoClass returns, one call after the other; the last one stays
   std::size_t asked = 0;                    ///< calls of zoClass
   Calls calls;                              ///< all calls of the registry, hashed bytes and debug assertions, in order
   std::function<void(std::ostream&)> habit; ///< what the operators do to the stream behind their text
};
static PlatformDouble& platform()
{
   static PlatformDouble one;
   return one;
}
static void called(const std::string& call) { platform().calls.push_back(call); }

namespace Zorva {

BaseRow ZorvaDB::zoClass(const std::string& typeName)
{
   called("zoClass " + typeName);
   return platform().answers[std::min(platform().asked++, platform().answers.size() - 1)];
}

void ZorvaDB::loadMetadata(const std::string& typeName) { called("loadMetadata " + typeName); }
void installRowOpsGenerator(std::string typeName, RowOpsGenerator*) { called("install " + typeName); }

static std::ostream& written(std::ostream& os)
{
   if (const auto habit = std::exchange(platform().habit, {})) // an operator it calls in turn has none
      habit(os), platform().habit = habit;
   return os;
}
std::ostream& operator<<(std::ostream& os, const EthAddr& address)
{
   return written(os << "mac " << +address.bytes()[5]);
}
std::ostream& operator<<(std::ostream& os, const FMT<bool>& value)
{
   return written(os << (value.value ? "yes" : "no"));
}

} // namespace Zorva

unsigned Halvo::Util::hash(const void* data, unsigned length)
{
   called("hash " + std::string(static_cast<const char*>(data), length));
   return 0x80000000u + static_cast<const unsigned char*>(data)[5];
}

Halvo::Platform::DebugHandler* Halvo::Platform::defaultHandle()
{
   static DebugHandler handler;
   return &handler;
}

void Halvo::debugAndThrowAssertException(Platform::DebugHandler* handler, int level, Platform::DebugStream& text,
                                         const char* file, const char* function, int line)
{
   called(std::to_string(level) + ' ' + file + ' ' + function + ' ' + std::to_string(line) + ": " + text.str());
   if (handler->throws)
      throw AssertException(text.str());
}

static const BaseRow unknown;
static const std::string ask = "zoClass P4RuntimeRouting::NexthopInfoRow";
static const Calls retry{ask, "loadMetadata P4RuntimeRouting::NexthopInfoRow", ask};

static BaseRow seven() { return rowOf("08 00 00 00 | 07 00 cd ab"); } // the id is the low 16 bits

// The registry answers so from now on, and the type asks again. Returns the calls since the last time.
static Calls script(std::vector<BaseRow> answers)
{
   NexthopInfoRow::reset();
   return std::exchange(platform(), {std::move(answers), 0, {}, {}}).calls;
}

TEST(Platform, LoadingRegistersBothTypesInOrderAndAsksForNothing)
{
   std::erase(platform().calls, "install Test::TestRow"); // by the tests' own load step
   const Calls installs{"install P4RuntimeRouting::NexthopInfoRow", "install P4RuntimeRouting::EcmpMemberListRow"};
   EXPECT_EQ(script({seven()}), installs); // the first test of the process: nothing was called before
}

TEST(Platform, TypeIdsAreFetchedOnceWithOneRetry)
{
   // What the registry answers; failure, id and copy assignments of the first look-up; its calls and the second's.
   const std::tuple<std::vector<BaseRow>, std::string, len_t, std::uint64_t, Calls, Calls> cases[] = {
      {{seven()}, "none", 7, 0, {ask}, {}},
      {{Zorva::SubRow(rowOf("0c 00 00 00 | 08 00 00 00 07 00 cd ab"), 4)}, "none", 7, 0, {ask}, {}},
      {{unknown, seven()}, "none", 7, 1, retry, {}},
      {{unknown}, nullRow, 0, 1, retry, retry},
      {{rowOf("08 00 00 00 | ff ff 00 00")}, "none", 65535, 0, {ask}, {ask}}, // cannot be told from not yet known
   };
   for (const auto& [answers, failure, id, assignments, first, second] : cases) {
      script(answers);
      len_t actual = 0;
      std::string end;
      const Counts counts = countsOf([&] { end = failureOf([&] { actual = NexthopInfoRow().rowType(); }); });
      EXPECT_EQ(tuple(actual, end, counts[1], counts[4]), tuple(id, failure, 1, assignments));
      EXPECT_EQ(std::exchange(platform().calls, {}), first);
      EXPECT_EQ(failureOf(NexthopInfoRow::protRowType), failure);
      EXPECT_EQ(platform().calls, second);
   }
}

TEST(Platform, AnUnknownTypeMakesNoRows)
{
   script({seven()});
   NexthopInfoRow row(1, 2, true, 3, 4, 5, {}, {}, true, 6, 7);
   script({unknown});
   EXPECT_EQ(tuple(NexthopInfoRow(unknown).isNull(), platform().calls), tuple(true, Calls()));
   expectFailure(nullRow, {[] { NexthopInfoRow(); }, [] { NexthopInfoRow(1, 2, true, 3, 4, 5, {}, {}, true, 6, 7); },
                           [] { NexthopInfoRow::key(1); }, [&] { NexthopInfoRow(static_cast<const BaseRow&>(row)); },
                           [&] { row.clearRow(); }});
   EXPECT_TRUE(isBytes(row, "34 00 | 00*50")); // cleared: the id was asked for afterwards
}

TEST(Platform, TextAndHashesAreThePlatforms)
{
   script({seven()});
   const NexthopInfoRow row(1, 2, true, 3, 4, 5, {65, 66, 67, 68, 69, 1}, {70, 71, 72, 73, 74, 2}, false, -1, 10);
   EXPECT_EQ(row.toString(), "genId = 1, entryHandle = 2, valid = yes, entryId = 3, id = 4, portId = 5, "
                             "dmac = \"mac 1\", smac = \"mac 2\", drop = no, encapType = -1, encapId = 10");
   EXPECT_EQ(row.rowHash(), 0x4cc03f9d70b54d84u); // the hash results zero-extended, encapType sign-extended
   EXPECT_EQ(script({seven()}), (Calls{ask, "hash ABCDE\1", "hash FGHIJ\2"}));
}

TEST(Platform, AssertionsThatReturnLeaveRowsAsTheyWere)
{
   script({seven()});
   const std::string tooLong = "0 baseRow updateVCT 427: array field length greater than 32767 bytes";
   const std::string tooFar = "0 baseRow clear 327: setting fixed data length forBaseRow longer than buffer size";
   const Calls expected{tooFar, tooFar, tooLong, tooLong, tooLong, tooLong};
   EcmpMemberListRow::protRowType();
   for (const bool throws : {false, true}) {
      Exposed<TestRow> row, shorter;
      shorter.rowBuf_ = Zorva::RowBufHandle::zeroed(8);
      const auto before = snapshot(row);
      script({seven()});
      HALVO_DEFAULT_HANDLE->throws = throws;
      const std::function<void()> calls[] = {
         [&] { row.clear(54); },
         [&] { shorter.clearRow(); },
         [&] { row.updateVCT(29, 53, 32768, true); },
         [&] { row.firstIs(upTo(8192)); },
         [] { EXPECT_EQ(EcmpMemberListRow(0, 0, false, 0, 0, upTo(16384), {5}).watch().front(), 5u); },
         [] { EXPECT_EQ(EcmpMemberListRow(0, 0, false, 0, 0, {5}, upTo(8192)).member().front(), 5u); }};
      for (const auto& call : calls)
         EXPECT_EQ(failureOf(call) == "none", !throws);
      EXPECT_EQ(tuple(snapshot(row), shorter.header()[2], platform().calls), tuple(before, 0, expected));
   }
}

// A row, one insertion after the other.
static void insertSteps(std::ostream& os, const NexthopInfoRow& row, bool json)
{
   auto insert = [&, i = 0u](const auto& value) mutable {
      const Zorva::Column& column = NexthopInfoRow::columns_.columns[i];
      const std::string name(column.name), quote = column.type == Type::ethAddr ? "\"" : "";
      if (i++ != 0 || json)
         os << (i != 1 ? ", " : "{");
      os << (json ? '"' + name + "\":" : name + " = ") + quote << value;
      if (!quote.empty())
         os << quote;
   };
   const auto insertAll = [&](const auto&... values) { (insert(values), ...); };
   insertAll(row.genId(), row.entryHandle(), Zorva::FMT<bool>{row.valid()}, row.entryId(), row.id(), row.portId(),
             row.dmac(), row.smac(), Zorva::FMT<bool>{row.drop()}, row.encapType(), row.encapId());
   if (json)
      os << '}';
}

TEST(Platform, RowsAreInsertedPieceByPieceIntoStreamsOfEveryState)
{
   script({seven()});
   const NexthopInfoRow row(1234567, 89, true, 4567, 1, 0x80000000, {}, {1, 2, 3, 4, 5, 6}, false, 5678, 65535);
   std::vector<Insert> changes = streamChanges();
   changes.push_back([&](std::ostream& os) { os << row << row.toString(); });
   std::vector<Insert> states;
   for (const Insert& change : changes)
      states.emplace_back([&](std::ostream& os) { platform().habit = {}, change(os); });
   for (const Insert& habit : changes) {
      SCOPED_TRACE("habit " + std::to_string(&habit - changes.data()));
      expectSame([&](std::ostream& os) { os << row; }, [&](std::ostream& os) { insertSteps(os, row, false); }, states,
                 [&] { platform().habit = habit; });
   }
   // The texts: as from a fresh string stream, whatever the operators did to the stream of the one before.
   const auto streamed = [&](bool json) {
      std::stringstream os;
      return insertSteps(os, row, json), os.str();
   };
   for (const Insert& habit : changes)
      for (const Insert& next : {habit, changes[1]})
         for (const bool json : {false, true}) {
            std::string text, expected;
            platform().habit = next;
            const std::string end = failureOf([&] { expected = streamed(json); });
            platform().habit = next;
            EXPECT_EQ(failureOf([&] { text = json ? row.toJson() : row.toString(); }), end);
            EXPECT_EQ(text, expected) << "habit " << &habit - changes.data();
         }
}
