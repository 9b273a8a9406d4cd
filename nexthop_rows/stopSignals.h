// SIGINT, SIGTERM and SIGHUP as something to wait for, beside what else is waited for.
#pragma once

#include <csignal>
#include <thread>

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

/// For who waits for others that know nothing of the signals: ends the process, with status 0, a second after it was
/// told to stop, if that has not ended this by then.
class StopDeadline
{
public:
   /// `stop` must live as long. Throws std::system_error.
   explicit StopDeadline(StopFd stop);
   StopDeadline(const StopDeadline&) = delete;
   StopDeadline& operator=(const StopDeadline&) = delete;
   ~StopDeadline();

private:
   int end_; ///< becomes readable at the end of this
   std::thread thread_;
};

/// Holds the same signals back as long as it lives, but for those that are ignored; then they come. For what must not
/// be left half done.
class HeldSignals
{
public:
   HeldSignals();
   HeldSignals(const HeldSignals&) = delete;
   HeldSignals& operator=(const HeldSignals&) = delete;
   ~HeldSignals();

   /// Whether one waits: what is done should end.
   bool hasCome() const;

private:
   sigset_t held_{};
   sigset_t before_{};
};

} // namespace NexthopRows
