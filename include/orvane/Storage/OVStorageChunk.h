#pragma once

#include <cstdint>
#include <optional>

#include "orvane/Export.h"

namespace orvane {

/// Where one stored item lies in a store's chunk file: a byte offset and a
/// byte length. Offset 0 with length 0 is the null chunk, which marks an item
/// kept in a file of its own.
class ORVANE_EXPORT OVStorageChunk {
 public:
  OVStorageChunk(std::int64_t offset, std::int64_t length) noexcept
      : offset_(offset), length_(length) {}

  /// A chunk made from its two values (the same as the constructor).
  static OVStorageChunk initWithOffsetLength(std::int64_t offset, std::int64_t length) noexcept {
    return OVStorageChunk(offset, length);
  }
  /// The chunk with offset 0 and length 0.
  static OVStorageChunk nullStorageChunk() noexcept { return OVStorageChunk(0, 0); }
  /// A chunk is only made with its two values: the plain initializer answers
  /// no chunk.
  static std::optional<OVStorageChunk> init() noexcept { return std::nullopt; }
  static bool supportsSecureCoding() noexcept { return true; }

  std::int64_t offset() const noexcept { return offset_; }
  std::int64_t length() const noexcept { return length_; }
  /// True exactly when offset and length are both 0.
  bool nullChunk() const noexcept { return offset_ == 0 && length_ == 0; }

  friend bool operator==(const OVStorageChunk&, const OVStorageChunk&) = default;

 private:
  std::int64_t offset_;
  std::int64_t length_;
};

}  // namespace orvane
