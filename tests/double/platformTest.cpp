// The routing types on a second platform: what they ask of it and when, and debug assertions that return. With the
// embedded core's exceptions and operations of BaseRow this defines what the routing types need of one, nothing more.
#include "platform/halvo/util.h"
#include "tests/support/rows.h"

using namespace Test;
using Calls = std::vector<std::string>;

// The platform is scripted, by one record for the process, which is there before the routing types are loaded.
struct PlatformDouble
{
   std::vector<BaseRow> answers; ///< what zoClass returns, one call after the other; the last one stays
   std::size_t asked = 0;        ///< calls of zoClass
   Calls calls;                  ///< all calls of the registry, hashed bytes and debug assertions, in order
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
std::ostream& operator<<(std::ostream& os, const FMT<bool>& value) { return written(os << (value.value ? "yes" : "no")); }

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
   const Calls expected{"0 baseRow clear 327: setting fixed data length forBaseRow longer than buffer size", tooLong,
                        tooLong, tooLong, tooLong};
   EcmpMemberListRow::protRowType();
   for (const bool throws : {false, true}) {
      Exposed<TestRow> row;
      const auto before = snapshot(row);
      script({seven()});
      HALVO_DEFAULT_HANDLE->throws = throws;
      const std::function<void()> calls[] = {
         [&] { row.clear(54); }, [&] { row.updateVCT(29, 53, 32768, true); }, [&] { row.firstIs(upTo(8192)); },
         [] { EXPECT_EQ(EcmpMemberListRow(0, 0, false, 0, 0, upTo(16384), {5}).watch().front(), 5u); },
         [] { EXPECT_EQ(EcmpMemberListRow(0, 0, false, 0, 0, {5}, upTo(8192)).member().front(), 5u); }};
      for (const auto& call : calls)
         EXPECT_EQ(failureOf(call) == "none", !throws);
      EXPECT_EQ(tuple(snapshot(row), platform().calls), tuple(before, expected));
   }
}

static const int word = std::ios_base::xalloc();

// All that an operator can see of a stream, its buffer excepted.
static std::string facts(std::ostream& os)
{
   std::ostringstream text;
   text << '<' << os.rdstate() << ' ' << os.flags() << ' ' << os.width() << ' ' << os.precision() << ' ' << os.fill()
        << ' ' << os.exceptions() << ' ' << (os.tie() != nullptr) << ' ' << os.getloc().name() << ' ' << os.iword(word)
        << ' ' << os.iword(word + 50) << '>';
   return text.str();
}

// Takes `limit` characters, `room` of them at hand each time, and then refuses or throws.
struct Target : std::streambuf
{
   Target(std::size_t all, std::size_t step, bool throwing) : limit(all), room(step), throws(throwing) {}
   std::string text() const { return taken + std::string(pbase(), pptr()); }
   int sync() override { return ++flushes, 0; }
   pos_type seekoff(off_type, std::ios_base::seekdir, std::ios_base::openmode) override { return std::ssize(text()); }
   int_type overflow(int_type c) override
   {
      taken = text();
      const std::size_t left = limit - taken.size();
      setp(place, place + std::min(left, room));
      if (left == 0 && throws)
         throw std::runtime_error("full");
      if (left > 0 && room == 0)
         return taken += static_cast<char>(c), c;
      return left == 0 ? traits_type::eof() : sputc(static_cast<char>(c));
   }

   std::size_t limit, room;
   bool throws;
   int flushes = 0;
   std::string taken;
   char place[999];
};

// A row, one insertion after the other.
static void insertSteps(std::ostream& os, const NexthopInfoRow& row, bool json)
{
   const auto column = [&](const std::string& name, const auto& value, const char* quote = "") {
      if (name != "genId" || json)
         os << (name != "genId" ? ", " : "{");
      os << (json ? '"' + name + "\":" : name + " = ") + quote << value;
      if (*quote != 0)
         os << quote;
   };
   using Flag = Zorva::FMT<bool>;
   column("genId", row.genId()), column("entryHandle", row.entryHandle()), column("valid", Flag{row.valid()});
   column("entryId", row.entryId()), column("id", row.id()), column("portId", row.portId());
   column("dmac", row.dmac(), "\""), column("smac", row.smac(), "\""), column("drop", Flag{row.drop()});
   column("encapType", row.encapType()), column("encapId", row.encapId());
   if (json)
      os << '}';
}

TEST(Platform, RowsAreInsertedPieceByPieceIntoStreamsOfEveryState)
{
   script({seven()});
   struct Grouping : std::numpunct<char>
   {
      std::string do_grouping() const override { return "\3"; }
   };
   using std::ios_base;
   using Change = std::function<void(std::ostream&)>;
   const NexthopInfoRow row(1234567, 89, true, 4567, 1, 0x80000000, {}, {1, 2, 3, 4, 5, 6}, false, 5678, 65535);
   const std::locale grouping(std::locale::classic(), new Grouping);
   Target tied(0, 0, false);
   std::stringbuf aside;
   std::ostream tie(&tied);
   const Change looks = [](std::ostream& os) { os << os.tellp() << facts(os) << os.tellp(); };
   const Change changes[] = {
      {},
      looks,
      [](std::ostream& os) { os << os.iword(word)++ << os.iword(word + 50)++; },
      [](std::ostream& os) { os.setstate(ios_base::failbit); },
      [](std::ostream& os) { os.setstate(ios_base::badbit); },
      [](std::ostream& os) { os.fail() ? os.clear() : os.setstate(ios_base::eofbit); },
      [](std::ostream& os) { os << std::hex << std::showbase << std::setprecision(2); },
      [](std::ostream& os) { os << std::showpos << std::setfill('*'); },
      [](std::ostream& os) { os << std::setw(9); },
      [](std::ostream& os) { os << std::left << std::setw(30); },
      [](std::ostream& os) { os << std::unitbuf; },
      [&](std::ostream& os) { os.imbue(grouping); },
      [&](std::ostream& os) { static_cast<ios_base&>(os).imbue(grouping); },
      [&](std::ostream& os) { os.tie(&tie); },
      [](std::ostream& os) { os.exceptions(ios_base::failbit); },
      [](std::ostream& os) { os.exceptions(ios_base::badbit | ios_base::failbit); },
      [](std::ostream& os) { os.exceptions(ios_base::badbit), os.setstate(ios_base::badbit); },
      [](std::ostream&) { throw std::runtime_error("no"); },
      [&](std::ostream& os) { os.rdbuf(&aside); },
      [&](std::ostream& os) { os << row << row.toString(); },
   };
   // The text, all that is left of the stream, and how the call ended.
   const auto outcome = [&](const Change& habit, const Change& state, auto insert, auto... bounds) {
      Target target(bounds...);
      std::ostream os(&target);
      platform().habit = {}, tied.flushes = 0, aside.str({});
      std::string end = failureOf([&] {
         if (state)
            state(os);
         platform().habit = habit;
         insert(os);
      });
      os.exceptions(ios_base::goodbit);
      return target.text() + facts(os) + std::to_string(target.flushes) + ' ' + std::to_string(tied.flushes) + end +
             aside.str();
   };
   const auto steps = [&](std::ostream& os) { insertSteps(os, row, false); };
   const auto inserted = [&](std::ostream& os) { os << row; };
   for (const Change& habit : changes)
      for (const Change& state : changes)
         for (const std::size_t room : {0u, 40u, 999u})
            for (const std::size_t limit : {999u, 0u, 8u, 9u, 50u, 60u, 65u, 100u, 120u, 132u, 140u, 147u, 160u, 163u})
               ASSERT_EQ(outcome(habit, state, inserted, limit, room, limit % 2 == 0),
                         outcome(habit, state, steps, limit, room, limit % 2 == 0))
                  << "habit " << &habit - changes << ", state " << &state - changes << ", " << limit << '/' << room;
   // The texts: as from a fresh string stream, whatever the operators did to the stream of the one before.
   const auto streamed = [&](bool json) {
      std::stringstream os;
      return insertSteps(os, row, json), os.str();
   };
   for (const Change& habit : changes)
      for (const Change& next : {habit, looks})
         for (const bool json : {false, true}) {
            std::string text, expected;
            platform().habit = next;
            const std::string end = failureOf([&] { expected = streamed(json); });
            platform().habit = next;
            EXPECT_EQ(failureOf([&] { text = json ? row.toJson() : row.toString(); }), end);
            EXPECT_EQ(text, expected) << "habit " << &habit - changes;
         }
}
