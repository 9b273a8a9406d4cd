#include "nexthop_rows/jsonSource.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string_view>

namespace NexthopRows {

namespace {

bool contains(const Strings& list, std::string_view text) { return std::ranges::find(list, text) != list.end(); }

/// "02:00:00:00:01:00", and nothing longer or shorter.
Zorva::EthAddr macAddress(const std::string& name, std::string_view text)
{
   std::array<unsigned char, 6> byte{};
   bool isMac = text.size() == 17;
   for (std::size_t i = 0; i < byte.size() && isMac; ++i) {
      const char* const digits = text.data() + 3 * i;
      isMac = std::from_chars(digits, digits + 2, byte[i], 16).ptr == digits + 2 && (i == 5 || digits[2] == ':');
   }
   if (!isMac)
      throwBadField(name, nlohmann::json(text), "a MAC address of six bytes");
   return {byte[0], byte[1], byte[2], byte[3], byte[4], byte[5]};
}

IpAddress ipAddress(const std::string& name, std::string_view text)
{
   std::array<unsigned char, sizeof(in6_addr)> address{};
   std::array<char, INET6_ADDRSTRLEN> room{}; // with the zero that ends it
   const bool fits = text.size() < room.size() && text.find('\0') == std::string_view::npos;
   std::ranges::copy(text.substr(0, fits ? text.size() : 0), room.begin());
   if (inet_pton(AF_INET, room.data(), address.data()) == 1)
      return IpAddress(std::span(address).first(sizeof(in_addr)));
   if (inet_pton(AF_INET6, room.data(), address.data()) == 1)
      return IpAddress(address);
   throwBadField(name, nlohmann::json(text), "an IP address");
}

/// "100", or "100/200" for a stack of labels.
std::vector<std::uint64_t> mplsLabels(std::string_view text)
{
   std::vector<std::uint64_t> labels;
   const char* const end = text.data() + text.size();
   for (const char* at = text.data();; ++at) {
      const auto [stop, error] = std::from_chars(at, end, labels.emplace_back());
      if (error != std::errc() || (stop != end && *stop != '/'))
         throwBadField("dst", nlohmann::json(text), "a list of labels");
      if (stop == end)
         return labels;
      at = stop;
   }
}

/// Both forms: an object of its own, or its fields in the midst of the next hop's, where its "id" is the second one.
std::unique_ptr<const Encap> parseEncap(const Json& nexthop)
{
   const auto at = nexthop.find("encap");
   if (!at)
      return nullptr;
   const bool isFlat = at->isString();
   const Json fields = isFlat ? nexthop : requiredField<Json>(nexthop, "encap");
   Encap encap{std::string(requiredField<std::string_view>(fields, isFlat ? "encap" : "encap_type")), {}};
   if (encap.kind == "mpls")
      encap.values = mplsLabels(requiredField<std::string_view>(fields, "dst"));
   else if (encap.kind == "ip" || encap.kind == "ip6")
      encap.values = {field<std::uint64_t>(fields, "id", isFlat ? 1 : 0).value_or(0)};
   else
      encap.kind = shown(encap.kind);
   return std::make_unique<const Encap>(std::move(encap));
}

Group parseGroup(const Json& members)
{
   Group group;
   if (!members.isArray())
      throwBadField("group", members, "a list of members");
   members.forEach([&](std::string_view, const Json& object) {
      if (!object.isObject())
         throwBadField("group", object, "an object");
      const Member member{requiredField<std::uint32_t>(object, "id"),
                          field<std::uint32_t>(object, "weight").value_or(1)};
      if (member.weight == 0)
         throwBadField("weight", nlohmann::json(0), "above 0");
      group.members.push_back(member);
   });
   return group;
}

// What objects are called in notes. These throw BadObject for one that has no such name.

std::string linkName(const Json& object)
{
   return "link " + shownName(requiredField<std::string_view>(object, "ifname"));
}

std::string neighbourName(const Json& object)
{
   return "neighbour " + shownName(requiredField<std::string_view>(object, "dst")) + " dev " +
          shownName(requiredField<std::string_view>(object, "dev"));
}

std::string nexthopName(const Json& object)
{
   return (object.contains("group") ? "group " : "nexthop ") +
          std::to_string(requiredField<std::uint32_t>(object, "id"));
}

/// Calls parse(object) for every object of the source, and refuses those for which it throws BadObject by the name that
/// nameOf(object) returns, or by their position when it throws, too.
template <class NameOf, class Parse>
void forEachObject(const Source& source, Notes& notes, NameOf nameOf, Parse parse)
{
   std::size_t position = 0;
   const auto nameOrPosition = [&](const Json& object) {
      try {
         return nameOf(object);
      } catch (const BadObject&) {
         return "object " + std::to_string(position);
      }
   };
   forEachElement(source.name, *source.in, [&](const Json& object) {
      ++position;
      try {
         if (!object.isObject())
            throwBadField("value", object, "an object");
         parse(object);
      } catch (const BadObject& bad) {
         notes.refused(source.name + ": " + nameOrPosition(object), bad.what());
      }
   });
}

class RecordingReader
{
public:
   explicit RecordingReader(Notes& notes) : notes_(notes) {}

   KernelState read(const Recording& recording)
   {
      readLinks(recording.link);
      readNeighbours(recording.neigh); // after the links, which say what kind of address to expect
      readObjects(recording.nexthop);
      return std::move(state_);
   }

private:
   void readLinks(const Source& source)
   {
      forEachObject(source, notes_, linkName, [&](const Json& object) {
         if (object.isEmpty()) // stands for a link that ip left out
            return;
         const auto device = requiredField<std::string_view>(object, "ifname");
         Link link = parseLink(object, device);
         if (state_.link(idOf(device)) != nullptr)
            throw BadObject("duplicate name");
         state_.linkIs(idOf(device), std::move(link));
      });
   }

   void readNeighbours(const Source& source)
   {
      static constexpr std::array usable{"REACHABLE", "STALE", "DELAY", "PROBE", "PERMANENT", "NOARP"};
      forEachObject(source, notes_, neighbourName, [&](const Json& object) {
         const auto text = requiredField<std::string_view>(object, "dst");
         const auto device = requiredField<std::string_view>(object, "dev");
         const IpAddress address = ipAddress("dst", text);
         const Strings states = field<Strings>(object, "state").value_or(Strings());
         const auto lladdr = field<std::string_view>(object, "lladdr");
         if (!lladdr || std::ranges::none_of(usable, [&](const char* state) { return contains(states, state); }))
            return;
         const Link* const link = state_.link(idOf(device));
         try {
            const Zorva::EthAddr mac = macAddress("lladdr", *lladdr);
            if (state_.neighbour(idOf(device), address) == nullptr)
               state_.neighbourIs(idOf(device), address, mac);
         } catch (const BadObject& bad) {
            if (link == nullptr || link->isEthernet)
               throw;
            notes_.skipped(source.name + ": " + neighbourName(object),
                           bad.what()); // other kinds of device have other addresses
         }
      });
   }

   void readObjects(const Source& source)
   {
      std::vector<std::pair<ObjectId, Group>> groups; // the id of a next hop that comes later is not for a group
      forEachObject(source, notes_, nexthopName, [&](const Json& object) {
         const auto id = requiredField<std::uint32_t>(object, "id");
         const auto members = object.find("group");
         const bool isGroup = members.has_value();
         if (object.contains("fdb"))
            notes_.skipped(source.name + ": " + nexthopName(object), isGroup ? "fdb group" : "fdb");
         else if (isGroup)
            groups.emplace_back(id, parseGroup(*members));
         else if (Nexthop nexthop = parseNexthop(object); isFree(id))
            state_.nexthopIs(id, std::move(nexthop));
         else
            throw BadObject("duplicate id");
      });
      for (auto& [id, group] : groups)
         if (isFree(id))
            state_.groupIs(id, std::move(group));
         else
            notes_.refused(source.name + ": group " + std::to_string(id), "duplicate id");
   }

   Link parseLink(const Json& object, std::string_view device)
   {
      Link link;
      link.ifindex = requiredField<std::uint32_t>(object, "ifindex");
      link.name = shownName(device);
      const Strings flags = field<Strings>(object, "flags").value_or(Strings());
      link.isUp = contains(flags, "UP") && contains(flags, "LOWER_UP");
      link.needsNeighbour =
         !contains(flags, "NOARP") && !contains(flags, "LOOPBACK") && !contains(flags, "POINTOPOINT");
      link.isEthernet = field<std::string_view>(object, "link_type") == "ether";
      if (link.isEthernet)
         link.address = macAddress("address", requiredField<std::string_view>(object, "address"));

      const auto info = field<Json>(object, "linkinfo");
      if (info && field<std::string_view>(*info, "info_kind") == "vlan") {
         const Json data = requiredField<Json>(*info, "info_data");
         Vlan vlan{requiredField<std::string_view>(data, "protocol") == "802.1Q",
                   requiredField<std::uint16_t>(data, "id")};
         if (!object.contains("link_netnsid")) // the device below is in this namespace
            if (const auto lower = field<std::string_view>(object, "link"))
               vlan.lower = idOf(*lower);
         link.vlan = vlan;
      }
      return link;
   }

   Nexthop parseNexthop(const Json& object)
   {
      Nexthop nexthop;
      nexthop.isBlackhole = object.contains("blackhole");
      if (const auto device = field<std::string_view>(object, "dev")) {
         nexthop.link = idOf(*device);
         if (state_.link(nexthop.link) == nullptr)
            state_.missingLinkIs(nexthop.link, shownName(*device));
      }
      if (const auto gateway = field<std::string_view>(object, "gateway"))
         nexthop.gateway = ipAddress("gateway", *gateway);
      nexthop.encap = parseEncap(object);
      static constexpr std::array unusable{std::pair("dead", Unusable::dead), std::pair("linkdown", Unusable::linkdown),
                                           std::pair("unresolved", Unusable::unresolved)};
      for (const std::string_view flag : field<Strings>(object, "flags").value_or(Strings()))
         for (const auto& [name, reason] : unusable)
            if (flag == name && nexthop.unusable == Unusable::no)
               nexthop.unusable = reason;
      return nexthop;
   }

   bool isFree(ObjectId id) const { return state_.nexthop(id) == nullptr && state_.group(id) == nullptr; }

   /// The number of a device's name.
   LinkId idOf(std::string_view device)
   {
      return linkIds_.try_emplace(std::string(device), static_cast<LinkId>(linkIds_.size() + 1)).first->second;
   }

   Notes& notes_;
   KernelState state_;
   std::unordered_map<std::string, LinkId> linkIds_;
};

} // namespace

Source openFile(const std::string& path)
{
   auto file = std::make_unique<std::ifstream>(path, std::ios::binary);
   if (!*file)
      throw BadInput(path + ": " + std::strerror(errno));
   return {path, std::move(file)};
}

Recording readFolder(const std::string& folder)
{
   const auto open = [&](const char* name) { return openFile(std::filesystem::path(folder) / name); };
   return {open("nexthop.json"), open("neigh.json"), open("link.json")};
}

KernelState stateOf(const Recording& recording, Notes& notes) { return RecordingReader(notes).read(recording); }

} // namespace NexthopRows
