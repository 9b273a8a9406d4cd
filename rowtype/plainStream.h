// A stream for texts that a function returns: it formats as a new string stream of the classic locale does, whatever
// the global one is. Constructing a stream takes longer than writing a row, so each thread keeps one in thread-local
// storage. It holds no heap memory between two texts, so there is no destructor to run when the thread ends. What an
// operator changes in a stream does not affect other texts: a stream that is no longer byte for byte as it was
// constructed is constructed anew.
#pragma once

#include <cstring>
#include <locale>
#include <new>
#include <optional>
#include <ostream>
#include <streambuf>
#include <string>
#include <string_view>

namespace Zorva::Internal {

/// Collects text: in a member array first, in a string once it is longer. Supports tellp() and no seeking.
class TextBuffer final : public std::streambuf
{
public:
   TextBuffer() { clear(); }

   /// The text. Throws std::bad_alloc, also when an earlier allocation failed and the stream swallowed the exception.
   std::string str() const
   {
      if (isIncomplete_)
         throw std::bad_alloc();
      if (spilled_.empty())
         return std::string(waiting());
      std::string text;
      text.reserve(spilled_.size() + waiting().size());
      return text.append(spilled_).append(waiting());
   }

   /// Drops the text and the memory that a long one took.
   void clear() noexcept
   {
      setp(room_, room_ + sizeof room_);
      if (!spilled_.empty())
         std::string().swap(spilled_);
      isIncomplete_ = false;
   }

protected:
   int_type overflow(int_type character) override
   {
      try {
         spilled_.append(waiting());
      } catch (...) {
         isIncomplete_ = true;
         throw;
      }
      setp(room_, room_ + sizeof room_);
      return traits_type::eq_int_type(character, traits_type::eof()) ? traits_type::not_eof(character)
                                                                     : sputc(traits_type::to_char_type(character));
   }

   pos_type seekoff(off_type offset, std::ios_base::seekdir from, std::ios_base::openmode which) override
   {
      const bool tells = offset == 0 && from == std::ios_base::cur && (which & std::ios_base::out) != 0;
      return tells ? pos_type(static_cast<off_type>(spilled_.size() + waiting().size())) : pos_type(off_type(-1));
   }

private:
   std::string_view waiting() const { return {room_, static_cast<std::size_t>(pptr() - room_)}; }

   bool isIncomplete_;
   std::string spilled_;
   char room_[512];
};

/// The calling thread's stream, while the object lives. A text that is begun while another one is being written (an
/// operator that writes a column may render a row in turn) gets a stream of its own.
class PlainStream
{
public:
   PlainStream() : kept_(kept), stream_(kept_.isInUse ? own_.emplace() : kept_.begin()) {}
   PlainStream(const PlainStream&) = delete;
   PlainStream& operator=(const PlainStream&) = delete;
   ~PlainStream()
   {
      if (!own_)
         kept_.end();
   }

   const TextBuffer& buffer() const { return stream_.buffer; }
   std::ostream& os() { return stream_.os; }

private:
   struct Stream
   {
      Stream()
      {
         if (os.getloc() != std::locale::classic())
            os.imbue(std::locale::classic());
         os.fill(' '); // which is otherwise set at the first use
         std::memcpy(osAsMade, static_cast<const void*>(&os), sizeof os);
      }

      /// Whether the stream, with its state, formatting, locale, buffer, tie and words, is as the constructor left it.
      bool isAsMade() const { return std::memcmp(osAsMade, static_cast<const void*>(&os), sizeof os) == 0; }

      TextBuffer buffer;
      std::ostream os{&buffer};
      unsigned char osAsMade[sizeof(std::ostream)];
   };

   /// What a thread keeps: a stream as it was constructed, or none. It holds nothing that a destructor would release.
   struct Kept
   {
      Stream& begin()
      {
         if (!isMade) [[unlikely]]
            new (storage) Stream;
         isMade = isInUse = true;
         return stream();
      }

      void end()
      {
         stream().buffer.clear();
         if (!stream().isAsMade()) [[unlikely]] {
            stream().~Stream();
            isMade = false;
         }
         isInUse = false;
      }

      Stream& stream() { return *std::launder(reinterpret_cast<Stream*>(storage)); }

      bool isMade;
      bool isInUse;
      alignas(Stream) unsigned char storage[sizeof(Stream)];
   };

   static inline constinit thread_local Kept kept{};

   Kept& kept_;
   std::optional<Stream> own_;
   Stream& stream_;
};

} // namespace Zorva::Internal
