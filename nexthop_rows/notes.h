// Tells the user, a line each and with the program's name in front, which objects became no row or no valid one, and
// why, and what else is amiss.
#pragma once

#include <ostream>
#include <string>
#include <unordered_map>

#include "nexthop_rows/kernelObjects.h"

namespace NexthopRows {

/// What every message to the user begins with.
inline constexpr const char* programName = "nexthop-rows: ";

class Notes
{
public:
   /// Whether an object's note is written again when it is the same as the object's last one.
   enum class Repeats : bool { no, yes };

   /// Writes to `out`, which must live as long.
   explicit Notes(std::ostream& out, Repeats repeats = Repeats::yes) : out_(out), repeats_(repeats) {}

   /// Of the notes about objects and rows, only those about this one are written and counted from now on. `object` is
   /// a kind and an id.
   void onlyAbout(std::string object) { about_ = std::move(object); }

   /// The object is none of ours. `object` is its source, kind and id.
   void skipped(const std::string& object, const std::string& reason) { write(object, " skipped: " + reason); }

   /// The row is filed and nothing can be sent through it.
   void notValid(const std::string& object, const std::string& reason) { write(object, " not valid: " + reason); }

   /// The object should have become a row, or part of one, and cannot.
   void refused(const std::string& object, const std::string& reason)
   {
      isAnyBad_ |= isWanted(object);
      write(object, " refused: " + reason);
   }

   /// The bytes of a row are not those of a row.
   void faulty(const std::string& row, const std::string& reason)
   {
      ++faults_;
      isAnyBad_ |= isWanted(row);
      write(row, " faulty: " + reason);
   }

   /// What became of a source.
   void told(const std::string& source, const std::string& what)
   {
      out_ << programName << shownLine(source + ": " + what) << std::endl;
   }

   /// Nothing is amiss with the object any more, or it is gone: its next note is written whatever the last one was.
   void forget(const std::string& object) { last_.erase(object); }

   /// Whether there is anything to forget.
   bool areAnyKept() const { return !last_.empty(); }

   /// How many rows were faulty.
   std::size_t faults() const { return faults_; }

   /// Whether an object was refused or a row is faulty.
   bool isAnyBad() const { return isAnyBad_; }

private:
   bool isWanted(const std::string& object) const
   {
      return about_.empty() || object == about_ || object.ends_with(": " + about_);
   }

   void write(const std::string& object, const std::string& text)
   {
      if (!isWanted(object))
         return;
      if (repeats_ == Repeats::no) {
         std::string& last = last_[object];
         if (last == text)
            return;
         last = text;
      }
      out_ << programName + shownLine(object + text) + '\n'; // at once: standard error is not buffered
   }

   std::ostream& out_;
   std::string about_; ///< empty: everything
   Repeats repeats_;
   std::unordered_map<std::string, std::string> last_; ///< notes by object, unless they are repeated
   std::size_t faults_ = 0;
   bool isAnyBad_ = false;
};

} // namespace NexthopRows
