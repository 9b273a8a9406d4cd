#include "embedded/registry.h"

#include <algorithm>
#include <mutex>

#include "rowstore/baseRow.h"

namespace Zorva {
namespace {

using Embedded::Registration;

constexpr len_t maxRowType = 65534; // an id is two bytes; 65535 is no row type's

struct Registry
{
   std::mutex mutex; ///< held by whoever uses the rest
   std::vector<Registration> types;
   len_t lastRowType = 0;

   Registration* find(const std::string& name)
   {
      const auto at = std::ranges::find(types, name, &Registration::rowTypeName);
      return at == types.end() ? nullptr : &*at;
   }
};

Registry& registry()
{
   static auto* const registry = new Registry; // never destroyed: libraries may outlive every static object
   return *registry;
}

/// A copy of what is known of a row type; without a generator when nothing is.
Registration registrationOf(const std::string& name)
{
   const std::lock_guard lock(registry().mutex);
   const Registration* const known = registry().find(name);
   return known != nullptr ? *known : Registration{name, nullptr, 0};
}

} // namespace

void installRowOpsGenerator(std::string rowTypeName, RowOpsGenerator* generator)
{
   const std::lock_guard lock(registry().mutex);
   if (Registration* const known = registry().find(rowTypeName))
      known->generator = generator;
   else
      registry().types.push_back({std::move(rowTypeName), generator, 0});
}

// The first request of a name with a generator gives it the next id, from 1, as long as there are any.
void ZorvaDB::loadMetadata(const std::string& typeName)
{
   const std::lock_guard lock(registry().mutex);
   Registration* const known = registry().find(typeName);
   if (known != nullptr && known->rowType == 0 && registry().lastRowType < maxRowType)
      known->rowType = ++registry().lastRowType;
}

BaseRow ZorvaDB::zoClass(const std::string& typeName)
{
   const std::uint32_t id = registrationOf(typeName).rowType;
   constexpr len_t classRowLength = zo_contentOffset + sizeof id;
   BaseRow classRow = id == 0 ? BaseRow() : BaseRow(classRowLength);
   if (id != 0)
      classRow.setColumn<std::uint32_t>(zo_contentOffset, id, classRowLength);
   return classRow; // the only object: a second return would make a move, and count it
}

std::vector<Embedded::Registration> Embedded::registrations()
{
   const std::lock_guard lock(registry().mutex);
   return registry().types;
}

RowOpsGenerator* Embedded::rowOpsGenerator(const std::string& rowTypeName)
{
   return registrationOf(rowTypeName).generator;
}

} // namespace Zorva
