#include "nexthop_rows/kernelDump.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string_view>

namespace NexthopRows {

namespace {

using Strings = std::vector<std::string>;

bool contains(const Strings& list, std::string_view text) { return std::ranges::find(list, text) != list.end(); }

/// "02:00:00:00:01:00", and nothing longer or shorter.
Zorva::EthAddr macAddress(const std::string& name, const std::string& text)
{
   std::array<unsigned char, 6> byte{};
   bool isMac = text.size() == 17;
   for (std::size_t i = 0; i < byte.size() && isMac; ++i) {
      const char* const digits = text.data() + 3 * i;
      isMac = std::from_chars(digits, digits + 2, byte[i], 16).ptr == digits + 2 && (i == 5 || digits[2] == ':');
   }
   if (!isMac)
      throwBadField(name, text, "a MAC address of six bytes");
   return {byte[0], byte[1], byte[2], byte[3], byte[4], byte[5]};
}

/// The address in network order, four bytes or sixteen: an IPv6 address has several spellings and only one such form.
std::string ipAddress(const std::string& name, const std::string& text)
{
   std::array<char, sizeof(in6_addr)> address{};
   const bool isWhole = text.find('\0') == std::string::npos; // inet_pton() would not see what follows
   if (isWhole && inet_pton(AF_INET, text.c_str(), address.data()) == 1)
      return {address.data(), sizeof(in_addr)};
   if (isWhole && inet_pton(AF_INET6, text.c_str(), address.data()) == 1)
      return {address.data(), address.size()};
   throwBadField(name, text, "an IP address");
}

/// "100", or "100/200" for a stack of labels.
std::vector<std::uint64_t> mplsLabels(const std::string& text)
{
   std::vector<std::uint64_t> labels;
   const char* const end = text.data() + text.size();
   for (const char* at = text.data();; ++at) {
      const auto [stop, error] = std::from_chars(at, end, labels.emplace_back());
      if (error != std::errc() || (stop != end && *stop != '/'))
         throwBadField("dst", text, "a list of labels");
      if (stop == end)
         return labels;
      at = stop;
   }
}

/// Both forms: an object of its own, or its fields in the midst of the next hop's, where its "id" is the second one.
std::optional<Encap> parseEncap(const Json& nexthop)
{
   const auto at = nexthop.find("encap");
   if (at == nexthop.end())
      return {};
   const bool isFlat = at->is_string();
   const Json fields = isFlat ? nexthop : requiredField<Json>(nexthop, "encap");
   Encap encap{requiredField<std::string>(fields, isFlat ? "encap" : "encap_type"), {}};
   if (encap.kind == "mpls")
      encap.values = mplsLabels(requiredField<std::string>(fields, "dst"));
   else if (encap.kind == "ip" || encap.kind == "ip6")
      encap.values = {field<std::uint64_t>(fields, isFlat ? repeated("id") : "id").value_or(0)};
   return encap;
}

Nexthop parseNexthop(std::uint32_t id, const Json& object)
{
   Nexthop nexthop;
   nexthop.id = id;
   nexthop.isBlackhole = object.contains("blackhole");
   nexthop.dev = field<std::string>(object, "dev");
   if (const auto gateway = field<std::string>(object, "gateway"))
      nexthop.gateway = ipAddress("gateway", *gateway);
   nexthop.encap = parseEncap(object);
   nexthop.flags = field<Strings>(object, "flags").value_or(Strings());
   return nexthop;
}

Group parseGroup(std::uint32_t id, const Json& members)
{
   Group group{id, {}};
   if (!members.is_array())
      throwBadField("group", members, "a list of members");
   for (const Json& object : members) {
      if (!object.is_object())
         throwBadField("group", object, "an object");
      const Member member{requiredField<std::uint32_t>(object, "id"),
                          field<std::uint32_t>(object, "weight").value_or(1)};
      if (member.weight == 0)
         throwBadField("weight", 0, "above 0");
      group.members.push_back(member);
   }
   return group;
}

Link parseLink(const Json& object)
{
   Link link;
   link.ifindex = requiredField<std::uint32_t>(object, "ifindex");
   const Strings flags = field<Strings>(object, "flags").value_or(Strings());
   link.isUp = contains(flags, "UP") && contains(flags, "LOWER_UP");
   link.needsNeighbour = !contains(flags, "NOARP") && !contains(flags, "LOOPBACK") && !contains(flags, "POINTOPOINT");
   link.isEthernet = field<std::string>(object, "link_type") == "ether";
   if (link.isEthernet)
      link.address = macAddress("address", requiredField<std::string>(object, "address"));

   const auto info = field<Json>(object, "linkinfo");
   if (info && field<std::string>(*info, "info_kind") == "vlan") {
      const Json data = requiredField<Json>(*info, "info_data");
      Vlan vlan{requiredField<std::string>(data, "protocol") == "802.1Q", requiredField<std::uint16_t>(data, "id"), {}};
      if (!object.contains("link_netnsid")) // the device below is in this namespace
         vlan.lower = field<std::string>(object, "link").value_or("");
      link.vlan = vlan;
   }
   return link;
}

/// Calls parse(object, name) for every object of the source, and refuses those for which it throws BadObject. `parse`
/// replaces the name, which is the position at first, as soon as it knows better.
template <class Parse>
void forEachObject(const Source& source, Notes& notes, Parse parse)
{
   std::size_t position = 0;
   for (const Json& object : parseArray(source.name, source.text)) {
      std::string name = "object " + std::to_string(++position);
      try {
         if (!object.is_object())
            throwBadField("value", object, "an object");
         parse(object, name);
      } catch (const BadObject& bad) {
         notes.refused(source.name + ": " + name, bad.what());
      }
   }
}

void parseLinks(const Source& source, KernelDump& dump, Notes& notes)
{
   forEachObject(source, notes, [&](const Json& object, std::string& name) {
      if (object.empty()) // stands for a link that ip left out
         return;
      const auto device = requiredField<std::string>(object, "ifname");
      name = "link " + device;
      if (!dump.links.emplace(device, parseLink(object)).second)
         throw BadObject("duplicate name");
   });
}

void parseNeighbours(const Source& source, KernelDump& dump, Notes& notes)
{
   static constexpr std::array usable{"REACHABLE", "STALE", "DELAY", "PROBE", "PERMANENT", "NOARP"};
   forEachObject(source, notes, [&](const Json& object, std::string& name) {
      const auto text = requiredField<std::string>(object, "dst");
      const auto device = requiredField<std::string>(object, "dev");
      name = "neighbour " + text + " dev " + device;
      const std::string address = ipAddress("dst", text);
      const Strings states = field<Strings>(object, "state").value_or(Strings());
      const auto lladdr = field<std::string>(object, "lladdr");
      if (!lladdr || std::ranges::none_of(usable, [&](const char* state) { return contains(states, state); }))
         return;
      try {
         dump.neighbours.emplace(std::pair(device, address), macAddress("lladdr", *lladdr));
      } catch (const BadObject& bad) {
         const Link* const link = dump.link(device);
         if (link == nullptr || link->isEthernet)
            throw;
         notes.skipped(source.name + ": " + name, bad.what()); // other kinds of device have other addresses
      }
   });
}

void parseNexthops(const Source& source, KernelDump& dump, Notes& notes)
{
   forEachObject(source, notes, [&](const Json& object, std::string& name) {
      const auto id = requiredField<std::uint32_t>(object, "id");
      const auto members = object.find("group");
      const bool isGroup = members != object.end();
      name = (isGroup ? "group " : "nexthop ") + std::to_string(id);
      if (object.contains("fdb"))
         notes.skipped(source.name + ": " + name, isGroup ? "fdb group" : "fdb");
      else if (isGroup)
         dump.groups.push_back(parseGroup(id, *members));
      else
         dump.nexthops.push_back(parseNexthop(id, object));
   });
}

} // namespace

Source readFile(const std::string& path)
{
   std::ifstream file(path, std::ios::binary);
   if (!file)
      throw BadInput(path + ": " + std::strerror(errno));
   std::ostringstream text;
   if (file.peek() != std::ifstream::traits_type::eof())
      text << file.rdbuf();
   if (file.bad() || text.fail())
      throw BadInput(path + ": cannot be read");
   return {path, std::move(text).str()};
}

Sources readFolder(const std::string& folder)
{
   const auto read = [&](const char* name) { return readFile(std::filesystem::path(folder) / name); };
   return {read("nexthop.json"), read("neigh.json"), read("link.json")};
}

KernelDump parseDump(const Sources& sources, Notes& notes)
{
   KernelDump dump;
   dump.name = sources.nexthop.name;
   parseLinks(sources.link, dump, notes);
   parseNeighbours(sources.neigh, dump, notes); // after the links, which say what kind of address to expect
   parseNexthops(sources.nexthop, dump, notes);
   return dump;
}

} // namespace NexthopRows
