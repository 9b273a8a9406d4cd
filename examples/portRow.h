// PortRow, a row type outside the library with every kind of column: the example to follow when adding one. A row
// type is its column table, two accessors a column, and the members below, the same for every type but for the name.
// Nested rows are only read here: whoever lays out a row's bytes puts them there.
#pragma once

#include "routing_types/P4RuntimeRoutingEcmpTypes.h"
#include "rowtype/identity.h"
#include "rowtype/nestedType.h"
#include "rowtype/rendering.h"
#include "rowtype/typeId.h"

namespace Examples {

using P4RuntimeRouting::EcmpMemberListRow, P4RuntimeRouting::NexthopInfoRow;
using Zorva::BaseRow, Zorva::EthAddr, Zorva::len_t, Zorva::Type;

inline constexpr auto portColumns = Zorva::layOut({
   {"flag", Type::boolean},
   {"mac", Type::ethAddr},
   {"port", Type::u16},
   {"delta", Type::i32},
   {"id", Type::u32, Zorva::key},
   {"stamp", Type::u64},
   {"first", Type::arrayOfU32},
   {"second", Type::arrayOfU32},
   {"third", Type::arrayOfU32},
   {"fourth", Type::arrayOfU32},
   {"hop", Type::row, {}, &Zorva::nestedType<NexthopInfoRow>},
   {"group", Type::row, {}, &Zorva::nestedType<EcmpMemberListRow>},
});
static_assert(portColumns.fixedLength == 53);

class PortRow : public BaseRow
{
public:
   using Array = Zorva::ArrayReference<std::uint32_t>;
   using Values = std::vector<std::uint32_t>;

   static constexpr const auto& columns_ = portColumns;
   static constexpr len_t baseRowLength_ = portColumns.fixedLength;

   PortRow() : BaseRow(baseRowLength_) { rowTypeIs(protRowType()); }
   PortRow(const PortRow& other) noexcept : BaseRow(other) {}
   PortRow(const BaseRow& other) : BaseRow(other) { Zorva::requireRowType(*this); }
   PortRow& operator=(const PortRow& other) { return *this = static_cast<const BaseRow&>(other); }
   PortRow& operator=(const BaseRow& other)
   {
      BaseRow::operator=(other);
      Zorva::requireRowType(*this);
      return *this;
   }

   static std::string rowTypeName() { return "Examples::PortRow"; }
   static len_t protRowType() { return Zorva::rowTypeId(rowType_, "Examples::PortRow"); }

   const Zorva::vcdType& vcd() const override { return Zorva::slotOffsets<columns_>(); }
   std::string toString() const override { return Zorva::rowText<columns_>(*this); }
   std::string toJson() const override { return Zorva::rowJson<columns_>(*this); }
   bool rowEqual(const BaseRow& other) const override { return Zorva::contentEqual<columns_>(*this, other); }
   bool rowLess(const BaseRow& other) const override { return Zorva::contentLess<columns_>(*this, other); }
   std::uint64_t rowHash() const override { return Zorva::contentHash<columns_>(*this); }
   len_t baseRowLength() override { return baseRowLength_; }
   bool isFullyDefined() const override { return true; }

   bool flag() const { return readColumn<bool>(columns_.at<bool>("flag").offset); }
   EthAddr mac() const { return readColumn<EthAddr>(columns_.at<EthAddr>("mac").offset); }
   std::uint16_t port() const { return readColumn<std::uint16_t>(columns_.at<std::uint16_t>("port").offset); }
   std::int32_t delta() const { return readColumn<std::int32_t>(columns_.at<std::int32_t>("delta").offset); }
   std::uint32_t id() const { return readColumn<std::uint32_t>(columns_.at<std::uint32_t>("id").offset); }
   std::uint64_t stamp() const { return readColumn<std::uint64_t>(columns_.at<std::uint64_t>("stamp").offset); }
   Array first() const { return arrayColumn<std::uint32_t>(columns_.at<Array>("first").offset); }
   NexthopInfoRow hop() const { return Zorva::nestedRow<NexthopInfoRow>(*this, columns_.at<BaseRow>("hop").offset); }

   void flagIs(bool v) { setColumn(columns_.at<bool>("flag").offset, v, baseRowLength_); }
   void macIs(const EthAddr& v) { setColumn(columns_.at<EthAddr>("mac").offset, v, baseRowLength_); }
   void portIs(std::uint16_t v) { setColumn(columns_.at<std::uint16_t>("port").offset, v, baseRowLength_); }
   void deltaIs(std::int32_t v) { setColumn(columns_.at<std::int32_t>("delta").offset, v, baseRowLength_); }
   void idIs(std::uint32_t v) { setColumn(columns_.at<std::uint32_t>("id").offset, v, baseRowLength_); }
   void stampIs(std::uint64_t v) { setColumn(columns_.at<std::uint64_t>("stamp").offset, v, baseRowLength_); }
   void firstIs(const Values& v) { setColumn(columns_.at<Array>("first").offset, v, baseRowLength_); }

private:
   static inline std::atomic<len_t> rowType_{Zorva::unknownRowType};
};

} // namespace Examples
