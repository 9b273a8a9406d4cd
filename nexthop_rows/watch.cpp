#include "nexthop_rows/watch.h"

#include <array>
#include <chrono>
#include <ctime>
#include <ostream>
#include <poll.h>
#include <unistd.h>

#include "nexthop_rows/badInput.h"
#include "nexthop_rows/liveKernel.h"
#include "nexthop_rows/output.h"
#include "nexthop_rows/rowKeeper.h"

namespace NexthopRows {

namespace {

using Clock = std::chrono::system_clock;

/// As RFC 3339 writes it, to the microsecond.
std::string timeText(Clock::time_point time)
{
   const auto seconds = std::chrono::floor<std::chrono::seconds>(time);
   const std::time_t calendar = Clock::to_time_t(seconds);
   const std::string fraction = std::to_string(1'000'000 + (time - seconds) / std::chrono::microseconds(1));
   std::tm utc{};
   gmtime_r(&calendar, &utc);
   std::array<char, 32> text;
   return std::string(text.data(), std::strftime(text.data(), text.size(), "%FT%T.", &utc)) + fraction.substr(1) + 'Z';
}

class Watch
{
public:
   Watch(const NetNamespace& netns, bool isJson, bool isQuiet)
      : netns_(netns), isJson_(isJson), output_(STDOUT_FILENO, "standard output", signals_.fd()), out_(&output_),
        errors_(STDERR_FILENO, "standard error", signals_.fd()), err_(&errors_), nowhere_(nullptr),
        notes_(isQuiet ? nowhere_ : err_, Notes::Repeats::no), keeper_(netns.text(), notes_)
   {
      out_.exceptions(std::ios_base::badbit);
      err_.exceptions(std::ios_base::badbit);
      if (netns_.hasName())
         events_.emplace();
   }

   Tables run()
   {
      for (follow(); await();) {
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
      constexpr int whileGone = 100; // ms; a name becomes a namespace without an event
      std::array<pollfd, 4> files{{{signals_.fd(), POLLIN, 0},
                                   {output_.fd(), 0, 0}, // for the end of its reader
                                   {kernel_ ? kernel_->fd() : -1, POLLIN, 0},
                                   {events_ ? events_->fd() : -1, POLLIN, 0}}};
      poll(files.data(), files.size(), kernel_ ? -1 : whileGone);
      received_ = Clock::now();
      if ((files[1].revents & POLLERR) != 0)
         throw BadInput("cannot write to standard output");
      return files[0].revents == 0;
   }

   void follow()
   {
      kernel_.emplace(netns_, signals_.fd());
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
         notes_.told(netns_.text(), now ? "was made anew" : "was deleted; waiting for a new one of the name");
         stateIs({});
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
      if (kernel_->hear(state_, notes_) == LiveKernel::Heard::everything)
         return print();
      notes_.told(netns_.text(), "changes came faster than they were read; reading everything again");
      readAll();
   }

   void readAll()
   {
      auto state = kernel_->read(notes_);
      received_ = Clock::now();
      ++genId_;
      stateIs(std::move(state));
      if (isJson_)
         out_ << R"({"event":"complete","time":")" << timeText(received_) << R"(","genId":)" << genId_
              << R"(,"nexthops":)" << keeper_.tables().nexthops.size() << R"(,"groups":)"
              << keeper_.tables().groups.size() << '}' << std::endl;
   }

   void stateIs(KernelState state)
   {
      state_ = std::move(state);
      keeper_.touchAll(state_);
      print();
   }

   void print()
   {
      const std::string time = isJson_ ? timeText(received_) : "";
      keeper_.settle(state_, genId_, [&](const auto& change) {
         out_ << (isJson_ ? changeJson(change, time) : changeText(change)) << '\n';
      });
      err_.flush();
      out_.flush();
   }

   const NetNamespace& netns_;
   bool isJson_;
   StopSignals signals_;
   Output output_;
   std::ostream out_;
   Output errors_;
   std::ostream err_;
   std::ostream nowhere_; ///< has no buffer
   Notes notes_;
   RowKeeper keeper_;
   KernelState state_;
   std::optional<NetNamespaceEvents> events_; ///< for a named namespace
   std::optional<LiveKernel> kernel_;         ///< none while no namespace has the name
   Clock::time_point received_;
   std::uint64_t genId_ = 0;
};

} // namespace

Tables watchKernel(const NetNamespace& netns, bool isJson, bool isQuiet) { return Watch(netns, isJson, isQuiet).run(); }

} // namespace NexthopRows
