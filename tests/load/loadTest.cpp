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
   std::vector<std::string> names{"_ZTVN5Zorva7BaseRowE", "_ZTIN5Zorva7BaseRowE",
                                  "_ZNK5Zorva7BaseRow8toStringB5cxx11Ev", "_ZNK5Zorva14ArrayReferenceIjEixEm",
                                  "_ZN5Zorva7BaseRow9setColumnIjEEvtRKSt6vectorIT_SaIS3_EEt"};
   const std::vector<std::string> columns{"t", "j", "m", "i", "b", "NS_7EthAddrE"};
   const std::vector<std::string> rows{"14NexthopInfoRow", "17EcmpMemberListRow"};
   const std::string set = "_ZN5Zorva7BaseRow9setColumnI", row = "_ZNK5Zorva7BaseRow", routing = "16P4RuntimeRouting";
   for (const auto& [types, before, after] : {std::tuple(columns, set, "EEvtRKT_t"),
                                              {columns, row + "11columnEqualI", "EEbtRKS0_t"},
                                              {columns, row + "10columnLessI", "EEbtRKS0_t"},
                                              {rows, "_ZTIN" + routing, "E"},
                                              {rows, "_ZN" + routing + "lsERSoRKNS_", "E"},
                                              {rows, row + "15getColumnStructIN" + routing, "EEEvtRT_"},
                                              {rows, row + "10columnHashIN" + routing, "EEEmt"}})
      for (const std::string& type : types)
         names.push_back(before + type + after);
   for (const std::string& name : names) {
      Dl_info info{};
      ASSERT_NE(dladdr(dlsym(loadRouting(), name.c_str()), &info), 0) << name << " is missing";
      const bool isTheCores = std::string(info.dli_fname).find("libzorva_embedded") != std::string::npos;
      EXPECT_EQ(isTheCores, &name - names.data() < 3) << name << " is in " << info.dli_fname;
   }
}
