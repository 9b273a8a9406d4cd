#include "nexthop_rows/jsonReader.h"

#include <cstring>
#include <istream>

#include "nexthop_rows/kernelObjects.h"

namespace NexthopRows {

namespace {

/// The bytes of a stream, a piece at a time. The parser would take a NUL for the end and not see what follows.
class Bytes
{
public:
   Bytes(const std::string& source, std::istream& in) : source_(source), in_(in), piece_(1 << 16) {}

   /// Whether there are no more. Throws BadInput when the stream cannot be read, or a NUL comes next.
   bool areAllTaken() { return (at_ == end_ || *at_ == '\0') && isAtEnd(); }

   char next() const { return *at_; }
   void take() { ++at_; }

   /// As the parser wants them.
   class Iterator
   {
   public:
      using iterator_category = std::input_iterator_tag;
      using value_type = char;
      using difference_type = std::ptrdiff_t;
      using pointer = const char*;
      using reference = char;

      explicit Iterator(Bytes* bytes = nullptr) : bytes_(bytes) {}
      char operator*() const { return bytes_->next(); }
      Iterator& operator++()
      {
         bytes_->take();
         return *this;
      }

      /// With the end, which has no bytes.
      bool operator==(const Iterator& /*end*/) const { return bytes_->areAllTaken(); }

   private:
      Bytes* bytes_;
   };

private:
   bool isAtEnd()
   {
      if (at_ == end_)
         readPiece();
      if (at_ != end_ && *at_ == '\0')
         throw BadInput(source_ + ": parse error: NUL at byte " +
                        std::to_string(before_ + static_cast<std::size_t>(at_ - piece_.data())));
      return at_ == end_;
   }

   void readPiece()
   {
      before_ += static_cast<std::size_t>(end_ - piece_.data());
      in_.read(piece_.data(), static_cast<std::streamsize>(piece_.size()));
      if (in_.bad())
         throw BadInput(source_ + ": cannot be read");
      at_ = piece_.data();
      end_ = at_ + in_.gcount();
   }

   const std::string& source_;
   std::istream& in_;
   std::vector<char> piece_;
   std::size_t before_ = 0; ///< bytes before the piece
   const char* at_ = piece_.data();
   const char* end_ = at_;
};

/// Builds the elements of the array, one after the other, from the parser's events. The parser's own builder lets the
/// last of equal keys win.
class Builder final : public nlohmann::json_sax<Json>
{
public:
   Builder(const std::string& source, const UseElement& use) : source_(source), use_(use) {}

   bool null() override { return add(nullptr); }
   bool boolean(bool value) override { return add(value); }
   bool number_integer(number_integer_t value) override { return add(value); }
   bool number_unsigned(number_unsigned_t value) override { return add(value); }
   bool number_float(number_float_t value, const string_t&) override { return add(value); }
   bool string(string_t& value) override { return add(std::move(value)); }
   bool binary(binary_t& value) override { return add(std::move(value)); }
   bool start_object(std::size_t) override { return open(Json::object()); }
   bool end_object() override { return close(); }
   bool end_array() override { return open_.empty() || close(); }

   bool start_array(std::size_t) override { return std::exchange(isInArray_, true) ? open(Json::array()) : true; }

   bool key(string_t& name) override
   {
      constexpr std::size_t mostKeys = 1000; // each is compared with those before it
      Json& object = *open_.back();
      if (object.size() == mostKeys)
         throw BadInput(source_ + ": an object of more than " + std::to_string(mostKeys) + " keys");
      auto [place, isNew] = object.emplace(name, nullptr);
      place_ = isNew ? &*place : &object[repeated(name)];
      return true;
   }

   bool parse_error(std::size_t, const std::string& token, const Json::exception& error) override
   {
      std::string text = error.what(); // "[json.exception....] parse error at line ...: ... last read: 'token'"
      if (const std::size_t tagEnd = text.find("] "); tagEnd != std::string::npos)
         text.erase(0, tagEnd + 2);
      if (const std::size_t at = text.find(token, text.find("last read: '")); at != std::string::npos)
         text.replace(at, token.size(), shown(token));
      throw BadInput(source_ + ": " + text);
   }

private:
   void put(Json value)
   {
      if (!isInArray_)
         throw BadInput(source_ + ": not an array but " + value.type_name());
      if (open_.empty())
         place_ = &element_;
      else if (open_.back()->is_array())
         place_ = &open_.back()->emplace_back();
      *place_ = std::move(value);
   }

   bool add(Json value)
   {
      put(std::move(value));
      if (open_.empty())
         use_(element_);
      return true;
   }

   bool open(Json container)
   {
      constexpr std::size_t deepest = 100; // copying and printing a value recurse
      if (open_.size() + 1 == deepest)
         throw BadInput(source_ + ": nested more than " + std::to_string(deepest) + " deep");
      put(std::move(container));
      open_.push_back(place_);
      return true;
   }

   bool close()
   {
      open_.pop_back();
      if (open_.empty())
         use_(element_);
      return true;
   }

   const std::string& source_;
   const UseElement& use_;
   bool isInArray_ = false;
   Json element_;
   Json* place_ = nullptr;   ///< where the next value goes, unless that is the end of an array
   std::vector<Json*> open_; ///< within the array; a container does not move while one inside it is open
};

} // namespace

void forEachElement(const std::string& source, std::istream& in, const UseElement& use)
{
   Bytes bytes(source, in);
   while (!bytes.areAllTaken() && std::strchr(" \t\r\n", bytes.next()) != nullptr)
      bytes.take();
   if (bytes.areAllTaken())
      return;
   Builder builder(source, use);
   Json::sax_parse(Bytes::Iterator(&bytes), Bytes::Iterator(), &builder);
}

void throwBadField(const std::string& name, const Json& value, const std::string& what)
{
   std::string text = value.dump(-1, ' ', true); // ASCII only, so that it can be cut anywhere
   if (text.size() > mostShown)
      text.replace(mostShown, std::string::npos, "...");
   throw BadObject(name + ": " + text + " is not " + what);
}

} // namespace NexthopRows
