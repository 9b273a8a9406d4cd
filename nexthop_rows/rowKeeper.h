// The rows that follow from a state of the kernel, filed in tables, and brought up to date row by row.
#pragma once

#include "nexthop_rows/kernelState.h"
#include "nexthop_rows/notes.h"
#include "nexthop_rows/rowDiff.h"

namespace NexthopRows {

/// The program's own code of what a next hop puts around a packet, in the column encapType.
enum class EncapType : std::int32_t { notHeld = -1, none = 0, vlan = 1, mpls = 2, ip = 3, ip6 = 4 };

/// What keeps packets from leaving through the next hop; empty when nothing does, or there is no such next hop.
std::string whyNotValid(KernelState& state, ObjectId nexthop);

/// The same for a group that is not valid.
inline constexpr const char* noValidMember = "no valid member";

class RowKeeper
{
public:
   /// `source` stands before each object in the notes, which must live as long.
   RowKeeper(std::string source, Notes& notes) : source_(std::move(source)), notes_(notes) {}

   const Tables& tables() const { return tables_; }
   Tables takeTables() { return std::move(tables_); }

   /// Makes room for the rows of the state.
   void reserve(const KernelState& state)
   {
      tables_.nexthops.reserve(state.nexthops());
      tables_.groups.reserve(state.groups());
   }

   /// Files, as of import number `genId`, the rows that the state says may have changed, and calls use(change) for each
   /// that has: next hops before groups, removed and changed rows in the order of their filing before inserted ones in
   /// the order of the changes. A row keeps the entryId of its first filing, and genId until it changes. Notes say
   /// which objects were refused and which rows are not valid.
   template <class Use>
   void settle(KernelState& state, std::uint64_t genId, Use use)
   {
      for (const ObjectId id : inOrder<NexthopInfoRow>(tables_.nexthops, state.takeTouchedNexthops()))
         if (const auto change = settleNexthop(state, id, genId)) {
            state.touchGroupsOf(id);
            use(*change);
         }
      for (const ObjectId id : inOrder<EcmpMemberListRow>(tables_.groups, state.takeTouchedGroups()))
         if (const auto change = settleGroup(state, id, genId))
            use(*change);
   }

   /// The next settle() is about a state that knows nothing of the last one: every row filed may have changed.
   void touchAll(KernelState& state) const;

private:
   template <class Row>
   std::vector<ObjectId> inOrder(const Table& table, std::vector<ObjectId> ids) const;
   std::optional<Change<NexthopInfoRow>> settleNexthop(KernelState& state, ObjectId id, std::uint64_t genId);
   std::optional<Change<EcmpMemberListRow>> settleGroup(KernelState& state, ObjectId id, std::uint64_t genId);
   template <class Row>
   std::optional<Change<Row>> file(Table& table, std::optional<Row> before, std::optional<Row> after,
                                   std::uint64_t genId, std::uint32_t& filed);
   template <class Row>
   void note(ObjectId id, const std::string& whyNotValid);

   std::string source_;
   Notes& notes_;
   Tables tables_;
   NexthopInfoRow nexthopKey_; ///< for look-ups
   EcmpMemberListRow groupKey_;
   std::uint32_t nexthopsFiled_ = 0; ///< the last entryId given
   std::uint32_t groupsFiled_ = 0;
};

} // namespace NexthopRows
