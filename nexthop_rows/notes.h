// Tells the user, a line each, which objects became no row or no valid one, and why, and what else is amiss.
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
      isAnyBad_ = true;
      write(object, "refused", reason);
   }

   /// The bytes of a row are not those of a row.
   void faulty(const std::string& row, const std::string& reason)
   {
      isAnyBad_ = true;
      write(row, "faulty", reason);
   }

   /// What a program said that did its work.
   void said(const std::string& program, const std::string& text) { write(program, "says", text); }

   /// Whether an object was refused or a row is faulty.
   bool isAnyBad() const { return isAnyBad_; }

private:
   void write(const std::string& object, const char* fate, const std::string& reason)
   {
      out_ << object << ' ' << fate << ": " << reason << '\n';
   }

   std::ostream& out_;
   bool isAnyBad_ = false;
};

} // namespace NexthopRows
