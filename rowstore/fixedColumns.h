// Fixed-width columns of BaseRow: writing one value, reading an Ethernet address, blanking a row. Included by
// rowstore/baseRow.h, which documents the members.
#pragma once

#include "rowstore/baseRow.h"

namespace Zorva {

template <FixedColumnType T>
inline void BaseRow::setColumn(len_t offset, const T& value, len_t fdLen)
{
   if (fdLen == 0) [[unlikely]]
      Internal::contractViolated("fdLen != 0", {__LINE__, __PRETTY_FUNCTION__});
   const T kept = value; // it may lie in the bytes that the private copy gives up
   ensurePrivate();
   requireWritable();
   Internal::store<T>(checkedBytesOfBuffer(offset, sizeof(T)), kept);
}

template <std::same_as<EthAddr> T>
inline void BaseRow::getColumn(len_t offset, T& out) const
{
   if (isNull())
      setToNull<T>(out);
   else
      out = Internal::load<T>(checkedBytesOfBuffer(offset, sizeof(T)));
}

inline bool BaseRow::clear(len_t fdLen)
{
   requireBuffer();
   if (std::size_t{rowOffset_} + fdLen > rowBuf_->length()) {
      Internal::raiseDebugAssertion("setting fixed data length forBaseRow longer than buffer size",
                                    Internal::clearLocation);
      return false;
   }
   requireWritable();
   checkedBytesOfBuffer(Internal::rowLengthOffset, sizeof fdLen); // written even if fewer bytes are cleared
   if (mayWriteInPlace())
      std::memset(header(), 0, fdLen);
   else
      rowBuf_ = RowBufHandle::zeroed(rowBuf_->length());
   rowLengthIs(fdLen);
   return true;
}

} // namespace Zorva
