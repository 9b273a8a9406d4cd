// The routing library as a program finds it: loaded by name (ROUTING_LIBRARY), known only by its exported symbols. The
// core comes with it.
#include <dlfcn.h>
#include <gmock/gmock.h>

#include "embedded/registry.h"

TEST(Load, TwoTypesAreRegisteredForGoodAndStayUsable)
{
   const auto loadRouting = [] { return dlopen(getenv("ROUTING_LIBRARY"), RTLD_NOW); };
   for (int i = 0; i < 1000; ++i)
      ASSERT_EQ(dlclose(loadRouting()), 0);
   using Registrations = std::vector<Zorva::Embedded::Registration>();
   const auto types = reinterpret_cast<Registrations*>(dlsym(loadRouting(), "_ZN5Zorva8Embedded13registrationsEv"))();
   std::vector<std::tuple<std::string, int, bool>> found;
   for (const auto& [name, generator, type] : types)
      found.emplace_back(name, type, (*generator)(0)->unique());
   EXPECT_THAT(found, testing::ElementsAre(std::tuple("P4RuntimeRouting::NexthopInfoRow", 0, true),
                                           std::tuple("P4RuntimeRouting::EcmpMemberListRow", 0, true)));
}
