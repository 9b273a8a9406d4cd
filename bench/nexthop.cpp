// Next hop rows: build, copy, modify, read, write, hash, compare, order.
#include "routing_types/NexthopInfoRow.h"

#include <atomic>
#include <boost/container_hash/hash.hpp>
#include <memory>

#include "bench/support.h"
#include "platform/halvo/util.h"
#include "routing_types/NexthopInfoRowRowOps.h"
#include "rowtype/builder.h"
#include "rowtype/identity.h"
#include "rowtype/typeId.h"

namespace Bench {

namespace {

using P4RuntimeRouting::nexthopInfoColumns;
using P4RuntimeRouting::NexthopInfoRow;
using Shared = std::shared_ptr<Packed>;

/// A row built by the inlined builder, which the constructor of NexthopInfoRow calls behind its exported symbol.
class InlineRow : public Zorva::BaseRow
{
public:
   explicit InlineRow(const Values& v) : BaseRow(nexthopInfoColumns.fixedLength)
   {
      Zorva::storeColumns<nexthopInfoColumns>(*this, freshBuffer(), v.genId, v.entryHandle, v.valid, v.entryId, v.id,
                                              v.portId, v.dmac, v.smac, v.drop, v.encapType, v.encapId);
      rowTypeIs(Zorva::Internal::rowTypeId(rowType, "P4RuntimeRouting::NexthopInfoRow"));
   }

private:
   static inline std::atomic<Zorva::len_t> rowType{Zorva::Internal::unknownRowType};
};

NexthopInfoRow builtRow(const Values& v)
{
   return NexthopInfoRow(v.genId, v.entryHandle, v.valid, v.entryId, v.id, v.portId, v.dmac, v.smac, v.drop,
                         v.encapType, v.encapId);
}

Blocks builtBlocks(const Values& v)
{
   void* const room = ::operator new(sizeof(Blocks::Head));
   auto* const data = static_cast<unsigned char*>(std::calloc(sizeof(Packed), 1));
   pack(*reinterpret_cast<Packed*>(data), v);
   return Blocks(data, sizeof(Packed), room);
}

/// A copy of bare blocks, one column changed.
Blocks changedCopy(const Blocks& blocks, std::uint32_t portId)
{
   void* const room = ::operator new(sizeof(Blocks::Head));
   auto* const data = static_cast<unsigned char*>(std::malloc(sizeof(Packed)));
   std::memcpy(data, blocks.head->data, sizeof(Packed));
   reinterpret_cast<Packed*>(data)->portId = portId;
   return Blocks(data, sizeof(Packed), room);
}

const auto sumOfRow = [](const Zorva::BaseRow& made) { return columnSum(NexthopInfoRow(made)); };
const auto sumOfBlocks = [](const Blocks& made) { return columnSum(made.columns()); };
const auto sumOfShared = [](const Shared& made) { return columnSum(*made); };

// The same next hop twice, and one that differs in the last column: as rows, behind bare blocks, in shared structs.
Values otherValues()
{
   Values v = values;
   ++v.encapId;
   return v;
}
NexthopInfoRow rows[] = {builtRow(values), builtRow(values), builtRow(otherValues())};
Zorva::BaseRow genericRow = builtRow(values);
Blocks bare[] = {builtBlocks(values), builtBlocks(values), builtBlocks(otherValues())};
Shared structs[] = {builtShared(values), builtShared(values)};

void registerBuild()
{
   measure(
      "build/builder", [] { return InlineRow(values); }, sumOfRow);
   measure(
      "build/exported", [] { return builtRow(values); }, sumOfRow);
   measure(
      "build/limit", [] { return builtBlocks(values); }, sumOfBlocks);
   measure(
      "build/shared_ptr", [] { return builtShared(values); }, sumOfShared);
}

/// One more owner of bare blocks.
template <bool IsAtomic>
struct Counted
{
   explicit Counted(const Blocks& owned) : head(owned.head)
   {
      if constexpr (IsAtomic)
         std::atomic_ref(head->owners).fetch_add(1, std::memory_order_relaxed);
      else
         ++head->owners;
   }
   Counted(const Counted&) = delete;
   Counted& operator=(const Counted&) = delete;
   ~Counted()
   {
      if (IsAtomic ? std::atomic_ref(head->owners).fetch_sub(1, std::memory_order_acq_rel) == 1 : --head->owners == 0)
         std::abort();
   }

   Blocks::Head* head;
};

/// Bare blocks behind the tests that a copy-on-write row cannot leave out: one owner, no view, writable, inside. What
/// that takes beyond the limit, no row can save on the processor at hand.
struct Tested
{
   template <class T>
   [[gnu::always_inline]] void write(std::size_t offset, T value)
   {
      if (head == nullptr || std::atomic_ref(head->owners).load(std::memory_order_acquire) != 1 || isView ||
          isReadOnly || position + offset + sizeof value > head->length) [[unlikely]]
         std::abort(); // a row makes its copy here, or throws
      std::memcpy(head->data + position + offset, &value, sizeof value);
   }

   Blocks::Head* head;
   std::uint16_t position = 0;
   bool isView = false;
   bool isReadOnly = false;
};

void registerCopies()
{
   measure(
      "copy-drop/row", [] { return NexthopInfoRow(rows[0]); }, sumOfRow);
   measure(
      "copy-drop/generic-row", [] { return Zorva::BaseRow(genericRow); }, sumOfRow);
   measure(
      "copy-drop/shared_ptr", [] { return Shared(structs[0]); }, sumOfShared);
   const auto sumOfOwned = [](const auto&) { return columnSum(bare[0].columns()); };
   measure(
      "copy-drop/limit", [] { return Counted<false>(bare[0]); }, sumOfOwned);
   measure(
      "copy-drop/atomic-limit", [] { return Counted<true>(bare[0]); }, sumOfOwned);

   static std::uint32_t port = 99;
   measure(
      "copy-modify/row",
      [] {
         NexthopInfoRow copy(rows[0]);
         copy.portIdIs(port);
         return copy;
      },
      sumOfRow);
   measure(
      "copy-modify/limit", [] { return changedCopy(bare[0], port); }, sumOfBlocks);
   measure(
      "copy-modify/atomic-limit",
      [] {
         const Counted<true> shared(bare[0]);
         return changedCopy(bare[0], port);
      },
      sumOfBlocks);
   measure(
      "copy-modify/shared_ptr",
      [] {
         Shared copy = std::make_shared<Packed>(*structs[0]);
         copy->portId = port;
         return copy;
      },
      sumOfShared);
}

void writeAll(Tested& to, const Values& v)
{
   to.write(offsetof(Packed, genId), v.genId);
   to.write(offsetof(Packed, entryHandle), v.entryHandle);
   to.write(offsetof(Packed, valid), v.valid);
   to.write(offsetof(Packed, entryId), v.entryId);
   to.write(offsetof(Packed, id), v.id);
   to.write(offsetof(Packed, portId), v.portId);
   to.write(offsetof(Packed, dmac), v.dmac);
   to.write(offsetof(Packed, smac), v.smac);
   to.write(offsetof(Packed, drop), v.drop);
   to.write(offsetof(Packed, encapType), v.encapType);
   to.write(offsetof(Packed, encapId), v.encapId);
}

void writeAll(NexthopInfoRow& to, const Values& v)
{
   to.genIdIs(v.genId).entryHandleIs(v.entryHandle).validIs(v.valid).entryIdIs(v.entryId).idIs(v.id).portIdIs(v.portId);
   to.dmacIs(v.dmac).smacIs(v.smac).dropIs(v.drop).encapTypeIs(v.encapType).encapIdIs(v.encapId);
}

void registerColumns()
{
   measureChain("read-one/row", [](std::uint64_t i) { return rows[i].id(); });
   measureChain("read-one/limit", [](std::uint64_t i) { return bare[i].columns().id; });
   measureChain("read-one/shared_ptr", [](std::uint64_t i) { return structs[i]->id; });
   measure("read-all/row", [] { return columnSum(rows[0]); });
   measure("read-all/limit", [] { return columnSum(bare[0].columns()); });
   measure("read-all/shared_ptr", [] { return columnSum(*structs[0]); });

   static NexthopInfoRow target = builtRow(values);
   static Blocks bareTarget = builtBlocks(values);
   static Tested tested{bareTarget.head};
   static Shared sharedTarget = builtShared(values);
   static std::uint32_t port = 17;
   const auto sum = [](auto*) {
      return columnSum(target) + columnSum(bareTarget.columns()) + columnSum(*sharedTarget);
   };
   measure(
      "write-one/row", [] { return &target.portIdIs(port); }, sum);
   measure(
      "write-one/limit",
      [] {
         bareTarget.columns().portId = port;
         return &bareTarget;
      },
      sum);
   measure(
      "write-one/tested",
      [] {
         tested.write(offsetof(Packed, portId), port);
         return &tested;
      },
      sum);
   measure(
      "write-one/shared_ptr",
      [] {
         sharedTarget->portId = port;
         return &sharedTarget;
      },
      sum);
   measure(
      "write-all/row",
      [] {
         writeAll(target, values);
         return &target;
      },
      sum);
   measure(
      "write-all/limit",
      [] {
         pack(bareTarget.columns(), values);
         return &bareTarget;
      },
      sum);
   measure(
      "write-all/tested",
      [] {
         writeAll(tested, values);
         return &tested;
      },
      sum);
   measure(
      "write-all/shared_ptr",
      [] {
         pack(*sharedTarget, values);
         return &sharedTarget;
      },
      sum);
}

std::uint64_t macHash(const Mac& address) { return Halvo::Util::hash(&address, sizeof address); }

/// The arithmetic of the content hash: the hash of each address by the platform, then the chain.
std::uint64_t contentChain(const Packed& p)
{
   const std::uint64_t dmac = macHash(p.dmac);
   const std::uint64_t smac = macHash(p.smac);
   std::uint64_t hash = 0;
   for (const std::uint64_t value : {p.genId, p.entryHandle, std::uint64_t{p.valid}, std::uint64_t{p.entryId},
                                     std::uint64_t{p.id}, std::uint64_t{p.portId}, dmac, smac, std::uint64_t{p.drop},
                                     static_cast<std::uint64_t>(std::int64_t{p.encapType}), std::uint64_t{p.encapId}})
      hash = Zorva::hashCombine(hash, value);
   return hash;
}

std::size_t boostContentHash(const Packed& p)
{
   std::size_t hash = 0;
   const auto combine = [&](const auto value) { boost::hash_combine(hash, value); };
   combine(p.genId), combine(p.entryHandle), combine(p.valid), combine(p.entryId), combine(p.id), combine(p.portId);
   combine(p.dmac), combine(p.smac), combine(p.drop), combine(p.encapType), combine(p.encapId);
   return hash;
}

void registerHashes()
{
   static const std::shared_ptr<Zorva::RowOpsBase> ops =
      P4RuntimeRouting::NexthopInfoRowRowOpsGenerator::rowOpsGenerator_(0);
   measureChain("key-hash/row", [](std::uint64_t i) { return rows[i].hash(); });
   measureChain("key-hash/row-operations", [](std::uint64_t i) { return ops->keyHash(rows[i]); });
   measureChain("key-hash/limit", [](std::uint64_t i) { return Zorva::hashCombine(0, bare[i].columns().id); });
   measure("content-hash/row", [] { return rows[0].rowHash(); });
   measure("content-hash/row-operations", [] { return ops->rowHash(rows[0]); });
   measure("content-hash/limit", [] { return contentChain(bare[0].columns()); });
   // Other functions with other results: a verb of their own.
   measureChain("boost-key-hash/boost", [](std::uint64_t i) { return boost::hash<std::uint32_t>()(structs[i]->id); });
   measure("boost-content-hash/boost", [] { return boostContentHash(*structs[0]); });
}

int comparedBytes(const Blocks& a, const Blocks& b) { return std::memcmp(a.head->data, b.head->data, a.head->length); }

void registerOrder()
{
   measure("equality/row", [] { return rows[0].rowEqual(rows[1]); });
   measure("equality/limit", [] { return comparedBytes(bare[0], bare[1]) == 0; });
   measure("order/row", [] { return rows[0].rowLess(rows[2]); });
   measure("order/limit", [] { return comparedBytes(bare[0], bare[2]) < 0; });
}

} // namespace

void registerNexthopCases()
{
   registerBuild();
   registerCopies();
   registerColumns();
   registerHashes();
   registerOrder();
}

} // namespace Bench
