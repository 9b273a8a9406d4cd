// ECMP rows with arrays of several lengths: build, hash, compare, array text.
#include "routing_types/EcmpMemberListRow.h"

#include <charconv>
#include <deque>
#include <memory>
#include <numeric>
#include <sstream>
#include <utility>
#include <vector>

#include "bench/support.h"
#include "rowtype/identity.h"

namespace Bench {

namespace {

using P4RuntimeRouting::ecmpMemberListColumns;
using P4RuntimeRouting::EcmpMemberListRow;
using Elements = std::vector<std::uint32_t>;

constexpr std::size_t fixedLength = ecmpMemberListColumns.fixedLength;
constexpr std::size_t arrayHeader = 2;

/// One group of n members: its arrays, and itself as a row and as bare blocks, each twice.
struct Group
{
   struct TwoVectors
   {
      std::uint64_t genId;
      std::uint64_t entryHandle;
      bool valid;
      std::uint32_t entryId;
      std::uint32_t id;
      Elements member;
      Elements watch;
   };

   explicit Group(std::uint32_t n) : member(numbered(n, 1000000)), watch(numbered(n, 10)) {}

   static Elements numbered(std::uint32_t n, std::uint32_t first)
   {
      Elements elements(n);
      std::iota(elements.begin(), elements.end(), first);
      return elements;
   }

   EcmpMemberListRow builtRow() const
   {
      return EcmpMemberListRow(values.genId, values.entryHandle, values.valid, values.entryId, values.id, member,
                               watch);
   }

   /// The bytes of the row, stored by hand.
   Blocks builtBlocks() const
   {
      const std::size_t memberLength = member.empty() ? 0 : arrayHeader + 4 * member.size();
      const std::size_t watchLength = watch.empty() ? 0 : arrayHeader + 4 * watch.size();
      const std::size_t length = fixedLength + memberLength + watchLength;
      void* const room = ::operator new(sizeof(Blocks::Head));
      auto* const data = static_cast<unsigned char*>(std::calloc(length, 1));
      auto* at = data;
      const auto put = [&](auto value) {
         std::memcpy(at, &value, sizeof value);
         at += sizeof value;
      };
      const auto putSlot = [&](std::size_t offset, std::size_t size) {
         put(static_cast<std::uint16_t>(size == 0 ? 0 : offset));
         put(static_cast<std::uint16_t>(size == 0 ? 0 : size | 0x8000));
      };
      const auto putArray = [&](const Elements& array) {
         if (array.empty())
            return;
         put(static_cast<std::uint16_t>(array.size()));
         std::memcpy(at, array.data(), 4 * array.size());
         at += 4 * array.size();
      };
      put(static_cast<std::uint16_t>(length)), put(EcmpMemberListRow::protRowType()), put(values.genId),
         put(values.entryHandle);
      put(values.valid), put(values.entryId), put(values.id);
      putSlot(fixedLength, memberLength), putSlot(fixedLength + memberLength, watchLength);
      putArray(member), putArray(watch);
      return Blocks(data, length, room);
   }

   std::shared_ptr<TwoVectors> builtVectors() const
   {
      return std::make_shared<TwoVectors>(
         TwoVectors{values.genId, values.entryHandle, values.valid, values.entryId, values.id, member, watch});
   }

   Elements member;
   Elements watch;
   EcmpMemberListRow row = builtRow();
   EcmpMemberListRow sameRow = builtRow();
   Blocks blocks = builtBlocks();
   Blocks sameBlocks = builtBlocks();
};

std::uint64_t sumOf(const auto& array)
{
   return std::accumulate(array.begin(), array.end(), std::uint64_t{array.size()});
}

std::uint64_t columnSum(const auto& group, std::uint64_t member, std::uint64_t watch)
{
   return group.genId + group.entryHandle + group.valid + group.entryId + group.id + member + 3 * watch;
}

std::uint64_t rowSum(const EcmpMemberListRow& row)
{
   const Values v{row.genId(), row.entryHandle(), row.valid(), row.entryId(), row.id(), 0, {}, {}, false, 0, 0};
   return columnSum(v, sumOf(row.member()), sumOf(row.watch()));
}

/// Bare blocks hold the bytes of a row, which takes them in.
std::uint64_t blocksSum(const Blocks& blocks)
{
   return rowSum(EcmpMemberListRow::fromBytes({blocks.head->data, blocks.head->length}));
}

std::uint64_t vectorsSum(const std::shared_ptr<Group::TwoVectors>& group)
{
   return columnSum(*group, sumOf(group->member), sumOf(group->watch));
}

/// The limit of the array hash: both arrays in one loop, a chain of four operations an element each.
std::pair<std::uint32_t, std::uint32_t> arrayChains(const unsigned char* member, const unsigned char* watch,
                                                    std::size_t n)
{
   std::uint64_t first = 0;
   std::uint64_t second = 0;
   const auto step = [](std::uint64_t& seed, const unsigned char* at) {
      std::uint32_t element;
      std::memcpy(&element, at, sizeof element);
      std::uint64_t addend = element + std::uint64_t{0x9E3779B9};
      asm("" : "+r"(addend)); // keeps compilers from regrouping the sum into a longer chain
      seed ^= (seed << 6) + (seed >> 2) + addend;
   };
   for (std::size_t i = 0; i < 4 * n; i += 4) {
      step(first, member + i);
      step(second, watch + i);
   }
   return {static_cast<std::uint32_t>(first), static_cast<std::uint32_t>(second)};
}

std::uint64_t contentChain(const Group& group)
{
   const std::size_t n = group.member.size();
   const unsigned char* const member = group.blocks.head->data + fixedLength + arrayHeader;
   const auto [memberHash, watchHash] = arrayChains(member, member + 4 * n + arrayHeader, n);
   std::uint64_t hash = 0;
   for (const std::uint64_t value :
        {values.genId, values.entryHandle, std::uint64_t{values.valid}, std::uint64_t{values.entryId},
         std::uint64_t{values.id}, std::uint64_t{memberHash}, std::uint64_t{watchHash}})
      hash = Zorva::hashCombine(hash, value);
   return hash;
}

/// The limit of an array's text: digits and commas, in room that is surely enough.
std::string writtenArray(const Elements& array)
{
   constexpr std::size_t longest = 11; // a comma and ten digits
   std::string text(2 + longest * array.size(), '\0');
   char* at = text.data();
   *at++ = '[';
   for (std::size_t i = 0; i < array.size(); ++i) {
      if (i > 0)
         *at++ = ',';
      at = std::to_chars(at, at + longest, array[i]).ptr;
   }
   *at++ = ']';
   text.resize(static_cast<std::size_t>(at - text.data()));
   return text;
}

/// The plain way to write an array.
std::string streamedArray(const Elements& array)
{
   std::stringstream stream;
   stream << '[';
   for (std::size_t i = 0; i < array.size(); ++i)
      stream << (i > 0 ? "," : "") << array[i];
   stream << ']';
   return stream.str();
}

void registerGroup(const Group& group)
{
   const Group* const g = &group;
   const auto named = [&](const char* verb, const char* variant) {
      return std::string("ecmp-") + verb + '-' + std::to_string(g->member.size()) + '/' + variant;
   };
   measure(
      named("build", "row"), [g] { return g->builtRow(); }, rowSum);
   measure(
      named("build", "limit"), [g] { return g->builtBlocks(); }, blocksSum);
   measure(
      named("build", "two-vectors"), [g] { return g->builtVectors(); }, vectorsSum);
   measure(named("content-hash", "row"), [g] { return g->row.rowHash(); });
   measure(named("content-hash", "limit"), [g] { return contentChain(*g); });
   measure(named("equality", "row"), [g] { return g->row.rowEqual(g->sameRow); });
   measure(named("equality", "limit"),
           [g] { return std::memcmp(g->blocks.head->data, g->sameBlocks.head->data, g->blocks.head->length) == 0; });
   measure(
      named("array-text", "row"), [g] { return g->row.memberToStringArray(); }, textSum);
   measure(
      named("array-text", "limit"), [g] { return writtenArray(g->member); }, textSum);
   measure(
      named("array-text", "string-stream"), [g] { return streamedArray(g->member); }, textSum);
}

} // namespace

void registerEcmpCases()
{
   static std::deque<Group> groups;
   for (const std::uint32_t n : {0U, 4U, 64U, 1024U, 4095U})
      registerGroup(groups.emplace_back(n));
}

} // namespace Bench
