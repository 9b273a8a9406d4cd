// EcmpMemberListRow, one ECMP group: the arrays `member` and `watch`, keyed by `id`.
//
// A thin typed layer over Zorva::BaseRow without data members of its own; the columns stand in ecmpMemberListColumns
// and everything else follows from that table. Rows share buffers and copy them on write; see rowstore/baseRow.h for
// ownership, failures and threads, which hold here too. There is no move: moving from a row copies it, which costs one
// owner count.
#pragma once

#include "rowtype/rowType.h"

namespace P4RuntimeRouting {

inline constexpr auto ecmpMemberListColumns = Zorva::layOut({
   {"genId", Zorva::Type::u64},
   {"entryHandle", Zorva::Type::u64},
   {"valid", Zorva::Type::boolean},
   {"entryId", Zorva::Type::u32},
   {"id", Zorva::Type::u32, Zorva::key},
   {"member", Zorva::Type::arrayOfU32},
   {"watch", Zorva::Type::arrayOfU32},
});
static_assert(ecmpMemberListColumns.fixedLength == 37);
static_assert(ecmpMemberListColumns.keyColumn().offset == 25);
static_assert(ecmpMemberListColumns.columns[5].offset == 29 && ecmpMemberListColumns.columns[6].offset == 33);
static_assert(Zorva::typeSignatureLength(ecmpMemberListColumns) == 142);

/// One ECMP group, keyed by `id`: its arrays `member` and `watch`.
class ZORVA_EXPORT EcmpMemberListRow : public Zorva::BaseRow
{
public:
   static constexpr const auto& columns_ = ecmpMemberListColumns;
   static constexpr const char* rowTypeName_ = "P4RuntimeRouting::EcmpMemberListRow";
#define ZORVA_ROW EcmpMemberListRow
#include "rowtype/rowMembers.inc"

   /// A new row with these values, in a buffer that holds both arrays. Throws as BaseRow(len_t, len_t), and what
   /// storing an array of more than 4095 elements throws.
   EcmpMemberListRow(const std::uint64_t& genId, const std::uint64_t& entryHandle, const bool& valid,
                     const std::uint32_t& entryId, const std::uint32_t& id, const std::vector<std::uint32_t>& member,
                     const std::vector<std::uint32_t>& watch);

   // --- array columns as text, "[1,2,3]", the same in JSON ---

   std::string memberToStringArray() const;
   std::string memberToJsonArray() const;
   std::string watchToStringArray() const;
   std::string watchToJsonArray() const;

   // --- columns. Readers of fixed columns throw ZoNullRow for a null row, readers of arrays give an empty view.
   // --- Writers take a private copy first if the buffer is shared, and throw ZoNullRow, ZoPermissionViolation, what
   // --- the copy throws, or what storing an array throws, with the columns unchanged.

   std::uint64_t genId() const { return get<"genId">(); }
   std::uint64_t entryHandle() const { return get<"entryHandle">(); }
   bool valid() const { return get<"valid">(); }
   std::uint32_t entryId() const { return get<"entryId">(); }
   std::uint32_t id() const { return get<"id">(); }
   Array member() const { return get<"member">(); }
   Array watch() const { return get<"watch">(); }

   EcmpMemberListRow& genIdIs(const std::uint64_t& v) { return set<"genId">(v); }
   EcmpMemberListRow& entryHandleIs(const std::uint64_t& v) { return set<"entryHandle">(v); }
   EcmpMemberListRow& validIs(const bool& v) { return set<"valid">(v); }
   EcmpMemberListRow& entryIdIs(const std::uint32_t& v) { return set<"entryId">(v); }
   EcmpMemberListRow& idIs(const std::uint32_t& v) { return set<"id">(v); }

   /// Stores an array. One that is emptied, or replaced by a shorter one, leaves its bytes in the row, and the next
   /// longer one goes behind them: setting and emptying an array in turn uses the row up, unless compact() is called.
   EcmpMemberListRow& memberIs(const std::vector<std::uint32_t>& v) { return set<"member">(v); }
   EcmpMemberListRow& watchIs(const std::vector<std::uint32_t>& v) { return set<"watch">(v); }

   /// The same from any other contiguous range, which may not lie in this row's own bytes.
   EcmpMemberListRow& memberIs(const Zorva::ContiguousRangeOf<std::uint32_t> auto& v) { return set<"member">(v); }
   EcmpMemberListRow& watchIs(const Zorva::ContiguousRangeOf<std::uint32_t> auto& v) { return set<"watch">(v); }
};

/// Writes the text form of `row` into `os`, in that stream's number formatting, its arrays in plain decimal; "len: 0,
/// NULL" for a null row.
ZORVA_EXPORT std::ostream& operator<<(std::ostream& os, const EcmpMemberListRow& row);

} // namespace P4RuntimeRouting
