#pragma once

// The platform's whole-buffer encoder and decoder (libcompression's
// compression_encode_buffer / compression_decode_buffer), built on zlib, LZ4,
// liblzma and Brotli with the platform's byte formats, so that buffers move
// between this library and the platform's in both directions.

#include <cstddef>

#include "orvane/Platform/System/CompressionAlgorithm.h"
#include "orvane/Platform/Foundation/Data.h"

namespace orvane {

/// Encodes `src` with `algorithm` into `dst`, which is replaced and never
/// grows beyond `capacity` bytes; when dst.capacity() is at least `capacity`
/// it is not reallocated. Answers the encoded size, or 0 when the encoded form
/// does not fit, the input is empty, the algorithm has no codec here or the
/// codec fails.
std::size_t compressionEncodeBuffer(Data& dst, std::size_t capacity, ByteView src,
                                    compression_algorithm algorithm);

/// Decodes `src` with `algorithm` into `dst`, which is replaced and holds at
/// most `capacity` bytes; when dst.capacity() is at least `capacity` it is not
/// reallocated. A decoded form longer than `capacity` is cut at `capacity`.
/// Answers the number of bytes decoded, or 0 for malformed or truncated input
/// or an algorithm without a codec here.
std::size_t compressionDecodeBuffer(Data& dst, std::size_t capacity, ByteView src,
                                    compression_algorithm algorithm);

/// The most bytes `src` can decode to with `algorithm`, from the format's
/// largest expansion (DEFLATE 1032 to 1, an LZ4 sequence 255 to 1); for
/// formats without such a bound (LZMA, Brotli) a bound on what is worth
/// setting aside before decoding, beyond which output grows as it comes.
std::size_t decodedSizeBound(ByteView src, compression_algorithm algorithm);

}  // namespace orvane
