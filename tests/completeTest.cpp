// Nothing of a row type is forgotten: each of the library's is registered, usable, exported and documented.
#include <filesystem>

#include "embedded/registry.h"
#include "embedded/table.h"
#include "rowtype/describe.h"
#include "rowtype/verify.h"
#include "tests/support/rows.h"

using namespace Test;
using testing::Contains, testing::ContainsRegex, testing::StartsWith;

static const std::string library = "P4RuntimeRouting::", source = PROJECT_SOURCE_DIR;

template <class Row>
void expectComplete()
{
   SCOPED_TRACE(Row::rowTypeName_);
   const auto use = [] {
      const Row row;
      EXPECT_EQ(text(Zorva::verifyRow<Row>(row.bytes()).fault), "ok");
      EXPECT_EQ(row, row.clone());
      const bool hasNested = std::ranges::count(Row::columns_.columns, Type::row, &Zorva::Column::type) > 0;
      EXPECT_EQ(row.rowEqual(row.clone()), !hasNested); // absent rows equal nothing
      Zorva::Embedded::Table table(Row::rowTypeName_);
      table.insert(row);
      EXPECT_NE(table.find(Row::key({})), nullptr);
      for (const Zorva::Column& column : Row::columns_.columns) {
         const std::string name(column.name),
            texts = ", " + row.toString() + row.toJson() + Zorva::describeRow<Row>(row);
         EXPECT_THAT(texts, ContainsRegex(", " + name + " = .*\"" + name + "\":.*[|] " + name));
      }
   };
   EXPECT_EQ(failureOf(use), "none");
   const std::string line =
      "| `" + Row::rowTypeName().substr(library.size()) + "` | " + std::to_string(Row::baseRowLength_);
   EXPECT_THAT(linesOf(source + "/docs/row-format.md"), Contains(StartsWith(line + " | ")));
   for (const std::string member : {"15getColumnStruct", "10columnHash", "11columnEqual", "10columnLess"})
      EXPECT_THAT(linesOf(source + "/tests/abi/libP4RuntimeRoutingEcmpTypes.symbols"),
                  Contains(StartsWith("_ZNK5Zorva7BaseRow" + member + 'I' + typeid(Row).name() + 'E')));
}

TEST(Complete, EveryRowType)
{
   std::vector<std::string> types, registered, headers;
   [&]<class... Row>(const std::tuple<Row...>*) {
      types = {Row::rowTypeName_...};
      (expectComplete<Row>(), ...);
   }(static_cast<const P4RuntimeRouting::RowTypes*>(nullptr));
   for (const auto& [name, generator, id] : Zorva::Embedded::registrations())
      if (name.starts_with(library))
         registered.push_back(name);
   EXPECT_EQ(registered, types);
   for (const auto& file : std::filesystem::directory_iterator(source + "/routing_types"))
      if (file.path().string().ends_with("Row.h"))
         headers.push_back(library + file.path().stem().string());
   EXPECT_THAT(headers, testing::UnorderedElementsAreArray(types));
}
