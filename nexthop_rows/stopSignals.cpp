#include "nexthop_rows/stopSignals.h"

#include <cerrno>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <system_error>
#include <unistd.h>

namespace NexthopRows {

StopSignals::StopSignals()
{
   sigset_t signals;
   sigemptyset(&signals);
   sigaddset(&signals, SIGINT);
   sigaddset(&signals, SIGTERM);
   struct sigaction hangUp = {};
   sigaction(SIGHUP, nullptr, &hangUp);
   if (hangUp.sa_handler != SIG_IGN)
      sigaddset(&signals, SIGHUP);
   fd_ = signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
   if (fd_ == -1)
      throw std::system_error(errno, std::system_category(), "signalfd");
   sigprocmask(SIG_BLOCK, &signals, &before_);
   std::signal(SIGPIPE, SIG_IGN);
}

StopSignals::~StopSignals()
{
   signalfd_siginfo taken;
   while (read(fd_, &taken, sizeof taken) > 0) { // done by ending as it was asked
   }
   close(fd_);
   sigprocmask(SIG_SETMASK, &before_, nullptr);
}

StopDeadline::StopDeadline(StopFd stop) : end_(eventfd(0, EFD_CLOEXEC))
{
   if (end_ == -1)
      throw std::system_error(errno, std::system_category(), "eventfd");
   thread_ = std::thread([end = end_, stop] {
      constexpr int patience = 1000; // milliseconds
      pollfd files[]{{end, POLLIN, 0}, {stop, POLLIN, 0}};
      while (poll(files, 2, -1) == -1) { // interrupted
      }
      if (files[0].revents == 0 && poll(files, 1, patience) == 0)
         _exit(0);
   });
}

StopDeadline::~StopDeadline()
{
   eventfd_write(end_, 1);
   thread_.join();
   close(end_);
}

HeldSignals::HeldSignals()
{
   sigemptyset(&held_);
   for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
      struct sigaction action = {};
      sigaction(signal, nullptr, &action);
      if (action.sa_handler != SIG_IGN)
         sigaddset(&held_, signal);
   }
   sigprocmask(SIG_BLOCK, &held_, &before_);
}

HeldSignals::~HeldSignals() { sigprocmask(SIG_SETMASK, &before_, nullptr); }

bool HeldSignals::hasCome() const
{
   sigset_t waiting;
   sigset_t common;
   sigpending(&waiting);
   sigandset(&common, &waiting, &held_);
   return sigisemptyset(&common) == 0;
}

} // namespace NexthopRows
