#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "orvane/Storage/OVStorageChunk.h"

namespace orvane {

/// The store's index: item identifier -> OVStorageChunk, as an open-addressing
/// hash table (linear probing, at most half full, deletion by backward shift).
/// A lookup touches one slot and one entry; an entry keeps its chunk and, for
/// identifiers of up to 36 bytes (digest and UUID texts), its identifier in one
/// cache line. Entries never move while they are in the index, so their chunks
/// can be handed to an archiver by address. Not thread-safe: the store guards
/// it with its queue.
class ChunkIndex {
 public:
  class Entry {
   public:
    Entry(std::string_view identifier, const OVStorageChunk& chunk);
    std::string_view identifier() const noexcept {
      return length_ <= kInline ? std::string_view(inline_, length_) : std::string_view(long_);
    }
    OVStorageChunk chunk;

   private:
    static constexpr std::uint32_t kInline = 36;
    std::uint32_t length_;
    char inline_[kInline];
    std::string long_;
  };

  ChunkIndex() = default;
  ChunkIndex(const ChunkIndex&) = delete;
  ChunkIndex& operator=(const ChunkIndex&) = delete;

  /// The chunk of an identifier, or null.
  OVStorageChunk* find(std::string_view identifier) noexcept;
  const OVStorageChunk* find(std::string_view identifier) const noexcept {
    return const_cast<ChunkIndex*>(this)->find(identifier);
  }
  /// Sets or replaces the chunk of an identifier.
  void set(std::string_view identifier, const OVStorageChunk& chunk);
  /// Removes the identifier; false when it was not there.
  bool erase(std::string_view identifier) noexcept;
  void clear() noexcept;
  void reserve(std::size_t count);
  std::size_t size() const noexcept { return size_; }

  /// Calls fn(const Entry&) for every entry, in no particular order.
  template <class Fn>
  void forEach(Fn&& fn) const {
    for (const auto& slot : slots_) {
      if (slot.entry) fn(*slot.entry);
    }
  }

 private:
  struct Slot {
    std::uint64_t hash = 0;
    std::unique_ptr<Entry> entry;  // null: the slot is free
  };

  static std::uint64_t hashOf(std::string_view identifier) noexcept;
  // The slot holding the identifier, or the free slot where it would go.
  std::size_t probe(std::string_view identifier, std::uint64_t hash) const noexcept;
  void grow(std::size_t slotCount);

  std::vector<Slot> slots_;  // a power of two in size, or empty
  std::size_t size_ = 0;
};

}  // namespace orvane
