#pragma once

#include <optional>

#include "orvane/Export.h"
#include "orvane/Platform/Foundation/Data.h"

namespace orvane {

/// Whole-buffer compression into zlib streams (RFC 1950: two-byte header,
/// deflate data, Adler-32 trailer) at level 1, the fastest.
class ORVANE_EXPORT NKZlibCompression {
 public:
  NKZlibCompression() = delete;

  /// The zlib stream of `data`, gathered 16384 bytes at a time. An empty input
  /// gives the 8-byte stream of no data. Nothing only when zlib cannot start.
  /// Only the first length modulo 2^32 bytes of an input of 4 GiB or more are
  /// compressed.
  static std::optional<Data> zlibCompressionCompress(ByteView data);

  /// The bytes decoded from the zlib stream at the start of `data`; bytes after
  /// the stream's end are ignored, and an empty input gives an empty result.
  /// Nothing for a stream that needs a preset dictionary, for corrupt data and
  /// when zlib runs out of memory. A truncated stream is handed to the decoder
  /// again from its first byte, a bounded number of times (see the source).
  /// Aborts the process with an assertion failure if zlib reports a clobbered
  /// stream state.
  static std::optional<Data> zlibCompressionUncompress(ByteView data);
};

}  // namespace orvane
