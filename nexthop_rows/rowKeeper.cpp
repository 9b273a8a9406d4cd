#include "nexthop_rows/rowKeeper.h"

#include <limits>
#include <numeric>

namespace NexthopRows {

namespace {

struct Encapsulation
{
   EncapType type = EncapType::none;
   std::uint16_t id = 0;
   std::string whyNotHeld = {};
};

/// The columns have room for one tag, label or key of 16 bits; what does not fit is never truncated.
Encapsulation encapsulationOf(const KernelState::NexthopView& view)
{
   const Encap* const encap = view.nexthop.encap.get();
   const auto notHeld = [](std::string why) { return Encapsulation{EncapType::notHeld, 0, std::move(why)}; };
   if (encap == nullptr) {
      if (view.egress.tags == 0)
         return {};
      if (view.egress.tags > 1 || !view.link->vlan->is8021Q)
         return notHeld("stacked or 802.1ad tags");
      return {EncapType::vlan, view.link->vlan->id};
   }
   const std::string& kind = encap->kind;
   if (encap->values.empty())
      return notHeld("encapsulation " + kind);
   if (view.egress.tags != 0)
      return notHeld(kind + " over a VLAN");
   if (encap->values.size() > 1)
      return notHeld("more than one label");
   const std::uint64_t value = encap->values.front();
   if (value > std::numeric_limits<std::uint16_t>::max())
      return notHeld(kind + " value " + std::to_string(value) + " above 65535");
   const EncapType type = kind == "mpls" ? EncapType::mpls : kind == "ip" ? EncapType::ip : EncapType::ip6;
   return {type, static_cast<std::uint16_t>(value)};
}

/// What keeps packets from leaving through the next hop; empty when nothing does.
std::string whyNotValid(const KernelState& state, const KernelState::NexthopView& view,
                        const Encapsulation& encapsulation)
{
   const Nexthop& nexthop = view.nexthop;
   const Link* const link = view.link;
   static constexpr std::array unusable{"", "dead", "linkdown", "unresolved"};
   if (nexthop.isBlackhole)
      return {};
   if (nexthop.link == 0)
      return "no device";
   if (link == nullptr)
      return "unknown device " + state.linkName(nexthop.link);
   if (!link->isUp)
      return "device " + link->name + " is down";
   if (nexthop.unusable != Unusable::no)
      return std::string("flag ") + unusable.at(static_cast<std::size_t>(nexthop.unusable));
   if (!encapsulation.whyNotHeld.empty())
      return encapsulation.whyNotHeld;
   if (view.egress.portId == 0)
      return "no port below " + link->name;
   if (view.neighbour != nullptr || !link->needsNeighbour)
      return {};
   return nexthop.gateway.length != 0 ? "no neighbour" : "connected";
}

/// An opaque handle of an object: one space of ids a table.
constexpr std::uint64_t handle(std::uint64_t table, ObjectId id) { return (table << 32) + id; }

} // namespace

std::string whyNotValid(KernelState& state, ObjectId nexthop)
{
   const auto view = state.viewOf(nexthop);
   return view ? whyNotValid(state, *view, encapsulationOf(*view)) : "";
}

void RowKeeper::touchAll(KernelState& state) const
{
   for (const Zorva::BaseRow& row : tables_.nexthops)
      state.touchNexthop(NexthopInfoRow(row).id());
   for (const Zorva::BaseRow& row : tables_.groups)
      state.touchGroup(EcmpMemberListRow(row).id());
}

/// Those that are filed, by their place, before the others.
template <class Row>
std::vector<ObjectId> RowKeeper::inOrder(const Table& table, std::vector<ObjectId> ids) const
{
   if (table.empty() || ids.size() < 2)
      return ids;
   std::vector<std::pair<std::uint32_t, ObjectId>> places;
   places.reserve(ids.size());
   for (const ObjectId id : ids) {
      const std::optional<Row> row = Zorva::Embedded::findRow(table, Row::key(id));
      places.emplace_back(row ? row->entryId() : std::numeric_limits<std::uint32_t>::max(), id);
   }
   std::ranges::stable_sort(places, {}, &std::pair<std::uint32_t, ObjectId>::first);
   std::ranges::transform(places, ids.begin(), &std::pair<std::uint32_t, ObjectId>::second);
   return ids;
}

template std::vector<ObjectId> RowKeeper::inOrder<NexthopInfoRow>(const Table&, std::vector<ObjectId>) const;
template std::vector<ObjectId> RowKeeper::inOrder<EcmpMemberListRow>(const Table&, std::vector<ObjectId>) const;

std::optional<Change<NexthopInfoRow>> RowKeeper::settleNexthop(KernelState& state, ObjectId id, std::uint64_t genId)
{
   auto before = Zorva::Embedded::findRow(tables_.nexthops, nexthopKey_.idIs(id));
   const auto view = state.viewOf(id);
   if (!view) {
      note<NexthopInfoRow>(id, {});
      return file<NexthopInfoRow>(tables_.nexthops, std::move(before), {}, genId, nexthopsFiled_);
   }
   const Encapsulation encapsulation = encapsulationOf(*view);
   const std::string why = whyNotValid(state, *view, encapsulation);
   note<NexthopInfoRow>(id, why);
   const NexthopInfoRow after(before ? before->genId() : genId, handle(1, id), why.empty(),
                              before ? before->entryId() : nexthopsFiled_ + 1, id, view->egress.portId,
                              view->neighbour != nullptr ? *view->neighbour : Zorva::EthAddr(),
                              view->link != nullptr ? view->link->address : Zorva::EthAddr(), view->nexthop.isBlackhole,
                              static_cast<std::int32_t>(encapsulation.type), encapsulation.id);
   return file<NexthopInfoRow>(tables_.nexthops, std::move(before), after, genId, nexthopsFiled_);
}

std::optional<Change<EcmpMemberListRow>> RowKeeper::settleGroup(KernelState& state, ObjectId id, std::uint64_t genId)
{
   auto before = Zorva::Embedded::findRow(tables_.groups, groupKey_.idIs(id));
   const Group* const group = state.group(id);
   std::uint32_t divisor = 0;
   std::uint64_t weights = 0;
   if (group != nullptr)
      for (const Member& member : group->members) {
         divisor = std::gcd(divisor, member.weight);
         weights += member.weight;
      }
   const std::uint64_t entries = divisor != 0 ? weights / divisor : 0;
   if (entries > Zorva::maxArrayElements)
      notes_.refused(source_ + ": group " + std::to_string(id),
                     std::to_string(entries) + " entries, more than " + std::to_string(Zorva::maxArrayElements));
   if (group == nullptr || entries > Zorva::maxArrayElements) {
      if (group == nullptr)
         note<EcmpMemberListRow>(id, {});
      return file<EcmpMemberListRow>(tables_.groups, std::move(before), {}, genId, groupsFiled_);
   }

   std::vector<std::uint32_t> members;
   std::vector<std::uint32_t> ports;
   members.reserve(entries);
   ports.reserve(entries);
   bool isValid = false;
   for (const Member& member : group->members) {
      const auto row = Zorva::Embedded::findRow(tables_.nexthops, nexthopKey_.idIs(member.id)); // none: it is gone
      isValid = isValid || (row && row->valid());
      members.insert(members.end(), member.weight / divisor, member.id);
      ports.insert(ports.end(), member.weight / divisor, row ? row->portId() : 0);
   }
   note<EcmpMemberListRow>(id, isValid ? "" : noValidMember);
   const EcmpMemberListRow after(before ? before->genId() : genId, handle(2, id), isValid,
                                 before ? before->entryId() : groupsFiled_ + 1, id, members, ports);
   return file<EcmpMemberListRow>(tables_.groups, std::move(before), after, genId, groupsFiled_);
}

/// Files `after`, which has genId and entryId of `before` if there was one.
template <class Row>
std::optional<Change<Row>> RowKeeper::file(Table& table, std::optional<Row> before, std::optional<Row> after,
                                           std::uint64_t genId, std::uint32_t& filed)
{
   if (before ? after && before->rowEqual(*after) : !after)
      return {};
   if (!after) {
      table.erase(*before);
   } else if (before) {
      table.replace(after->genIdIs(genId));
   } else {
      table.insert(*after);
      ++filed;
   }
   return Change<Row>{std::move(before), std::move(after)};
}

template <class Row>
void RowKeeper::note(ObjectId id, const std::string& whyNotValid)
{
   if (whyNotValid.empty() && !notes_.areAnyKept())
      return;
   const std::string object = source_ + ": " + kindOf<Row> + ' ' + std::to_string(id);
   if (whyNotValid.empty())
      notes_.forget(object);
   else
      notes_.notValid(object, whyNotValid);
}

} // namespace NexthopRows
