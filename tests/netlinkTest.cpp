// rtnetlink messages as the kernel makes them, made up where this machine's does not: tests/netlink/*.txt hold messages
// (">" and bytes as bytesOf() takes them, on as many lines as it takes) and, behind each ".", the notes ("!") and
// changes ("=") that those before it make.
#include <filesystem>

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
