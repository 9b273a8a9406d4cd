// Whether two ways to insert the same text can be told apart: streams in every state, buffers that refuse or throw
// after so many characters, and operators that change the stream they write into.
#pragma once

#include <iomanip>

#include "tests/support/heap.h"

namespace Test {

using Insert = std::function<void(std::ostream&)>;

struct Grouping : std::numpunct<char>
{
   std::string do_grouping() const override { return "\3"; }
};

inline const int word = std::ios_base::xalloc();

/// All that an operator can see of a stream, its buffer excepted.
inline std::string facts(std::ostream& os)
{
   std::ostringstream text;
   text << '<' << os.rdstate() << ' ' << os.flags() << ' ' << os.width() << ' ' << os.precision() << ' ' << os.fill()
        << ' ' << os.exceptions() << ' ' << (os.tie() != nullptr) << ' ' << os.getloc().name() << ' ' << os.iword(word)
        << ' ' << os.iword(word + 50) << '>';
   return text.str();
}

/// Takes `limit` characters, `room` of them at hand each time, and then refuses or, every other one, throws.
struct Target : std::streambuf
{
   std::string text() const { return taken + std::string(pbase(), pptr()); }
   int sync() override { return ++flushes, 0; }
   pos_type seekoff(off_type, std::ios_base::seekdir, std::ios_base::openmode) override { return std::ssize(text()); }
   int_type overflow(int_type c) override
   {
      taken = text();
      const std::size_t left = limit - taken.size();
      setp(place, place + std::min(left, room));
      if (left == 0 && limit % 2 == 0)
         throw std::runtime_error("full");
      if (left > 0 && room == 0)
         return taken += static_cast<char>(c), c;
      return left == 0 ? traits_type::eof() : sputc(static_cast<char>(c));
   }

   std::size_t limit = 0, room = 0;
   int flushes = 0;
   std::string taken;
   char place[999];
};

inline Target tied;
inline std::stringbuf aside;
inline std::ostream tie(&tied);

/// What the caller, or an operator, may do to a stream: the first does nothing, the second looks.
inline std::vector<Insert> streamChanges()
{
   using std::ios_base;
   static const std::locale grouping(std::locale::classic(), new Grouping);
   return {
      [](std::ostream&) {},
      [](std::ostream& os) { os << os.tellp() << facts(os) << os.tellp(); },
      [](std::ostream& os) { os << os.iword(word)++ << os.iword(word + 50)++; },
      [](std::ostream& os) { os.setstate(ios_base::failbit); },
      [](std::ostream& os) { os.setstate(ios_base::badbit); },
      [](std::ostream& os) { os.fail() ? os.clear() : os.setstate(ios_base::eofbit); },
      [](std::ostream& os) { os << std::hex << std::showbase << std::setprecision(2); },
      [](std::ostream& os) { os << std::showpos << std::setfill('*'); },
      [](std::ostream& os) { os << std::setw(9); },
      [](std::ostream& os) { os << std::left << std::setw(30); },
      [](std::ostream& os) { os << std::unitbuf; },
      [](std::ostream& os) { os.imbue(grouping); },
      [](std::ostream& os) { static_cast<ios_base&>(os).imbue(grouping); },
      [](std::ostream& os) { os.tie(&tie); },
      [](std::ostream& os) { os.exceptions(ios_base::failbit); },
      [](std::ostream& os) { os.exceptions(ios_base::badbit | ios_base::failbit); },
      [](std::ostream& os) { os.exceptions(ios_base::badbit), os.setstate(ios_base::badbit); },
      [](std::ostream&) { throw std::runtime_error("no"); },
      [](std::ostream& os) { os.rdbuf(&aside); },
   };
}

/// Inserts both ways into streams that each of the changes has been made to. The text, all that is left of the stream
/// and how the call ended must be the same. `ready` is called before each insertion.
inline void expectSame(
   const Insert& insert, const Insert& steps, const std::vector<Insert>& changes,
   const std::function<void()>& ready = [] {})
{
   const auto outcome = [&](const Insert& change, const Insert& inserted, std::size_t limit, std::size_t room) {
      Target target;
      target.limit = limit, target.room = room, tied.flushes = 0, aside.str({});
      std::ostream os(&target);
      const std::string end = failureOf([&] { change(os), ready(), inserted(os); });
      os.exceptions(std::ios_base::goodbit);
      return target.text() + facts(os) + std::to_string(target.flushes) + ' ' + std::to_string(tied.flushes) + end +
             aside.str();
   };
   for (const Insert& change : changes)
      for (const std::size_t room : {0u, 40u, 999u})
         for (const std::size_t limit :
              {999u, 0u, 8u, 9u, 17u, 50u, 60u, 65u, 100u, 120u, 132u, 140u, 147u, 160u, 163u})
            ASSERT_EQ(outcome(change, insert, limit, room), outcome(change, steps, limit, room))
               << "change " << &change - changes.data() << ", " << limit << '/' << room;
}

} // namespace Test
