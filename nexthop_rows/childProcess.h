// A program that runs beside this one, started without a shell; what it prints is read through pipes.
//
// The program is found through PATH and reads nothing. It has a process group of its own, so that Ctrl-C in a terminal
// reaches this program alone, and dies of its next output when this program is no more.
#pragma once

#include <chrono>
#include <string>
#include <sys/types.h>
#include <vector>

#include "nexthop_rows/notes.h"

namespace NexthopRows {

/// A program's name and its arguments.
using Command = std::vector<std::string>;

/// The command as one would type it.
std::string text(const Command& command);

/// The file descriptor that becomes readable when this program is to stop; noStop never does.
using StopFd = int;
inline constexpr StopFd noStop = -1;

/// Thrown by whoever waits for a child when this program is to stop.
struct Stopped
{
};

class ChildProcess
{
public:
   /// What ended a wait.
   enum class Event { printed, closed, timedOut };

   /// A timeout that does not end.
   static constexpr std::chrono::milliseconds forever{-1};

   /// Starts the program. Throws BadInput when it cannot be started.
   explicit ChildProcess(const Command& command);
   ChildProcess(const ChildProcess&) = delete;
   ChildProcess& operator=(const ChildProcess&) = delete;

   /// Kills the child if it still runs, and reaps it.
   ~ChildProcess();

   /// Kills all children there are: for a signal handler that ends this program, where no destructor will run.
   static void killAll() noexcept;

   /// The text of the command.
   const std::string& name() const { return name_; }

   /// Waits until the child has printed something, which is kept, has closed both its outputs, or `timeout` is over.
   /// Throws Stopped as soon as `stop` is readable.
   Event await(std::chrono::milliseconds timeout, StopFd stop);

   /// What the child has printed since the last call, on its standard output and its standard error.
   std::string takeOutput();
   std::string takeErrors();

   /// Waits for the child's end. Empty for exit status 0, else "exit status 1" or "signal 9" and what it said on its
   /// standard error.
   std::string failure();

private:
   /// One of the child's outputs: the end of the pipe, -1 once the child has closed it, and what came through.
   struct Stream
   {
      int fd = -1;
      std::string text = {};
   };

   /// Appends what there is to read; closes the stream at its end.
   static void readInto(Stream& stream);

   std::string name_;
   Stream output_;
   Stream errors_;
   pid_t pid_ = -1; ///< -1 once reaped
};

/// What the command prints. Notes what it says on its standard error. Throws BadInput when it cannot be started or
/// fails, Stopped as soon as `stop` is readable.
std::string outputOf(const Command& command, Notes& notes, StopFd stop = noStop);

} // namespace NexthopRows
