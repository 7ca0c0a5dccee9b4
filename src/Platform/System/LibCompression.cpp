#include "Platform/System/LibCompression.h"

#include <brotli/decode.h>
#include <brotli/encode.h>
#include <lz4.h>
#include <lzma.h>

#define ZLIB_CONST
#include <zlib.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <span>

namespace orvane {

namespace {

// ---------------------------------------------------------------------------
// Output growth. Codecs that stream write into `dst` piece by piece: each
// piece is zero-filled by the vector just before the codec overwrites it, while
// it is still in cache, instead of clearing the whole capacity up front.

constexpr std::size_t kOutputStep = 256 << 10;

/// Extends `dst` by up to `step` bytes without passing `limit`; answers the new area.
std::span<std::uint8_t> grow(Data& dst, std::size_t limit, std::size_t step = kOutputStep) {
  const std::size_t old = dst.size();
  const std::size_t n = std::min(limit - old, step);
  dst.resize(old + n);
  return {dst.data() + old, n};
}

/// 32-bit little-endian fields of the LZ4 framing.
std::uint32_t readLE32(const std::uint8_t* p) {
  return static_cast<std::uint32_t>(p[0]) | static_cast<std::uint32_t>(p[1]) << 8 |
         static_cast<std::uint32_t>(p[2]) << 16 | static_cast<std::uint32_t>(p[3]) << 24;
}

void writeLE32(std::uint8_t* p, std::uint32_t v) {
  p[0] = static_cast<std::uint8_t>(v);
  p[1] = static_cast<std::uint8_t>(v >> 8);
  p[2] = static_cast<std::uint8_t>(v >> 16);
  p[3] = static_cast<std::uint8_t>(v >> 24);
}

std::size_t fail(Data& dst) {
  dst.clear();
  return 0;
}

// ---------------------------------------------------------------------------
// COMPRESSION_ZLIB: raw DEFLATE (RFC 1951), level 5.

constexpr int kDeflateLevel = 5;
constexpr int kRawWindowBits = -15;
constexpr uInt kMaxZlibCount = std::numeric_limits<uInt>::max();

std::size_t deflateRaw(Data& dst, std::size_t capacity, ByteView src) {
  z_stream zs{};
  if (deflateInit2(&zs, kDeflateLevel, Z_DEFLATED, kRawWindowBits, 8, Z_DEFAULT_STRATEGY) != Z_OK)
    return fail(dst);
  std::size_t inputLeft = src.size();
  zs.next_in = src.data();
  int code = Z_OK;
  while (code == Z_OK) {
    if (zs.avail_in == 0 && inputLeft > 0) {
      zs.avail_in = static_cast<uInt>(std::min<std::size_t>(inputLeft, kMaxZlibCount));
      inputLeft -= zs.avail_in;
    }
    if (zs.avail_out == 0) {
      if (dst.size() == capacity) break;  // does not fit
      const auto area = grow(dst, capacity, std::min<std::size_t>(kOutputStep, kMaxZlibCount));
      zs.next_out = area.data();
      zs.avail_out = static_cast<uInt>(area.size());
    }
    code = deflate(&zs, inputLeft == 0 ? Z_FINISH : Z_NO_FLUSH);
    if (code == Z_BUF_ERROR) code = Z_OK;  // no progress possible until more room
  }
  const std::size_t produced = dst.size() - zs.avail_out;
  deflateEnd(&zs);
  if (code != Z_STREAM_END) return fail(dst);
  dst.resize(produced);
  return produced;
}

std::size_t inflateRaw(Data& dst, std::size_t capacity, ByteView src) {
  z_stream zs{};
  if (inflateInit2(&zs, kRawWindowBits) != Z_OK) return fail(dst);
  std::size_t inputLeft = src.size();
  zs.next_in = src.data();
  int code = Z_OK;
  bool full = false;
  for (;;) {
    if (zs.avail_in == 0 && inputLeft > 0) {
      zs.avail_in = static_cast<uInt>(std::min<std::size_t>(inputLeft, kMaxZlibCount));
      inputLeft -= zs.avail_in;
    }
    if (zs.avail_out == 0) {
      if (dst.size() == capacity) {
        full = true;
        break;
      }
      const auto area = grow(dst, capacity, std::min<std::size_t>(kOutputStep, kMaxZlibCount));
      zs.next_out = area.data();
      zs.avail_out = static_cast<uInt>(area.size());
    }
    const uInt inBefore = zs.avail_in;
    const uInt outBefore = zs.avail_out;
    code = inflate(&zs, Z_NO_FLUSH);
    if (code == Z_STREAM_END) break;
    if (code != Z_OK && code != Z_BUF_ERROR) break;
    // Input used up without reaching the end: the stream is truncated.
    if (zs.avail_in == 0 && inputLeft == 0 && zs.avail_out > 0) break;
    if (code == Z_BUF_ERROR && zs.avail_in == inBefore && zs.avail_out == outBefore) break;
  }
  const std::size_t produced = dst.size() - zs.avail_out;
  inflateEnd(&zs);
  if (!full && code != Z_STREAM_END) return fail(dst);
  dst.resize(produced);
  return produced;
}

// ---------------------------------------------------------------------------
// COMPRESSION_LZ4_RAW and COMPRESSION_LZ4.

/// The most bytes an LZ4 block of `encoded` bytes can decode to: a sequence's
/// match length grows by at most 255 per byte of input.
std::size_t lz4DecodedBound(std::size_t encoded) {
  constexpr std::size_t kMaxRatio = 255;
  if (encoded > (std::numeric_limits<std::size_t>::max() - 64) / kMaxRatio)
    return std::numeric_limits<std::size_t>::max();
  return encoded * kMaxRatio + 64;
}

std::size_t lz4RawEncode(Data& dst, std::size_t capacity, ByteView src) {
  if (src.size() > LZ4_MAX_INPUT_SIZE) return fail(dst);
  // The block is made in one call that needs its whole output area at once.
  // Uninitialised scratch memory spares clearing that area first, which costs
  // as much as the encoding itself when the input does not compress (and the
  // call fails); the encoded bytes are copied over.
  const int room = static_cast<int>(std::min<std::size_t>(capacity, INT_MAX));
  const std::unique_ptr<char[]> scratch(new char[static_cast<std::size_t>(room)]);
  const int n = LZ4_compress_default(reinterpret_cast<const char*>(src.data()), scratch.get(),
                                     static_cast<int>(src.size()), room);
  if (n <= 0) return fail(dst);
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(scratch.get());
  dst.assign(bytes, bytes + n);
  return dst.size();
}

std::size_t lz4RawDecode(Data& dst, std::size_t capacity, ByteView src) {
  if (src.empty() || src.size() > INT_MAX) return fail(dst);
  const std::size_t room = std::min({capacity, lz4DecodedBound(src.size()), std::size_t{INT_MAX}});
  dst.resize(room);
  const int n = LZ4_decompress_safe_partial(
      reinterpret_cast<const char*>(src.data()), reinterpret_cast<char*>(dst.data()),
      static_cast<int>(src.size()), static_cast<int>(room), static_cast<int>(room));
  if (n < 0) return fail(dst);
  dst.resize(static_cast<std::size_t>(n));
  return dst.size();
}

// The platform's LZ4 framing: a sequence of blocks, each either
//   "bv41", decoded size (LE32), encoded size (LE32), one LZ4 block, or
//   "bv4-", size (LE32), the bytes as they are,
// ended by "bv4$". Blocks written here are independent of each other; blocks
// read may refer back into the output of earlier blocks.
constexpr std::uint8_t kLz4Compressed[4] = {'b', 'v', '4', '1'};
constexpr std::uint8_t kLz4Stored[4] = {'b', 'v', '4', '-'};
constexpr std::uint8_t kLz4End[4] = {'b', 'v', '4', '$'};
// Blocks of 1 MiB: with smaller independent blocks each block's start finds
// no history, which costs both ratio and decoding speed (64 KiB blocks decode
// about a third slower than one block of the whole buffer).
constexpr std::size_t kLz4BlockSize = 1 << 20;
constexpr std::size_t kLz4CompressedHeader = 12;
constexpr std::size_t kLz4StoredHeader = 8;
constexpr std::size_t kLz4Window = 64 << 10;

std::size_t lz4FramedEncode(Data& dst, std::size_t capacity, ByteView src) {
  std::unique_ptr<char[]> state(new char[static_cast<std::size_t>(LZ4_sizeofState())]);
  dst.clear();
  std::size_t offset = 0;
  while (offset < src.size()) {
    const std::size_t blockLength = std::min(kLz4BlockSize, src.size() - offset);
    const auto block = src.subspan(offset, blockLength);
    const std::size_t start = dst.size();
    const std::size_t room = capacity - start;
    // A compressed block is kept only when it is smaller than the stored one:
    // 12 + n < 8 + blockLength.
    constexpr std::size_t kHeaderDifference = kLz4CompressedHeader - kLz4StoredHeader;
    int n = 0;
    if (room > kLz4CompressedHeader && blockLength > kHeaderDifference + 1) {
      const std::size_t attempt =
          std::min(room - kLz4CompressedHeader, blockLength - kHeaderDifference - 1);
      dst.resize(start + kLz4CompressedHeader + attempt);
      n = LZ4_compress_fast_extState(
          state.get(), reinterpret_cast<const char*>(block.data()),
          reinterpret_cast<char*>(dst.data() + start + kLz4CompressedHeader),
          static_cast<int>(blockLength), static_cast<int>(attempt), 1);
    }
    if (n > 0) {
      std::memcpy(dst.data() + start, kLz4Compressed, 4);
      writeLE32(dst.data() + start + 4, static_cast<std::uint32_t>(blockLength));
      writeLE32(dst.data() + start + 8, static_cast<std::uint32_t>(n));
      dst.resize(start + kLz4CompressedHeader + static_cast<std::size_t>(n));
    } else {
      if (room < kLz4StoredHeader + blockLength) return fail(dst);
      dst.resize(start + kLz4StoredHeader + blockLength);
      std::memcpy(dst.data() + start, kLz4Stored, 4);
      writeLE32(dst.data() + start + 4, static_cast<std::uint32_t>(blockLength));
      std::memcpy(dst.data() + start + kLz4StoredHeader, block.data(), blockLength);
    }
    offset += blockLength;
  }
  if (capacity - dst.size() < sizeof kLz4End) return fail(dst);
  dst.insert(dst.end(), std::begin(kLz4End), std::end(kLz4End));
  return dst.size();
}

std::size_t lz4FramedDecode(Data& dst, std::size_t capacity, ByteView src) {
  dst.clear();
  std::size_t at = 0;
  const auto has = [&](std::size_t n) { return src.size() - at >= n; };
  for (;;) {
    if (dst.size() == capacity) return dst.size();  // full: the rest is cut
    if (!has(4)) return fail(dst);
    const std::uint8_t* magic = src.data() + at;
    if (std::memcmp(magic, kLz4End, 4) == 0) return dst.size();
    if (std::memcmp(magic, kLz4Stored, 4) == 0) {
      if (!has(kLz4StoredHeader)) return fail(dst);
      const std::size_t size = readLE32(magic + 4);
      at += kLz4StoredHeader;
      if (!has(size)) return fail(dst);
      const std::size_t take = std::min(size, capacity - dst.size());
      dst.insert(dst.end(), src.data() + at, src.data() + at + take);
      at += size;
      continue;
    }
    if (std::memcmp(magic, kLz4Compressed, 4) != 0 || !has(kLz4CompressedHeader)) return fail(dst);
    const std::size_t decoded = readLE32(magic + 4);
    const std::size_t encoded = readLE32(magic + 8);
    at += kLz4CompressedHeader;
    // A block cannot decode to more than its encoded bytes can express:
    // nothing is set aside for a size the block cannot reach.
    if (!has(encoded) || decoded > INT_MAX || encoded > INT_MAX ||
        decoded > lz4DecodedBound(encoded))
      return fail(dst);
    const std::size_t start = dst.size();
    const std::size_t room = std::min(decoded, capacity - start);
    const std::size_t dictSize = std::min(start, kLz4Window);
    dst.resize(start + room);
    const auto* in = reinterpret_cast<const char*>(src.data() + at);
    auto* out = reinterpret_cast<char*>(dst.data() + start);
    const char* dict = out - dictSize;
    int n = -1;
    if (room == decoded) {
      // Blocks that stand alone (all that this library writes) decode fastest
      // without a dictionary; a block that refers back fails that and is
      // decoded again with the earlier output in reach.
      n = LZ4_decompress_safe(in, out, static_cast<int>(encoded), static_cast<int>(room));
      if (n < 0 && dictSize > 0)
        n = LZ4_decompress_safe_usingDict(in, out, static_cast<int>(encoded),
                                          static_cast<int>(room), dict, static_cast<int>(dictSize));
    } else {
      n = LZ4_decompress_safe_partial_usingDict(in, out, static_cast<int>(encoded),
                                                static_cast<int>(room), static_cast<int>(room),
                                                dict, static_cast<int>(dictSize));
    }
    if (n < 0 || static_cast<std::size_t>(n) != room) return fail(dst);
    at += encoded;
  }
}

// ---------------------------------------------------------------------------
// COMPRESSION_LZMA: an xz container with LZMA2 at preset 6.

constexpr std::uint32_t kLzmaPreset = 6;
// Enough for streams made at any preset (preset 9 needs 65 MiB to decode);
// a header asking for more is refused rather than allocated.
constexpr std::uint64_t kLzmaMemoryLimit = 128ull << 20;

template <class Init>
std::size_t lzmaRun(Data& dst, std::size_t capacity, ByteView src, bool decoding, Init init) {
  lzma_stream strm = LZMA_STREAM_INIT;
  if (init(&strm) != LZMA_OK) return fail(dst);
  strm.next_in = src.data();
  strm.avail_in = src.size();
  lzma_ret code = LZMA_OK;
  bool full = false;
  for (;;) {
    if (strm.avail_out == 0) {
      if (dst.size() == capacity) {
        full = true;
        break;
      }
      const auto area = grow(dst, capacity);
      strm.next_out = area.data();
      strm.avail_out = area.size();
    }
    code = lzma_code(&strm, decoding ? LZMA_RUN : LZMA_FINISH);
    if (code != LZMA_OK) break;
    // Decoding: input used up while there is still room means a truncated stream.
    if (decoding && strm.avail_in == 0 && strm.avail_out > 0) break;
  }
  const std::size_t produced = dst.size() - strm.avail_out;
  lzma_end(&strm);
  if (code != LZMA_STREAM_END && !(decoding && full)) return fail(dst);
  dst.resize(produced);
  return produced;
}

std::size_t lzmaEncode(Data& dst, std::size_t capacity, ByteView src) {
  return lzmaRun(dst, capacity, src, false, [](lzma_stream* s) {
    return lzma_easy_encoder(s, kLzmaPreset, LZMA_CHECK_CRC64);
  });
}

std::size_t lzmaDecode(Data& dst, std::size_t capacity, ByteView src) {
  return lzmaRun(dst, capacity, src, true,
                 [](lzma_stream* s) { return lzma_stream_decoder(s, kLzmaMemoryLimit, 0); });
}

// ---------------------------------------------------------------------------
// COMPRESSION_BROTLI: a Brotli stream.

constexpr std::uint32_t kBrotliQuality = 2;

std::size_t brotliEncode(Data& dst, std::size_t capacity, ByteView src) {
  std::unique_ptr<BrotliEncoderState, decltype(&BrotliEncoderDestroyInstance)> state(
      BrotliEncoderCreateInstance(nullptr, nullptr, nullptr), BrotliEncoderDestroyInstance);
  if (!state) return fail(dst);
  BrotliEncoderSetParameter(state.get(), BROTLI_PARAM_QUALITY, kBrotliQuality);
  BrotliEncoderSetParameter(state.get(), BROTLI_PARAM_LGWIN, BROTLI_DEFAULT_WINDOW);
  BrotliEncoderSetParameter(
      state.get(), BROTLI_PARAM_SIZE_HINT,
      static_cast<std::uint32_t>(std::min<std::size_t>(src.size(), 1u << 30)));
  const std::uint8_t* in = src.data();
  std::size_t inLeft = src.size();
  std::uint8_t* out = nullptr;
  std::size_t outLeft = 0;
  for (;;) {
    if (outLeft == 0) {
      if (dst.size() == capacity) return fail(dst);  // does not fit
      const auto area = grow(dst, capacity);
      out = area.data();
      outLeft = area.size();
    }
    if (!BrotliEncoderCompressStream(state.get(), BROTLI_OPERATION_FINISH, &inLeft, &in, &outLeft,
                                     &out, nullptr))
      return fail(dst);
    if (BrotliEncoderIsFinished(state.get())) break;
  }
  dst.resize(dst.size() - outLeft);
  return dst.size();
}

std::size_t brotliDecode(Data& dst, std::size_t capacity, ByteView src) {
  std::unique_ptr<BrotliDecoderState, decltype(&BrotliDecoderDestroyInstance)> state(
      BrotliDecoderCreateInstance(nullptr, nullptr, nullptr), BrotliDecoderDestroyInstance);
  if (!state) return fail(dst);
  const std::uint8_t* in = src.data();
  std::size_t inLeft = src.size();
  std::uint8_t* out = nullptr;
  std::size_t outLeft = 0;
  for (;;) {
    if (outLeft == 0 && dst.size() < capacity) {
      const auto area = grow(dst, capacity);
      out = area.data();
      outLeft = area.size();
    }
    const BrotliDecoderResult result =
        BrotliDecoderDecompressStream(state.get(), &inLeft, &in, &outLeft, &out, nullptr);
    if (result == BROTLI_DECODER_RESULT_SUCCESS) break;
    if (result == BROTLI_DECODER_RESULT_NEEDS_MORE_OUTPUT && outLeft == 0) {
      if (dst.size() == capacity) break;  // full: the rest is cut
      continue;
    }
    return fail(dst);  // an error, or input used up before the stream's end
  }
  dst.resize(dst.size() - outLeft);
  return dst.size();
}

}  // namespace

namespace {

std::size_t encode(Data& dst, std::size_t capacity, ByteView src, compression_algorithm algorithm) {
  switch (algorithm) {
    case COMPRESSION_ZLIB:
      return deflateRaw(dst, capacity, src);
    case COMPRESSION_LZ4_RAW:
      return lz4RawEncode(dst, capacity, src);
    case COMPRESSION_LZ4:
      return lz4FramedEncode(dst, capacity, src);
    case COMPRESSION_LZMA:
      return lzmaEncode(dst, capacity, src);
    case COMPRESSION_BROTLI:
      return brotliEncode(dst, capacity, src);
    default:
      return 0;  // LZFSE, LZBITMAP and unknown selectors have no codec here
  }
}

std::size_t decode(Data& dst, std::size_t capacity, ByteView src, compression_algorithm algorithm) {
  switch (algorithm) {
    case COMPRESSION_ZLIB:
      return inflateRaw(dst, capacity, src);
    case COMPRESSION_LZ4_RAW:
      return lz4RawDecode(dst, capacity, src);
    case COMPRESSION_LZ4:
      return lz4FramedDecode(dst, capacity, src);
    case COMPRESSION_LZMA:
      return lzmaDecode(dst, capacity, src);
    case COMPRESSION_BROTLI:
      return brotliDecode(dst, capacity, src);
    default:
      return 0;
  }
}

}  // namespace

std::size_t decodedSizeBound(ByteView src, compression_algorithm algorithm) {
  constexpr std::size_t kMax = std::numeric_limits<std::size_t>::max();
  // DEFLATE's largest expansion: a 258-byte match per two bits, 1032 to 1.
  constexpr std::size_t kDeflateRatio = 1032;
  constexpr std::size_t kUnboundedReserve = 64 << 20;
  switch (algorithm) {
    case COMPRESSION_ZLIB:
      return src.size() > (kMax - 64) / kDeflateRatio ? kMax : src.size() * kDeflateRatio + 64;
    case COMPRESSION_LZ4_RAW:
    case COMPRESSION_LZ4:
      return lz4DecodedBound(src.size());
    default:
      return kUnboundedReserve;
  }
}

// Out of memory is a failure like any other: the answer is 0, never an exception.

std::size_t compressionEncodeBuffer(Data& dst, std::size_t capacity, ByteView src,
                                    compression_algorithm algorithm) {
  dst.clear();
  if (src.empty() || capacity == 0) return 0;
  try {
    return encode(dst, capacity, src, algorithm);
  } catch (const std::bad_alloc&) {
    return fail(dst);
  }
}

std::size_t compressionDecodeBuffer(Data& dst, std::size_t capacity, ByteView src,
                                    compression_algorithm algorithm) {
  dst.clear();
  if (src.empty() || capacity == 0) return 0;
  try {
    return decode(dst, capacity, src, algorithm);
  } catch (const std::bad_alloc&) {
    return fail(dst);
  }
}

}  // namespace orvane
