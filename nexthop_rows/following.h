// What a subcommand that runs until it is told to stop has around it: the signals that tell it, outputs that do not
// outlast them, notes, and the one place where it waits.
#pragma once

#include <chrono>
#include <initializer_list>
#include <ostream>
#include <string>

#include "nexthop_rows/notes.h"
#include "nexthop_rows/output.h"
#include "nexthop_rows/rowDiff.h"
#include "nexthop_rows/stopSignals.h"

namespace NexthopRows {

/// One at a time, made before any thread. What writes throws Stopped and BadInput as Output does.
class Following
{
public:
   using Clock = std::chrono::steady_clock;

   /// Notes, an object's only when it is another than its last, go to standard error unless that is to be quiet.
   explicit Following(bool isQuiet);
   Following(const Following&) = delete;
   Following& operator=(const Following&) = delete;

   StopFd stop() const { return signals_.fd(); }
   std::ostream& out() { return out_; }
   Notes& notes() { return notes_; }

   /// Waits until one of the files is readable, or it is time; -1 stands for no file. False when it is to stop. Throws
   /// BadInput when nobody reads standard output any more.
   bool await(std::initializer_list<int> files, Clock::time_point until);

   /// When that came which is dealt with now, as RFC 3339 writes it, to the microsecond: the end of the last wait, or
   /// of a reading since.
   const std::string& time() const { return time_; }
   void timeIsNow();

   /// Writes the notes, and what was printed.
   void flush();

private:
   StopSignals signals_;
   Output output_;
   std::ostream out_;
   Output errors_;
   std::ostream err_;
   std::ostream nowhere_; ///< has no buffer
   Notes notes_;
   std::string time_;
};

/// Prints changes, a line each, as text or as JSON with the time (changeText, changeJson).
class ChangePrinter
{
public:
   ChangePrinter(Following& following, bool isJson) : following_(following), isJson_(isJson) {}

   template <class Row>
   void print(const Change<Row>& change)
   {
      following_.out() << (isJson_ ? changeJson(change, following_.time()) : changeText(change)) << '\n';
   }

   /// Everything has been read and printed; JSON says so. `more` are members of the object, with a comma behind each.
   void complete(const std::string& more, std::size_t nexthops, std::size_t groups);

private:
   Following& following_;
   bool isJson_;
};

} // namespace NexthopRows
