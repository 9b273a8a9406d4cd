// NexthopInfoRow, one next hop: port, MAC addresses, drop flag and encapsulation, keyed by `id`.
//
// A thin typed layer over Zorva::BaseRow without data members of its own; the columns stand in nexthopInfoColumns and
// everything else follows from that table. Rows share buffers and copy them on write; see rowstore/baseRow.h for
// ownership, failures and threads, which hold here too. There is no move: moving from a row copies it, which costs one
// owner count.
#pragma once

#include "rowtype/rowType.h"

namespace P4RuntimeRouting {

inline constexpr auto nexthopInfoColumns = Zorva::layOut({
   {"genId", Zorva::Type::u64},
   {"entryHandle", Zorva::Type::u64},
   {"valid", Zorva::Type::boolean},
   {"entryId", Zorva::Type::u32},
   {"id", Zorva::Type::u32, Zorva::key},
   {"portId", Zorva::Type::u32},
   {"dmac", Zorva::Type::ethAddr},
   {"smac", Zorva::Type::ethAddr},
   {"drop", Zorva::Type::boolean},
   {"encapType", Zorva::Type::i32},
   {"encapId", Zorva::Type::u16},
});
static_assert(nexthopInfoColumns.fixedLength == 52);
static_assert(nexthopInfoColumns.keyColumn().offset == 25);
static_assert(Zorva::typeSignatureLength(nexthopInfoColumns) == 218);

/// One next hop, keyed by `id`: its port, MAC addresses, drop flag and encapsulation.
class ZORVA_EXPORT NexthopInfoRow : public Zorva::BaseRow
{
public:
   static constexpr const auto& columns_ = nexthopInfoColumns;
   static constexpr const char* rowTypeName_ = "P4RuntimeRouting::NexthopInfoRow";
#define ZORVA_ROW NexthopInfoRow
#include "rowtype/rowMembers.inc"

   static constexpr std::int32_t encapType_DEFAULT = 0; ///< of rows that are made without a value for it
   static_assert(encapType_DEFAULT == 0, "a fresh row's bytes are zero");

   /// A new row with these values. Throws as BaseRow(len_t).
   NexthopInfoRow(const std::uint64_t& genId, const std::uint64_t& entryHandle, const bool& valid,
                  const std::uint32_t& entryId, const std::uint32_t& id, const std::uint32_t& portId,
                  const Zorva::EthAddr& dmac, const Zorva::EthAddr& smac, const bool& drop,
                  const std::int32_t& encapType, const std::uint16_t& encapId);

   // --- columns. Readers throw ZoNullRow for a null row. Writers take a private copy first if the buffer is shared,
   // --- and throw ZoNullRow, ZoPermissionViolation, or what the copy throws, with the columns unchanged.

   std::uint64_t genId() const { return get<"genId">(); }
   std::uint64_t entryHandle() const { return get<"entryHandle">(); }
   bool valid() const { return get<"valid">(); }
   std::uint32_t entryId() const { return get<"entryId">(); }
   std::uint32_t id() const { return get<"id">(); }
   std::uint32_t portId() const { return get<"portId">(); }
   Zorva::EthAddr dmac() const { return get<"dmac">(); }
   Zorva::EthAddr smac() const { return get<"smac">(); }
   bool drop() const { return get<"drop">(); }
   std::int32_t encapType() const { return get<"encapType">(); }
   std::uint16_t encapId() const { return get<"encapId">(); }

   NexthopInfoRow& genIdIs(const std::uint64_t& v) { return set<"genId">(v); }
   NexthopInfoRow& entryHandleIs(const std::uint64_t& v) { return set<"entryHandle">(v); }
   NexthopInfoRow& validIs(const bool& v) { return set<"valid">(v); }
   NexthopInfoRow& entryIdIs(const std::uint32_t& v) { return set<"entryId">(v); }
   NexthopInfoRow& idIs(const std::uint32_t& v) { return set<"id">(v); }
   NexthopInfoRow& portIdIs(const std::uint32_t& v) { return set<"portId">(v); }
   NexthopInfoRow& dmacIs(const Zorva::EthAddr& v) { return set<"dmac">(v); }
   NexthopInfoRow& smacIs(const Zorva::EthAddr& v) { return set<"smac">(v); }
   NexthopInfoRow& dropIs(const bool& v) { return set<"drop">(v); }
   NexthopInfoRow& encapTypeIs(const std::int32_t& v) { return set<"encapType">(v); }
   NexthopInfoRow& encapIdIs(const std::uint16_t& v) { return set<"encapId">(v); }
};

/// Writes the text form of `row` into `os`, in that stream's number formatting; "len: 0, NULL" for a null row.
ZORVA_EXPORT std::ostream& operator<<(std::ostream& os, const NexthopInfoRow& row);

} // namespace P4RuntimeRouting
