// Canonical bytes: a row's bytes as they are saved to files and sent to other processes. What means nothing outside the
// process that made the row is 0 in them: the type ids, nested rows' too, and the upper four bits of array headers. Two
// rows made by the same steps have the same canonical bytes in every process.
#pragma once

#include <span>
#include <vector>

#include "rowstore/nestingDepth.h"
#include "rowtype/columnTable.h"

namespace Zorva {

/// Makes `bytes`, a copy of a row's bytes whose columns are `columns`, canonical in place. Throws ZoOutOfRange, with
/// some of it done, when a slot names bytes that are not there or rows are nested too deep; no other bytes are touched.
inline void makeCanonical(std::span<unsigned char> bytes, std::span<const Column> columns)
{
   Internal::checkInside(0, columns.back().end(), bytes.size());
   Internal::store<len_t>(&bytes[Internal::rowTypeOffset], 0);
   for (const Column& column : columns) {
      if (!column.isVariable())
         continue;
      const auto slot = Internal::load<VColType>(&bytes[column.offset]);
      if (slot.isEmpty())
         continue;
      Internal::checkInside(slot.dataOffset(), slot.dataLength(), bytes.size());
      const std::span<unsigned char> data = bytes.subspan(slot.dataOffset(), slot.dataLength());
      if (column.type == Type::row) {
         const Internal::NestingLevel level;
         makeCanonical(data, column.nested->columns);
      } else {
         Internal::checkInside(0, Internal::arrayHeaderLength, data.size());
         data[1] &= ArrayReference<std::uint32_t>::countMask >> 8;
      }
   }
}

/// The canonical bytes of a row of type Row. Throws ZoNullRow, and ZoOutOfRange as makeCanonical.
template <class Row>
std::vector<unsigned char> canonicalBytes(const BaseRow& row)
{
   const auto held = row.bytes();
   std::vector<unsigned char> bytes(held.begin(), held.end());
   makeCanonical(bytes, Row::columns_.columns);
   return bytes;
}

} // namespace Zorva
