#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "orvane/Storage/OVStorageChunk.h"

namespace orvane {

/// One entry of the index: where the item lies and, when known, the checksum
/// of its bytes (itemChecksum). Entries of archives written without checksums
/// have none.
struct ChunkEntry {
  OVStorageChunk chunk;
  std::optional<std::uint64_t> checksum;
};

/// The store's index: item identifier -> OVStorageChunk, as an open-addressing
/// hash table (linear probing, at most half full, deletion by backward shift).
/// Each slot is one 64-byte cache line holding the chunk, the identifier's
/// hash and, for identifiers of up to 32 bytes (digest texts), the identifier
/// itself; so a lookup costs one cache line. Longer identifiers are kept in a
/// buffer of their own. The items' checksums lie in an array beside the slots,
/// at the same positions, touched only when an item's bytes are. Not
/// thread-safe: the store guards it with its queue.
class ChunkIndex {
 public:
  ChunkIndex() = default;
  ChunkIndex(const ChunkIndex&) = delete;
  ChunkIndex& operator=(const ChunkIndex&) = delete;

  /// The chunk of an identifier, or nothing.
  std::optional<OVStorageChunk> find(std::string_view identifier) const noexcept;
  /// The chunk of an identifier with its checksum, or nothing.
  std::optional<ChunkEntry> findEntry(std::string_view identifier) const noexcept;
  /// Sets or replaces the chunk of an identifier, with the checksum of the
  /// item's bytes or none.
  void set(std::string_view identifier, const OVStorageChunk& chunk,
           std::optional<std::uint64_t> checksum = std::nullopt);
  /// Gives an existing entry its checksum; false when there is no entry.
  bool setChecksum(std::string_view identifier, std::uint64_t checksum) noexcept;
  /// Removes the identifier; false when it was not there.
  bool erase(std::string_view identifier) noexcept;
  void clear() noexcept;
  void reserve(std::size_t count);
  std::size_t size() const noexcept { return size_; }

  /// Calls fn(identifier, chunk) for every entry, in no particular order.
  template <class Fn>
  void forEach(Fn&& fn) const {
    for (const auto& slot : slots_) {
      if (slot.used()) fn(slot.identifier(), OVStorageChunk(slot.offset, slot.length));
    }
  }
  /// Calls fn(identifier, checksum) for every entry that has a checksum.
  template <class Fn>
  void forEachChecksum(Fn&& fn) const {
    for (std::size_t i = 0; i < slots_.size(); ++i) {
      if (slots_[i].used() && checks_[i].known) fn(slots_[i].identifier(), checks_[i].sum);
    }
  }

 private:
  struct alignas(64) Slot {
    static constexpr std::uint32_t kInline = 32;
    static constexpr std::uint32_t kFree = 0xFFFFFFFF;
    std::int64_t offset = 0;
    std::int64_t length = 0;
    std::uint32_t hash = 0;            // the high half of the identifier's hash
    std::uint32_t size = kFree;        // of the identifier; kFree for a free slot
    std::unique_ptr<char[]> longText;  // identifiers longer than kInline
    char inlineText[kInline];

    bool used() const noexcept { return size != kFree; }
    std::string_view identifier() const noexcept {
      return {size <= kInline ? inlineText : longText.get(), size};
    }
  };
  static_assert(sizeof(Slot) == 64, "one cache line per slot");

  static std::uint64_t hashOf(std::string_view identifier) noexcept;
  // The slot holding the identifier, or the free slot where it would go.
  std::size_t probe(std::string_view identifier, std::uint64_t hash) const noexcept;
  void grow(std::size_t slotCount);

  struct Check {
    std::uint64_t sum = 0;
    bool known = false;
  };

  std::vector<Slot> slots_;    // a power of two in size, or empty
  std::vector<Check> checks_;  // of the entry in the slot at the same position
  std::size_t size_ = 0;
};

}  // namespace orvane
