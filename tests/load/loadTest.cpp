// The routing library as a program finds it: loaded by name (ROUTING_LIBRARY), known only by its exported symbols. The
// core comes with it.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include "embedded/registry.h"

TEST(Load, TwoTypesAreRegisteredForGoodAndStayUsable)
{
   const auto loadRouting = [] { return dlopen(getenv("ROUTING_LIBRARY"), RTLD_NOW); };
   for (int i = 0; i < 1000; ++i)
      ASSERT_EQ(dlclose(loadRouting()), 0);
   using Registrations = std::vector<Zorva::Embedded::Registration>();
   const auto types = reinterpret_cast<Registrations*>(dlsym(loadRouting(), "_ZN5Zorva8Embedded13registrationsEv"))();
   ASSERT_EQ(types.size(), 2u);
   EXPECT_TRUE(types[0].rowTypeName == "P4RuntimeRouting::NexthopInfoRow" && types[0].rowType == 0);
   EXPECT_TRUE(types[1].rowTypeName == "P4RuntimeRouting::EcmpMemberListRow" && types[1].rowType == 0);
   EXPECT_TRUE((*types[0].generator)(0)->unique() && (*types[1].generator)(0)->unique());
}
