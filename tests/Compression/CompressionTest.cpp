// Both compression interfaces against the codec libraries called directly:
// what we write, they read; what they write at other settings, we read.
#include <brotli/decode.h>
#include <gtest/gtest.h>
#include <lz4.h>
#include <lzma.h>
#include <sys/resource.h>
#include <zlib.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstring>
#include <functional>
#include <thread>
#include <vector>

#include "Compression/ZlibPasses.h"
#include "orvane/Compression/NKZlibCompression.h"
#include "orvane/Compression/NSDataCompression.h"
#include "support/ChildProcess.h"
#include "support/ItemBytes.h"

namespace orvane {
namespace {

using testing::itemBytes;
using testing::textBytes;
using Z = NKZlibCompression;
using N = NSDataCompression;

#if defined(__SANITIZE_ADDRESS__)
constexpr bool kAddressSanitizer = true;
#elif defined(__has_feature)
constexpr bool kAddressSanitizer = __has_feature(address_sanitizer);
#else
constexpr bool kAddressSanitizer = false;
#endif

constexpr compression_algorithm kCodecs[] = {COMPRESSION_ZLIB, COMPRESSION_LZ4, COMPRESSION_LZ4_RAW,
                                             COMPRESSION_LZMA, COMPRESSION_BROTLI};

// zlib's deflate with the given settings; windowBits -15 is raw, 31 gzip.
Data deflateWith(const Data& input, int level, int windowBits, int flush = Z_FINISH,
                 const Data& dictionary = {}) {
  z_stream zs{};
  EXPECT_EQ(deflateInit2(&zs, level, Z_DEFLATED, windowBits, 8, Z_DEFAULT_STRATEGY), Z_OK);
  if (!dictionary.empty()) deflateSetDictionary(&zs, dictionary.data(), uInt(dictionary.size()));
  Data out(deflateBound(&zs, input.size()) + 1024);
  zs.next_in = const_cast<Bytef*>(input.data()), zs.avail_in = uInt(input.size());
  zs.next_out = out.data(), zs.avail_out = uInt(out.size());
  EXPECT_EQ(deflate(&zs, flush), flush == Z_FINISH ? Z_STREAM_END : Z_OK);
  out.resize(zs.total_out);
  deflateEnd(&zs);
  return out;
}

// An LZ4 framing block: magic, then little-endian sizes, then the payload.
Data block(std::string_view magic, std::initializer_list<std::uint32_t> sizes, ByteView payload = {}) {
  Data d = dataOf(magic);
  for (const std::uint32_t v : sizes)
    for (int i = 0; i < 4; ++i) d.push_back(static_cast<std::uint8_t>(v >> (8 * i)));
  d.insert(d.end(), payload.begin(), payload.end());
  return d;
}
Data& operator+=(Data& d, const Data& more) {
  d.insert(d.end(), more.begin(), more.end());
  return d;
}

Data lz4Decode(ByteView in, std::size_t size) {
  Data out(size);
  const int n = LZ4_decompress_safe(reinterpret_cast<const char*>(in.data()),
                                    reinterpret_cast<char*>(out.data()), int(in.size()), int(size));
  out.resize(std::size_t(std::max(n, 0)));
  return out;
}

// ---- zlib streams (NKZlibCompression)

TEST(NKZlibCompressionTest, StreamsAreZlibsLevelOneAndRoundTripAcrossChunks) {
  EXPECT_EQ(Z::zlibCompressionUncompress(ByteView()), Data());
  // Sizes around the 16384-byte chunk, and outputs spanning many chunks.
  for (const std::size_t size : {0u, 1u, 16383u, 16384u, 16385u, 100000u, 1u << 20}) {
    for (const Data& input : {textBytes(size), itemBytes(size, 3)}) {
      const auto stream = Z::zlibCompressionCompress(input);
      ASSERT_TRUE(stream) << size;
      Data expected(compressBound(input.size()));  // byte for byte zlib's compress2 at level 1
      uLongf length = expected.size();
      ASSERT_EQ(compress2(expected.data(), &length, input.data(), input.size(), 1), Z_OK);
      expected.resize(length);
      EXPECT_EQ(*stream, expected) << size;
      EXPECT_EQ(Z::zlibCompressionUncompress(*stream), input) << size;
    }
  }
}

TEST(NKZlibCompressionTest, RefusesWhatIsNotAWholeZlibStream) {
  const Data input = textBytes(3000);
  auto stream = *Z::zlibCompressionCompress(input);
  stream.back() ^= 0xFF;  // Adler-32 trailer
  for (const Data& bad : {deflateWith(input, 6, -15), deflateWith(input, 6, 31), input, stream,
                          deflateWith(input, 1, 15, Z_FINISH, dataOf("image a"))})  // dictionary
    EXPECT_EQ(Z::zlibCompressionUncompress(bad), std::nullopt);
  stream.back() ^= 0xFF;
  stream += dataOf("junk after the stream is ignored");
  EXPECT_EQ(Z::zlibCompressionUncompress(stream), input);
}

TEST(NKZlibCompressionTest, TruncatedStreamsAreReDeliveredAFewTimesAtMost) {
  // Every prefix: the decoder is handed the prefix again from its first byte;
  // the call returns and never yields more than the bounded passes can make.
  const auto stream = *Z::zlibCompressionCompress(textBytes(20000));
  for (std::size_t cut = 1; cut < stream.size(); cut += 97) {
    const auto back = Z::zlibCompressionUncompress(ByteView(stream).first(cut));
    EXPECT_LE(back.value_or(Data()).size(), zlibpasses::kMaxPasses * 1032 * cut + 16384) << cut;
  }
  // A stored block of 65534 bytes whose stream header, read again as deflate
  // data, is a stored block of 1 byte, and whose bytes are deflate blocks of
  // their own when read again: 4 MiB of zeros, then a stored block ending at
  // the input's end. Re-delivery adds at most as much as the first pass made.
  constexpr std::size_t kStored = 0xFFFE, kEnd = 7 + kStored;
  Data crafted{0x78, 0x01, 0x00, 0xFE, 0xFF, 0x01, 0x00, 0x00, 0x00, 0xFF, 0xFF};
  crafted += deflateWith(Data(4 << 20, 0), 9, -15, Z_SYNC_FLUSH);  // ends on a byte
  ASSERT_LE(crafted.size() + 5, kEnd);
  const auto filler = static_cast<std::uint16_t>(kEnd - crafted.size() - 5);
  crafted.push_back(0);
  for (const std::uint16_t v : {filler, static_cast<std::uint16_t>(~filler)})
    crafted.push_back(std::uint8_t(v)), crafted.push_back(std::uint8_t(v >> 8));
  crafted.resize(kEnd, 'f');
  const auto back = Z::zlibCompressionUncompress(crafted);
  ASSERT_TRUE(back);
  EXPECT_EQ(Data(back->begin(), back->begin() + kStored), Data(crafted.begin() + 7, crafted.end()));
  EXPECT_LE(back->size(), 2 * kStored);
}

// A stand-in for the zlib stream that answers scripted codes, to reach the
// branches real zlib only takes on a damaged stream record.
struct ScriptedStream {
  static inline std::vector<int> script;
  static inline std::uint32_t fill = 0;
  static inline int ends = 0;
  std::size_t next = 0;
  std::uint32_t in = 0, out = 0;
  int initInflate(const char* version) { return version == std::string_view("1.2.11") ? 0 : -6; }
  void setInput(const std::uint8_t*, std::uint32_t count) { in = count; }
  void setOutput(std::uint8_t*, std::uint32_t count) { out = count; }
  std::uint32_t availIn() const { return in; }
  std::uint32_t availOut() const { return out; }
  int inflateNoFlush() {
    in = 0;
    out -= std::min(out, fill);
    return next < script.size() ? script[next++] : kZlibBufError;
  }
  void end() { ++ends; }
};

TEST(NKZlibCompressionTest, ErrorCodesEndTheStreamAndBufferErrorsDoNot) {
  for (const int code : {kZlibNeedDict, kZlibDataError, kZlibMemError}) {
    ScriptedStream::script = {kZlibOk, code};
    ScriptedStream::fill = zlibpasses::kChunkSize;  // the first call fills the chunk
    ScriptedStream::ends = 0;
    EXPECT_EQ(zlibpasses::uncompress<ScriptedStream>(bytesOf("x")), std::nullopt) << code;
    EXPECT_EQ(ScriptedStream::ends, 1) << code;
  }
  ScriptedStream::script = {kZlibBufError};
  ScriptedStream::fill = 0;
  EXPECT_EQ(zlibpasses::uncompress<ScriptedStream>(bytesOf("x")), Data());
  const auto child = testing::runInChild([] {
    ScriptedStream::script = {kZlibStreamError};
    zlibpasses::uncompress<ScriptedStream>(bytesOf("x"));
    return 0;
  });
  EXPECT_EQ(child.signal, SIGABRT);
  EXPECT_EQ(child.stderrText,
            "Assertion failed: (ret != Z_STREAM_ERROR), function +[NKZlibCompression "
            "zlibCompressionUncompress:], file Compression/NKZlibCompression, line 87.\n");
}

// ---- buffer codecs (NSDataCompression)

TEST(NSDataCompressionTest, RoundTripsAndCutsToTheDecodedSize) {
  for (const compression_algorithm algorithm : kCodecs) {
    for (const std::size_t size : {200u, 65536u, 65537u, 700000u}) {
      const Data input = textBytes(size);
      const auto encoded = N::compressWithAlgorithm(input, algorithm);
      ASSERT_TRUE(encoded) << algorithm << " " << size;
      EXPECT_EQ(N::upcompressWithBufferSizeAlgorithm(*encoded, size, algorithm), input) << algorithm;
    }
    const Data input = textBytes(100000);
    const Data encoded = *N::compressWithAlgorithm(input, algorithm);
    const auto decode = [&](std::uint64_t size) {
      return N::upcompressWithBufferSizeAlgorithm(encoded, size, algorithm);
    };
    // The decoded size must be reached; longer output is cut; 0 is met by anything.
    EXPECT_EQ(decode(input.size() + 1), std::nullopt) << algorithm;
    for (const std::size_t size : {input.size() - 1, std::size_t{70000}, std::size_t{1}, std::size_t{0}})
      EXPECT_EQ(decode(size), Data(input.begin(), input.begin() + long(size))) << algorithm;
    // Encodings that do not fit give nothing.
    for (const Data& small : {Data(), dataOf("abc"), itemBytes(5000, 5)})
      EXPECT_EQ(N::compressWithAlgorithm(small, algorithm), std::nullopt) << algorithm;
  }
  const Data encoded = *N::compressWithAlgorithm(textBytes(5000), COMPRESSION_ZLIB);
  for (const auto algorithm : {COMPRESSION_LZFSE, compression_algorithm{0}, compression_algorithm{0x204}}) {
    EXPECT_EQ(N::compressWithAlgorithm(textBytes(5000), algorithm), std::nullopt);
    EXPECT_EQ(N::upcompressWithBufferSizeAlgorithm(encoded, 5000, algorithm), std::nullopt);
  }
}

// Each algorithm's output decoded by its library (LZ4 in "bv41" framing ended
// by "bv4$"), and the library's output at other settings decoded by us: raw
// deflate at level 9, xz at preset 9 with SHA-256, and LZ4 framing with a
// stored block, then blocks that refer back into the previous block's output.
TEST(NSDataCompressionTest, ThePlatformFormatsBothWays) {
  const Data input = textBytes(200000, 99);
  const auto lz4Frames = [](ByteView d, std::size_t) {
    Data decoded;
    std::size_t at = 0;
    for (std::uint32_t sizes[2]; at + 4 <= d.size() && std::memcmp(&d[at], "bv41", 4) == 0;
         at += 12 + sizes[1]) {
      std::memcpy(sizes, &d[at + 4], 8);
      decoded += lz4Decode(d.subspan(at + 12, sizes[1]), sizes[0]);
    }
    return at + 4 == d.size() && std::memcmp(&d[at], "bv4$", 4) == 0 ? decoded : Data();
  };
  const auto inflateRaw = [](ByteView d, std::size_t size) {  // no zlib header or trailer
    Data out(size);
    z_stream zs{};
    inflateInit2(&zs, -15);
    zs.next_in = const_cast<Bytef*>(d.data()), zs.avail_in = uInt(d.size());
    zs.next_out = out.data(), zs.avail_out = uInt(out.size());
    const bool whole = inflate(&zs, Z_FINISH) == Z_STREAM_END && zs.total_in == d.size();
    inflateEnd(&zs);
    return whole ? out : Data();
  };
  const auto lz4Chained = [](const Data& in) {
    Data d = block("bv4-", {1000}, ByteView(in).first(1000));
    LZ4_stream_t* stream = LZ4_createStream();
    LZ4_loadDict(stream, reinterpret_cast<const char*>(in.data()), 1000);
    for (std::size_t at = 1000; at < in.size();) {
      const int length = int(std::min<std::size_t>(30000, in.size() - at));
      Data out(LZ4_compressBound(length));
      const int n = LZ4_compress_fast_continue(stream, reinterpret_cast<const char*>(in.data() + at),
                                               reinterpret_cast<char*>(out.data()), length,
                                               int(out.size()), 1);
      d += block("bv41", {std::uint32_t(length), std::uint32_t(n)}, ByteView(out).first(n));
      at += std::size_t(length);
    }
    LZ4_freeStream(stream);
    return d += dataOf("bv4$");
  };
  const auto xz = [](ByteView d, std::size_t size) {
    Data out(size);
    std::uint64_t limit = UINT64_MAX;
    std::size_t inPos = 0, outPos = 0;
    return lzma_stream_buffer_decode(&limit, 0, nullptr, d.data(), &inPos, d.size(), out.data(),
                                     &outPos, size) == LZMA_OK ? out : Data();
  };
  const auto brotli = [](ByteView d, std::size_t size) {
    Data out(size);
    return BrotliDecoderDecompress(d.size(), d.data(), &size, out.data()) ==
                   BROTLI_DECODER_RESULT_SUCCESS ? out : Data();
  };
  const std::pair<compression_algorithm, std::function<Data(ByteView, std::size_t)>> codecs[] = {
      {COMPRESSION_ZLIB, inflateRaw}, {COMPRESSION_LZ4, lz4Frames}, {COMPRESSION_LZ4_RAW, lz4Decode},
      {COMPRESSION_LZMA, xz}, {COMPRESSION_BROTLI, brotli},
  };
  for (const auto& [algorithm, decode] : codecs)
    EXPECT_EQ(decode(*N::compressWithAlgorithm(input, algorithm), input.size()), input) << algorithm;
  EXPECT_EQ(N::upcompressWithBufferSizeAlgorithm(deflateWith(input, 9, -15), input.size(), COMPRESSION_ZLIB),
            input);
  Data xz9(input.size());  // preset 9 needs 65 MiB to decode
  std::size_t length = 0;
  lzma_easy_buffer_encode(9, LZMA_CHECK_SHA256, nullptr, input.data(), input.size(), xz9.data(), &length, xz9.size());
  xz9.resize(length);
  EXPECT_EQ(N::upcompressWithBufferSizeAlgorithm(xz9, input.size(), COMPRESSION_LZMA), input);
  const Data chained = lz4Chained(input);
  EXPECT_EQ(N::upcompressWithBufferSizeAlgorithm(chained, input.size(), COMPRESSION_LZ4), input);
  EXPECT_EQ(N::upcompressWithBufferSizeAlgorithm(chained, 500, COMPRESSION_LZ4),
            Data(input.begin(), input.begin() + 500));  // cut inside the stored block
  // An LZ4 block whose compressed form would not be smaller is stored.
  Data tail = textBytes(1 << 20);
  tail += dataOf("tail");
  const Data d = *N::compressWithAlgorithm(tail, COMPRESSION_LZ4);
  EXPECT_EQ(Data(d.end() - 16, d.end()), block("bv4-", {4}, bytesOf("tailbv4$")));
}

TEST(NSDataCompressionTest, MalformedOrTruncatedInputGivesNothing) {
  const Data input = textBytes(50000);
  for (const compression_algorithm algorithm : kCodecs) {
    const Data encoded = *N::compressWithAlgorithm(input, algorithm);
    const auto decode = [&](ByteView d) {
      return N::upcompressWithBufferSizeAlgorithm(d, input.size(), algorithm);
    };
    EXPECT_EQ(decode(ByteView()), std::nullopt) << algorithm;
    EXPECT_EQ(decode(itemBytes(3000, 5)), std::nullopt) << algorithm;
    // Nothing once data is missing; a cut that only loses end marks may still
    // give every byte.
    for (std::size_t cut = 0; cut < encoded.size(); cut += 1 + encoded.size() / 50) {
      const auto result = decode(ByteView(encoded).first(cut));
      if (cut <= encoded.size() * 3 / 4) {
        EXPECT_EQ(result, std::nullopt) << algorithm << " " << cut;
      } else if (result) {
        EXPECT_EQ(*result, input) << algorithm << " " << cut;
      }
    }
  }
  // LZ4 framing with lying headers.
  const Data small = textBytes(3000);
  const Data good = *N::compressWithAlgorithm(small, COMPRESSION_LZ4);
  for (const auto& [offset, value] : {std::pair{4, 2999u},  // decoded size too small
                                      {8, 0xFFFFFFF0u},     // encoded size past the end
                                      {0, 0x32347662u}}) {  // unknown block magic "bv42"
    Data d = good;
    std::memcpy(&d[offset], &value, 4);
    EXPECT_EQ(N::upcompressWithBufferSizeAlgorithm(d, small.size(), COMPRESSION_LZ4), std::nullopt);
  }
  EXPECT_EQ(N::upcompressWithBufferSizeAlgorithm(block("bv4-", {0x7FFFFFFF}, bytesOf("abc")), 3000,
                                                 COMPRESSION_LZ4), std::nullopt);
}

// Inputs claiming far more output than they can hold, decoded into a large buffer: nothing is set
// aside for the claim (the child's peak resident memory shows it), and impossible sizes give nothing.
TEST(NSDataCompressionTest, DecodersSetAsideOnlyWhatTheInputCanHold) {
  const Data lyingLz4 = block("bv41", {0x7FFFFFFF, 1}, Data{0});  // one byte claiming 2 GiB
  const Data small = *N::compressWithAlgorithm(textBytes(5000), COMPRESSION_ZLIB);
  const std::pair<const Data*, compression_algorithm> inputs[] = {
      {&lyingLz4, COMPRESSION_LZ4}, {&small, COMPRESSION_ZLIB}, {&small, COMPRESSION_LZ4_RAW}};
  for (const auto& [input, algorithm] : inputs) {
    auto result = testing::runInChild([&] {
      rusage before{}, after{};
      getrusage(RUSAGE_SELF, &before);
      const auto out = N::upcompressWithBufferSizeAlgorithm(*input, std::uint64_t{4} << 30, algorithm);
      getrusage(RUSAGE_SELF, &after);
      if (out) return 1;
      return after.ru_maxrss - before.ru_maxrss < (64 << 10) ? 0 : 2;  // in KiB
    });
    EXPECT_EQ(result.exitCode, 0) << algorithm << result.stderrText;
  }
  if (kAddressSanitizer) return;  // its allocator aborts on impossible sizes instead of failing
  const Data encoded = *N::compressWithAlgorithm(textBytes(5000), COMPRESSION_LZ4);
  for (const std::uint64_t size : {std::uint64_t{1} << 62, UINT64_MAX})
    EXPECT_EQ(N::upcompressWithBufferSizeAlgorithm(encoded, size, COMPRESSION_LZ4), std::nullopt);
}

TEST(CompressionConcurrencyTest, CallsFromManyThreadsShareNothing) {
  const Data input = textBytes(120000, 21);
  std::vector<std::thread> threads;
  std::atomic<int> failures{0};
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&] {
      for (int round = 0; round < 3; ++round) {
        for (const compression_algorithm algorithm : {COMPRESSION_ZLIB, COMPRESSION_LZ4, COMPRESSION_BROTLI}) {
          const auto encoded = N::compressWithAlgorithm(input, algorithm);
          failures += !encoded || N::upcompressWithBufferSizeAlgorithm(*encoded, input.size(), algorithm) != input;
        }
        const auto stream = Z::zlibCompressionCompress(input);
        failures += !stream || Z::zlibCompressionUncompress(*stream) != input;
      }
    });
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(failures, 0);
}

}  // namespace
}  // namespace orvane
