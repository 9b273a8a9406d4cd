#include "nexthop_rows/watch.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <set>
#include <sstream>
#include <sys/eventfd.h>
#include <unistd.h>

#include "nexthop_rows/rowDiff.h"

namespace NexthopRows {

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto quiet = 50ms;      ///< a burst of changes is over when nothing more came for so long ...
constexpr auto patience = 500ms;  ///< ... and is not waited for any longer than this
constexpr auto retryDelay = 1s;   ///< from one import that failed to the next
constexpr unsigned mostTries = 3; ///< imports that fail in a row
constexpr unsigned graceTime = 2; ///< seconds from a signal to the end

/// Turns the signals that end the program into a readable descriptor. Should nobody look at it in time, as while the
/// output is full and nobody takes it, SIGALRM ends the program and its children all the same.
class StopSignals
{
public:
   StopSignals()
   {
      fd_ = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
      if (fd_ == -1)
         throw std::runtime_error(std::string("eventfd: ") + std::strerror(errno));
      struct sigaction action = {};
      action.sa_handler = [](int) {
         const int error = errno;
         if (const unsigned left = alarm(graceTime); left != 0)
            alarm(left); // the first signal's time counts
         const std::uint64_t one = 1;
         [[maybe_unused]] const ssize_t length = write(fd_, &one, sizeof one);
         errno = error;
      };
      action.sa_flags = SA_RESTART;
      struct sigaction before = {};
      for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
         sigaction(signal, &action, &before);
         if (signal == SIGHUP && before.sa_handler == SIG_IGN) // as nohup wants it
            sigaction(signal, &before, nullptr);
      }
      action.sa_handler = [](int signal) {
         ChildProcess::killAll();
         std::signal(signal, SIG_DFL);
         raise(signal); // ends the program once this handler has returned
      };
      sigaction(SIGALRM, &action, nullptr);
      std::signal(SIGPIPE, SIG_IGN); // to end the monitor when there is nobody left to read
   }

   StopSignals(const StopSignals&) = delete;
   StopSignals& operator=(const StopSignals&) = delete;
   ~StopSignals() { alarm(0); }

   StopFd fd() const { return fd_; }

private:
   static volatile int fd_; ///< for the handler; open as long as the process lives
};

volatile int StopSignals::fd_ = -1;

/// When the next import is due: at the end of a burst of changes.
class Schedule
{
public:
   /// Something changed.
   void trigger(Clock::time_point now)
   {
      if (!isSet())
         latest_ = now + patience;
      due_ = std::min(now + quiet, latest_);
   }

   void set(Clock::time_point due) { due_ = latest_ = due; }
   void clear() { due_ = Clock::time_point::max(); }
   bool isSet() const { return due_ != Clock::time_point::max(); }
   bool isDue(Clock::time_point now) const { return now >= due_; }

   std::chrono::milliseconds timeLeft(Clock::time_point now) const
   {
      return isSet() ? std::max(std::chrono::ceil<std::chrono::milliseconds>(due_ - now), 0ms) : ChildProcess::forever;
   }

private:
   Clock::time_point due_ = Clock::time_point::max();
   Clock::time_point latest_;
};

class Watch
{
public:
   Watch(const LiveKernel& kernel, StopFd stop, bool isJson, std::ostream& out, std::ostream& notes)
      : kernel_(kernel), stop_(stop), isJson_(isJson), out_(out), notes_(notes)
   {
   }

   /// Imports the kernel's rows, and files and prints what is not as it was.
   void update()
   {
      std::ostringstream text;
      Notes notes(text);
      const Tables now = [&] {
         try {
            return fileRows(kernel_.dump(notes, stop_), genId_ + 1, notes);
         } catch (const BadInput&) {
            std::set<std::string> before = printed_;
            printNewLines(text.str());
            printed_.merge(before); // which the next import will have, too
            throw;
         }
      }();
      ++genId_;
      printNewLines(text.str());
      file<NexthopInfoRow>("nexthop", tables_.nexthops, now.nexthops);
      file<EcmpMemberListRow>("group", tables_.groups, now.groups);
   }

   Tables takeTables() { return std::move(tables_); }

private:
   template <class Row>
   void file(const char* kind, Table& table, const Table& now)
   {
      for (const Change<Row>& change : changesBetween<Row>(table, now)) {
         if (change.after)
            table.replace(*change.after);
         else
            table.erase(*change.before);
         out_ << (isJson_ ? changeJson(kind, change) : changeText(kind, change)) << '\n' << std::flush;
      }
   }

   void printNewLines(const std::string& text)
   {
      std::istringstream lines(text);
      std::set<std::string> printed;
      for (std::string line; std::getline(lines, line); printed.insert(line))
         if (!printed_.contains(line))
            notes_ << line << '\n';
      printed_ = std::move(printed);
   }

   const LiveKernel& kernel_;
   StopFd stop_;
   bool isJson_;
   std::ostream& out_;
   std::ostream& notes_;
   std::set<std::string> printed_; ///< the lines of the last import
   std::uint64_t genId_ = 0;
   Tables tables_;
};

/// Updates whenever the monitor tells of a change, for as long as `out` can be written to. Ends by exceptions else.
void follow(Watch& watch, ChildProcess& monitor, StopFd stop, const std::ostream& out, std::ostream& notes)
{
   Schedule schedule;
   unsigned failures = 0;
   watch.update();
   schedule.set(Clock::now() + patience); // for what changed before the monitor listened
   while (out) {
      const ChildProcess::Event event = monitor.await(schedule.timeLeft(Clock::now()), stop);
      if (event == ChildProcess::Event::closed) {
         const std::string failure = monitor.failure();
         throw BadInput(monitor.name() + ": ended" + (failure.empty() ? "" : ", ") + failure);
      }
      const Clock::time_point now = Clock::now();
      if (event == ChildProcess::Event::printed) {
         schedule.trigger(now);
         monitor.takeOutput();
         if (const std::string said = monitor.takeErrors(); !said.empty())
            Notes(notes).said(monitor.name(), said);
      }
      if (!schedule.isDue(now))
         continue;
      schedule.clear();
      try {
         watch.update();
         failures = 0;
      } catch (const BadInput& bad) {
         if (++failures == mostTries)
            throw;
         notes << bad.what() << '\n';
         schedule.set(Clock::now() + retryDelay);
      }
   }
}

} // namespace

Tables watchKernel(const LiveKernel& kernel, bool isJson, std::ostream& out, std::ostream& notes)
{
   const StopSignals signals;
   Watch watch(kernel, signals.fd(), isJson, out, notes);
   try {
      ChildProcess monitor(kernel.ip({"monitor", "nexthop", "link", "neigh"})); // first, so that it misses nothing
      follow(watch, monitor, signals.fd(), out, notes);
   } catch (const Stopped&) { // as it should be
   }
   return watch.takeTables();
}

} // namespace NexthopRows
