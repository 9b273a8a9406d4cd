// The hash index of Table: rows by their keys, through the operations of index 0 of their type. Not for users.
//
// Open addressing with linear probing in a power of two of entries, always some of them free. The upper bits of a row's
// hash are its home entry, so growth reads the old entries and writes the new ones front to back and touches no row.
// Erasing shifts rows back into the gap: there are no tombstones, and between a row and its home no entry is free.
//
// The hash is the upper half of the key hash times a random odd number of the index's own: multiplicative universal
// hashing. Two key hashes that differ collide in its n upper bits with a probability of at most 2 to the power of
// 1 - n, whatever they are, so nobody who does not know the number can choose keys that collide. Nor do rows cluster
// that are inserted in the order in which another index iterates over them.
//
// A tag byte for each entry is 0 where the entry is free, and else holds seven bits of its hash. Probing compares eight
// tags at once, with hardly a branch that is hard to predict. The tags stay in the cache where the entries do not: an
// insertion misses the cache for no entry, a look-up for hardly any but the one it finds.
//
// Iteration goes around once, from one free entry, end(), back to it. So no run of occupied entries spans the end, and
// the rows that erasing moves, backwards from behind the gap, are those that an iteration has not reached yet.
#pragma once

#include <sys/mman.h>

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "platform/zorva/rowOps.h"
#include "rowstore/baseRow.h"

namespace Zorva::Internal {

class HashIndex
{
public:
   /// `ops` are those of index 0; `multiplier` is odd and unpredictable.
   HashIndex(std::shared_ptr<RowOpsBase> ops, std::uint64_t multiplier) : ops_(std::move(ops)), multiplier_(multiplier)
   {
      grow(4);
   }

   HashIndex(const HashIndex&) = delete;
   HashIndex& operator=(const HashIndex&) = delete;
   ~HashIndex() { clear(); }

   RowOpsBase& ops() const noexcept { return *ops_; }
   std::size_t size() const noexcept { return size_; }
   bool isFree(std::size_t at) const noexcept { return tags_[at] == freeTag; }
   const BaseRow& operator[](std::size_t at) const noexcept { return entries_[at]; }

   /// Throws ZoNullRow, and ZoOutOfRange for a row too short to hold a key.
   std::uint32_t hashOf(const BaseRow& row) const
   {
      row.requireBuffer();
      return static_cast<std::uint32_t>((ops_->keyHash(row) * multiplier_) >> 32);
   }

   /// The entry of the row with `row`'s key, or else the free entry where it would go.
   std::size_t probe(const BaseRow& row, std::uint32_t hash) const
   {
      __builtin_prefetch(&entries_[home(hash)]);
      for (std::size_t at = home(hash);; at = (at + tagsAtOnce) & mask()) {
         const std::uint64_t tags = tagsFrom(at);
         const std::uint64_t free = ~tags & highBits;
         const std::uint64_t others = tags ^ lowBits * tagOf(hash);
         // The bytes of `others` that are 0, and some behind them; those before the first free entry.
         std::uint64_t candidates = (others - lowBits) & ~others & highBits & (free - 1) & ~free;
         for (; candidates != 0; candidates &= candidates - 1) {
            const std::size_t candidate = entryOf(at, candidates);
            if (entries_[candidate].hash() != hash)
               continue;
            entries_[candidate].prefetchRow();
            if (ops_->keyEquals(entries_[candidate], row))
               return candidate;
         }
         if (free != 0)
            return entryOf(at, free);
      }
   }

   /// Inserts a row into the free entry `at` that probing for it gave, or elsewhere if the index must grow. Throws as
   /// reserve, with nothing changed.
   void insert(std::size_t at, const BaseRow& row, std::uint32_t hash)
   {
      if (size_ == rowsThatFit(bits_)) {
         grow(bits_ + 1);
         at = freeFrom(home(hash));
      }
      std::construct_at(&entries_[at], row, hash);
      tagIs(at, tagOf(hash));
      ++size_;
      if (at == end_)
         end_ = freeFrom(next(at));
   }

   /// Replaces the row in an entry by one with the same key.
   void replace(std::size_t at, const BaseRow& row) noexcept { static_cast<BaseRow&>(entries_[at]) = row; }

   /// Frees the entry at `gap`. Rows behind it, up to the next free entry, move up as far as their homes allow.
   void remove(std::size_t gap) noexcept
   {
      std::destroy_at(&entries_[gap]);
      for (std::size_t at = next(gap); !isFree(at); at = next(at)) {
         const std::size_t fromHome = (at - home(entries_[at].hash())) & mask();
         const std::size_t fromGap = (at - gap) & mask();
         if (fromHome >= fromGap) {
            move(entries_[at], gap);
            tagIs(gap, tags_[at]);
            gap = at;
         }
      }
      tagIs(gap, freeTag);
      --size_;
   }

   void clear() noexcept
   {
      for (std::size_t at = 0; at < count(); ++at)
         if (!isFree(at))
            std::destroy_at(&entries_[at]);
      std::ranges::fill(tags_, freeTag);
      size_ = 0;
   }

   /// Throws std::bad_alloc, and std::length_error for more rows than there are hashes for.
   void reserve(std::size_t rows)
   {
      unsigned bits = bits_;
      while (bits <= hashBits && rowsThatFit(bits) < rows)
         ++bits;
      if (bits != bits_)
         grow(bits);
   }

   /// Where iterations begin and end: a free entry, the same until a row is inserted or the index grows.
   std::size_t end() const noexcept { return end_; }

   /// The next entry with a row behind `at`, end() when an iteration has reached the last one.
   std::size_t after(std::size_t at) const noexcept
   {
      do
         at = next(at);
      while (isFree(at) && at != end_);
      return at;
   }

private:
   /// One entry with a row: the row and 32 bits of its key hash, which lie in the row object's padding, so an entry is
   /// as large as a row.
   class Entry final : public BaseRow
   {
   public:
      /// Shares the buffer of `row` as any copy of a row does.
      Entry(const BaseRow& row, std::uint32_t hash) noexcept : BaseRow(row), hash_(hash) {}

      /// Takes the row out of an entry that is about to go. No construction is counted: the row only moves.
      Entry(Entry&& from) noexcept : BaseRow(std::move(from.rowBuf_), from), hash_(from.hash_) {}

      std::uint32_t hash() const noexcept { return hash_; }

      /// Prefetches the row's memory, in parallel with other loads. The two blocks of a row are allocated together,
      /// so its bytes mostly lie within a cache line of the block that names them; a wrong guess costs nothing.
      void prefetchRow() const noexcept
      {
         constexpr std::size_t cacheLine = 64;
         const auto* const block = reinterpret_cast<const char*>(rowBuf_.get());
         __builtin_prefetch(block);
         __builtin_prefetch(block + cacheLine);
      }

   private:
      std::uint32_t hash_;
   };
   static_assert(sizeof(Entry) == sizeof(BaseRow));

   struct FreeMemory
   {
      void operator()(Entry* memory) const noexcept { ::operator delete(memory); }
   };

   /// Memory for entries, of which those with a row are objects: a free one is not touched before a row comes, as the
   /// first touch of a page is what costs most of filling a large index.
   using Entries = std::unique_ptr<Entry[], FreeMemory>;

   /// Asks the kernel for huge pages: a large index is hit at random, and page faults and address translation took a
   /// third of the time of filling one. Only a hint.
   static void adviseHugePages(void* memory, std::size_t size) noexcept
   {
      constexpr std::size_t hugePage = std::size_t{2} << 20;
      const std::size_t skipped = -reinterpret_cast<std::uintptr_t>(memory) % hugePage;
      if (skipped < size)
         madvise(static_cast<char*>(memory) + skipped, (size - skipped) / hugePage * hugePage, MADV_HUGEPAGE);
   }

   /// Makes it 2 to the power of `bits` entries.
   void grow(unsigned bits)
   {
      if (bits > hashBits)
         throw std::length_error("a table holds at most " + std::to_string(rowsThatFit(hashBits)) + " rows");
      std::vector<unsigned char> tags((std::size_t{1} << bits) + tagsAtOnce, freeTag);
      const std::size_t size = sizeof(Entry) << bits;
      Entries old(static_cast<Entry*>(::operator new(size)));
      adviseHugePages(old.get(), size);
      entries_.swap(old);
      tags_.swap(tags);
      const std::size_t oldCount = old ? count() : 0;
      bits_ = bits;
      for (std::size_t from = 0; from < oldCount; ++from) {
         if (tags[from] == freeTag)
            continue;
         const std::size_t at = freeFrom(home(old[from].hash()));
         move(old[from], at);
         tagIs(at, tags[from]);
      }
      end_ = freeFrom(0);
   }

   /// Moves a row to the free entry `to`; where it was, there is no object any more.
   void move(Entry& row, std::size_t to) noexcept
   {
      std::construct_at(&entries_[to], std::move(row));
      std::destroy_at(&row);
   }

   std::size_t home(std::uint32_t hash) const noexcept { return hash >> (hashBits - bits_); }
   std::size_t count() const noexcept { return std::size_t{1} << bits_; }
   std::size_t mask() const noexcept { return count() - 1; }
   std::size_t next(std::size_t at) const noexcept { return (at + 1) & mask(); }

   /// The first free entry from `at` on.
   std::size_t freeFrom(std::size_t at) const noexcept
   {
      std::uint64_t free;
      while ((free = ~tagsFrom(at) & highBits) == 0)
         at = (at + tagsAtOnce) & mask();
      return entryOf(at, free);
   }

   std::uint64_t tagsFrom(std::size_t at) const noexcept
   {
      std::uint64_t tags;
      std::memcpy(&tags, &tags_[at], sizeof tags);
      return tags;
   }

   /// The entry that the lowest bit of `marks` marks, a bit in the byte of each entry from `at` on.
   std::size_t entryOf(std::size_t at, std::uint64_t marks) const noexcept
   {
      return (at + static_cast<std::size_t>(std::countr_zero(marks)) / 8) & mask();
   }

   void tagIs(std::size_t at, unsigned char tag) noexcept
   {
      tags_[at] = tag;
      if (at < tagsAtOnce)
         tags_[count() + at] = tag;
   }

   static unsigned char tagOf(std::uint32_t hash) noexcept { return static_cast<unsigned char>(hash | 0x80); }

   /// Four fifths of the entries: beyond, the probes of keys that are not there get long.
   static constexpr std::size_t rowsThatFit(unsigned bits) noexcept { return (std::size_t{1} << bits) / 5 * 4; }

   static constexpr unsigned hashBits = 32;
   static constexpr unsigned char freeTag = 0;
   static constexpr std::uint64_t lowBits = 0x0101010101010101;
   static constexpr std::uint64_t highBits = 0x8080808080808080;
   static constexpr std::size_t tagsAtOnce = sizeof(std::uint64_t);

   std::shared_ptr<RowOpsBase> ops_;
   std::uint64_t multiplier_;
   unsigned bits_ = 0; ///< the number of entries is 2 to the power of it
   Entries entries_;
   std::vector<unsigned char> tags_; ///< of the entries, and once more of the first of them
   std::size_t size_ = 0;
   std::size_t end_ = 0;
};

} // namespace Zorva::Internal
