#include "nexthop_rows/kernelState.h"

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

} // namespace

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
   node.isThere = false;
   node.link = {};
   node.egress.reset();
   touchUsers(node);
   forgetEgressAbove(id);
   for (auto neighbour = node.neighbours.begin(); neighbour != node.neighbours.end();) {
      neighbour->second.lladdr.reset();
      neighbour = neighbour->second.users == nullptr ? node.neighbours.erase(neighbour) : std::next(neighbour);
   }
   if (node.neighbours.empty())
      links_.erase(at);
}

void KernelState::unstack(LinkId lower)
{
   const auto first = above_.lower_bound({lower, 0});
   auto at = first;
   for (; at != above_.end() && at->first == lower; ++at) {
      LinkNode& upper = links_.at(at->second);
      upper.link.vlan->lower = 0;
      upper.egress.reset();
      touchUsers(upper);
      forgetEgressAbove(at->second);
   }
   above_.erase(first, at);
}

void KernelState::neighbourIs(LinkId link, const IpAddress& address, const Zorva::EthAddr& lladdr)
{
   Neighbour& neighbour = links_[link].neighbours[address];
   if (neighbour.lladdr == lladdr)
      return;
   neighbour.lladdr = lladdr;
   touchUsers(neighbour);
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
   touchUsers(at->second);
   if (at->second.users == nullptr)
      drop(node, address);
}

void KernelState::nexthopIs(ObjectId id, Nexthop nexthop)
{
   if (!groups_.empty()) // as for most of a dump
      eraseGroup(id);
   NexthopNode& node = nexthops_[id];
   detach(node);
   nexthopsThere_ += !node.isThere;
   node.id = id;
   node.isThere = true;
   node.nexthop = std::move(nexthop);
   if (node.nexthop.link != 0) {
      node.link = &links_[node.nexthop.link];
      node.neighbour = &node.link->neighbours[node.nexthop.gateway];
      node.next = std::exchange(node.neighbour->users, &node);
      if (node.next != nullptr)
         node.next->previous = &node;
   }
   touch(node);
}

void KernelState::groupIs(ObjectId id, Group group)
{
   erase(id);
   for (const Member& member : group.members) {
      NexthopNode& node = nexthops_[member.id];
      node.id = member.id;
      node.groups.insert(node.groups.end(), id);
   }
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
   if (NexthopNode* const node = found(nexthops_, id))
      for (const ObjectId of : std::vector(node->groups.begin(), node->groups.end())) {
         auto& members = groups_.at(of).group.members;
         std::erase_if(members, [&](const Member& member) { return member.id == id; });
         removeMember(id, of);
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
         for (const NexthopNode* user = neighbour.users; user != nullptr; user = user->next)
            users.push_back(user->id);
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
   return node != nullptr && node->isThere ? &node->nexthop : nullptr;
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

std::optional<KernelState::NexthopView> KernelState::viewOf(ObjectId nexthop)
{
   NexthopNode* const node = found(nexthops_, nexthop);
   if (node == nullptr || !node->isThere)
      return {};
   if (node->link == nullptr)
      return NexthopView{node->nexthop, nullptr, {}, nullptr};
   const Link* const link = node->link->isThere ? &node->link->link : nullptr;
   const auto& lladdr = node->neighbour->lladdr;
   // On devices without ARP, traffic makes neighbours with the device's own address, of which no message tells.
   const bool isPeer = lladdr && (link == nullptr || link->needsNeighbour || *lladdr != link->address);
   return NexthopView{node->nexthop, link, egressOf(*node->link), isPeer ? &*lladdr : nullptr};
}

Egress KernelState::egressOf(LinkNode& link)
{
   std::vector<LinkNode*> way;
   Egress egress;
   for (LinkNode* node = &link; node != nullptr && node->isThere; node = found(links_, node->link.vlan->lower)) {
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
   ++nexthopRound_;
   return std::exchange(touchedNexthops_, {});
}

std::vector<ObjectId> KernelState::takeTouchedGroups()
{
   ++groupRound_;
   return std::exchange(touchedGroups_, {});
}

void KernelState::touchNexthop(ObjectId id)
{
   if (NexthopNode* const node = found(nexthops_, id))
      touch(*node);
   else
      touchedNexthops_.push_back(id);
}

void KernelState::touchGroup(ObjectId id)
{
   GroupNode* const node = found(groups_, id);
   if (node == nullptr || std::exchange(node->touchedIn, groupRound_) != groupRound_)
      touchedGroups_.push_back(id);
}

void KernelState::touchGroupsOf(ObjectId nexthop)
{
   if (const NexthopNode* const node = found(nexthops_, nexthop))
      for (const ObjectId group : node->groups)
         touchGroup(group);
}

void KernelState::touch(NexthopNode& node)
{
   if (std::exchange(node.touchedIn, nexthopRound_) != nexthopRound_)
      touchedNexthops_.push_back(node.id);
}

void KernelState::touchUsers(const Neighbour& neighbour)
{
   for (NexthopNode* user = neighbour.users; user != nullptr; user = user->next)
      touch(*user);
}

void KernelState::touchUsers(const LinkNode& node)
{
   for (const auto& [address, neighbour] : node.neighbours)
      touchUsers(neighbour);
}

/// A link without a known egress has none above it that has one: each is found on the way down.
void KernelState::forgetEgressAbove(LinkId id)
{
   for (std::vector<LinkId> pending{id}; !pending.empty();) {
      const LinkId lower = pending.back();
      pending.pop_back();
      for (auto at = above_.lower_bound({lower, 0}); at != above_.end() && at->first == lower; ++at)
         if (LinkNode& upper = links_.at(at->second); std::exchange(upper.egress, std::nullopt)) {
            touchUsers(upper);
            pending.push_back(at->second);
         }
   }
}

/// Takes the next hop from the users of its neighbour.
void KernelState::detach(NexthopNode& node)
{
   if (node.link == nullptr)
      return;
   (node.previous != nullptr ? node.previous->next : node.neighbour->users) = node.next;
   if (node.next != nullptr)
      node.next->previous = node.previous;
   if (node.neighbour->users == nullptr && !node.neighbour->lladdr)
      drop(links_.find(node.nexthop.link), node.nexthop.gateway);
   node.link = nullptr;
   node.neighbour = nullptr;
   node.previous = node.next = nullptr;
}

void KernelState::eraseNexthop(ObjectId id)
{
   const auto at = nexthops_.find(id);
   if (at == nexthops_.end() || !at->second.isThere)
      return;
   NexthopNode& node = at->second;
   touch(node);
   detach(node);
   node.nexthop = {};
   node.isThere = false;
   --nexthopsThere_;
   if (node.groups.empty())
      nexthops_.erase(at);
}

void KernelState::eraseGroup(ObjectId id)
{
   const auto at = groups_.find(id);
   if (at == groups_.end())
      return;
   touchGroup(id);
   const Group group = std::move(at->second.group);
   groups_.erase(at);
   for (const Member& member : group.members)
      removeMember(member.id, id);
}

void KernelState::removeMember(ObjectId member, ObjectId group)
{
   const auto at = nexthops_.find(member);
   if (at == nexthops_.end()) // named twice
      return;
   at->second.groups.erase(group);
   if (!at->second.isThere && at->second.groups.empty())
      nexthops_.erase(at);
}

/// Drops a neighbour that is neither there nor used, and its link when that is neither.
void KernelState::drop(std::unordered_map<LinkId, LinkNode>::iterator link, const IpAddress& neighbour)
{
   link->second.neighbours.erase(neighbour);
   if (!link->second.isThere && link->second.neighbours.empty())
      links_.erase(link);
}

} // namespace NexthopRows
