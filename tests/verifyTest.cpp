// Bytes from outside: every fault found, by name and place; and the rows made of sound ones.
#include "tests/support/hostile.h"

using namespace Test;
using Zorva::RowFault, Zorva::RowCheck;

Bytes bytesOf(const std::string& text)
{
   const std::vector<int> bytes = parseBytes(text);
   return {bytes.begin(), bytes.end()};
}

const std::string hopBytes = "34 00 09 00 | 00*48 | ";
const std::string groupBytes = "2b 00 09 00 | 00*25 | 25 00 06 80 | 00*4 | 01 f0 07 00*3 | ";

// A parent of the two rows, and a dead byte at its end.
std::string parent(const std::string& slots, const std::string& hop, const std::string& group)
{
   return "95 00 07 00 | 00*25 | " + slots + hop + group + "ff";
}
const std::string slots = "00*16 | 35 00 34 00 | 69 00 2b 00 | ";

TEST(Verify, EveryFaultHasANameAndAPlace)
{
   const std::tuple<RowFault, std::size_t, std::string> cases[] = {
      {RowFault::none, 0, parent(slots, hopBytes, groupBytes)},
      {RowFault::none, 0, parent("ff ff 00 80 | 00*12 | 35 00 34 80 | 69 00 2b 80 | ", hopBytes, groupBytes)},
      {RowFault::noHeader, 0, "03 00 00"},
      {RowFault::tooLong, 0, "ff ff 00 00 | 00*65532"},
      {RowFault::lengthBelowFixed, 0, "34 00 00 00 | 00*49"},
      {RowFault::lengthBeyondBytes, 0, "36 00 00 00 | 00*49"},
      {RowFault::bytesBeyondLength, 0, "35 00 00 00 | 00*50"},
      {RowFault::badBool, 4, "35 00 00 00 | 02 | 00*48"},
      {RowFault::slotBeforeData, 29, "35 00 00 00 | 00*25 | 34 00 01 80 | 00*20"},
      {RowFault::slotBeyondRow, 33, "35 00 00 00 | 00*29 | ff ff ff ff | 00*16"},
      {RowFault::slotsOverlap, 33, "3c 00 00 00 | 00*25 | 36 00 06 80 | 35 00 02 80 | 00*16 | 00 01 00*5"},
      {RowFault::slotsOverlap, 41, "3b 00 00 00 | 00*25 | 35 00 06 80 | 00*8 | 3a 00 01 80 | 00*8 | 01 00*5"},
      {RowFault::notArray, 29, "3b 00 00 00 | 00*25 | 35 00 06 00 | 00*20 | 01 00*5"},
      {RowFault::noArrayHeader, 29, "36 00 00 00 | 00*25 | 35 00 01 80 | 00*20 | 00"},
      {RowFault::countMismatch, 53, "3b 00 00 00 | 00*25 | 35 00 06 80 | 00*20 | 01 01 00*4"},
      {RowFault::badBool, 53 + 45, parent(slots, "34 00 09 00 | 00*41 | 02 | 00*6 | ", groupBytes)},
      {RowFault::slotBeyondRow, 105 + 29, parent(slots, hopBytes, "2b 00 09 00 | 00*25 | 25 00 07 80 | 00*10 | ")},
      {RowFault::nestedBeyondSlot, 53, parent(slots, "35 00 09 00 | 00*48 | ", groupBytes)},
      {RowFault::nestedBeyondSlot, 105, parent("00*16 | 35 00 34 00 | 69 00 03 00 | ", hopBytes, groupBytes)},
   };
   for (const auto& [fault, offset, row] : cases) {
      const auto bytes = bytesOf(row);
      const RowCheck check = Zorva::verifyRow<TestRow>(bytes);
      EXPECT_TRUE(bytes.size() > 65535 || failureOf([&] { useBytes<TestRow>(bytes); }) == "none");
      const std::string reason = std::string(text(fault)) + " at offset " + std::to_string(offset);
      EXPECT_EQ(check, (RowCheck{fault, offset})) << text(check.fault) << ' ' << check.offset << row;
      EXPECT_EQ(failureOf([&] { Zorva::adoptRow<TestRow>(bytes); }),
                check.ok() ? "none" : "Zorva::ZoBadCast: bytes are no Examples::PortRow: " + reason);
   }
   const auto hop = bytesOf(hopBytes);
   EXPECT_TRUE(Zorva::verifyRow<NexthopInfoRow>(hop).ok() && Zorva::verifyRow<NexthopInfoRow>(hop, len_t{9}).ok());
   EXPECT_EQ(Zorva::verifyRow<NexthopInfoRow>(hop, len_t{1}), (RowCheck{RowFault::otherType, 2}));
}

TEST(Verify, RowsMayBeNested16Deep)
{
   struct Recursive : Zorva::NestedType
   {
      Recursive() : NestedType{{&column_, 1}, 8, {}, {}, {}, {}, {}, {}} {}
      const Zorva::Column column_{"inner", Type::row, {}, this, 4};
   } static const type;
   for (const std::size_t depth : {16u, 17u}) {
      Bytes bytes; // each row a header and the slot of the next one
      for (std::size_t row = 0; row <= depth; ++row) {
         const auto behind = static_cast<unsigned char>(8 * (depth - row));
         bytes.insert(bytes.end(), {static_cast<unsigned char>(behind + 8), 0, 0, 0, 8, 0, behind, 0});
      }
      EXPECT_EQ(Zorva::checkRow({type.columns, bytes, 0, 0}, bytes.size()),
                depth == 16 ? RowCheck() : (RowCheck{RowFault::nestedTooDeep, 17 * sizeof(std::uint64_t)}));
   }
}

TEST(Verify, AdoptedRowsCarryThisProcessesTypeIds)
{
   const auto bytes = bytesOf(parent(slots, hopBytes, groupBytes));
   std::string adopted = parent(slots, "34 00 01 00 | 00*48 | ", std::string(groupBytes).replace(6, 2, "02"));
   EXPECT_TRUE(isBytes(Zorva::adoptRow<TestRow>(bytes), adopted.replace(6, 2, "03")));
   EXPECT_TRUE(isBytes(NexthopInfoRow::fromBytes(bytesOf(hopBytes)), "34 00 01 00 | 00*48"));
   EXPECT_EQ(EcmpMemberListRow::fromBytes(bytesOf(groupBytes)).memberToJsonArray(), "[7]");
   expectFailure("Zorva::ZoOutOfRange: row length 52 in the header of 53 bytes",
                 {[] { BaseRow::copyOf(bytesOf(hopBytes + "00")); }});
}
