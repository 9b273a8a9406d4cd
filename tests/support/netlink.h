// A kernel that is followed by its messages alone, without a socket.
#pragma once

#include <algorithm>
#include <sstream>

#include "nexthop_rows/netlinkMessages.h"
#include "nexthop_rows/rowKeeper.h"

namespace Test {

using namespace NexthopRows;

/// Follows twice: brings the rows up to date behind each datagram, and only when asked for text.
class Followed
{
public:
   /// What is behind the last whole message is left out.
   void apply(const std::vector<unsigned char>& datagram)
   {
      forEachMessage(datagram, [&](const nlmsghdr& message) {
         applyMessage(message, "kernel", state_, notes_);
         applyMessage(message, "kernel", eager_, silent_);
      });
      eagerKeeper_.settle(eager_, 1, [](const auto&) {});
   }

   /// Notes and changes since the last call, a line each.
   std::string takeText()
   {
      std::string changes;
      keeper_.settle(state_, 1, [&](const auto& change) { changes += "= " + changeText(change) + '\n'; });
      std::string text;
      std::istringstream notes(out_.str());
      for (std::string note; std::getline(notes, note);)
         text += "! " + note.substr(note.find(": ") + 2) + '\n'; // without the program's name
      out_.str("");
      return text + changes;
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
      compare(eagerKeeper_.tables().nexthops, keeper_.tables().nexthops, static_cast<NexthopInfoRow*>(nullptr));
      compare(eagerKeeper_.tables().groups, keeper_.tables().groups, static_cast<EcmpMemberListRow*>(nullptr));
      return text;
   }

private:
   std::ostringstream out_;
   Notes notes_{out_, Notes::Repeats::no};
   std::ostringstream nowhere_;
   Notes silent_{nowhere_};
   KernelState state_;
   KernelState eager_;
   RowKeeper keeper_{"kernel", notes_};
   RowKeeper eagerKeeper_{"kernel", silent_};
};

} // namespace Test
