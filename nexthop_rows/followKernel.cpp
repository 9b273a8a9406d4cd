#include "nexthop_rows/followKernel.h"

#include <algorithm>

#include "nexthop_rows/badInput.h"
#include "nexthop_rows/liveKernel.h"
#include "nexthop_rows/rowKeeper.h"

namespace NexthopRows {

namespace {

class KernelFollower
{
public:
   KernelFollower(const NetNamespace& netns, Following& following, KernelRows& rows)
      : netns_(netns), following_(following), rows_(rows), keeper_(netns.text(), following.notes())
   {
      if (netns_.hasName())
         events_.emplace();
   }

   Tables run()
   {
      for (follow(); await(); rows_.settle()) {
         if (events_)
            followName();
         if (kernel_)
            hear();
      }
      return keeper_.takeTables();
   }

private:
   /// Waits until there is something to do; false when it is to stop.
   bool await()
   {
      using namespace std::chrono_literals; // a name becomes a namespace, or a plain file again, without an event
      auto until = rows_.wakeAt();
      if (events_)
         until = std::min<Following::Clock::time_point>(until, Following::Clock::now() + (kernel_ ? 1s : 100ms));
      return following_.await({kernel_ ? kernel_->fd() : -1, events_ ? events_->fd() : -1}, until);
   }

   void follow()
   {
      kernel_.emplace(netns_, following_.stop());
      readAll();
   }

   /// Lets go of a namespace that lost its name, which an open socket would keep alive, and follows the name's next
   /// one.
   void followName()
   {
      events_->clear();
      const auto now = netns_.now();
      if (kernel_ && kernel_->identity() == now)
         return;
      if (kernel_) {
         kernel_.reset();
         following_.notes().told(netns_.text(),
                                 now ? "was made anew" : "was deleted; waiting for a new one of the name");
         stateIs({});
         rows_.settle();
      }
      try {
         if (now)
            follow();
      } catch (const BadInput&) {
         kernel_.reset();
         if (netns_.now() == now)
            throw;
      }
   }

   void hear()
   {
      if (kernel_->hear(state_, following_.notes()) == LiveKernel::Heard::everything)
         return tell();
      readAll();
   }

   void readAll()
   {
      auto state = kernel_->read(following_.notes());
      following_.timeIsNow();
      ++genId_;
      stateIs(std::move(state));
      rows_.allRead(genId_, keeper_.tables());
      rows_.settle();
   }

   void stateIs(KernelState state)
   {
      state_ = std::move(state);
      keeper_.touchAll(state_);
      tell();
   }

   void tell()
   {
      keeper_.settle(state_, genId_, [&](const auto& change) { rows_.changed(change); });
   }

   const NetNamespace& netns_;
   Following& following_;
   KernelRows& rows_;
   RowKeeper keeper_;
   KernelState state_;
   std::optional<NetNamespaceEvents> events_; ///< for a named namespace
   std::optional<LiveKernel> kernel_;         ///< none while no namespace has the name
   std::uint64_t genId_ = 0;
};

} // namespace

Tables followKernel(const NetNamespace& netns, Following& following, KernelRows& rows)
{
   return KernelFollower(netns, following, rows).run();
}

} // namespace NexthopRows
