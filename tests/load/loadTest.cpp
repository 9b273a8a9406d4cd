// The routing library as a program finds it: loaded by name (ROUTING_LIBRARY), known only by its exported symbols. The
// core comes with it.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include "embedded/registry.h"

// A row as its 24 bytes, returned the way a class with a destructor is. Held statically, since nothing frees its buffer.
struct OpaqueRow
{
   ~OpaqueRow() {}
   void* bytes[3];
};

static void* loadRouting() { return dlopen(getenv("ROUTING_LIBRARY"), RTLD_NOW); }

template <class F>
static F* function(const char* name)
{
   return reinterpret_cast<F*>(dlsym(loadRouting(), name));
}

TEST(Load, TwoTypesAreRegisteredForGoodAndStayUsable)
{
   for (int i = 0; i < 1000; ++i)
      ASSERT_EQ(dlclose(loadRouting()), 0);
   using Registrations = std::vector<Zorva::Embedded::Registration>;
   const auto types = function<Registrations()>("_ZN5Zorva8Embedded13registrationsEv")();
   ASSERT_EQ(types.size(), 2u);
   EXPECT_TRUE(types[0].rowTypeName == "P4RuntimeRouting::NexthopInfoRow" && types[0].rowType == 0);
   EXPECT_TRUE(types[1].rowTypeName == "P4RuntimeRouting::EcmpMemberListRow" && types[1].rowType == 0);
   static const auto opaque = function<OpaqueRow(const unsigned&)>("_ZN16P4RuntimeRouting14NexthopInfoRow3keyERKj")(1);
   const auto& row = reinterpret_cast<const Zorva::BaseRow&>(opaque);
   const auto ops = (*types[0].generator)(0);
   EXPECT_TRUE(ops->keyHash(row) == 0xBBDDCB5B9BC10E60 && ops->rowEquals(row, row));
}

TEST(Load, EachSymbolLivesInItsLibrary)
{
   // The class information of BaseRow and its key function are the core's alone.
   const std::vector<std::string> names{"TVN5Zorva7BaseRowE", "TIN5Zorva7BaseRowE", "NK5Zorva7BaseRow8toStringB5cxx11Ev",
                                        "NK5Zorva14ArrayReferenceIjEixEm", "N5Zorva7BaseRow9setColumnIbEEvtRKT_t",
                                        "TIN16P4RuntimeRouting14NexthopInfoRowE", "NK5Zorva7BaseRow11columnEqualIiEEbtRKS0_t"};
   for (const std::string& name : names) {
      Dl_info info{};
      ASSERT_NE(dladdr(dlsym(loadRouting(), ("_Z" + name).c_str()), &info), 0) << name << " is missing";
      const bool isTheCores = std::string(info.dli_fname).find("libzorva_embedded") != std::string::npos;
      EXPECT_EQ(isTheCores, &name - names.data() < 3) << name << " is in " << info.dli_fname;
   }
}
