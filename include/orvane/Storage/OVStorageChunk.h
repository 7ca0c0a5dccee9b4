#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "orvane/Export.h"
#include "orvane/Platform/Foundation/NSKeyedArchiver.h"

namespace orvane {

/// Where one stored item lies in a store's chunk file: a byte offset and a
/// byte length. Offset 0 with length 0 is the null chunk, which marks an item
/// kept in a file of its own. Archived as "OVStorageChunk" with the 64-bit
/// integers "offset" and "length".
class ORVANE_EXPORT OVStorageChunk : public NSCoding {
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
  /// The chunk of an archive's "offset" and "length" (0 for an absent or
  /// non-integer value).
  static std::shared_ptr<OVStorageChunk> initWithCoder(NSKeyedUnarchiver& coder);

  std::int64_t offset() const noexcept { return offset_; }
  std::int64_t length() const noexcept { return length_; }
  /// True exactly when offset and length are both 0.
  bool nullChunk() const noexcept { return offset_ == 0 && length_ == 0; }

  friend bool operator==(const OVStorageChunk& a, const OVStorageChunk& b) noexcept {
    return a.offset_ == b.offset_ && a.length_ == b.length_;
  }

  std::string archiveClassName() const override;
  void encodeWithCoder(NSKeyedArchiver& coder) const override;

 private:
  std::int64_t offset_;
  std::int64_t length_;
};

}  // namespace orvane
