#include "nexthop_rows/liveKernel.h"

#include <linux/neighbour.h>
#include <linux/nexthop.h>
#include <linux/rtnetlink.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <utility>

#include "nexthop_rows/badInput.h"
#include "nexthop_rows/netlinkMessages.h"

namespace NexthopRows {

namespace {

using namespace std::chrono_literals;

constexpr std::size_t longestDatagram = 1 << 17; ///< a group of 8192 members, and more than the kernel makes at once
constexpr int mostDumps = 5;                     ///< that may be disturbed by changes, one after the other
constexpr auto patience = 500ms;
constexpr unsigned widestGap = 1 << 18; ///< of ids without a group, where each is asked for

} // namespace

LiveKernel::LiveKernel(const NetNamespace& netns, StopFd stop) : source_(netns.text()), buffer_(longestDatagram)
{
   identity_ = netns.within([&] { rtnetlink_ = std::make_unique<RtnetlinkSockets>(source_, stop); });
}

LiveKernel::LiveKernel(std::string source, std::unique_ptr<Rtnetlink> rtnetlink)
   : source_(std::move(source)), rtnetlink_(std::move(rtnetlink)), buffer_(longestDatagram)
{
}

KernelState LiveKernel::read(Notes& notes)
{
   for (int disturbed = 0;;) {
      KernelState state;
      bool isWhole = dump({RTM_GETLINK, sizeof(ifinfomsg), IFLA_EXT_MASK, RTEXT_FILTER_SKIP_STATS}, state, notes);
      isWhole &= dump({RTM_GETNEIGH, sizeof(ndmsg)}, state, notes);
      isWhole &= dumpNexthops(state, notes);
      const Heard heard = hear(state, notes); // also when all is asked for again: there is room for more then
      if ((!isWhole && ++disturbed < mostDumps) || heard == Heard::lost)
         continue;
      if (!isWhole)
         notes.told(source_, "changed during each of " + std::to_string(disturbed) + " dumps; taken as it came");
      return state;
   }
}

LiveKernel::Heard LiveKernel::hear(KernelState& state, Notes& notes)
{
   Heard heard = Heard::everything;
   const auto end = std::chrono::steady_clock::now() + patience;
   while (heard == Heard::lost || std::chrono::steady_clock::now() < end) {
      const ssize_t length = rtnetlink_->hear(buffer_);
      if (length == -EAGAIN)
         break;
      if (length == -ENOBUFS || length == -ENOSPC)
         heard = Heard::lost; // and what is still there of no use; only when it is all read will the kernel send more
      else if (length < 0 && length != -EINTR)
         fail("rtnetlink", static_cast<int>(-length));
      if (length < 0 || heard == Heard::lost)
         continue;
      const std::span datagram(buffer_.data(), static_cast<std::size_t>(length));
      const auto left =
         forEachMessage(datagram, [&](const nlmsghdr& message) { applyMessage(message, source_, state, notes); });
      if (left != 0)
         notes.refused(source_ + ": datagram", std::to_string(left) + " bytes are no message");
   }
   if (heard == Heard::lost)
      notes.told(source_, "changes came faster than they were read; reading everything again");
   return heard;
}

/// Applies all objects of the answer.
LiveKernel::Answer LiveKernel::ask(const Question& question, KernelState& state, Notes& notes)
{
   alignas(nlmsghdr) std::array<unsigned char, 64> room;
   nlmsghdr* const request = mnl_nlmsg_put_header(room.data());
   request->nlmsg_type = question.type;
   request->nlmsg_flags = static_cast<std::uint16_t>(NLM_F_REQUEST | question.flags);
   request->nlmsg_seq = ++sequence_;
   *static_cast<std::uint8_t*>(mnl_nlmsg_put_extra_header(request, question.headerLength)) = question.family;
   if (question.attribute != 0)
      mnl_attr_put_u32(request, question.attribute, question.value);
   if (const int error = rtnetlink_->ask(*request); error != 0)
      fail("dump", error);

   Answer answer;
   for (bool isDone = false; !isDone;) {
      const ssize_t length = rtnetlink_->answer(buffer_);
      if (length == -EINTR)
         continue;
      if (length < 0)
         fail("dump", static_cast<int>(-length));
      forEachMessage({buffer_.data(), static_cast<std::size_t>(length)}, [&](const nlmsghdr& message) {
         if (message.nlmsg_seq != sequence_)
            return; // an answer that was not waited for
         answer.isUndisturbed &= (message.nlmsg_flags & NLM_F_DUMP_INTR) == 0;
         isDone |= (message.nlmsg_flags & NLM_F_MULTI) == 0 || message.nlmsg_type == NLMSG_DONE;
         if (message.nlmsg_type == NLMSG_DONE || message.nlmsg_type == NLMSG_ERROR) { // both begin with an error
            if (mnl_nlmsg_get_payload_len(&message) >= sizeof answer.error)
               std::memcpy(&answer.error, mnl_nlmsg_get_payload(&message), sizeof answer.error);
            answer.error = -answer.error;
         } else {
            applyMessage(message, source_, state, notes);
            if (const ObjectId id = objectId(message); id != 0)
               answer.last = id;
         }
      });
   }
   return answer;
}

/// False when changes disturbed the dump, so that some objects may be missing or out of date.
bool LiveKernel::dump(const Question& question, KernelState& state, Notes& notes)
{
   const Answer answer = ask(question, state, notes);
   if (answer.error != 0)
      fail("dump", answer.error);
   return answer.isUndisturbed;
}

/// The same for next hops and groups. A group that is larger than the kernel's datagrams ends the dump before it. A
/// dump of one family has all next hops and no groups, and one group is answered in a datagram that is large enough.
bool LiveKernel::dumpNexthops(KernelState& state, Notes& notes)
{
   Question question{RTM_GETNEXTHOP, sizeof(nhmsg)};
   const Answer answer = ask(question, state, notes);
   if (answer.error == EOPNOTSUPP)
      throw BadInput(source_ + ": this kernel has no next-hop objects, which came with Linux 5.3");
   if (answer.error != 0 && answer.error != EMSGSIZE)
      fail("dump", answer.error);
   bool isUndisturbed = answer.isUndisturbed;
   if (answer.error == EMSGSIZE) {
      for (const int family : {AF_INET, AF_INET6}) {
         question.family = static_cast<std::uint8_t>(family);
         isUndisturbed &= dump(question, state, notes);
      }
      askForGroups(answer.last, state, notes);
   }
   return isUndisturbed;
}

/// Asks for the groups with higher ids one by one, until long none has come.
void LiveKernel::askForGroups(ObjectId after, KernelState& state, Notes& notes)
{
   ObjectId id = after;
   for (unsigned gap = 0; gap < widestGap && id != std::numeric_limits<ObjectId>::max();) {
      if (state.nexthop(++id) != nullptr)
         continue;
      const Answer answer = ask({RTM_GETNEXTHOP, sizeof(nhmsg), NHA_ID, id, 0}, state, notes);
      if (answer.error == EMSGSIZE)
         notes.refused(source_ + ": group " + std::to_string(id), "larger than this kernel's answers");
      else if (answer.error != 0 && answer.error != ENOENT)
         fail("next hop " + std::to_string(id), answer.error);
      gap = answer.error == ENOENT ? gap + 1 : 0;
   }
   notes.told(source_, "a group is larger than a dump's datagrams; the groups behind it, ids " +
                          std::to_string(after + 1) + " to " + std::to_string(id) + ", were asked for one by one");
}

void LiveKernel::fail(const std::string& what, int error) const
{
   throw BadInput(source_ + ": " + what + ": " + std::strerror(error));
}

} // namespace NexthopRows
