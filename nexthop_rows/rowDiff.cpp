#include "nexthop_rows/rowDiff.h"

#include <algorithm>
#include <span>

namespace NexthopRows {

namespace {

using Values = std::span<const std::uint32_t>;

std::string listText(Values values)
{
   std::string text = "[";
   for (const std::uint32_t value : values)
      text.append(text.size() == 1 ? "" : ",") += std::to_string(value);
   return text + ']';
}

/// Both parts begin at place `at`.
std::string partText(std::string_view name, std::size_t at, Values before, Values after)
{
   const std::size_t length = std::max(before.size(), after.size());
   std::string text = std::string(name) + '[' + std::to_string(at);
   if (length > 1)
      text += ".." + std::to_string(at + length - 1);
   if (before.size() == 1 && after.size() == 1)
      return text + "] " + std::to_string(before[0]) + " -> " + std::to_string(after[0]);
   return text + "] " + listText(before) + " -> " + listText(after);
}

} // namespace

std::string arrayChangeText(std::string_view name, const std::vector<std::uint32_t>& before,
                            const std::vector<std::uint32_t>& after)
{
   const auto begin = static_cast<std::size_t>(std::ranges::mismatch(before, after).in1 - before.begin());
   if (before.size() != after.size()) {
      const std::size_t most = std::min(before.size(), after.size()) - begin;
      std::size_t same = 0; // at the end
      while (same < most && before[before.size() - 1 - same] == after[after.size() - 1 - same])
         ++same;
      const Values removed = Values(before).subspan(begin, before.size() - same - begin);
      const Values inserted = Values(after).subspan(begin, after.size() - same - begin);
      return partText(name, begin, removed, inserted) + " (length " + std::to_string(before.size()) + " -> " +
             std::to_string(after.size()) + ')';
   }
   std::string text;
   for (std::size_t at = begin; at < before.size();) {
      std::size_t end = at;
      while (end < before.size() && before[end] != after[end])
         ++end;
      text.append(text.empty() ? "" : ", ") +=
         partText(name, at, Values(before).subspan(at, end - at), Values(after).subspan(at, end - at));
      at = end;
      while (at < before.size() && before[at] == after[at])
         ++at;
   }
   return text;
}

} // namespace NexthopRows
