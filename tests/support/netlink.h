// A kernel that is followed by its messages alone, without a socket.
#pragma once

#include <algorithm>
#include <sstream>

#include "nexthop_rows/netlinkMessages.h"
#include "nexthop_rows/rowKeeper.h"

namespace Test {

using namespace NexthopRows;

/// What was noted since the last call, a line each.
inline std::string takeNotes(std::ostringstream& out)
{
   std::string text;
   std::istringstream notes(out.str());
   for (std::string note; std::getline(notes, note);)
      text += "! " + note.substr(note.find(": ") + 2) + '\n'; // without the program's name
   out.str("");
   return text;
}

/// Follows twice: brings the rows up to date behind each datagram, and only when asked for text.
class Followed
{
public:
   /// What is behind the last whole message is left out.
   void apply(const std::vector<unsigned char>& datagram)
   {
      for (Kernel* const kernel : {&lazy_, &eager_})
         forEachMessage(
            datagram, [&](const nlmsghdr& message) { applyMessage(message, "kernel", kernel->state, kernel->notes); });
      eager_.keeper.settle(eager_.state, 1, [](const auto&) {});
   }

   /// Notes and changes since the last call, a line each.
   std::string takeText()
   {
      std::string changes;
      lazy_.keeper.settle(lazy_.state, 1, [&](const auto& change) { changes += "= " + changeText(change) + '\n'; });
      return takeNotes(lazy_.out) + changes;
   }

   /// The differences between the two, now that both are up to date: none.
   std::string unlikeAtOnce()
   {
      takeText();
      std::string text;
      const auto compare = [&]<class Row>(const Table& eager, const Table& table, const Row*) {
         for (const auto& change : changesBetween<Row>(eager, table))
            text += changeText(change) + '\n';
      };
      const auto &eager = eager_.keeper.tables(), &lazy = lazy_.keeper.tables();
      compare(eager.nexthops, lazy.nexthops, static_cast<NexthopInfoRow*>(nullptr));
      compare(eager.groups, lazy.groups, static_cast<EcmpMemberListRow*>(nullptr));
      return text;
   }

private:
   struct Kernel
   {
      std::ostringstream out;
      Notes notes{out, Notes::Repeats::no};
      KernelState state;
      RowKeeper keeper{"kernel", notes};
   } lazy_, eager_;
};

} // namespace Test
