// A row type with every kind of column, and several of the kinds that meet each other in one row.
#pragma once

#include "routing_types/P4RuntimeRoutingEcmpTypes.h"

namespace Test {

using P4RuntimeRouting::EcmpMemberListRow, P4RuntimeRouting::NexthopInfoRow;
using Zorva::BaseRow, Zorva::EthAddr, Zorva::len_t, Zorva::Type;

inline constexpr auto testColumns = Zorva::layOut({
   {"flag", Type::boolean},
   {"mac", Type::ethAddr},
   {"port", Type::u16},
   {"delta", Type::i32},
   {"id", Type::u32, Zorva::key},
   {"stamp", Type::i64},
   {"first", Type::arrayOfU32},
   {"second", Type::arrayOfU32},
   {"third", Type::arrayOfU32},
   {"fourth", Type::arrayOfU32},
   {"hop", Type::row, {}, &Zorva::nestedType<NexthopInfoRow>},
   {"group", Type::row, {}, &Zorva::nestedType<EcmpMemberListRow>},
});

class TestRow : public BaseRow
{
public:
   static constexpr const auto& columns_ = testColumns;
   static constexpr const char* rowTypeName_ = "Test::TestRow";
#define ZORVA_ROW TestRow
#include "rowtype/rowMembers.inc"

   Array first() const { return get<"first">(); }
   TestRow& firstIs(const std::vector<std::uint32_t>& v) { return set<"first">(v); }
};

#define ZORVA_ROW TestRow
#include "rowtype/rowOpsClasses.inc"

} // namespace Test
