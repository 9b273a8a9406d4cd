// SIGINT, SIGTERM and SIGHUP as something to wait for, beside what else is waited for.
#pragma once

#include <csignal>

namespace NexthopRows {

/// A file descriptor that becomes readable when the program is to stop; noStop never does.
using StopFd = int;
inline constexpr StopFd noStop = -1;

/// Thrown by whoever waits when the program is to stop.
struct Stopped
{
};

/// Holds the signals back as long as it lives, and ignores SIGPIPE. SIGHUP stays ignored where it is, as nohup wants
/// it. Make it before any thread.
class StopSignals
{
public:
   /// Throws std::system_error.
   StopSignals();
   StopSignals(const StopSignals&) = delete;
   StopSignals& operator=(const StopSignals&) = delete;

   /// Signals have their old meaning again; those that came until now are done with.
   ~StopSignals();

   StopFd fd() const { return fd_; }

private:
   sigset_t before_{};
   int fd_;
};

} // namespace NexthopRows
