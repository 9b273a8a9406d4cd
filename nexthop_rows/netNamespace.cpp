#include "nexthop_rows/netNamespace.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <exception>
#include <fcntl.h>
#include <linux/magic.h>
#include <sched.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <thread>
#include <unistd.h>
#include <utility>

#include "nexthop_rows/badInput.h"

namespace NexthopRows {

namespace {

constexpr const char* folder = "/var/run/netns"; // where `ip netns` keeps the names

/// Whether the file stands for a namespace. A name is made as a plain file, which becomes one.
bool isNamespace(int fd)
{
   struct statfs system = {};
   return fstatfs(fd, &system) == 0 && system.f_type == NSFS_MAGIC;
}

NetNamespace::Identity identityOf(int fd)
{
   struct stat file = {};
   fstat(fd, &file);
   return {file.st_dev, file.st_ino};
}

} // namespace

NetNamespace::NetNamespace(std::optional<std::string> name) : name_(std::move(name))
{
   if (name_ && (name_->empty() || name_->front() == '.' || name_->find('/') != std::string::npos))
      throw BadInput(text() + ": not a name of a network namespace");
}

std::string NetNamespace::path() const { return std::string(folder) + '/' + *name_; }

NetNamespace::Identity NetNamespace::within(const std::function<void()>& make) const
{
   if (!name_) {
      make();
      return {};
   }
   const int fd = open(path().c_str(), O_RDONLY | O_CLOEXEC);
   if (fd == -1 || !isNamespace(fd)) {
      const int error = fd == -1 ? errno : ENOENT;
      close(fd);
      throw BadInput(text() + ": " + (error == ENOENT ? "no such network namespace" : std::strerror(error)));
   }
   std::exception_ptr failure;
   std::thread([&] {
      try {
         if (setns(fd, CLONE_NEWNET) != 0)
            throw BadInput(text() + ": may not be entered: " + std::strerror(errno) +
                           (errno == EPERM ? "; that takes the rights of root" : ""));
         make();
      } catch (...) {
         failure = std::current_exception();
      }
   }).join();
   const Identity identity = identityOf(fd);
   close(fd);
   if (failure)
      std::rethrow_exception(failure);
   return identity;
}

std::optional<NetNamespace::Identity> NetNamespace::now() const
{
   if (!name_)
      return Identity();
   const int fd = open(path().c_str(), O_RDONLY | O_CLOEXEC);
   const auto identity = fd != -1 && isNamespace(fd) ? std::optional(identityOf(fd)) : std::nullopt;
   close(fd);
   return identity;
}

NetNamespaceEvents::NetNamespaceEvents() : fd_(inotify_init1(IN_CLOEXEC | IN_NONBLOCK))
{
   if (inotify_add_watch(fd_, folder, IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO) == -1) {
      const std::string error = std::strerror(errno);
      close(fd_);
      throw BadInput(std::string(folder) + ": cannot be watched: " + error);
   }
}

NetNamespaceEvents::~NetNamespaceEvents() { close(fd_); }

void NetNamespaceEvents::clear() const
{
   std::array<char, 4096> events;
   while (read(fd_, events.data(), events.size()) > 0) {}
}

} // namespace NexthopRows
