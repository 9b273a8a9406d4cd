#include "bench/jsonSum.h"

#include <nlohmann/json.hpp>

namespace Bench {

namespace {

/// "02:00:..." in the byte order of bench/support.h's number().
std::uint64_t macNumber(const std::string& text)
{
   std::uint64_t value = 0;
   for (std::size_t i = 0; i < 6; ++i)
      value |= std::stoull(text.substr(3 * i, 2), nullptr, 16) << 8 * i;
   return value;
}

std::uint64_t number(const nlohmann::json& value)
{
   if (value.is_boolean())
      return value.get<bool>();
   if (!value.is_string())
      return value.get<std::uint64_t>();
   const auto text = value.get<std::string>();
   return text.find(':') == std::string::npos ? std::stoull(text) : macNumber(text);
}

} // namespace

std::uint64_t jsonSum(const std::string& json)
{
   std::uint64_t sum = 0;
   for (const auto& value : nlohmann::json::parse(json))
      sum += number(value);
   return sum;
}

} // namespace Bench
