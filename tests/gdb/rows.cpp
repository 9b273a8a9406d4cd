// Rows in the states that the gdb printers tell apart, in global memory so that no optimiser takes them away.
#include "examples/portRow.h"
#include "routing_types/EcmpMemberListRow.h"

using namespace Examples;
using P4RuntimeRouting::EcmpMemberListRow, P4RuntimeRouting::NexthopInfoRow, Zorva::BaseRow, Zorva::EthAddr;

NexthopInfoRow null{BaseRow()}, hop(1, 2, true, 3, 42, 7, {2, 0, 0, 0, 0, 1}, {2, 0, 0, 0, 0, 0xfe}, false, -4, 5);
EcmpMemberListRow group(1, 2, false, 3, 4, {7, 8, 9}, {}), spoilt = group.clone();
BaseRow generic = BaseRow(hop).readOnlyIs(true), unknown(7), frozen;
const BaseRow& reference = group;
PortRow port{BaseRow()}, parent = port; // filled in main, once PortRow is registered
Zorva::SubRow view{BaseRow(), 0}, nowhere{BaseRow().readOnlyIs(true), 5};
EthAddr mac = hop.dmac();
Zorva::ArrayReference<std::uint32_t> members = group.member(), loose = spoilt.member();
alignas(NexthopInfoRow) unsigned char ended[sizeof(NexthopInfoRow)]; // a row whose life is over

// A row type of one source file: its table is nobody else's.
[[gnu::used]] static constexpr auto trunkColumns =
   Zorva::layOut({{"genId", Zorva::Type::u64}, {"entryHandle", Zorva::Type::u64}});
struct TrunkRow : BaseRow
{
   explicit TrunkRow(const BaseRow& row) : BaseRow(row) {}
} trunk(group.clone());

[[gnu::noinline]] void ready() { asm volatile("" ::: "memory"); }

int main()
{
   port = PortRow(7, true, mac, {10, 20});
   BaseRow outer(23 + 52); // a copy of hop behind the fixed part
   Zorva::Internal::store(const_cast<unsigned char*>(outer.bytes().data()) + 19, 52u << 16 | 23);
   std::memcpy(const_cast<unsigned char*>(outer.bytes().data()) + 23, hop.bytes().data(), 52);
   static_cast<BaseRow&>(parent) = outer.rowTypeIs(PortRow::protRowType());
   frozen = BaseRow(outer).readOnlyIs(true);
   static_cast<BaseRow&>(view) = Zorva::SubRow(outer, 23);
   std::destroy_at(new (ended) NexthopInfoRow(hop.clone()));
   ready();
}
