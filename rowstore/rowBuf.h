// The row buffer and the handle through which rows own it together.
//
// A ZoRowBuf owns one block of the C heap. It lives in a block of its own beside the owner count, and only handles
// hold it: the last handle that goes frees both. A failed construction or growth leaves everything as it was.
//
// Threads: handles to one buffer may be copied and dropped from different threads; one handle object is used by one
// thread at a time. A holder that finds itself the sole owner (isSoleOwner) may write: the count is read with
// acquire order and dropped with release order, so every read that a former owner made happens before that write.
// std::shared_ptr cannot say this: its use_count() is a relaxed load.
#pragma once

#include <sys/single_threaded.h>

#include <atomic>
#include <cstdlib>
#include <utility>

#include "platform/halvo/memoryResourceException.h"
#include "rowstore/bytes.h"

namespace Zorva {

/// A block of row bytes from the C heap. Not copyable.
class ZORVA_EXPORT ZoRowBuf
{
public:
   /// `length` zero bytes. Throws Halvo::MemoryResourceException "calloc() failed requested length: N". A length of
   /// 0 may hold a null pointer.
   explicit ZoRowBuf(len_t length) : data_(static_cast<unsigned char*>(std::calloc(length, 1))), length_(length)
   {
      if (data_ == nullptr && length != 0) [[unlikely]]
         throwAllocationFailed("calloc() failed", length);
   }

   /// A copy of the `length` bytes at `bytes`. Throws Halvo::MemoryResourceException "malloc() failed requested
   /// length: N".
   ZoRowBuf(const unsigned char* bytes, len_t length)
      : data_(static_cast<unsigned char*>(std::malloc(length))), length_(length)
   {
      if (length == 0)
         return;
      if (data_ == nullptr) [[unlikely]]
         throwAllocationFailed("malloc() failed", length);
      std::memcpy(data_, bytes, length);
   }

   ZoRowBuf(const ZoRowBuf&) = delete;
   ZoRowBuf& operator=(const ZoRowBuf&) = delete;
   ~ZoRowBuf() { std::free(data_); }

   unsigned char* data() const noexcept { return data_; }

   /// Bytes allocated.
   len_t length() const noexcept { return length_; }

   /// Resizes the block to exactly `newLength` bytes, which keep their content as far as they reach; it may move, and
   /// added bytes are not cleared. Throws Halvo::MemoryResourceException and keeps the old block.
   void resize(len_t newLength)
   {
      void* const moved = std::realloc(data_, newLength);
      if (moved == nullptr) [[unlikely]]
         Halvo::MemoryResourceException::throwException(
            "realloc() failed. previous length: " + std::to_string(length_) +
            " requested new length: " + std::to_string(newLength));
      data_ = static_cast<unsigned char*>(moved);
      length_ = newLength;
   }

private:
   [[noreturn]] [[gnu::noinline]] static void throwAllocationFailed(const char* what, len_t length)
   {
      Halvo::MemoryResourceException::throwException(std::string(what) +
                                                     " requested length: " + std::to_string(length));
   }

   unsigned char* data_;
   len_t length_;
};

/// Shared ownership of a ZoRowBuf: one pointer, empty for a null row. Copying costs one count.
class ZORVA_EXPORT RowBufHandle
{
public:
   RowBufHandle() noexcept = default;

   /// A handle to a new buffer of `length` zero bytes. Two allocations: the count's block (std::bad_alloc), then the
   /// data (as ZoRowBuf; the block is released again).
   static RowBufHandle zeroed(len_t length) { return RowBufHandle(new Block{.buffer = ZoRowBuf(length)}); }

   /// A handle to a new buffer with a copy of the `length` bytes at `bytes`. Fails as zeroed().
   static RowBufHandle copyOf(const unsigned char* bytes, len_t length)
   {
      return RowBufHandle(new Block{.buffer = ZoRowBuf(bytes, length)});
   }

   RowBufHandle(const RowBufHandle& other) noexcept : block_(other.block_) { addOwner(); }
   RowBufHandle(RowBufHandle&& other) noexcept : block_(std::exchange(other.block_, nullptr)) {}

   RowBufHandle& operator=(const RowBufHandle& other) noexcept
   {
      if (block_ != other.block_) {
         other.addOwner();
         dropOwner();
         block_ = other.block_;
      }
      return *this;
   }

   RowBufHandle& operator=(RowBufHandle&& other) noexcept
   {
      if (this != &other) {
         dropOwner();
         block_ = std::exchange(other.block_, nullptr);
      }
      return *this;
   }

   ~RowBufHandle() { dropOwner(); }

   ZoRowBuf* get() const noexcept { return block_ == nullptr ? nullptr : &block_->buffer; }

   /// The buffer of a handle that is not empty.
   ZoRowBuf* operator->() const noexcept { return &block_->buffer; }

   explicit operator bool() const noexcept { return block_ != nullptr; }

   /// How many handles hold the buffer, 0 for an empty one.
   long use_count() const noexcept { return block_ == nullptr ? 0 : block_->owners.load(std::memory_order_acquire); }

   /// Whether this is the only handle of a buffer. True makes writing safe: whatever former owners read happened
   /// before. No new owner can appear but through this handle.
   bool isSoleOwner() const noexcept { return use_count() == 1; }

private:
   struct Block
   {
      std::atomic<long> owners{1};
      ZoRowBuf buffer;
   };

   explicit RowBufHandle(Block* block) noexcept : block_(block) {}

   // A process without a second thread counts with plain loads and stores: no locked instruction.
   void addOwner() const noexcept
   {
      if (block_ == nullptr)
         return;
      if (__libc_single_threaded) [[likely]]
         block_->owners.store(block_->owners.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
      else
         block_->owners.fetch_add(1, std::memory_order_relaxed);
   }

   void dropOwner() noexcept
   {
      Block* const block = block_;
      if (block != nullptr && wasLastOwner(block->owners))
         delete block;
   }

   static bool wasLastOwner(std::atomic<long>& owners) noexcept
   {
      const long before = owners.load(std::memory_order_acquire);
      if (before == 1) // nobody else holds it, so nobody can add an owner meanwhile
         return true;
      if (__libc_single_threaded) [[likely]] {
         owners.store(before - 1, std::memory_order_relaxed);
         return false;
      }
      return owners.fetch_sub(1, std::memory_order_acq_rel) == 1;
   }

   Block* block_ = nullptr;
};

} // namespace Zorva
