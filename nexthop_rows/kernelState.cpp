#include "nexthop_rows/kernelState.h"

#include <arpa/inet.h>
#include <iterator>
#include <utility>

namespace NexthopRows {

namespace {

template <class Map>
auto* found(Map& map, std::uint32_t id)
{
   const auto at = map.find(id);
   return at == map.end() ? nullptr : &at->second;
}

/// The second ids of all pairs with this first one.
std::vector<std::uint32_t> secondsOf(const std::set<std::pair<std::uint32_t, std::uint32_t>>& pairs,
                                     std::uint32_t first)
{
   std::vector<std::uint32_t> seconds;
   for (auto at = pairs.lower_bound({first, 0}); at != pairs.end() && at->first == first; ++at)
      seconds.push_back(at->second);
   return seconds;
}

} // namespace

std::string shownName(std::string_view name)
{
   std::string shown;
   for (const char character : name) {
      const auto byte = static_cast<unsigned char>(character);
      if (byte > ' ' && byte <= '~' && byte != '\\')
         shown += character;
      else
         shown.append("\\x").append(1, "0123456789abcdef"[byte >> 4]).append(1, "0123456789abcdef"[byte & 0xf]);
   }
   return shown;
}

std::string text(const IpAddress& address)
{
   char room[INET6_ADDRSTRLEN] = "";
   if (address.length != 0)
      inet_ntop(address.length == sizeof(in_addr) ? AF_INET : AF_INET6, address.bytes.data(), room, sizeof room);
   return room;
}

void KernelState::linkIs(LinkId id, Link link)
{
   LinkNode& node = links_[id];
   if (node.isThere && node.link == link)
      return;
   const bool leadsElsewhere = !node.isThere || node.link.ifindex != link.ifindex || node.link.vlan != link.vlan;
   if (node.isThere && node.link.vlan)
      above_.erase({node.link.vlan->lower, id});
   if (link.vlan)
      above_.emplace(link.vlan->lower, id);
   knownLinks_ += !node.isThere;
   node.isThere = true;
   node.link = std::move(link);
   touchUsers(node);
   if (leadsElsewhere) {
      node.egress.reset();
      forgetEgressAbove(id);
   }
}

void KernelState::missingLinkIs(LinkId id, const std::string& name) { links_[id].link.name = name; }

void KernelState::eraseLink(LinkId id)
{
   const auto at = links_.find(id);
   if (at == links_.end())
      return;
   LinkNode& node = at->second;
   if (node.isThere && node.link.vlan)
      above_.erase({node.link.vlan->lower, id});
   knownLinks_ -= node.isThere;
   node.isThere = false;
   node.link = {};
   node.egress.reset();
   touchUsers(node);
   forgetEgressAbove(id);
   for (auto neighbour = node.neighbours.begin(); neighbour != node.neighbours.end();) {
      neighbour->second.lladdr.reset();
      neighbour = neighbour->second.users.empty() ? node.neighbours.erase(neighbour) : std::next(neighbour);
   }
   if (node.neighbours.empty())
      links_.erase(at);
}

void KernelState::neighbourIs(LinkId link, const IpAddress& address, const Zorva::EthAddr& lladdr)
{
   Neighbour& neighbour = links_[link].neighbours[address];
   if (neighbour.lladdr == lladdr)
      return;
   neighbour.lladdr = lladdr;
   std::ranges::for_each(neighbour.users, [this](ObjectId user) { touchNexthop(user); });
}

void KernelState::eraseNeighbour(LinkId link, const IpAddress& address)
{
   const auto node = links_.find(link);
   if (node == links_.end())
      return;
   const auto at = node->second.neighbours.find(address);
   if (at == node->second.neighbours.end() || !at->second.lladdr)
      return;
   at->second.lladdr.reset();
   std::ranges::for_each(at->second.users, [this](ObjectId user) { touchNexthop(user); });
   drop(node, at);
}

void KernelState::nexthopIs(ObjectId id, Nexthop nexthop)
{
   erase(id);
   NexthopNode& node = nexthops_[id];
   if (nexthop.link != 0) {
      auto& users = links_[nexthop.link].neighbours[nexthop.gateway].users;
      node.asUser = users.insert(users.end(), id);
   }
   node.nexthop = std::move(nexthop);
   touchNexthop(id);
}

void KernelState::groupIs(ObjectId id, Group group)
{
   erase(id);
   for (const Member& member : group.members)
      memberOf_.emplace(member.id, id);
   groups_[id].group = std::move(group);
   touchGroup(id);
}

void KernelState::erase(ObjectId id)
{
   eraseNexthop(id);
   eraseGroup(id);
}

void KernelState::eraseAndShrinkGroups(ObjectId id)
{
   for (const ObjectId of : groupsOf(id)) {
      auto& members = groups_.at(of).group.members;
      std::erase_if(members, [&](const Member& member) { return member.id == id; });
      memberOf_.erase({id, of});
      touchGroup(of);
      if (members.empty())
         eraseGroup(of);
   }
   erase(id);
}

void KernelState::flushLink(LinkId id)
{
   std::vector<ObjectId> users;
   if (const LinkNode* const node = found(links_, id))
      for (const auto& [address, neighbour] : node->neighbours)
         users.insert(users.end(), neighbour.users.begin(), neighbour.users.end());
   for (const ObjectId user : users)
      eraseAndShrinkGroups(user);
}

const Link* KernelState::link(LinkId id) const
{
   const LinkNode* const node = found(links_, id);
   return node != nullptr && node->isThere ? &node->link : nullptr;
}

const Nexthop* KernelState::nexthop(ObjectId id) const
{
   const NexthopNode* const node = found(nexthops_, id);
   return node != nullptr ? &node->nexthop : nullptr;
}

const Group* KernelState::group(ObjectId id) const
{
   const GroupNode* const node = found(groups_, id);
   return node != nullptr ? &node->group : nullptr;
}

const Zorva::EthAddr* KernelState::neighbour(LinkId link, const IpAddress& address) const
{
   const LinkNode* const node = found(links_, link);
   if (node == nullptr)
      return nullptr;
   const auto at = node->neighbours.find(address);
   return at != node->neighbours.end() && at->second.lladdr ? &*at->second.lladdr : nullptr;
}

std::string KernelState::linkName(LinkId id) const
{
   const LinkNode* const node = found(links_, id);
   return node != nullptr && !node->link.name.empty() ? node->link.name : std::to_string(id);
}

Egress KernelState::egress(LinkId id)
{
   std::vector<LinkNode*> way;
   Egress egress;
   for (LinkNode* node = found(links_, id); node != nullptr && node->isThere;
        node = found(links_, node->link.vlan->lower)) {
      if (node->egress) {
         egress = *node->egress;
         break;
      }
      way.push_back(node);
      if (!node->link.vlan) {
         egress.portId = node->link.ifindex;
         break;
      }
      node->egress = Egress{0, 2}; // what comes by here again goes round in a circle
   }
   for (auto node = way.rbegin(); node != way.rend(); ++node) {
      if ((*node)->link.vlan && egress.tags < 2)
         ++egress.tags;
      (*node)->egress = egress;
   }
   return egress;
}

std::vector<ObjectId> KernelState::takeTouchedNexthops()
{
   for (const ObjectId id : touchedNexthops_)
      if (NexthopNode* const node = found(nexthops_, id))
         node->isTouched = false;
   return std::exchange(touchedNexthops_, {});
}

std::vector<ObjectId> KernelState::takeTouchedGroups()
{
   for (const ObjectId id : touchedGroups_)
      if (GroupNode* const node = found(groups_, id))
         node->isTouched = false;
   return std::exchange(touchedGroups_, {});
}

void KernelState::touchNexthop(ObjectId id)
{
   NexthopNode* const node = found(nexthops_, id);
   if (node == nullptr || !std::exchange(node->isTouched, true))
      touchedNexthops_.push_back(id);
}

void KernelState::touchGroup(ObjectId id)
{
   GroupNode* const node = found(groups_, id);
   if (node == nullptr || !std::exchange(node->isTouched, true))
      touchedGroups_.push_back(id);
}

void KernelState::touchGroupsOf(ObjectId nexthop)
{
   for (const ObjectId group : groupsOf(nexthop))
      touchGroup(group);
}

void KernelState::touchUsers(const LinkNode& node)
{
   for (const auto& [address, neighbour] : node.neighbours)
      std::ranges::for_each(neighbour.users, [this](ObjectId user) { touchNexthop(user); });
}

/// A link without a known egress has none above it that has one: each is found on the way down.
void KernelState::forgetEgressAbove(LinkId id)
{
   for (std::vector<LinkId> pending{id}; !pending.empty();) {
      const auto above = secondsOf(above_, pending.back());
      pending.pop_back();
      for (const LinkId upper : above)
         if (LinkNode& node = links_.at(upper); std::exchange(node.egress, std::nullopt)) {
            touchUsers(node);
            pending.push_back(upper);
         }
   }
}

void KernelState::eraseNexthop(ObjectId id)
{
   const auto at = nexthops_.find(id);
   if (at == nexthops_.end())
      return;
   if (const Nexthop& nexthop = at->second.nexthop; nexthop.link != 0) {
      const auto link = links_.find(nexthop.link);
      const auto neighbour = link->second.neighbours.find(nexthop.gateway);
      neighbour->second.users.erase(at->second.asUser);
      drop(link, neighbour);
   }
   nexthops_.erase(at);
   touchedNexthops_.push_back(id);
}

void KernelState::eraseGroup(ObjectId id)
{
   const auto at = groups_.find(id);
   if (at == groups_.end())
      return;
   for (const Member& member : at->second.group.members)
      memberOf_.erase({member.id, id});
   groups_.erase(at);
   touchedGroups_.push_back(id);
}

std::vector<ObjectId> KernelState::groupsOf(ObjectId nexthop) const { return secondsOf(memberOf_, nexthop); }

/// Drops what is neither there nor used.
void KernelState::drop(std::unordered_map<LinkId, LinkNode>::iterator link, Neighbours::iterator neighbour)
{
   if (!neighbour->second.lladdr && neighbour->second.users.empty())
      link->second.neighbours.erase(neighbour);
   if (!link->second.isThere && link->second.neighbours.empty())
      links_.erase(link);
}

} // namespace NexthopRows
