#include "nexthop_rows/netlinkMessages.h"

#include <arpa/inet.h>
#include <linux/if.h>
#include <linux/if_arp.h>
#include <linux/if_ether.h>
#include <linux/if_link.h>
#include <linux/lwtunnel.h>
#include <linux/mpls_iptunnel.h>
#include <linux/neighbour.h>
#include <linux/nexthop.h>
#include <linux/rtnetlink.h>

#include <libmnl/libmnl.h>

#include <endian.h>

#include "nexthop_rows/badInput.h"
#include "nexthop_rows/kernelConstants.h"

namespace NexthopRows {

namespace {

using Bytes = std::span<const unsigned char>;

/// The attributes of a message or of one attribute, by type; the last of several counts, as for the kernel.
class Attributes
{
public:
   /// As many as can be read.
   explicit Attributes(Bytes from)
   {
      while (!from.empty()) {
         const auto* const attribute = reinterpret_cast<const nlattr*>(from.data());
         if (!mnl_attr_ok(attribute, static_cast<int>(from.size())))
            break;
         if (const std::uint16_t type = mnl_attr_get_type(attribute); type < types)
            byType_[type] = attribute;
         from = from.subspan(std::min<std::size_t>(MNL_ALIGN(attribute->nla_len), from.size()));
      }
      unread_ = from.size();
   }

   /// Throws BadObject when an attribute is longer than the bytes left for it, or than its own header is short.
   const Attributes& whole() const
   {
      if (unread_ != 0)
         throw BadObject("malformed attribute in the last " + std::to_string(unread_) + " bytes");
      return *this;
   }

   /// Those within an attribute; none within one that is not there. Throws as whole().
   Attributes within(std::uint16_t type) const { return Attributes(bytes(type)).whole(); }

   bool contains(std::uint16_t type) const { return byType_[type] != nullptr; }

   /// The attribute's bytes; none when it is not there.
   Bytes bytes(std::uint16_t type) const
   {
      const nlattr* const attribute = byType_[type];
      return attribute == nullptr ? Bytes()
                                  : Bytes(static_cast<const unsigned char*>(mnl_attr_get_payload(attribute)),
                                          mnl_attr_get_payload_len(attribute));
   }

   /// The attribute's value as it lies, if it is there. Throws BadObject, naming it, for another size.
   template <class T>
   std::optional<T> value(std::uint16_t type, const char* name) const
   {
      if (!contains(type))
         return {};
      const Bytes from = bytes(type);
      if (from.size() != sizeof(T))
         badSize(name, from.size(), std::to_string(sizeof(T)));
      T value;
      std::memcpy(&value, from.data(), sizeof(T));
      return value;
   }

   /// The text, without the zero that may end it.
   std::string_view text(std::uint16_t type) const
   {
      const Bytes from = bytes(type);
      const std::string_view text(reinterpret_cast<const char*>(from.data()), from.size());
      return text.substr(0, text.find('\0'));
   }

   [[noreturn]] static void badSize(const char* name, std::size_t size, const std::string& wanted)
   {
      throw BadObject(std::string(name) + ": " + std::to_string(size) + " bytes, not " + wanted);
   }

private:
   static constexpr std::size_t types = 40; ///< more than those that are looked at

   std::array<const nlattr*, types> byType_{};
   std::size_t unread_ = 0;
};

/// The message's own header, and behind it the attributes. Throws BadObject when the message is too short for the
/// first.
template <class Header>
std::pair<const Header&, Attributes> parts(const nlmsghdr& message)
{
   const Bytes payload(static_cast<const unsigned char*>(mnl_nlmsg_get_payload(&message)),
                       mnl_nlmsg_get_payload_len(&message));
   static_assert(sizeof(Header) % MNL_ALIGNTO == 0);
   if (payload.size() < sizeof(Header))
      throw BadObject(std::to_string(payload.size()) + " bytes, fewer than its header has");
   return {*reinterpret_cast<const Header*>(payload.data()), Attributes(payload.subspan(sizeof(Header)))};
}

Zorva::EthAddr macAddress(const char* name, Bytes bytes)
{
   if (bytes.size() != sizeof(Zorva::EthAddr))
      Attributes::badSize(name, bytes.size(), std::to_string(sizeof(Zorva::EthAddr)));
   return {bytes[0], bytes[1], bytes[2], bytes[3], bytes[4], bytes[5]};
}

IpAddress ipAddress(const char* name, Bytes bytes)
{
   if (bytes.size() != sizeof(in_addr) && bytes.size() != sizeof(in6_addr))
      Attributes::badSize(name, bytes.size(), "4 or 16");
   return IpAddress(bytes);
}

std::optional<Vlan> vlanOf(const Attributes& link)
{
   const Attributes info = link.within(IFLA_LINKINFO);
   if (info.text(IFLA_INFO_KIND) != "vlan")
      return {};
   const Attributes data = info.within(IFLA_INFO_DATA);
   const auto id = data.value<std::uint16_t>(IFLA_VLAN_ID, "IFLA_VLAN_ID");
   const auto protocol = data.value<std::uint16_t>(IFLA_VLAN_PROTOCOL, "IFLA_VLAN_PROTOCOL");
   if (!id || !protocol)
      throw BadObject("a VLAN without its tag");
   const auto lower = link.value<std::uint32_t>(IFLA_LINK, "IFLA_LINK");
   return Vlan{ntohs(*protocol) == ETH_P_8021Q, *id, link.contains(IFLA_LINK_NETNSID) ? 0 : lower.value_or(0)};
}

Link linkOf(const ifinfomsg& head, const Attributes& attributes)
{
   Link link;
   link.ifindex = static_cast<std::uint32_t>(head.ifi_index);
   link.name = shownName(attributes.text(IFLA_IFNAME));
   link.isUp = (head.ifi_flags & IFF_UP) != 0 && (head.ifi_flags & IFF_LOWER_UP) != 0;
   link.needsNeighbour = (head.ifi_flags & (IFF_NOARP | IFF_LOOPBACK | IFF_POINTOPOINT)) == 0;
   link.isEthernet = head.ifi_type == ARPHRD_ETHER;
   if (link.isEthernet)
      link.address = macAddress("IFLA_ADDRESS", attributes.bytes(IFLA_ADDRESS));
   link.vlan = vlanOf(attributes);
   return link;
}

std::unique_ptr<const Encap> encapOf(const Attributes& nexthop)
{
   // As `ip` names them, in the order of their numbers.
   static constexpr std::array kinds{"none", "mpls",      "ip",  "ila",   "ip6", "seg6",
                                     "bpf",  "seg6local", "rpl", "ioam6", "xfrm"};
   const auto type = nexthop.value<std::uint16_t>(NHA_ENCAP_TYPE, "NHA_ENCAP_TYPE");
   if (!type)
      return nullptr;
   const Attributes data = nexthop.within(NHA_ENCAP);
   Encap encap{*type < kinds.size() ? kinds.at(*type) : "type " + std::to_string(*type), {}};
   if (*type == LWTUNNEL_ENCAP_MPLS) {
      const Bytes labels = data.bytes(MPLS_IPTUNNEL_DST);
      if (labels.empty() || labels.size() % sizeof(std::uint32_t) != 0)
         Attributes::badSize("MPLS_IPTUNNEL_DST", labels.size(), "4 a label");
      for (std::size_t at = 0; at < labels.size(); at += 4)
         encap.values.push_back(std::uint64_t{labels[at]} << 12 | std::uint64_t{labels[at + 1]} << 4 |
                                labels[at + 2] >> 4);
   } else if (*type == LWTUNNEL_ENCAP_IP) {
      encap.values = {be64toh(data.value<std::uint64_t>(LWTUNNEL_IP_ID, "LWTUNNEL_IP_ID").value_or(0))};
   } else if (*type == LWTUNNEL_ENCAP_IP6) {
      encap.values = {be64toh(data.value<std::uint64_t>(LWTUNNEL_IP6_ID, "LWTUNNEL_IP6_ID").value_or(0))};
   }
   return std::make_unique<const Encap>(std::move(encap));
}

Nexthop nexthopOf(unsigned flags, const Attributes& attributes)
{
   Nexthop nexthop;
   nexthop.link = attributes.value<std::uint32_t>(NHA_OIF, "NHA_OIF").value_or(0);
   nexthop.isBlackhole = attributes.contains(NHA_BLACKHOLE);
   nexthop.unusable = (flags & RTNH_F_DEAD) != 0         ? Unusable::dead
                      : (flags & RTNH_F_LINKDOWN) != 0   ? Unusable::linkdown
                      : (flags & RTNH_F_UNRESOLVED) != 0 ? Unusable::unresolved
                                                         : Unusable::no;
   if (attributes.contains(NHA_GATEWAY))
      nexthop.gateway = ipAddress("NHA_GATEWAY", attributes.bytes(NHA_GATEWAY));
   nexthop.encap = encapOf(attributes);
   return nexthop;
}

Group groupOf(const Attributes& attributes)
{
   const auto flags = attributes.value<std::uint32_t>(nhaOpFlags, "NHA_OP_FLAGS").value_or(0);
   const bool areWeightsWide = (flags & nhaOpFlagRespGrpResvd0) != 0;
   const Bytes members = attributes.bytes(NHA_GROUP);
   if (members.size() % sizeof(nexthop_grp) != 0)
      Attributes::badSize("NHA_GROUP", members.size(), std::to_string(sizeof(nexthop_grp)) + " a member");
   Group group;
   group.members.reserve(members.size() / sizeof(nexthop_grp));
   for (std::size_t at = 0; at < members.size(); at += sizeof(nexthop_grp)) {
      nexthop_grp member;
      std::memcpy(&member, &members[at], sizeof member);
      group.members.push_back({member.id, member.weight + (areWeightsWide ? member.resvd1 * 256U : 0) + 1});
   }
   return group;
}

/// Reads one message. What cannot be read is refused by the name that it has by then, and erased.
class MessageReader
{
public:
   MessageReader(const std::string& source, KernelState& state, Notes& notes)
      : source_(source), state_(state), notes_(notes)
   {
   }

   void readLink(const nlmsghdr& message)
   {
      LinkId id = 0;
      const auto name = [&] { return id != 0 ? "link " + std::to_string(id) : "link message"; };
      const auto read = [&] {
         const auto [head, attributes] = parts<ifinfomsg>(message);
         if (head.ifi_family != AF_UNSPEC) // of a bridge's port, say, which stays a link when it leaves
            return;
         id = static_cast<LinkId>(head.ifi_index);
         if (id == 0)
            throw BadObject("no ifindex");
         if (message.nlmsg_type == RTM_DELLINK) {
            state_.flushLink(id);
            state_.eraseLink(id);
            state_.unstack(id);
            return forget(name());
         }
         if (attributes.whole().contains(IFLA_WIRELESS)) // an event, which tells nothing else
            return;
         state_.linkIs(id, linkOf(head, attributes));
         // No next hop stays on a device that is down or has lost its carrier, and no message says that they are gone.
         if ((head.ifi_flags & IFF_UP) == 0 || (head.ifi_flags & (IFF_RUNNING | IFF_LOWER_UP)) == 0)
            state_.flushLink(id);
      };
      tryTo(name, read, [&] { state_.eraseLink(id); });
   }

   void readNeighbour(const nlmsghdr& message)
   {
      LinkId link = 0;
      IpAddress address;
      const auto name = [&] {
         return address.length == 0 ? "neighbour message"
                                    : "neighbour " + text(address) + " dev " + state_.linkName(link);
      };
      const auto erase = [&] { state_.eraseNeighbour(link, address); };
      const auto read = [&] {
         const auto [head, attributes] = parts<ndmsg>(message);
         const bool isIp = head.ndm_family == AF_INET || head.ndm_family == AF_INET6; // and not of a bridge
         if (!isIp || (head.ndm_flags & NTF_PROXY) != 0)
            return;
         link = static_cast<LinkId>(head.ndm_ifindex);
         address = ipAddress("NDA_DST", attributes.bytes(NDA_DST));
         constexpr unsigned usable = NUD_REACHABLE | NUD_STALE | NUD_DELAY | NUD_PROBE | NUD_PERMANENT | NUD_NOARP;
         if (message.nlmsg_type == RTM_DELNEIGH) {
            erase();
            return notes_.areAnyKept() ? forget(name()) : void();
         }
         if ((head.ndm_state & usable) == 0 || !attributes.whole().contains(NDA_LLADDR))
            return erase();
         const Bytes lladdr = attributes.bytes(NDA_LLADDR);
         if (lladdr.empty()) // of a device without addresses, a tunnel's, say
            return erase();
         const Link* const device = state_.link(link);
         if (lladdr.size() == sizeof(Zorva::EthAddr) || device == nullptr || device->isEthernet)
            state_.neighbourIs(link, address, macAddress("NDA_LLADDR", lladdr));
         else // other kinds of device have other addresses
            notes_.skipped(source_ + ": " + name(), "NDA_LLADDR: " + std::to_string(lladdr.size()) + " bytes");
      };
      tryTo(name, read, erase);
   }

   void readObject(const nlmsghdr& message)
   {
      ObjectId id = 0;
      bool isGroup = false;
      const auto name = [&] {
         return id == 0 ? "next-hop message" : (isGroup ? "group " : "nexthop ") + std::to_string(id);
      };
      const auto read = [&] {
         const auto [head, attributes] = parts<nhmsg>(message);
         id = attributes.value<std::uint32_t>(NHA_ID, "NHA_ID").value_or(0);
         isGroup = attributes.contains(NHA_GROUP);
         attributes.whole();
         if (id == 0)
            throw BadObject("no id");
         if (message.nlmsg_type == RTM_DELNEXTHOP) {
            state_.eraseAndShrinkGroups(id);
            forget("group " + std::to_string(id));
            forget("nexthop " + std::to_string(id));
         } else if (attributes.contains(NHA_FDB)) {
            state_.erase(id);
            notes_.skipped(source_ + ": " + name(), isGroup ? "fdb group" : "fdb");
         } else if (isGroup) {
            state_.groupIs(id, groupOf(attributes));
         } else {
            state_.nexthopIs(id, nexthopOf(head.nh_flags, attributes));
         }
      };
      tryTo(name, read, [&] { state_.erase(id); });
   }

private:
   template <class Name, class Read, class Erase>
   void tryTo(Name name, Read read, Erase erase)
   {
      try {
         read();
      } catch (const BadObject& bad) {
         const std::string object = source_ + ": " + name();
         erase();
         notes_.refused(object, bad.what());
      }
   }

   void forget(const std::string& name)
   {
      if (notes_.areAnyKept())
         notes_.forget(source_ + ": " + name);
   }

   const std::string& source_;
   KernelState& state_;
   Notes& notes_;
};

} // namespace

void applyMessage(const nlmsghdr& message, const std::string& source, KernelState& state, Notes& notes)
{
   MessageReader reader(source, state, notes);
   switch (message.nlmsg_type) {
   case RTM_NEWLINK:
   case RTM_DELLINK: return reader.readLink(message);
   case RTM_NEWNEIGH:
   case RTM_DELNEIGH: return reader.readNeighbour(message);
   case RTM_NEWNEXTHOP:
   case RTM_DELNEXTHOP: return reader.readObject(message);
   default: return; // nothing that rows follow from
   }
}

ObjectId objectId(const nlmsghdr& message)
{
   if (message.nlmsg_type != RTM_NEWNEXTHOP || mnl_nlmsg_get_payload_len(&message) < sizeof(nhmsg))
      return 0;
   const auto [head, attributes] = parts<nhmsg>(message);
   const Bytes id = attributes.bytes(NHA_ID);
   ObjectId value = 0;
   if (id.size() == sizeof value)
      std::memcpy(&value, id.data(), sizeof value);
   return value;
}

} // namespace NexthopRows
