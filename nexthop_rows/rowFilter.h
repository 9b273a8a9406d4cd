// Which rows a user wants to see.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <unordered_set>

#include "nexthop_rows/rowsFrom.h"

namespace NexthopRows {

/// What every row wanted has in common; nothing by default. Port, device and MAC address say which next hops; with them
/// come the groups that have such a member.
struct RowFilter
{
   std::string kind; ///< "nexthop", "group", or empty for both
   std::optional<std::uint32_t> port;
   std::optional<std::string> device;
   std::optional<Zorva::EthAddr> mac;  ///< at either end
   std::optional<std::uint32_t> group; ///< this group and its members
   bool isInvalid = false;             ///< those alone that are not valid
};

/// The rows of an import that pass a filter. Refers to both, which must live as long.
class FilteredRows
{
public:
   /// Throws BadInput when the filter names a device, and the source, `from`, knows none.
   FilteredRows(const RowFilter& filter, Imported& imported, const std::string& from);

   /// Calls use(row) for every next hop, then for every group, each in the order of their filing.
   template <class Use>
   void forEach(Use use)
   {
      forEachRow(imported_.tables, [&](const auto& row) {
         if (passes(row))
            use(row);
      });
   }

private:
   bool passes(const NexthopInfoRow& row) const;
   bool passes(const EcmpMemberListRow& row) const;
   bool isWanted(const NexthopInfoRow& row) const;

   const RowFilter& filter_;
   Imported& imported_;
   std::unordered_set<std::uint32_t> members_; ///< of the group that is named
};

/// The name of the next hop's device; empty when it has none, or nothing but rows is known.
std::string deviceOf(const Imported& imported, std::uint32_t nexthop);

} // namespace NexthopRows
