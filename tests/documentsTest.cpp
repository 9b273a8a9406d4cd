// What rows say of themselves, byte by byte: the listings in docs/row-format.md, and all that the rows of
// tests/rows/told.txt have to tell, sound ones and others. The listed bytes are the rows.
#include <thread>

#include "rowtype/describe.h"
#include "tests/support/rows.h"
#include "tests/support/streams.h"

using namespace Test;

// The listing, then each text and number or how it is refused.
template <class Row>
std::string told(const BaseRow& row)
{
   const std::pair<std::string, std::function<std::string(Exposed<Row>)>> facts[] = {
      {"generic", [](const auto& typed) { return typed.BaseRow::toString(); }},
      {"text", Row::browToString},
      {"streamed",
       [](const auto& typed) {
          std::ostringstream os;
          return Zorva::Internal::writeText<Row::columns_>(os << std::hex, typed), os.str();
       }},
      {"JSON", [](const auto& typed) { return typed.toJson(); }},
      {"hash", [](const auto& typed) { return std::to_string(typed.rowHash()); }},
      {"signature", [](const auto&) { return Row::zoTypeSignature(); }},
      {"compacted", [](auto typed) { return typed.compact(), std::to_string(typed.rowLength()) + typed.toJson(); }},
      {"moved", [](auto typed) { return std::to_string(typed.compactVariableData(Row::baseRowLength_)); }}, // in place
   };
   std::string all = Zorva::describeRow<Row>(row);
   for (const auto& fact : facts) {
      std::string value;
      const std::string end = failureOf([&] { value = fact.second(row); });
      all += fact.first + ": " + (end == "none" ? value : end) + '\n';
   }
   return all;
}

TEST(Documents, RowsSayWhatIsWrittenOfThemWhateverTheLocale)
{
   const std::locale before = std::locale::global(std::locale(std::locale::classic(), new Grouping));
   const std::map<std::string, std::function<std::string(const BaseRow&)>> tell = {
      {"listing nexthop", Zorva::describeRow<NexthopInfoRow>},
      {"listing group", Zorva::describeRow<EcmpMemberListRow>},
      {"nexthop", told<NexthopInfoRow>},
      {"group", told<EcmpMemberListRow>},
      {"port", told<TestRow>},
   };
   for (const std::string page : {"/docs/row-format.md", "/tests/rows/told.txt"}) {
      std::string name, bytes, text;
      for (const std::string& line : linesOf(PROJECT_SOURCE_DIR + page)) {
         if (!line.starts_with("```")) {
            bytes += line.starts_with('+') ? line.substr(8, 24) : "";
            text += line + '\n';
            continue;
         }
         if (!name.empty()) {
            std::string said; // in a thread whose streams are made in that locale
            std::thread([&] { said = tell.at(name.substr(0, name.find('-')))(rowOf(bytes)); }).join();
            EXPECT_EQ(said, text) << name;
         }
         name = line.substr(3), bytes.clear(), text.clear();
      }
   }
   std::locale::global(before);
}
