#include "nexthop_rows/jsonReader.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <istream>
#include <nlohmann/json.hpp>
#include <utility>

#include "nexthop_rows/kernelObjects.h"

namespace NexthopRows {

namespace {

/// `ip` writes the bytes of names as they are. Those that the parser takes in no string, or not as they come, go
/// through it as code points from U+10FF00 on, which stand for nothing.
std::array<char, 4> disguised(char byte)
{
   const auto bits = static_cast<unsigned char>(byte);
   return {'\xf4', '\x8f', static_cast<char>(0xbc | bits >> 6), static_cast<char>(0x80 | (bits & 0x3f))};
}

bool needsDisguise(char byte) { return (byte < ' ' || byte > '~') && byte != '\n' && byte != '\t' && byte != '\r'; }

void undisguise(std::string& text)
{
   for (std::size_t at = 0; (at = text.find("\xf4\x8f", at)) != std::string::npos; ++at)
      if (static_cast<unsigned char>(text[at + 2]) >= 0xbc)
         text.replace(at, 4, 1, static_cast<char>((text[at + 2] & 3) << 6 | (text[at + 3] & 0x3f)));
}

/// The bytes of a stream, a piece at a time. The parser would take a NUL for the end and not see what follows.
class Bytes
{
public:
   Bytes(const std::string& source, std::istream& in) : source_(source), in_(in), piece_(1 << 16) {}

   /// Whether there are no more. Throws BadInput when the stream cannot be read, or a NUL comes next.
   bool areAllTaken() { return at_ == end_ && !readPiece(); }

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
   /// What comes next, of the piece or of a new one.
   [[gnu::noinline]] bool readPiece()
   {
      if (rest_ == pieceEnd_) {
         before_ += static_cast<std::size_t>(pieceEnd_ - piece_.data());
         in_.read(piece_.data(), static_cast<std::streamsize>(piece_.size()));
         if (in_.bad())
            throw BadInput(source_ + ": cannot be read");
         rest_ = piece_.data();
         pieceEnd_ = rest_ + in_.gcount();
         if (before_ == 0 && std::string_view(rest_, pieceEnd_).starts_with("\xef\xbb\xbf")) // a mark of UTF-8
            rest_ += 3;
         if (rest_ == pieceEnd_)
            return false;
      }
      at_ = rest_;
      end_ = rest_ = std::find_if(at_, pieceEnd_, needsDisguise);
      if (at_ != end_)
         return true;
      if (*at_ == '\0')
         throw BadInput(source_ + ": parse error: NUL at byte " +
                        std::to_string(before_ + static_cast<std::size_t>(at_ - piece_.data())));
      disguise_ = disguised(*rest_++);
      at_ = disguise_.data();
      end_ = at_ + disguise_.size();
      return true;
   }

   const std::string& source_;
   std::istream& in_;
   std::vector<char> piece_;
   std::size_t before_ = 0; ///< bytes before the piece
   const char* rest_ = piece_.data();
   const char* pieceEnd_ = rest_;
   std::array<char, 4> disguise_{}; ///< of the byte before the rest
   const char* at_ = rest_;         ///< bytes before the rest, or the disguise
   const char* end_ = rest_;
};

/// Notes down the elements of the array, one after the other, from the parser's events. The parser's own values take
/// several allocations each, and let the last of equal keys win.
class Builder final : public nlohmann::json_sax<nlohmann::json>
{
public:
   Builder(const std::string& source, const UseElement& use) : source_(source), use_(use) {}

   bool null() override { return add({JsonType::null}, "null"); }
   bool boolean(bool value) override { return add({.type = JsonType::boolean, .number = value}, "boolean"); }
   bool number_unsigned(number_unsigned_t value) override
   {
      return add({.type = JsonType::number, .number = value}, "number");
   }
   bool number_integer(number_integer_t value) override
   {
      return add({.type = JsonType::negative, .number = std::bit_cast<std::uint64_t>(value)}, "number");
   }
   bool number_float(number_float_t value, const string_t&) override
   {
      return add({.type = JsonType::fraction, .number = std::bit_cast<std::uint64_t>(value)}, "number");
   }
   bool string(string_t& value) override
   {
      undisguise(value);
      const std::size_t at = element_.text.size();
      element_.text += value;
      return add({.type = JsonType::string, .number = at, .length = value.size()}, "string");
   }
   bool binary(binary_t&) override { return false; } // not in texts
   bool start_object(std::size_t) override { return open(JsonType::object, "object"); }
   bool end_object() override { return close(); }
   bool end_array() override { return open_.empty() || close(); }

   bool start_array(std::size_t) override
   {
      return std::exchange(isInArray_, true) ? open(JsonType::array, "array") : true;
   }

   bool key(string_t& name) override
   {
      undisguise(name);
      keyAt_ = element_.text.size();
      keyLength_ = name.size();
      element_.text += name;
      return true;
   }

   bool parse_error(std::size_t, const std::string& token, const nlohmann::json::exception& error) override
   {
      std::string text = error.what(); // "[json.exception....] parse error at line ...: ... last read: 'token'"
      if (const std::size_t tagEnd = text.find("] "); tagEnd != std::string::npos)
         text.erase(0, tagEnd + 2);
      const std::size_t last = text.find("last read: '"); // none for a number that is too large
      if (const std::size_t at = text.find(token, last != std::string::npos ? last : 0); at != std::string::npos) {
         std::string bytes = token;
         undisguise(bytes);
         text.replace(at, token.size(), shown(bytes));
      }
      throw BadInput(source_ + ": " + text);
   }

private:
   void put(JsonElement::Value value, const char* type)
   {
      if (!isInArray_)
         throw BadInput(source_ + ": not an array but " + type);
      value.keyAt = keyAt_;
      value.keyLength = std::exchange(keyLength_, 0);
      element_.values.push_back(value);
   }

   bool add(const JsonElement::Value& value, const char* type)
   {
      put(value, type);
      return end();
   }

   bool open(JsonType type, const char* name)
   {
      constexpr std::size_t deepest = 100; // copying a value recurses
      if (open_.size() + 1 == deepest)
         throw BadInput(source_ + ": nested more than " + std::to_string(deepest) + " deep");
      put({type}, name);
      open_.push_back(element_.values.size() - 1);
      return true;
   }

   bool close()
   {
      element_.values[open_.back()].values = element_.values.size() - open_.back();
      open_.pop_back();
      return end();
   }

   /// A value is complete, perhaps the element with it.
   bool end()
   {
      if (!open_.empty())
         return true;
      use_(Json(element_));
      element_.values.clear();
      element_.text.clear();
      return true;
   }

   const std::string& source_;
   const UseElement& use_;
   bool isInArray_ = false;
   JsonElement element_;
   std::vector<std::size_t> open_; ///< objects and arrays, by their places in the element
   std::size_t keyAt_ = 0;         ///< of the value to come
   std::size_t keyLength_ = 0;
};

} // namespace

nlohmann::json Json::copy() const
{
   switch (type()) {
   case JsonType::null: return nullptr;
   case JsonType::boolean: return number() != 0;
   case JsonType::negative: return std::bit_cast<std::int64_t>(number());
   case JsonType::number: return number();
   case JsonType::fraction: return std::bit_cast<double>(number());
   case JsonType::string: return string();
   case JsonType::array: {
      auto array = nlohmann::json::array();
      forEach([&](std::string_view, const Json& inner) { array.push_back(inner.copy()); });
      return array;
   }
   case JsonType::object: break;
   }
   auto object = nlohmann::json::object();
   forEach([&](std::string_view key, const Json& inner) {
      const std::string name(key);
      object[object.contains(name) ? name + " (repeated)" : name] = inner.copy();
   });
   return object;
}

void forEachElement(const std::string& source, std::istream& in, const UseElement& use)
{
   Bytes bytes(source, in);
   while (!bytes.areAllTaken() && std::strchr(" \t\r\n", bytes.next()) != nullptr)
      bytes.take();
   if (bytes.areAllTaken())
      return;
   Builder builder(source, use);
   nlohmann::json::sax_parse(Bytes::Iterator(&bytes), Bytes::Iterator(), &builder);
}

void throwBadField(const std::string& name, const nlohmann::json& value, const std::string& what)
{
   std::string text = value.dump(-1, ' ', true, nlohmann::json::error_handler_t::replace); // ASCII: can be cut anywhere
   if (text.size() > mostShown)
      text.replace(mostShown, std::string::npos, "...");
   throw BadObject(name + ": " + text + " is not " + what);
}

void throwBadField(const std::string& name, const Json& value, const std::string& what)
{
   throwBadField(name, value.copy(), what);
}

} // namespace NexthopRows
