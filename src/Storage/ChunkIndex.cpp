#include "Storage/ChunkIndex.h"

#include <bit>
#include <cstring>
#include <functional>
#include <utility>

namespace orvane {

ChunkIndex::Entry::Entry(std::string_view identifier, const OVStorageChunk& chunk)
    : chunk(chunk), length_(static_cast<std::uint32_t>(identifier.size())) {
  if (identifier.size() <= kInline) {
    std::memcpy(inline_, identifier.data(), identifier.size());
  } else {
    length_ = kInline + 1;  // marks a long identifier, kept in long_
    long_.assign(identifier);
  }
}

std::uint64_t ChunkIndex::hashOf(std::string_view identifier) noexcept {
  return std::hash<std::string_view>{}(identifier);
}

std::size_t ChunkIndex::probe(std::string_view identifier, std::uint64_t hash) const noexcept {
  const std::size_t mask = slots_.size() - 1;
  for (std::size_t i = hash & mask;; i = (i + 1) & mask) {
    const Slot& slot = slots_[i];
    if (!slot.entry) return i;
    if (slot.hash == hash && slot.entry->identifier() == identifier) return i;
  }
}

OVStorageChunk* ChunkIndex::find(std::string_view identifier) noexcept {
  if (size_ == 0) return nullptr;
  Slot& slot = slots_[probe(identifier, hashOf(identifier))];
  return slot.entry ? &slot.entry->chunk : nullptr;
}

void ChunkIndex::grow(std::size_t slotCount) {
  std::vector<Slot> old = std::exchange(slots_, std::vector<Slot>(slotCount));
  const std::size_t mask = slotCount - 1;
  for (auto& slot : old) {
    if (!slot.entry) continue;
    std::size_t i = slot.hash & mask;
    while (slots_[i].entry) i = (i + 1) & mask;
    slots_[i] = std::move(slot);
  }
}

void ChunkIndex::reserve(std::size_t count) {
  // At most half of the slots are in use.
  const std::size_t wanted = std::bit_ceil(std::max<std::size_t>(16, 2 * count));
  if (wanted > slots_.size()) grow(wanted);
}

void ChunkIndex::set(std::string_view identifier, const OVStorageChunk& chunk) {
  reserve(size_ + 1);
  const std::uint64_t hash = hashOf(identifier);
  Slot& slot = slots_[probe(identifier, hash)];
  if (slot.entry) {
    slot.entry->chunk = chunk;
    return;
  }
  slot.hash = hash;
  slot.entry = std::make_unique<Entry>(identifier, chunk);
  ++size_;
}

bool ChunkIndex::erase(std::string_view identifier) noexcept {
  if (size_ == 0) return false;
  const std::size_t mask = slots_.size() - 1;
  std::size_t hole = probe(identifier, hashOf(identifier));
  if (!slots_[hole].entry) return false;
  slots_[hole].entry.reset();
  --size_;
  // Backward shift: move later entries of the run into the hole when their
  // home slot does not lie between the hole and where they are.
  for (std::size_t j = (hole + 1) & mask; slots_[j].entry; j = (j + 1) & mask) {
    const std::size_t home = slots_[j].hash & mask;
    const bool staysPut = hole <= j ? (hole < home && home <= j) : (hole < home || home <= j);
    if (staysPut) continue;
    slots_[hole] = std::move(slots_[j]);
    hole = j;
  }
  return true;
}

void ChunkIndex::clear() noexcept {
  for (auto& slot : slots_) slot.entry.reset();
  size_ = 0;
}

}  // namespace orvane
