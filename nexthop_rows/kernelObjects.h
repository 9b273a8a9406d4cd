// A kernel's links, next hops and groups as plain structs, whatever source told of them.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/zorva/ethAddr.h"

namespace NexthopRows {

/// A source's own number of a link, never 0: for the kernel its ifindex. Recordings, where two links may have one
/// ifindex, number the names.
using LinkId = std::uint32_t;

/// The id of a next hop or group; both kinds share one space.
using ObjectId = std::uint32_t;

/// An IPv4 or IPv6 address in network order, of which an address has one only; or none.
struct IpAddress
{
   std::array<unsigned char, 16> bytes{};
   std::uint8_t length = 0; ///< 4 or 16; 0: none

   IpAddress() = default;

   /// Of four bytes or sixteen.
   explicit IpAddress(std::span<const unsigned char> from) : length(static_cast<std::uint8_t>(from.size()))
   {
      std::ranges::copy(from, bytes.begin());
   }

   bool operator==(const IpAddress&) const = default;

   struct Hash
   {
      std::size_t operator()(const IpAddress& address) const
      {
         std::array<std::uint64_t, 2> words;
         std::memcpy(words.data(), address.bytes.data(), sizeof words);
         return (words[0] ^ words[1] * 0x9e3779b97f4a7c15) * 0xc6a4a7935bd1e995 >> 8;
      }
   };
};

/// What a VLAN device adds to a frame, and the device that sends it.
struct Vlan
{
   bool is8021Q = false;
   std::uint16_t id = 0;
   LinkId lower = 0; ///< the device below; 0 when that is in another namespace

   bool operator==(const Vlan&) const = default;
};

struct Link
{
   std::uint32_t ifindex = 0;
   std::string name;            ///< as it is shown: see shownName()
   bool isUp = false;           ///< UP and LOWER_UP
   bool needsNeighbour = false; ///< has several peers, which it tells apart by their addresses
   bool isEthernet = false;
   Zorva::EthAddr address; ///< zero unless Ethernet
   std::optional<Vlan> vlan;

   bool operator==(const Link&) const = default;
};

struct Encap
{
   std::string kind;                  ///< "mpls", "ip", "ip6", "seg6" ...
   std::vector<std::uint64_t> values; ///< labels, or one tunnel key; empty for every other kind
};

/// What keeps a next hop from being used, as its flags say; the first of several.
enum class Unusable : std::uint8_t { no, dead, linkdown, unresolved };

struct Nexthop
{
   LinkId link = 0; ///< 0: none
   bool isBlackhole = false;
   Unusable unusable = Unusable::no;
   IpAddress gateway;
   std::unique_ptr<const Encap> encap; ///< null: none
};

struct Member
{
   ObjectId id = 0;
   std::uint32_t weight = 1; ///< never 0
};

struct Group
{
   std::vector<Member> members;
};

/// How much of a text from outside a message shows: the longest name of a device, whatever its bytes are.
inline constexpr std::size_t mostShown = 60;

/// A text from outside as it may be shown: whatever it holds, it stays within its line, and short. Bytes that are not
/// printable ASCII, and backslashes, become \xNN; what is longer than mostShown then is cut, and "..." put behind it.
std::string shown(std::string_view text);

/// A message as it may be shown, which quotes what the user named: with control characters as \xNN, and whole.
std::string shownLine(std::string_view message);

/// The same as shown() of a name, in which spaces become \x20.
std::string shownName(std::string_view name);

/// The address as it is written; empty for none.
std::string text(const IpAddress& address);

} // namespace NexthopRows
