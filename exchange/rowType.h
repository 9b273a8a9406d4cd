// What publishers and followers know of a row type: enough to keep, check and compare its rows without its class, so
// that they are compiled once for all types.
#pragma once

#include <span>
#include <string>

#include "rowtype/verify.h"

namespace Zorva::Exchange {

/// A row type, described. Constants of the type and functions of its class; owns but the two texts.
struct RowType
{
   std::string name;
   std::string signature;
   std::span<const Column> columns;
   Column key; ///< a number
   len_t fixedLength;
   len_t (*id)(); ///< in this process
   RowCheck (*verify)(std::span<const unsigned char> bytes);
   BaseRow (*fromBytes)(std::span<const unsigned char> bytes);
};

/// The description of Row, whose key column must be a number.
template <class Row>
RowType rowTypeOf()
{
   constexpr Column key = Row::columns_.keyColumn();
   static_assert(key.type == Type::u64 || key.type == Type::u32 || key.type == Type::u16 || key.type == Type::i32);
   return {.name = Row::rowTypeName(),
           .signature = Row::zoTypeSignature(),
           .columns = Row::columns_.columns,
           .key = key,
           .fixedLength = Row::baseRowLength_,
           .id = &Row::protRowType,
           .verify = [](std::span<const unsigned char> bytes) { return verifyRow<Row>(bytes); },
           .fromBytes = [](std::span<const unsigned char> bytes) -> BaseRow { return Row::fromBytes(bytes); }};
}

} // namespace Zorva::Exchange
