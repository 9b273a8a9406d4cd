#include "nexthop_rows/stopSignals.h"

#include <cerrno>
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

} // namespace NexthopRows
