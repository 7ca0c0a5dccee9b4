#pragma once

#include <cstdint>
#include <optional>

#include "orvane/Export.h"
#include "orvane/Platform/System/CompressionAlgorithm.h"
#include "orvane/Platform/Foundation/Data.h"

namespace orvane {

/// Whole-buffer compression of byte buffers with the platform's algorithm
/// selectors and byte formats (COMPRESSION_ZLIB, COMPRESSION_LZ4,
/// COMPRESSION_LZ4_RAW, COMPRESSION_LZMA, COMPRESSION_BROTLI; LZFSE and
/// LZBITMAP have no codec here).
struct ORVANE_EXPORT NSDataCompression {
  NSDataCompression() = delete;

  /// `data` encoded with `algorithm`, or nothing when the encoded form does not
  /// fit into `data`'s own size (so always for an empty input), the algorithm
  /// has no codec or the codec fails.
  static std::optional<Data> compressWithAlgorithm(ByteView data, compression_algorithm algorithm);

  /// `data` decoded with `algorithm` into a buffer of exactly `size` bytes,
  /// answered only when exactly `size` bytes came out. A longer decoded form is
  /// cut to `size` bytes; a shorter one, malformed input or an algorithm
  /// without a codec gives nothing. A size of 0 always gives an empty buffer.
  static std::optional<Data> upcompressWithBufferSizeAlgorithm(ByteView data, std::uint64_t size,
                                                               compression_algorithm algorithm);
};

}  // namespace orvane
