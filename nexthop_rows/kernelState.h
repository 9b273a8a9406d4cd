// What a source has told of one network namespace: links, neighbours, next hops, groups, and which of them depend on
// which. A change costs what it touches, however much there is: what rows it may have changed is kept until a
// RowKeeper asks.
//
//   link <- VLAN links above it        link <- its neighbours (gateways) <- next hops        next hop <- groups
//
// Sources call the operations named ...Is and erase...; nothing is refused, and what is named but not there may come
// later. Not for use from several threads.
#pragma once

#include <set>
#include <unordered_map>

#include "nexthop_rows/kernelObjects.h"

namespace NexthopRows {

/// Where frames of a device leave, and below how many tags.
struct Egress
{
   std::uint32_t portId = 0; ///< 0 when no device of this namespace sends them
   unsigned tags = 0;        ///< 0, 1, or 2 for more
};

class KernelState
{
public:
   // --- links. The name of one that is not there is for messages.
   void linkIs(LinkId id, Link link);
   void missingLinkIs(LinkId id, const std::string& name);

   /// Its neighbours go with it, next hops over it stay.
   void eraseLink(LinkId id);

   /// VLANs above it, which is gone for good, lead nowhere until they are told again: their lower device is in another
   /// namespace, and its number may be another's.
   void unstack(LinkId lower);

   // --- neighbours that are resolved
   void neighbourIs(LinkId link, const IpAddress& address, const Zorva::EthAddr& lladdr);
   void eraseNeighbour(LinkId link, const IpAddress& address);

   // --- next hops and groups, in place of the one that had the id
   void nexthopIs(ObjectId id, Nexthop nexthop);
   void groupIs(ObjectId id, Group group);
   void erase(ObjectId id);

   // --- what the kernel does without a word of it
   /// Erases the next hop or group; groups lose it as a member, and the last member takes its group with it.
   void eraseAndShrinkGroups(ObjectId id);

   /// The same for every next hop over the link.
   void flushLink(LinkId id);

   // --- look-ups: null when there is no such thing
   const Link* link(LinkId id) const;
   const Nexthop* nexthop(ObjectId id) const;
   const Group* group(ObjectId id) const;
   const Zorva::EthAddr* neighbour(LinkId link, const IpAddress& address) const;

   /// All that a next hop's row is made of.
   struct NexthopView
   {
      const Nexthop& nexthop;
      const Link* link;                ///< null: none, or not there
      Egress egress;                   ///< of the link
      const Zorva::EthAddr* neighbour; ///< the gateway's address; null: none, or not resolved to a peer's
   };

   /// None when there is no such next hop.
   std::optional<NexthopView> viewOf(ObjectId nexthop);

   /// The name of the link as it is shown, be it there or not.
   std::string linkName(LinkId id) const;

   // --- how many there are
   std::size_t nexthops() const { return nexthopsThere_; }
   std::size_t groups() const { return groups_.size(); }

   // --- what may have changed since the last call, in the order of the changes; an id may be there twice
   std::vector<ObjectId> takeTouchedNexthops();
   std::vector<ObjectId> takeTouchedGroups();
   void touchNexthop(ObjectId id);
   void touchGroup(ObjectId id);
   void touchGroupsOf(ObjectId nexthop);

private:
   using Round = std::uint64_t; ///< from one take...() to the next

   struct NexthopNode;

   struct Neighbour
   {
      std::optional<Zorva::EthAddr> lladdr;
      NexthopNode* users = nullptr; ///< the first of the next hops with this device and gateway
   };
   using Neighbours = std::unordered_map<IpAddress, Neighbour, IpAddress::Hash>; ///< users without a gateway under none

   struct LinkNode
   {
      bool isThere = false;
      Link link;
      std::optional<Egress> egress;
      Neighbours neighbours;
   };

   struct NexthopNode
   {
      ObjectId id = 0;
      bool isThere = false;
      Round touchedIn = 0;
      Nexthop nexthop;
      LinkNode* link = nullptr;        ///< null: none; else both exist as long as they are used
      Neighbour* neighbour = nullptr;  ///< of that link, with this gateway
      NexthopNode* previous = nullptr; ///< the users of the same neighbour
      NexthopNode* next = nullptr;
      std::set<ObjectId> groups; ///< that name it
   };

   struct GroupNode
   {
      Group group;
      Round touchedIn = 0;
   };

   /// The egress of a link. VLANs in a circle have no port and tags without end. Found once, and kept until a link on
   /// the way changes.
   Egress egressOf(LinkNode& link);

   void touch(NexthopNode& node);
   void touchUsers(const Neighbour& neighbour);
   void touchUsers(const LinkNode& node);
   void forgetEgressAbove(LinkId id);
   void detach(NexthopNode& node);
   void eraseNexthop(ObjectId id);
   void eraseGroup(ObjectId id);
   void removeMember(ObjectId member, ObjectId group);
   void drop(std::unordered_map<LinkId, LinkNode>::iterator link, const IpAddress& neighbour);

   // Elements of these stay where they are.
   std::unordered_map<LinkId, LinkNode> links_;         ///< also those that only next hops or neighbours name
   std::unordered_map<ObjectId, NexthopNode> nexthops_; ///< also those that only groups name
   std::unordered_map<ObjectId, GroupNode> groups_;
   std::set<std::pair<LinkId, LinkId>> above_; ///< (lower, VLAN)
   std::size_t nexthopsThere_ = 0;
   std::vector<ObjectId> touchedNexthops_;
   std::vector<ObjectId> touchedGroups_;
   Round nexthopRound_ = 1;
   Round groupRound_ = 1;
};

} // namespace NexthopRows
