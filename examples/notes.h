// Tells the user, a line each, which objects became no row or no valid one, and why.
#pragma once

#include <ostream>
#include <string>

namespace NexthopRows {

class Notes
{
public:
   /// Writes to `out`, which must live as long.
   explicit Notes(std::ostream& out) : out_(out) {}

   /// The object is none of ours. `object` is its file, kind and id.
   void skipped(const std::string& object, const std::string& reason) { write(object, "skipped", reason); }

   /// The row is filed and nothing can be sent through it.
   void notValid(const std::string& object, const std::string& reason) { write(object, "not valid", reason); }

   /// The object should have become a row, or part of one, and cannot.
   void refused(const std::string& object, const std::string& reason)
   {
      anyRefused_ = true;
      write(object, "refused", reason);
   }

   bool anyRefused() const { return anyRefused_; }

private:
   void write(const std::string& object, const char* fate, const std::string& reason)
   {
      out_ << object << ' ' << fate << ": " << reason << '\n';
   }

   std::ostream& out_;
   bool anyRefused_ = false;
};

} // namespace NexthopRows
