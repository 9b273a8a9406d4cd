#include "nexthop_rows/childProcess.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

#include "nexthop_rows/jsonReader.h"

namespace NexthopRows {

namespace {

[[noreturn]] void throwCannot(const std::string& what, int error)
{
   throw BadInput(what + ": " + std::strerror(error));
}

struct Pipe
{
   Pipe()
   {
      if (pipe2(ends.data(), O_CLOEXEC) != 0)
         throwCannot("pipe", errno);
   }
   Pipe(const Pipe&) = delete;
   Pipe& operator=(const Pipe&) = delete;

   ~Pipe()
   {
      for (const int end : ends)
         if (end != -1)
            close(end);
   }

   int takeReadEnd() { return std::exchange(ends[0], -1); }
   int writeEnd() const { return ends[1]; }

   std::array<int, 2> ends{-1, -1};
};

/// What posix_spawn is told about files and signals.
struct SpawnSettings
{
   SpawnSettings(const Pipe& output, const Pipe& errors)
   {
      posix_spawn_file_actions_init(&files);
      posix_spawn_file_actions_adddup2(&files, output.writeEnd(), STDOUT_FILENO);
      posix_spawn_file_actions_adddup2(&files, errors.writeEnd(), STDERR_FILENO);
      posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
      sigset_t pipeSignal; // this program may ignore it, which a child would inherit
      sigemptyset(&pipeSignal);
      sigaddset(&pipeSignal, SIGPIPE);
      posix_spawnattr_init(&attributes);
      posix_spawnattr_setsigdefault(&attributes, &pipeSignal);
      posix_spawnattr_setpgroup(&attributes, 0);
      posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP);
   }
   SpawnSettings(const SpawnSettings&) = delete;
   SpawnSettings& operator=(const SpawnSettings&) = delete;

   ~SpawnSettings()
   {
      posix_spawnattr_destroy(&attributes);
      posix_spawn_file_actions_destroy(&files);
   }

   posix_spawn_file_actions_t files{};
   posix_spawnattr_t attributes{};
};

/// The children not reaped yet, for killAll; 0 is a free place. There are two at most: the monitor and a dump.
std::array<std::atomic<pid_t>, 2> running{};

void replaceRunning(pid_t from, pid_t to)
{
   const auto place = std::ranges::find(running, from, [](const auto& pid) { return pid.load(); });
   if (place != running.end())
      place->store(to);
}

std::string withoutLineEnd(std::string text)
{
   text.erase(text.find_last_not_of("\r\n") + 1);
   return text;
}

} // namespace

std::string text(const Command& command)
{
   std::string text;
   for (const std::string& word : command)
      text += (text.empty() ? "" : " ") + word;
   return text;
}

ChildProcess::ChildProcess(const Command& command) : name_(text(command))
{
   std::vector<char*> arguments;
   for (const std::string& argument : command)
      arguments.push_back(const_cast<char*>(argument.c_str())); // which nobody writes to
   arguments.push_back(nullptr);
   Pipe output;
   Pipe errors;
   const SpawnSettings settings(output, errors);
   const int error =
      posix_spawnp(&pid_, arguments.front(), &settings.files, &settings.attributes, arguments.data(), environ);
   if (error != 0)
      throwCannot(name_, error);
   replaceRunning(0, pid_);
   output_.fd = output.takeReadEnd();
   errors_.fd = errors.takeReadEnd();
}

ChildProcess::~ChildProcess()
{
   for (const int fd : {output_.fd, errors_.fd})
      if (fd != -1)
         close(fd);
   if (pid_ == -1)
      return;
   kill(pid_, SIGKILL);
   while (waitpid(pid_, nullptr, 0) == -1 && errno == EINTR) {}
   replaceRunning(pid_, 0);
}

void ChildProcess::killAll() noexcept
{
   for (const std::atomic<pid_t>& pid : running)
      if (pid != 0)
         kill(pid, SIGKILL);
}

ChildProcess::Event ChildProcess::await(std::chrono::milliseconds timeout, StopFd stop)
{
   if (output_.fd == -1 && errors_.fd == -1)
      return Event::closed;
   std::array<pollfd, 3> waiting{{{stop, POLLIN, 0}, {output_.fd, POLLIN, 0}, {errors_.fd, POLLIN, 0}}};
   const int ready = poll(waiting.data(), waiting.size(), static_cast<int>(timeout.count()));
   if (ready == -1 && errno != EINTR)
      throwCannot(name_, errno);
   if (ready <= 0) // a signal counts as a short wait
      return Event::timedOut;
   if (waiting[0].revents != 0)
      throw Stopped();
   if (waiting[1].revents != 0)
      readInto(output_);
   if (waiting[2].revents != 0)
      readInto(errors_);
   return output_.fd == -1 && errors_.fd == -1 ? Event::closed : Event::printed;
}

void ChildProcess::readInto(Stream& stream)
{
   std::array<char, 65536> buffer;
   const ssize_t length = read(stream.fd, buffer.data(), buffer.size());
   if (length > 0)
      stream.text.append(buffer.data(), static_cast<std::size_t>(length));
   else if (length == 0 || errno != EINTR)
      close(std::exchange(stream.fd, -1));
}

std::string ChildProcess::takeOutput() { return std::exchange(output_.text, {}); }

std::string ChildProcess::takeErrors() { return withoutLineEnd(std::exchange(errors_.text, {})); }

std::string ChildProcess::failure()
{
   int status = 0;
   while (waitpid(pid_, &status, 0) == -1)
      if (errno != EINTR)
         throwCannot(name_, errno);
   replaceRunning(pid_, 0);
   pid_ = -1;
   if (WIFEXITED(status) && WEXITSTATUS(status) == 0)
      return {};
   const std::string said = takeErrors();
   return (WIFSIGNALED(status) ? "signal " + std::to_string(WTERMSIG(status))
                               : "exit status " + std::to_string(WEXITSTATUS(status))) +
          (said.empty() ? "" : ": " + said);
}

std::string outputOf(const Command& command, Notes& notes, StopFd stop)
{
   ChildProcess child(command);
   while (child.await(ChildProcess::forever, stop) != ChildProcess::Event::closed) {}
   const std::string failure = child.failure();
   if (!failure.empty())
      throw BadInput(child.name() + ": " + failure);
   if (const std::string said = child.takeErrors(); !said.empty())
      notes.said(child.name(), said);
   return child.takeOutput();
}

} // namespace NexthopRows
