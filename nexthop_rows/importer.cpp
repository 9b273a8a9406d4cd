#include "nexthop_rows/importer.h"

#include <array>
#include <limits>
#include <numeric>
#include <string>

namespace NexthopRows {

namespace {

/// Where frames of a device leave, and with which tags.
struct Egress
{
   std::uint32_t portId = 0; ///< 0 when no device of this namespace sends them
   std::vector<Vlan> tags;
};

Egress egressOf(const KernelDump& dump, const Link* link)
{
   Egress egress;
   for (; link != nullptr && link->vlan; link = dump.link(link->vlan->lower)) {
      if (egress.tags.size() == dump.links.size()) // the dump lies: these VLANs go round in a circle
         return egress;
      egress.tags.push_back(*link->vlan);
   }
   egress.portId = link != nullptr ? link->ifindex : 0;
   return egress;
}

struct Encapsulation
{
   EncapType type = EncapType::none;
   std::uint16_t id = 0;
   std::string whyNotHeld = {};
};

/// The columns have room for one tag, label or key of 16 bits; what does not fit is never truncated.
Encapsulation encapsulationOf(const std::optional<Encap>& encap, const std::vector<Vlan>& tags)
{
   const auto notHeld = [](std::string why) { return Encapsulation{EncapType::notHeld, 0, std::move(why)}; };
   if (!encap) {
      if (tags.empty())
         return {};
      if (tags.size() > 1 || !tags.front().is8021Q)
         return notHeld("stacked or 802.1ad tags");
      return {EncapType::vlan, tags.front().id};
   }
   const std::string& kind = encap->kind;
   if (encap->values.empty())
      return notHeld("encapsulation " + kind);
   if (!tags.empty())
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
std::string whyNotValid(const Nexthop& nexthop, const Link* link, const Egress& egress,
                        const Encapsulation& encapsulation, bool hasNeighbour)
{
   static constexpr std::array unusable{"dead", "linkdown", "unresolved"};
   if (nexthop.isBlackhole)
      return {};
   if (!nexthop.dev)
      return "no device";
   if (link == nullptr)
      return "unknown device " + *nexthop.dev;
   if (!link->isUp)
      return "device " + *nexthop.dev + " is down";
   for (const std::string& flag : nexthop.flags)
      if (std::ranges::find(unusable, flag) != unusable.end())
         return "flag " + flag;
   if (!encapsulation.whyNotHeld.empty())
      return encapsulation.whyNotHeld;
   if (egress.portId == 0)
      return "no port below " + *nexthop.dev;
   if (hasNeighbour || !link->needsNeighbour)
      return {};
   return nexthop.gateway ? "no neighbour" : "connected";
}

/// An opaque handle of an object: one space of ids a table.
constexpr std::uint64_t handle(std::uint64_t table, std::uint32_t id) { return (table << 32) + id; }

/// The position that the next row of the table will have.
std::uint32_t nextEntryId(const Table& table) { return static_cast<std::uint32_t>(table.size() + 1); }

void fileNexthop(const KernelDump& dump, const Nexthop& nexthop, std::uint64_t genId, Tables& tables, Notes& notes)
{
   const std::string name = dump.name + ": nexthop " + std::to_string(nexthop.id);
   const Link* const link = nexthop.dev ? dump.link(*nexthop.dev) : nullptr;
   const Egress egress = egressOf(dump, link);
   const Encapsulation encapsulation = encapsulationOf(nexthop.encap, egress.tags);
   auto neighbour = dump.neighbours.end();
   if (nexthop.dev && nexthop.gateway)
      neighbour = dump.neighbours.find({*nexthop.dev, *nexthop.gateway});
   const bool hasNeighbour = neighbour != dump.neighbours.end();
   const std::string why = whyNotValid(nexthop, link, egress, encapsulation, hasNeighbour);

   const NexthopInfoRow row(genId, handle(1, nexthop.id), why.empty(), nextEntryId(tables.nexthops), nexthop.id,
                            egress.portId, hasNeighbour ? neighbour->second : Zorva::EthAddr(),
                            link != nullptr ? link->address : Zorva::EthAddr(), nexthop.isBlackhole,
                            static_cast<std::int32_t>(encapsulation.type), encapsulation.id);
   if (!tables.nexthops.insert(row))
      notes.refused(name, "duplicate id");
   else if (!why.empty())
      notes.notValid(name, why);
}

void fileGroup(const KernelDump& dump, const Group& group, std::uint64_t genId, Tables& tables, Notes& notes)
{
   const std::string name = dump.name + ": group " + std::to_string(group.id);
   std::uint32_t divisor = 0;
   std::uint64_t weights = 0;
   for (const Member& member : group.members) {
      divisor = std::gcd(divisor, member.weight);
      weights += member.weight;
   }
   const std::uint64_t entries = divisor != 0 ? weights / divisor : 0;
   if (entries > Zorva::maxArrayElements)
      return notes.refused(name,
                           std::to_string(entries) + " entries, more than " + std::to_string(Zorva::maxArrayElements));

   std::vector<std::uint32_t> members;
   std::vector<std::uint32_t> ports;
   bool isValid = false;
   for (const Member& member : group.members) {
      const auto row = findRow(tables.nexthops, NexthopInfoRow::key(member.id)); // none: gone between the dumps
      isValid = isValid || (row && row->valid());
      members.insert(members.end(), member.weight / divisor, member.id);
      ports.insert(ports.end(), member.weight / divisor, row ? row->portId() : 0);
   }
   const EcmpMemberListRow row(genId, handle(2, group.id), isValid, nextEntryId(tables.groups), group.id, members,
                               ports);
   if (tables.nexthops.contains(NexthopInfoRow::key(group.id)) || !tables.groups.insert(row)) // both share the ids
      notes.refused(name, "duplicate id");
   else if (!isValid)
      notes.notValid(name, "no valid member");
}

} // namespace

Tables fileRows(const KernelDump& dump, std::uint64_t genId, Notes& notes)
{
   Tables tables;
   tables.nexthops.reserve(dump.nexthops.size());
   tables.groups.reserve(dump.groups.size());
   for (const Nexthop& nexthop : dump.nexthops)
      fileNexthop(dump, nexthop, genId, tables, notes);
   for (const Group& group : dump.groups) // a group may stand before its members
      fileGroup(dump, group, genId, tables, notes);
   return tables;
}

} // namespace NexthopRows
