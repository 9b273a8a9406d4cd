#include "embedded/registry.h"

#include <algorithm>
#include <mutex>

#include "rowstore/baseRow.h"

namespace Zorva {

namespace {

using Embedded::Registration;

constexpr len_t maxRowType = 65534; // an id is two bytes; 65535 is no row type's

/// The first metadata request of a name with a generator gives it the next id, from 1, as long as there are any.
class Registry
{
public:
   static Registry& instance()
   {
      static auto* const registry = new Registry; // never destroyed: libraries may outlive every static object
      return *registry;
   }

   void install(std::string name, RowOpsGenerator* generator)
   {
      const std::lock_guard lock(mutex_);
      if (Registration* const known = find(name))
         known->generator = generator;
      else
         types_.push_back({std::move(name), generator, 0});
   }

   void load(const std::string& name)
   {
      const std::lock_guard lock(mutex_);
      Registration* const known = find(name);
      if (known != nullptr && known->rowType == 0 && lastRowType_ < maxRowType)
         known->rowType = ++lastRowType_;
   }

   /// A copy of what is known of `name`; without a generator when nothing is.
   Registration type(const std::string& name)
   {
      const std::lock_guard lock(mutex_);
      const Registration* const known = find(name);
      return known != nullptr ? *known : Registration{name, nullptr, 0};
   }

   std::vector<Registration> all()
   {
      const std::lock_guard lock(mutex_);
      return types_;
   }

private:
   Registration* find(const std::string& name)
   {
      const auto at = std::ranges::find(types_, name, &Registration::rowTypeName);
      return at == types_.end() ? nullptr : &*at;
   }

   std::mutex mutex_;
   std::vector<Registration> types_;
   len_t lastRowType_ = 0;
};

} // namespace

void installRowOpsGenerator(std::string rowTypeName, RowOpsGenerator* generator)
{
   Registry::instance().install(std::move(rowTypeName), generator);
}

void ZorvaDB::loadMetadata(const std::string& typeName) { Registry::instance().load(typeName); }

BaseRow ZorvaDB::zoClass(const std::string& typeName)
{
   const std::uint32_t id = Registry::instance().type(typeName).rowType;
   constexpr len_t classRowLength = zo_contentOffset + sizeof id;
   BaseRow classRow = id == 0 ? BaseRow() : BaseRow(classRowLength);
   if (id != 0)
      classRow.setColumn<std::uint32_t>(zo_contentOffset, id, classRowLength);
   return classRow; // the only object: a second return would make a move, and count it
}

std::vector<Embedded::Registration> Embedded::registrations() { return Registry::instance().all(); }

RowOpsGenerator* Embedded::rowOpsGenerator(const std::string& rowTypeName)
{
   return Registry::instance().type(rowTypeName).generator;
}

} // namespace Zorva
