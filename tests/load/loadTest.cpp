// The routing library as a program finds it: loaded by name (ROUTING_LIBRARY), known only by its exported symbols. The
// core comes with it.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include "embedded/registry.h"

// A row as its 24 bytes, returned the way a class with a destructor is. Its buffer stays with the process.
struct OpaqueRow
{
   ~OpaqueRow() {}
   operator const Zorva::BaseRow&() const { return reinterpret_cast<const Zorva::BaseRow&>(*this); }
   void* bytes[3];
};

static void* loadRouting()
{
   const char* const path = getenv("ROUTING_LIBRARY");
   return dlopen(path != nullptr ? path : "libP4RuntimeRoutingEcmpTypes.so", RTLD_NOW);
}

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

   void* const routing = loadRouting();
   const OpaqueRow row = function<OpaqueRow(const unsigned&)>("_ZN16P4RuntimeRouting14NexthopInfoRow3keyERKj")(1);
   const auto ops = (*types[0].generator)(0);
   dlclose(routing);
   EXPECT_TRUE(ops->keyHash(row) == 0xBBDDCB5B9BC10E60 && ops->rowEquals(row, row));
}

TEST(Load, EachSymbolLivesInItsLibrary)
{
   const struct
   {
      const char* library;
      std::vector<std::string> names, types; // each name with each type
   } exports[] = {
      {"libzorva_embedded.so", {"TVN#E", "TIN#E", "NK#8toStringB5cxx11Ev"}, {"5Zorva7BaseRow"}},
      {"libP4RuntimeRouting", {"N5Zorva7BaseRow9setColumnI#EEvtRKT_t", "NK5Zorva7BaseRow11columnEqualI#EEbtRKS0_t",
                               "NK5Zorva7BaseRow10columnLessI#EEbtRKS0_t"}, {"t", "j", "m", "i", "b", "NS_7EthAddrE"}},
      {"libP4RuntimeRouting", {"TIN16P4RuntimeRouting#E", "N16P4RuntimeRoutinglsERSoRKNS_#E",
                               "NK5Zorva7BaseRow15getColumnStructIN16P4RuntimeRouting#EEEvtRT_",
                               "NK5Zorva7BaseRow10columnHashIN16P4RuntimeRouting#EEEmt"},
       {"14NexthopInfoRow", "17EcmpMemberListRow"}},
      {"libP4RuntimeRouting", {"N5Zorva7BaseRow9setColumnIjEEvtRKSt6vectorIT_SaIS3_EEt"}, {""}},
      {"libP4RuntimeRouting", {"NK5Zorva14ArrayReferenceIjEixEm"}, {""}},
   };
   for (const auto& [library, names, types] : exports)
      for (std::string name : names)
         for (const std::string& type : types) {
            const std::size_t at = std::min(name.find('#'), name.size());
            const std::string symbol = "_Z" + name.substr(0, at) + type + name.substr(std::min(at + 1, name.size()));
            Dl_info info{};
            dladdr(dlsym(loadRouting(), symbol.c_str()), &info);
            const std::string file = info.dli_fname != nullptr ? info.dli_fname : "";
            EXPECT_NE(file.find(library), std::string::npos) << symbol << " in " << file;
         }
}
