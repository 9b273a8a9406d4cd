// A kernel's next hops, groups, links and neighbours as plain structs, parsed from what `ip -j` printed.
//
// An object that cannot be used is refused with a note and left out, whatever else the dump holds; only a source that
// cannot be read at all is BadInput.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "nexthop_rows/jsonReader.h"
#include "nexthop_rows/notes.h"
#include "platform/zorva/ethAddr.h"

namespace NexthopRows {

/// One source of JSON: its name, for messages, and its text.
struct Source
{
   std::string name;
   std::string text;
};

/// The three dumps that belong together.
struct Sources
{
   Source nexthop; ///< ip -j -d nexthop
   Source neigh;   ///< ip -j neigh
   Source link;    ///< ip -j -d link
};

/// What a VLAN device adds to a frame, and the device that sends it.
struct Vlan
{
   bool is8021Q = false;
   std::uint16_t id = 0;
   std::string lower; ///< name of the device below; empty when that is in another namespace
};

struct Link
{
   std::uint32_t ifindex = 0;
   bool isUp = false;           ///< UP and LOWER_UP
   bool needsNeighbour = false; ///< has several peers, which it tells apart by their addresses
   bool isEthernet = false;
   Zorva::EthAddr address; ///< zero unless Ethernet
   std::optional<Vlan> vlan;
};

struct Encap
{
   std::string kind;                  ///< "mpls", "ip", "ip6", "seg6" ...
   std::vector<std::uint64_t> values; ///< labels, or one tunnel key; empty for every other kind
};

struct Nexthop
{
   std::uint32_t id = 0;
   bool isBlackhole = false;
   std::optional<std::string> dev;
   std::optional<std::string> gateway; ///< in the binary form of ipAddress()
   std::optional<Encap> encap;
   std::vector<std::string> flags;
};

struct Member
{
   std::uint32_t id = 0;
   std::uint32_t weight = 1; ///< never 0
};

struct Group
{
   std::uint32_t id = 0;
   std::vector<Member> members;
};

struct KernelDump
{
   std::string name; ///< of the source of next hops and groups
   std::vector<Nexthop> nexthops;
   std::vector<Group> groups;
   std::map<std::string, Link> links;
   std::map<std::pair<std::string, std::string>, Zorva::EthAddr> neighbours; ///< resolved ones, by (device, address)

   /// The link of that name, null when there is none.
   const Link* link(const std::string& device) const
   {
      const auto at = links.find(device);
      return at == links.end() ? nullptr : &at->second;
   }
};

/// Reads a whole file. Throws BadInput when that fails.
Source readFile(const std::string& path);

/// Reads FOLDER/nexthop.json, neigh.json and link.json. Throws BadInput for a file that cannot be read.
Sources readFolder(const std::string& folder);

/// Parses the three sources. FDB objects are skipped with a note, bad ones refused. Throws BadInput when a source is
/// not a JSON array.
KernelDump parseDump(const Sources& sources, Notes& notes);

} // namespace NexthopRows
