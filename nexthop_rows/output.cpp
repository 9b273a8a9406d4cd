#include "nexthop_rows/output.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <poll.h>
#include <string_view>
#include <unistd.h>
#include <utility>

#include "nexthop_rows/badInput.h"

namespace NexthopRows {

int Output::sync()
{
   const std::string text = std::exchange(text_, {});
   for (std::string_view rest = text; !rest.empty();) {
      pollfd files[]{{fd_, POLLOUT, 0}, {stop_, POLLIN, 0}};
      if (poll(files, 2, -1) == -1)
         continue;
      if (files[0].revents == 0)
         throw Stopped();
      // A pipe that takes anything takes this much without waiting.
      const ssize_t written = write(fd_, rest.data(), std::min<std::size_t>(rest.size(), PIPE_BUF));
      if (written == -1 && errno != EINTR && errno != EAGAIN)
         throw BadInput("cannot write to " + name_);
      rest.remove_prefix(written > 0 ? static_cast<std::size_t>(written) : 0);
   }
   return 0;
}

Output::int_type Output::overflow(int_type character)
{
   if (!traits_type::eq_int_type(character, traits_type::eof()))
      text_ += traits_type::to_char_type(character);
   return traits_type::not_eof(character);
}

std::streamsize Output::xsputn(const char* text, std::streamsize length)
{
   text_.append(text, static_cast<std::size_t>(length));
   return length;
}

} // namespace NexthopRows
