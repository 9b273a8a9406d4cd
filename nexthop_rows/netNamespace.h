// A network namespace of this machine: this program's own, or one that `ip netns` names.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <sys/types.h>

namespace NexthopRows {

class NetNamespace
{
public:
   /// What a name stands for at one time: another namespace of the same name is another one.
   struct Identity
   {
      dev_t device = 0;
      ino_t inode = 0;

      bool operator==(const Identity&) const = default;
   };

   /// No name: this program's own. Throws BadInput for a name that is none.
   explicit NetNamespace(std::optional<std::string> name);

   bool hasName() const { return name_.has_value(); }

   /// "kernel" or "netns NAME", for messages.
   std::string text() const { return name_ ? "netns " + *name_ : "kernel"; }

   /// Calls `make` within the namespace, in a thread of its own: sockets stay in the namespace that they are made in.
   /// Returns which one that was. Throws BadInput when there is none of the name or it may not be entered, and what
   /// `make` throws.
   Identity within(const std::function<void()>& make) const;

   /// The namespace that has the name now; none when there is none. The program's own does not change.
   std::optional<Identity> now() const;

private:
   std::string path() const;

   std::optional<std::string> name_;
};

/// Becomes readable when a named namespace has come or gone. None is told of by the kernel: what follows one looks
/// here.
class NetNamespaceEvents
{
public:
   /// Throws BadInput when the folder of named namespaces cannot be watched.
   NetNamespaceEvents();
   NetNamespaceEvents(const NetNamespaceEvents&) = delete;
   NetNamespaceEvents& operator=(const NetNamespaceEvents&) = delete;
   ~NetNamespaceEvents();

   int fd() const { return fd_; }

   /// Makes it unreadable until the next event.
   void clear() const;

private:
   int fd_;
};

} // namespace NexthopRows
