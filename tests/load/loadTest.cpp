// The routing library as a program finds it: loaded by name (ROUTING_LIBRARY), known only by its exported symbols. The
// core comes with it.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include "embedded/registry.h"

// A row as its 24 bytes, returned the way a class with a destructor is. Held statically, since nothing frees its
// buffer.
struct OpaqueRow
{
   ~OpaqueRow() {}
   void* bytes[3];
};

static void* loadRouting() { return dlopen(getenv("ROUTING_LIBRARY"), RTLD_NOW); }

TEST(Load, TwoTypesAreRegisteredForGoodAndStayUsable)
{
   for (int i = 0; i < 1000; ++i)
      ASSERT_EQ(dlclose(loadRouting()), 0);
   using Registrations = std::vector<Zorva::Embedded::Registration>();
   const auto symbol = [](const char* name) { return dlsym(loadRouting(), name); };
   const auto types = reinterpret_cast<Registrations*>(symbol("_ZN5Zorva8Embedded13registrationsEv"))();
   ASSERT_EQ(types.size(), 2u);
   EXPECT_TRUE(types[0].rowTypeName == "P4RuntimeRouting::NexthopInfoRow" && types[0].rowType == 0);
   EXPECT_TRUE(types[1].rowTypeName == "P4RuntimeRouting::EcmpMemberListRow" && types[1].rowType == 0);
   using Key = OpaqueRow(const unsigned&);
   static const auto opaque = reinterpret_cast<Key*>(symbol("_ZN16P4RuntimeRouting14NexthopInfoRow3keyERKj"))(1);
   const auto& row = reinterpret_cast<const Zorva::BaseRow&>(opaque);
   const auto ops = (*types[0].generator)(0);
   EXPECT_TRUE(ops->keyHash(row) == 0xBBDDCB5B9BC10E60 && ops->rowEquals(row, row));
}
