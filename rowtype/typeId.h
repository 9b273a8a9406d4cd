// A row type's id: fetched from the metadata registry on first use, cached, and compared when a generic row becomes a
// row of the type. Any thread: first look-ups that coincide may each ask the registry and store the same id.
#pragma once

#include <atomic>
#include <string>

#include "platform/zorva/zorvaDB.h"
#include "rowstore/baseRow.h"

namespace Zorva::Internal {

/// The value of a cached id that is not yet known.
inline constexpr len_t unknownRowType = 65535;

/// Asks the registry for the id of the type named `typeName` and stores it in `cached`: asks for its class row, lets
/// the registry load the metadata if there is none, and asks once more. Throws ZoNullRow when there is none then,
/// with `cached` as it was.
[[gnu::noinline]] inline len_t fetchRowType(std::atomic<len_t>& cached, const std::string& typeName)
{
   BaseRow classRow = ZorvaDB::zoClass(typeName);
   if (classRow.isNull()) {
      ZorvaDB::loadMetadata(typeName);
      const BaseRow loaded = ZorvaDB::zoClass(typeName);
      classRow = loaded; // counts as a copy assignment
   }
   const auto id = static_cast<len_t>(classRow.readColumn<std::uint32_t>(zo_contentOffset));
   cached.store(id, std::memory_order_relaxed);
   return id;
}

/// The id in `cached`, fetched first if it is not known. Costs a load and a comparison once it is.
inline len_t rowTypeId(std::atomic<len_t>& cached, const char* typeName)
{
   const len_t known = cached.load(std::memory_order_relaxed);
   return known != unknownRowType ? known : fetchRowType(cached, typeName);
}

/// Throws ZoBadCast unless the row is null or its header carries R's type id, which is fetched for it if need be.
template <class R>
void requireRowType(const R& row)
{
   if (row.isNull())
      return;
   const len_t found = row.rowType();
   const len_t expected = R::protRowType();
   if (found != expected) [[unlikely]]
      throwBadCast(found, expected, row.rowPosition());
}

} // namespace Zorva::Internal
