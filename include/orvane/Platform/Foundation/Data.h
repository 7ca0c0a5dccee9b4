#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace orvane {

/// A byte buffer owned by its holder (the platform's NSData).
using Data = std::vector<std::uint8_t>;

/// A read-only view of bytes, used for byte-buffer arguments.
using ByteView = std::span<const std::uint8_t>;

/// The bytes of a text, viewed without copying.
inline ByteView bytesOf(std::string_view text) noexcept {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

/// A new buffer holding a copy of the given bytes.
inline Data dataOf(ByteView bytes) { return Data(bytes.begin(), bytes.end()); }

/// A new buffer holding a copy of a text's bytes.
inline Data dataOf(std::string_view text) { return dataOf(bytesOf(text)); }

}  // namespace orvane
