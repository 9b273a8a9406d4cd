#include "nexthop_rows/following.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <limits>
#include <poll.h>
#include <unistd.h>
#include <vector>

#include "nexthop_rows/badInput.h"

namespace NexthopRows {

Following::Following(bool isQuiet)
   : output_(STDOUT_FILENO, "standard output", signals_.fd()), out_(&output_),
     errors_(STDERR_FILENO, "standard error", signals_.fd()), err_(&errors_), nowhere_(nullptr),
     notes_(isQuiet ? nowhere_ : err_, Notes::Repeats::no)
{
   out_.exceptions(std::ios_base::badbit);
   err_.exceptions(std::ios_base::badbit);
   timeIsNow();
   if (write(STDOUT_FILENO, "", 0) == -1) // was closed, which may not be noticed before long
      throw BadInput("cannot write to standard output");
}

bool Following::await(std::initializer_list<int> files, Clock::time_point until)
{
   std::vector<pollfd> polled{{signals_.fd(), POLLIN, 0}, {output_.fd(), 0, 0}}; // the latter for the end of its reader
   for (const int file : files)
      polled.push_back({file, POLLIN, 0});
   int timeout = -1;
   if (until != Clock::time_point::max()) {
      const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - Clock::now()).count();
      timeout = static_cast<int>(std::clamp<decltype(left)>(left, 0, std::numeric_limits<int>::max()));
   }
   poll(polled.data(), polled.size(), timeout);
   timeIsNow();
   if ((polled[1].revents & (POLLERR | POLLHUP)) != 0) // of a pipe, and of sockets and terminals
      throw BadInput("cannot write to standard output");
   return polled[0].revents == 0;
}

void Following::timeIsNow()
{
   using System = std::chrono::system_clock;
   const auto now = System::now();
   const auto seconds = std::chrono::floor<std::chrono::seconds>(now);
   const std::time_t calendar = System::to_time_t(seconds);
   const std::string fraction = std::to_string(1'000'000 + (now - seconds) / std::chrono::microseconds(1));
   std::tm utc{};
   gmtime_r(&calendar, &utc);
   std::array<char, 32> text;
   time_.assign(text.data(), std::strftime(text.data(), text.size(), "%FT%T.", &utc)) += fraction.substr(1) + 'Z';
}

void Following::flush()
{
   err_.flush();
   out_.flush();
}

void ChangePrinter::complete(const std::string& more, std::size_t nexthops, std::size_t groups)
{
   if (isJson_)
      following_.out() << R"({"event":"complete","time":")" << following_.time() << R"(",)" << more << R"("nexthops":)"
                       << nexthops << R"(,"groups":)" << groups << "}\n";
}

} // namespace NexthopRows
