#include "Storage/ChunkIndex.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <functional>
#include <utility>

namespace orvane {

std::uint64_t ChunkIndex::hashOf(std::string_view identifier) noexcept {
  return std::hash<std::string_view>{}(identifier);
}

std::size_t ChunkIndex::probe(std::string_view identifier, std::uint64_t hash) const noexcept {
  const std::size_t mask = slots_.size() - 1;
  const auto shortHash = static_cast<std::uint32_t>(hash >> 32);
  for (std::size_t i = hash & mask;; i = (i + 1) & mask) {
    const Slot& slot = slots_[i];
    if (!slot.used()) return i;
    if (slot.hash == shortHash && slot.identifier() == identifier) return i;
  }
}

std::optional<OVStorageChunk> ChunkIndex::find(std::string_view identifier) const noexcept {
  if (size_ == 0) return std::nullopt;
  const Slot& slot = slots_[probe(identifier, hashOf(identifier))];
  if (!slot.used()) return std::nullopt;
  return OVStorageChunk(slot.offset, slot.length);
}

std::optional<ChunkEntry> ChunkIndex::findEntry(std::string_view identifier) const noexcept {
  if (size_ == 0) return std::nullopt;
  const std::size_t i = probe(identifier, hashOf(identifier));
  const Slot& slot = slots_[i];
  if (!slot.used()) return std::nullopt;
  ChunkEntry entry{OVStorageChunk(slot.offset, slot.length), std::nullopt};
  if (checks_[i].known) entry.checksum = checks_[i].sum;
  return entry;
}

bool ChunkIndex::setChecksum(std::string_view identifier, std::uint64_t checksum) noexcept {
  if (size_ == 0) return false;
  const std::size_t i = probe(identifier, hashOf(identifier));
  if (!slots_[i].used()) return false;
  checks_[i] = {checksum, true};
  return true;
}

void ChunkIndex::grow(std::size_t slotCount) {
  std::vector<Slot> old = std::exchange(slots_, std::vector<Slot>(slotCount));
  std::vector<Check> oldChecks = std::exchange(checks_, std::vector<Check>(slotCount));
  const std::size_t mask = slotCount - 1;
  for (std::size_t k = 0; k < old.size(); ++k) {
    Slot& slot = old[k];
    if (!slot.used()) continue;
    // The home slot comes from the low bits of the full hash, which is not
    // kept; compute it again.
    std::size_t i = hashOf(slot.identifier()) & mask;
    while (slots_[i].used()) i = (i + 1) & mask;
    slots_[i] = std::move(slot);
    checks_[i] = oldChecks[k];
  }
}

void ChunkIndex::reserve(std::size_t count) {
  // At most half of the slots are in use.
  const std::size_t wanted = std::bit_ceil(std::max<std::size_t>(16, 2 * count));
  if (wanted > slots_.size()) grow(wanted);
}

void ChunkIndex::set(std::string_view identifier, const OVStorageChunk& chunk,
                     std::optional<std::uint64_t> checksum) {
  reserve(size_ + 1);
  const std::uint64_t hash = hashOf(identifier);
  const std::size_t i = probe(identifier, hash);
  Slot& slot = slots_[i];
  if (!slot.used()) {
    slot.hash = static_cast<std::uint32_t>(hash >> 32);
    slot.size = static_cast<std::uint32_t>(identifier.size());
    char* text = slot.inlineText;
    if (identifier.size() > Slot::kInline) {
      slot.longText = std::make_unique_for_overwrite<char[]>(identifier.size());
      text = slot.longText.get();
    }
    if (!identifier.empty()) std::memcpy(text, identifier.data(), identifier.size());
    ++size_;
  }
  slot.offset = chunk.offset();
  slot.length = chunk.length();
  checks_[i] = {checksum.value_or(0), checksum.has_value()};
}

bool ChunkIndex::erase(std::string_view identifier) noexcept {
  if (size_ == 0) return false;
  const std::size_t mask = slots_.size() - 1;
  std::size_t hole = probe(identifier, hashOf(identifier));
  if (!slots_[hole].used()) return false;
  --size_;
  // Backward shift: move later slots of the run into the hole when their home
  // slot does not lie between the hole and where they are.
  for (std::size_t j = (hole + 1) & mask; slots_[j].used(); j = (j + 1) & mask) {
    const std::size_t home = hashOf(slots_[j].identifier()) & mask;
    const bool staysPut = hole <= j ? (hole < home && home <= j) : (hole < home || home <= j);
    if (staysPut) continue;
    slots_[hole] = std::move(slots_[j]);
    checks_[hole] = checks_[j];
    hole = j;
  }
  slots_[hole] = Slot();
  checks_[hole] = Check();
  return true;
}

void ChunkIndex::clear() noexcept {
  for (auto& slot : slots_) slot = Slot();
  for (auto& check : checks_) check = Check();
  size_ = 0;
}

}  // namespace orvane
