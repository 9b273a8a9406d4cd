#include "routing_types/NexthopInfoRow.h"

#include "rowtype/builder.h"
#include "rowtype/identity.h"
#include "rowtype/rendering.h"
#include "rowtype/typeId.h"
#include "rowtype/verify.h"

namespace P4RuntimeRouting {

namespace {

constexpr const char* typeName = "P4RuntimeRouting::NexthopInfoRow";

} // namespace

std::atomic<Zorva::len_t> NexthopInfoRow::rowType_{Zorva::unknownRowType};

NexthopInfoRow::NexthopInfoRow() : BaseRow(baseRowLength_)
{
   rowTypeIs(protRowType());
   encapTypeIs(encapType_DEFAULT);
}

NexthopInfoRow::NexthopInfoRow(const std::uint64_t& genId, const std::uint64_t& entryHandle, const bool& valid,
                               const std::uint32_t& entryId, const std::uint32_t& id, const std::uint32_t& portId,
                               const Zorva::EthAddr& dmac, const Zorva::EthAddr& smac, const bool& drop,
                               const std::int32_t& encapType, const std::uint16_t& encapId)
   : BaseRow(baseRowLength_)
{
   Zorva::storeColumns<columns_>(*this, header(), genId, entryHandle, valid, entryId, id, portId, dmac, smac, drop,
                                 encapType, encapId);
   rowTypeIs(protRowType());
}

NexthopInfoRow::NexthopInfoRow(const Zorva::BaseRow& other) : BaseRow(other) { Zorva::requireRowType(*this); }

NexthopInfoRow::NexthopInfoRow(Zorva::BaseRow&& other) : BaseRow(std::move(other)) { Zorva::requireRowType(*this); }

NexthopInfoRow& NexthopInfoRow::operator=(const NexthopInfoRow& other)
{
   return *this = static_cast<const Zorva::BaseRow&>(other);
}

NexthopInfoRow& NexthopInfoRow::operator=(const Zorva::BaseRow& other)
{
   BaseRow::operator=(other);
   Zorva::requireRowType(*this);
   return *this;
}

NexthopInfoRow& NexthopInfoRow::operator=(Zorva::BaseRow&& other)
{
   BaseRow::operator=(std::move(other));
   Zorva::requireRowType(*this);
   return *this;
}

NexthopInfoRow NexthopInfoRow::key(const std::uint32_t& id)
{
   BaseRow base(baseRowLength_);
   base.rowTypeIs(protRowType());
   NexthopInfoRow row(std::as_const(base)); // counts as a copy
   row.idIs(id);
   row.encapTypeIs(encapType_DEFAULT);
   return row;
}

NexthopInfoRow NexthopInfoRow::fromBytes(std::span<const unsigned char> bytes)
{
   return Zorva::adoptRow<NexthopInfoRow>(bytes);
}

NexthopInfoRow NexthopInfoRow::clone() const { return NexthopInfoRow(BaseRow::clone()); }

Zorva::len_t NexthopInfoRow::protRowType() { return Zorva::rowTypeId(rowType_, typeName); }

void NexthopInfoRow::reset() { rowType_.store(Zorva::unknownRowType, std::memory_order_relaxed); }

std::string NexthopInfoRow::rowTypeName() { return typeName; }

std::string NexthopInfoRow::zoTypeSignature() { return Zorva::typeSignature(columns_); }

bool NexthopInfoRow::isBaseRow() { return false; }

const Zorva::vcdType& NexthopInfoRow::vcd() const { return Zorva::slotOffsets<columns_>(); }

std::string NexthopInfoRow::toString() const { return Zorva::rowText<columns_>(*this); }

std::string NexthopInfoRow::toJson() const { return Zorva::rowJson<columns_>(*this); }

bool NexthopInfoRow::rowEqual(const Zorva::BaseRow& other) const { return Zorva::contentEqual<columns_>(*this, other); }

bool NexthopInfoRow::rowLess(const Zorva::BaseRow& other) const { return Zorva::contentLess<columns_>(*this, other); }

std::uint64_t NexthopInfoRow::rowHash() const { return Zorva::contentHash<columns_>(*this); }

Zorva::len_t NexthopInfoRow::baseRowLength() { return baseRowLength_; }

bool NexthopInfoRow::isFullyDefined() const { return true; }

void NexthopInfoRow::clearRow()
{
   if (!isNull() && clear(baseRowLength()))
      rowTypeIs(protRowType());
}

void NexthopInfoRow::compact() { compactRow(baseRowLength_); }

std::uint64_t NexthopInfoRow::hash() const { return Zorva::keyHash<columns_>(*this); }

bool NexthopInfoRow::operator==(const NexthopInfoRow& other) const { return Zorva::keyEqual<columns_>(*this, other); }

bool NexthopInfoRow::operator<(const NexthopInfoRow& other) const { return Zorva::keyLess<columns_>(*this, other); }

std::weak_ordering NexthopInfoRow::operator<=>(const NexthopInfoRow& other) const
{
   return Zorva::keyOrder<columns_>(*this, other);
}

std::string NexthopInfoRow::browToString(const Zorva::BaseRow& row) { return NexthopInfoRow(row).toString(); }

std::ostream& operator<<(std::ostream& os, const NexthopInfoRow& row)
{
   return Zorva::writeText<nexthopInfoColumns>(os, row);
}

} // namespace P4RuntimeRouting
