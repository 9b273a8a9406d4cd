#include "routing_types/EcmpMemberListRow.h"

#include "rowtype/builder.h"
#include "rowtype/identity.h"
#include "rowtype/rendering.h"
#include "rowtype/typeId.h"
#include "rowtype/verify.h"

namespace P4RuntimeRouting {

namespace {

constexpr const char* typeName = "P4RuntimeRouting::EcmpMemberListRow";

} // namespace

std::atomic<Zorva::len_t> EcmpMemberListRow::rowType_{Zorva::unknownRowType};

EcmpMemberListRow::EcmpMemberListRow() : BaseRow(baseRowLength_) { rowTypeIs(protRowType()); }

EcmpMemberListRow::EcmpMemberListRow(const std::uint64_t& genId, const std::uint64_t& entryHandle, const bool& valid,
                                     const std::uint32_t& entryId, const std::uint32_t& id,
                                     const std::vector<std::uint32_t>& member, const std::vector<std::uint32_t>& watch)
   : BaseRow(baseRowLength_, Zorva::rowCapacity<columns_>(genId, entryHandle, valid, entryId, id, member, watch))
{
   Zorva::storeColumns<columns_>(*this, header(), genId, entryHandle, valid, entryId, id, member, watch);
   rowTypeIs(protRowType());
}

EcmpMemberListRow::EcmpMemberListRow(const Zorva::BaseRow& other) : BaseRow(other) { Zorva::requireRowType(*this); }

EcmpMemberListRow::EcmpMemberListRow(Zorva::BaseRow&& other) : BaseRow(std::move(other))
{
   Zorva::requireRowType(*this);
}

EcmpMemberListRow& EcmpMemberListRow::operator=(const EcmpMemberListRow& other)
{
   return *this = static_cast<const Zorva::BaseRow&>(other);
}

EcmpMemberListRow& EcmpMemberListRow::operator=(const Zorva::BaseRow& other)
{
   BaseRow::operator=(other);
   Zorva::requireRowType(*this);
   return *this;
}

EcmpMemberListRow& EcmpMemberListRow::operator=(Zorva::BaseRow&& other)
{
   BaseRow::operator=(std::move(other));
   Zorva::requireRowType(*this);
   return *this;
}

EcmpMemberListRow EcmpMemberListRow::key(const std::uint32_t& id)
{
   BaseRow base(baseRowLength_);
   base.rowTypeIs(protRowType());
   EcmpMemberListRow row(std::as_const(base)); // counts as a copy
   row.idIs(id);
   return row;
}

EcmpMemberListRow EcmpMemberListRow::fromBytes(std::span<const unsigned char> bytes)
{
   return Zorva::adoptRow<EcmpMemberListRow>(bytes);
}

EcmpMemberListRow EcmpMemberListRow::clone() const { return EcmpMemberListRow(BaseRow::clone()); }

Zorva::len_t EcmpMemberListRow::protRowType() { return Zorva::rowTypeId(rowType_, typeName); }

void EcmpMemberListRow::reset() { rowType_.store(Zorva::unknownRowType, std::memory_order_relaxed); }

std::string EcmpMemberListRow::rowTypeName() { return typeName; }

std::string EcmpMemberListRow::zoTypeSignature() { return Zorva::typeSignature(columns_); }

bool EcmpMemberListRow::isBaseRow() { return false; }

const Zorva::vcdType& EcmpMemberListRow::vcd() const { return Zorva::slotOffsets<columns_>(); }

std::string EcmpMemberListRow::toString() const { return Zorva::rowText<columns_>(*this); }

std::string EcmpMemberListRow::toJson() const { return Zorva::rowJson<columns_>(*this); }

bool EcmpMemberListRow::rowEqual(const Zorva::BaseRow& other) const
{
   return Zorva::contentEqual<columns_>(*this, other);
}

bool EcmpMemberListRow::rowLess(const Zorva::BaseRow& other) const
{
   return Zorva::contentLess<columns_>(*this, other);
}

std::uint64_t EcmpMemberListRow::rowHash() const { return Zorva::contentHash<columns_>(*this); }

Zorva::len_t EcmpMemberListRow::baseRowLength() { return baseRowLength_; }

bool EcmpMemberListRow::isFullyDefined() const { return true; }

void EcmpMemberListRow::clearRow()
{
   if (!isNull() && clear(baseRowLength()))
      rowTypeIs(protRowType());
}

void EcmpMemberListRow::compact() { compactRow(baseRowLength_); }

std::uint64_t EcmpMemberListRow::hash() const { return Zorva::keyHash<columns_>(*this); }

bool EcmpMemberListRow::operator==(const EcmpMemberListRow& other) const
{
   return Zorva::keyEqual<columns_>(*this, other);
}

bool EcmpMemberListRow::operator<(const EcmpMemberListRow& other) const
{
   return Zorva::keyLess<columns_>(*this, other);
}

std::weak_ordering EcmpMemberListRow::operator<=>(const EcmpMemberListRow& other) const
{
   return Zorva::keyOrder<columns_>(*this, other);
}

std::string EcmpMemberListRow::browToString(const Zorva::BaseRow& row) { return EcmpMemberListRow(row).toString(); }

std::string EcmpMemberListRow::memberToStringArray() const
{
   return aryColumnToString<std::uint32_t>(columns_.at<Array>("member").offset);
}

std::string EcmpMemberListRow::memberToJsonArray() const { return memberToStringArray(); }

std::string EcmpMemberListRow::watchToStringArray() const
{
   return aryColumnToString<std::uint32_t>(columns_.at<Array>("watch").offset);
}

std::string EcmpMemberListRow::watchToJsonArray() const { return watchToStringArray(); }

std::ostream& operator<<(std::ostream& os, const EcmpMemberListRow& row)
{
   return Zorva::writeText<ecmpMemberListColumns>(os, row);
}

} // namespace P4RuntimeRouting
