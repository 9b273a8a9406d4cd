// What the suites share: names, rows from literal bytes, whole rows compared with literal bytes, access to a row's
// protected side, and construction counts as values that a test can compare.
//
// Literal bytes are text: "34 00 01 00 | 00*48". A bar is ignored, *N repeats a byte, ?? matches any byte: the second
// byte of an array's header, three bits of which a store leaves as they were.
#pragma once

#include <gmock/gmock.h>

#include <fstream>
#include <numeric>

#include "rowtype/identity.h"
#include "rowtype/rendering.h"
#include "rowtype/typeId.h"
#include "tests/support/heap.h"
#include "tests/support/testRow.h"

namespace Test {

using Bytes = std::vector<unsigned char>;
using std::tuple; // facts that are compared, and printed, together

/// Whether the long share of the tests was asked for.
inline const bool isFull = std::getenv("ZORVA_TEST_FULL") != nullptr;

inline const std::string nullRow = "Zorva::ZoNullRow: null row";
inline const std::string readOnlyRow = "Zorva::ZoPermissionViolation: Attempting to modify read-only row";
inline const std::string noArrayOrder = "Zorva::ZoNotSupported: column less not supported for arrays";
inline const std::string wrongType = "Zorva::ZoBadCast: row type 2 does not match row type 1 "; // and its position

/// A row type, or the generic row, with its protected side open.
template <class Row>
class Exposed : public Row
{
public:
   using Row::Row;
   Exposed() = default;
   Exposed(const BaseRow& row) : Row(row) {}

   using Row::compactVariableData, Row::readOnly_, Row::rowBuf_, Row::rowOffset_, Row::subRow_;
   using Row::header, Row::makeFreeSpace, Row::readColumn, Row::slotAt, Row::updateFixElemArray, Row::updateVCT;
};

/// The bytes that the text lists, -1 for any.
inline std::vector<int> parseBytes(const std::string& text)
{
   std::vector<int> bytes;
   std::istringstream tokens(text);
   for (std::string token; tokens >> token;) {
      const std::size_t star = token.find('*'), count = star < token.size() ? std::stoul(token.substr(star + 1)) : 1;
      if (token != "|")
         bytes.insert(bytes.end(), count, token[0] == '?' ? -1 : std::stoi(token, nullptr, 16));
   }
   return bytes;
}

inline Bytes bytesOf(const std::string& text)
{
   const std::vector<int> bytes = parseBytes(text);
   return {bytes.begin(), bytes.end()};
}

/// A generic row over a buffer of exactly these bytes, of which nothing is checked.
inline Exposed<BaseRow> rowOf(const std::string& text)
{
   const Bytes bytes = bytesOf(text);
   Exposed<BaseRow> row(static_cast<len_t>(bytes.size()));
   std::ranges::copy(bytes, row.header());
   return row;
}

/// Whether the row is exactly these bytes. The message names the first offset that differs.
inline testing::AssertionResult isBytes(const BaseRow& row, const std::string& text)
{
   const std::vector<int> expected = parseBytes(text);
   const auto actual = row.bytes();
   const auto differs = std::ranges::mismatch(actual, expected, [](int a, int b) { return b < 0 || a == b; });
   const auto at = differs.in1 - actual.begin();
   if (differs.in1 == actual.end() && differs.in2 == expected.end())
      return testing::AssertionSuccess();
   return testing::AssertionFailure() << actual.size() << " bytes for " << expected.size() << ", from offset " << at
                                      << ": " << testing::PrintToString(actual.subspan(static_cast<std::size_t>(at)));
}

inline Bytes snapshot(const BaseRow& row) { return {row.bytes().begin(), row.bytes().end()}; }

/// default, length, copy, move, copy assignment, move assignment: what the call adds to this thread's counters.
using Counts = std::array<std::uint64_t, 6>;

inline Counts countsOf(const std::function<void()>& call)
{
   const auto before = std::bit_cast<Counts>(BaseRow::baseRowCounters);
   call();
   auto counts = std::bit_cast<Counts>(BaseRow::baseRowCounters);
   std::ranges::transform(counts, before, counts.begin(), std::minus<>());
   return counts;
}

/// n numbers: 1, 2, ...
inline std::vector<std::uint32_t> upTo(std::size_t n, std::uint32_t first = 1)
{
   std::vector<std::uint32_t> values(n);
   std::iota(values.begin(), values.end(), first);
   return values;
}

/// The lines of a file that are no comments. Throws when there are none.
inline std::vector<std::string> linesOf(const std::string& path)
{
   std::ifstream file(path);
   std::vector<std::string> lines;
   for (std::string line; std::getline(file, line);)
      if (line[0] != '#')
         lines.push_back(line);
   return !lines.empty() ? lines : throw std::runtime_error(path);
}

} // namespace Test
