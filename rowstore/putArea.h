// Text written straight into the put area of a stream's buffer, where that has the same effect as inserting it: while
// the put area has room, std::streambuf::sputc() only stores a character and calls no virtual function. Nothing can
// fail or be flushed there, so neither the stream's state nor its exceptions matter; all else is left to the stream's
// own operators:
//
//    if (char* const at = roomForText(os, text.size()))
//       textEndIs(os, copyText(at, text));
//    else
//       os << text;
//
// The same holds for users' own buffer classes, if their xsputn() has the effect of sputc(), as the standard requires.
#pragma once

#include <cstddef>
#include <cstring>
#include <locale>
#include <ostream>
#include <streambuf>
#include <string_view>

#include "platform/requirements.h"

namespace Zorva::Internal {

/// Opens the put area of any stream buffer, which is protected. No object is ever made.
class PutArea : std::streambuf
{
public:
   PutArea() = delete;

   static char* next(const std::streambuf& buffer) { return (buffer.*&PutArea::pptr)(); }
   static char* end(const std::streambuf& buffer) { return (buffer.*&PutArea::epptr)(); }
   static void advance(std::streambuf& buffer, std::ptrdiff_t n) { (buffer.*&PutArea::pbump)(static_cast<int>(n)); }
};

/// Where `length` characters of text go, if inserting them does no more than to store them; otherwise null. They are
/// text once textEndIs() says so.
inline char* roomForText(const std::ostream& os, std::size_t length)
{
   if (!os.good() || os.width() != 0 || os.tie() != nullptr || (os.flags() & std::ios_base::unitbuf) != 0)
      return nullptr;
   const std::streambuf& buffer = *os.rdbuf();
   char* const at = PutArea::next(buffer);
   return static_cast<std::size_t>(PutArea::end(buffer) - at) >= length ? at : nullptr;
}

/// The same for a text with integers, if the stream writes them in plain decimal.
inline char* roomForNumbers(const std::ostream& os, std::size_t length)
{
   if ((os.flags() & (std::ios_base::basefield | std::ios_base::showpos)) != std::ios_base::dec)
      return nullptr;
#ifdef __GLIBCXX__
   const std::locale& locale = os._M_getloc(); // getloc() makes a copy
#else
   const std::locale& locale = os.getloc();
#endif
   static const std::locale& classic = std::locale::classic();
   // Another object may be equal, too: inserting compares them then.
   // NOLINTNEXTLINE(bugprone-suspicious-memory-comparison)
   if (std::memcmp(&locale, &classic, sizeof locale) != 0)
      return nullptr;
   return roomForText(os, length);
}

/// Says that the stream's text now ends at `end`, in the room that one of the two above has found.
inline void textEndIs(std::ostream& os, char* end)
{
   std::streambuf& buffer = *os.rdbuf();
   PutArea::advance(buffer, end - PutArea::next(buffer));
}

/// Copies `text` to `at` and returns the end of the copy.
[[gnu::always_inline]] inline char* copyText(char* at, std::string_view text) noexcept
{
   if (!text.empty()) // memcpy() takes no null pointer
      std::memcpy(at, text.data(), text.size());
   return at + text.size();
}

/// os << text
inline std::ostream& insertText(std::ostream& os, std::string_view text)
{
   char* const at = roomForText(os, text.size());
   if (at == nullptr)
      return os << text;
   textEndIs(os, copyText(at, text));
   return os;
}

} // namespace Zorva::Internal
