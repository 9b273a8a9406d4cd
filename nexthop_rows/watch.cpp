#include "nexthop_rows/watch.h"

#include "nexthop_rows/followKernel.h"

namespace NexthopRows {

namespace {

class PrintedRows final : public KernelRows
{
public:
   PrintedRows(Following& following, bool isJson) : following_(following), printer_(following, isJson) {}

   void changed(const Change<NexthopInfoRow>& change) override { printer_.print(change); }
   void changed(const Change<EcmpMemberListRow>& change) override { printer_.print(change); }

   void allRead(std::uint64_t genId, const Tables& tables) override
   {
      printer_.complete(R"("genId":)" + std::to_string(genId) + ',', tables.nexthops.size(), tables.groups.size());
   }

   void settle() override { following_.flush(); }

private:
   Following& following_;
   ChangePrinter printer_;
};

} // namespace

Tables watchKernel(const NetNamespace& netns, bool isJson, bool isQuiet)
{
   Following following(isQuiet);
   PrintedRows rows(following, isJson);
   return followKernel(netns, following, rows);
}

} // namespace NexthopRows
