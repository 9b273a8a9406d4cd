// Constants of the kernel's interface that the headers of Linux 6.1 lack, each with the version that brought it.
#pragma once

#include <cstdint>

namespace NexthopRows {

/// Attribute of next hops and groups, a u32 of flags of the operation. Linux 6.10.
inline constexpr std::uint16_t nhaOpFlags = 14;

/// In the operation flags of an answer: the reserved bytes of group members (struct nexthop_grp) are set, the first of
/// them (resvd1) to the high byte of the weight. Linux 6.12.
inline constexpr std::uint32_t nhaOpFlagRespGrpResvd0 = 1U << 31;

} // namespace NexthopRows
