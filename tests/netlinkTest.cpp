// rtnetlink messages as the kernel makes them, made up where this machine's does not: tests/netlink/*.txt hold messages
// (">" and bytes as bytesOf() takes them, on as many lines as it takes) and, behind each ".", the notes ("!") and
// changes ("=") that those before it make.
#include <linux/rtnetlink.h>

#include <cstring>
#include <deque>
#include <filesystem>

#include "nexthop_rows/badInput.h"
#include "nexthop_rows/liveKernel.h"
#include "tests/support/netlink.h"
#include "tests/support/rows.h"

using namespace Test;

TEST(Netlink, MessagesMakeTheNotesAndChangesThatStandBehindThem)
{
   const std::filesystem::path folder = PROJECT_SOURCE_DIR "/tests/netlink";
   for (const auto& file : std::filesystem::directory_iterator(folder)) {
      if (file.path().extension() != ".txt")
         continue;
      std::string text, transcript, hex;
      Followed kernel;
      for (const std::string& line : linesOf(file.path())) {
         text += line + '\n';
         if (line.starts_with("= ") || line.starts_with("! "))
            continue;
         transcript += line + '\n';
         if ((line.starts_with('>') || line.starts_with('.')) && !hex.empty())
            kernel.apply(bytesOf(std::exchange(hex, "")));
         if (line.starts_with("> ") || line.starts_with("  "))
            hex += line.substr(1);
         if (line.starts_with('.'))
            transcript += kernel.takeText();
      }
      EXPECT_EQ(transcript, text) << file.path();
      EXPECT_EQ(kernel.unlikeAtOnce(), "") << file.path();
   }
}

/// A kernel's sockets as tests/netlink/sockets.script has them, a line each: what is asked ("?"), the answers ("<"),
/// and what is heard ("~"), bytes or an error's number. What it came to is in `played`. Objects that are asked for by
/// an id that is not in the script are not there.
struct Script final : Rtnetlink
{
   explicit Script(std::deque<std::string>& lines, std::string& played) : lines_(lines), played_(played) {}

   int fd() const override { return -1; }
   ssize_t hear(Buffer buffer) override
   {
      if (!isNext("~ EINTR without end"))
         return isNext("~ ") ? take(buffer) : -EAGAIN;
      if (!std::exchange(isEndless_, true))
         played_ += lines_.front() + '\n';
      return -EINTR;
   }

   int ask(const nlmsghdr& question) override
   {
      const auto* const words = reinterpret_cast<const std::uint32_t*>(&question);
      asked_ = question.nlmsg_seq;
      std::string text = "? " + std::to_string(question.nlmsg_type) + " family " + std::to_string(words[4] & 0xff);
      if (question.nlmsg_type == RTM_GETNEXTHOP && question.nlmsg_len > 24)
         text += " id " + std::to_string(words[7]);
      if (isNext(text) || (question.nlmsg_flags & NLM_F_DUMP) != 0)
         played_ += text + '\n';
      if (isNext(text))
         lines_.pop_front();
      return 0;
   }

   ssize_t answer(Buffer buffer) override
   {
      if (isNext("< "))
         return take(buffer);
      const std::array<std::uint32_t, 5> none{20, NLMSG_ERROR, asked_, 0, static_cast<std::uint32_t>(-ENOENT)};
      std::memcpy(buffer.data(), none.data(), sizeof none);
      return sizeof none;
   }

private:
   bool isNext(const std::string& text) const { return !lines_.empty() && lines_.front().starts_with(text); }

   ssize_t take(Buffer buffer)
   {
      const std::string line = lines_.front().substr(2);
      played_ += lines_.front() + '\n';
      lines_.pop_front();
      if (line.starts_with('E'))
         return line == "ENOBUFS" ? -ENOBUFS : -EINTR;
      return std::ranges::copy(bytesOf(line), buffer.begin()).out - buffer.begin();
   }

   std::deque<std::string>& lines_;
   std::string& played_;
   std::uint32_t asked_ = 0;
   bool isEndless_ = false;
};

TEST(Netlink, WhatIsAskedAnsweredAndHeardMakesTheRowsBehindIt)
{
   std::deque<std::string> lines;
   std::string text, played;
   for (const std::string& line : linesOf(PROJECT_SOURCE_DIR "/tests/netlink/sockets.script"))
      if (line.starts_with("  "))
         lines.back() += line.substr(1);
      else if (!line.empty() && !line.starts_with('#'))
         lines.push_back(line);
   for (const std::string& line : lines)
      text += line + '\n';
   for (std::size_t left = 0; !lines.empty() && std::exchange(left, lines.size()) != lines.size();) {
      std::ostringstream out;
      Notes notes(out);
      RowKeeper keeper("kernel", notes);
      std::string rows;
      try {
         KernelState state = LiveKernel("kernel", std::make_unique<Script>(lines, played)).read(notes);
         keeper.settle(state, 1, [&](const auto& change) { rows += "= " + changeText(change) + '\n'; });
      } catch (const BadInput& bad) {
         rows = std::string("failed: ") + bad.what() + '\n';
      }
      played += takeNotes(out) + rows;
      while (!lines.empty() && !lines.front().starts_with('?'))
         lines.pop_front();
   }
   EXPECT_EQ(played, text);
}
