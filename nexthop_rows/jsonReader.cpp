#include "nexthop_rows/jsonReader.h"

namespace NexthopRows {

namespace {

/// Builds the document from the parser's events. The parser's own builder lets the last of equal keys win.
class Builder : public nlohmann::json_sax<Json>
{
public:
   explicit Builder(const std::string& source) : source_(source) {}

   Json document;

   bool null() override { return add(nullptr); }
   bool boolean(bool value) override { return add(value); }
   bool number_integer(number_integer_t value) override { return add(value); }
   bool number_unsigned(number_unsigned_t value) override { return add(value); }
   bool number_float(number_float_t value, const string_t&) override { return add(value); }
   bool string(string_t& value) override { return add(std::move(value)); }
   bool binary(binary_t& value) override { return add(std::move(value)); }
   bool start_object(std::size_t) override { return open(Json::object()); }
   bool start_array(std::size_t) override { return open(Json::array()); }
   bool end_object() override { return close(); }
   bool end_array() override { return close(); }

   bool key(string_t& name) override
   {
      auto [place, isNew] = open_.back()->emplace(name, nullptr);
      place_ = isNew ? &*place : &(*open_.back())[repeated(name)];
      return true;
   }

   bool parse_error(std::size_t, const std::string&, const Json::exception& error) override
   {
      const std::string text = error.what(); // "[json.exception....] parse error at line ..."
      const std::size_t tagEnd = text.find("] ");
      throw BadInput(source_ + ": " + (tagEnd == std::string::npos ? text : text.substr(tagEnd + 2)));
   }

private:
   bool add(Json value)
   {
      if (!open_.empty() && open_.back()->is_array())
         place_ = &open_.back()->emplace_back();
      *place_ = std::move(value);
      return true;
   }

   bool open(Json container)
   {
      constexpr std::size_t deepest = 100; // copying and printing a value recurse
      if (open_.size() == deepest)
         throw BadInput(source_ + ": nested more than " + std::to_string(deepest) + " deep");
      add(std::move(container));
      open_.push_back(place_);
      return true;
   }

   bool close()
   {
      open_.pop_back();
      return true;
   }

   const std::string& source_;
   Json* place_ = &document; ///< where the next value goes, unless that is the end of an array
   std::vector<Json*> open_; ///< a container does not move while one inside it is open
};

} // namespace

Json parseArray(const std::string& source, const std::string& text)
{
   if (text.find_first_not_of(" \t\r\n") == std::string::npos)
      return Json::array();
   Builder builder(source);
   Json::sax_parse(text, &builder);
   if (!builder.document.is_array())
      throw BadInput(source + ": not an array but " + builder.document.type_name());
   return std::move(builder.document);
}

void throwBadField(const std::string& name, const Json& value, const std::string& what)
{
   constexpr std::size_t shownLength = 60;
   std::string shown = value.dump(-1, ' ', true); // ASCII only, so that it can be cut anywhere
   if (shown.size() > shownLength)
      shown.replace(shownLength, std::string::npos, "...");
   throw BadObject(name + ": " + shown + " is not " + what);
}

} // namespace NexthopRows
