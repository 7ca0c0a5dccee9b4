#include "orvane/Compression/NSDataCompression.h"

#include <brotli/decode.h>
#include <brotli/encode.h>
#include <gtest/gtest.h>
#include <lz4.h>
#include <sys/resource.h>
#include <lzma.h>
#include <zlib.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <random>
#include <thread>
#include <vector>

#include "orvane/Compression/NKZlibCompression.h"
#include "support/ChildProcess.h"

namespace orvane {
namespace {

#if defined(__SANITIZE_ADDRESS__)
constexpr bool kAddressSanitizer = true;
#elif defined(__has_feature)
constexpr bool kAddressSanitizer = __has_feature(address_sanitizer);
#else
constexpr bool kAddressSanitizer = false;
#endif

constexpr compression_algorithm kCodecs[] = {COMPRESSION_ZLIB, COMPRESSION_LZ4, COMPRESSION_LZ4_RAW,
                                             COMPRESSION_LZMA, COMPRESSION_BROTLI};

Data textLike(std::size_t size, unsigned seed = 11) {
  std::mt19937 rng(seed);
  static const char* const words[] = {"pixel ", "photo ", "thumbnail ", "render ", "a ", "\n"};
  Data d;
  while (d.size() < size) {
    const std::string_view w = words[rng() % 6];
    d.insert(d.end(), w.begin(), w.end());
  }
  d.resize(size);
  return d;
}

Data randomBytes(std::size_t size, unsigned seed = 5) {
  std::mt19937 rng(seed);
  Data d(size);
  for (auto& b : d) b = static_cast<std::uint8_t>(rng());
  return d;
}

void appendLE32(Data& d, std::uint32_t v) {
  for (int i = 0; i < 4; ++i) d.push_back(static_cast<std::uint8_t>(v >> (8 * i)));
}

void append(Data& d, std::string_view s) { d.insert(d.end(), s.begin(), s.end()); }

TEST(NSDataCompressionTest, RoundTripsEveryCodec) {
  // Small, and large enough for several LZ4 blocks and output pieces.
  for (const compression_algorithm algorithm : kCodecs) {
    for (const std::size_t size : {200u, 65536u, 65537u, 700000u}) {
      const Data input = textLike(size);
      const auto encoded = NSDataCompression::compressWithAlgorithm(input, algorithm);
      ASSERT_TRUE(encoded) << algorithm << " " << size;
      EXPECT_LT(encoded->size(), input.size());
      EXPECT_EQ(NSDataCompression::upcompressWithBufferSizeAlgorithm(*encoded, size, algorithm),
                input)
          << algorithm << " " << size;
    }
  }
}

TEST(NSDataCompressionTest, Lz4FramingSpansSeveralBlocks) {
  // Blocks of 1 MiB: compressible and incompressible stretches in one buffer,
  // so that compressed and stored blocks alternate.
  Data input = textLike(1 << 20);
  const Data noise = randomBytes(1 << 20);
  input.insert(input.end(), noise.begin(), noise.end());
  const Data tail = textLike(300000, 4);
  input.insert(input.end(), tail.begin(), tail.end());
  const auto encoded = NSDataCompression::compressWithAlgorithm(input, COMPRESSION_LZ4);
  ASSERT_TRUE(encoded);
  EXPECT_EQ(std::memcmp(encoded->data(), "bv41", 4), 0);
  const Data stored{'b', 'v', '4', '-'};
  EXPECT_NE(std::search(encoded->begin(), encoded->end(), stored.begin(), stored.end()),
            encoded->end());
  EXPECT_EQ(
      NSDataCompression::upcompressWithBufferSizeAlgorithm(*encoded, input.size(), COMPRESSION_LZ4),
      input);
  // Cut inside the stored block.
  EXPECT_EQ(
      NSDataCompression::upcompressWithBufferSizeAlgorithm(*encoded, 1500000, COMPRESSION_LZ4),
      Data(input.begin(), input.begin() + 1500000));
}

TEST(NSDataCompressionTest, DecodedSizeMustBeReachedAndLongerOutputIsCut) {
  const Data input = textLike(100000);
  for (const compression_algorithm algorithm : kCodecs) {
    const Data encoded = *NSDataCompression::compressWithAlgorithm(input, algorithm);
    const auto decode = [&](std::uint64_t size) {
      return NSDataCompression::upcompressWithBufferSizeAlgorithm(encoded, size, algorithm);
    };
    EXPECT_EQ(decode(input.size() + 1), std::nullopt) << algorithm;
    EXPECT_EQ(decode(input.size() * 2), std::nullopt) << algorithm;
    for (const std::size_t size : {input.size() - 1, std::size_t{70000}, std::size_t{1}}) {
      EXPECT_EQ(decode(size), Data(input.begin(), input.begin() + static_cast<long>(size)))
          << algorithm << " " << size;
    }
    // The equality test is the only check: a size of 0 is met by anything.
    EXPECT_EQ(decode(0), Data()) << algorithm;
  }
}

TEST(NSDataCompressionTest, EncodingThatDoesNotFitGivesNothing) {
  const Data tiny = dataOf("abc");
  for (const compression_algorithm algorithm : kCodecs) {
    EXPECT_EQ(NSDataCompression::compressWithAlgorithm(ByteView(), algorithm), std::nullopt);
    EXPECT_EQ(NSDataCompression::compressWithAlgorithm(tiny, algorithm), std::nullopt);
    EXPECT_EQ(NSDataCompression::compressWithAlgorithm(randomBytes(5000), algorithm), std::nullopt)
        << algorithm;
  }
}

TEST(NSDataCompressionTest, AlgorithmsWithoutCodecGiveNothing) {
  const Data input = textLike(5000);
  const Data encoded = *NSDataCompression::compressWithAlgorithm(input, COMPRESSION_ZLIB);
  for (const compression_algorithm algorithm :
       {COMPRESSION_LZFSE, COMPRESSION_LZBITMAP, compression_algorithm{0},
        compression_algorithm{0x204}, compression_algorithm{0xFFFFFFFF}}) {
    EXPECT_EQ(NSDataCompression::compressWithAlgorithm(input, algorithm), std::nullopt);
    EXPECT_EQ(NSDataCompression::upcompressWithBufferSizeAlgorithm(encoded, 5000, algorithm),
              std::nullopt);
  }
}

TEST(NSDataCompressionTest, OutputIsInThePlatformFormats) {
  const Data input = textLike(150000);
  const auto encode = [&](compression_algorithm a) {
    return *NSDataCompression::compressWithAlgorithm(input, a);
  };
  Data out(input.size());

  {  // Raw DEFLATE, no zlib header or trailer.
    const Data d = encode(COMPRESSION_ZLIB);
    z_stream zs{};
    ASSERT_EQ(inflateInit2(&zs, -15), Z_OK);
    zs.next_in = const_cast<Bytef*>(d.data());
    zs.avail_in = static_cast<uInt>(d.size());
    zs.next_out = out.data();
    zs.avail_out = static_cast<uInt>(out.size());
    EXPECT_EQ(inflate(&zs, Z_FINISH), Z_STREAM_END);
    EXPECT_EQ(zs.total_in, d.size());
    inflateEnd(&zs);
    EXPECT_EQ(out, input);
  }
  {  // One LZ4 block.
    const Data d = encode(COMPRESSION_LZ4_RAW);
    EXPECT_EQ(LZ4_decompress_safe(reinterpret_cast<const char*>(d.data()),
                                  reinterpret_cast<char*>(out.data()), static_cast<int>(d.size()),
                                  static_cast<int>(out.size())),
              static_cast<int>(input.size()));
    EXPECT_EQ(out, input);
  }
  {  // LZ4 blocks in "bv41" framing, ended by "bv4$".
    const Data d = encode(COMPRESSION_LZ4);
    Data decoded;
    std::size_t at = 0;
    while (at + 4 <= d.size() && std::memcmp(&d[at], "bv41", 4) == 0) {
      std::uint32_t sizes[2];
      std::memcpy(sizes, &d[at + 4], 8);
      Data block(sizes[0]);
      ASSERT_EQ(LZ4_decompress_safe(reinterpret_cast<const char*>(&d[at + 12]),
                                    reinterpret_cast<char*>(block.data()),
                                    static_cast<int>(sizes[1]), static_cast<int>(sizes[0])),
                static_cast<int>(sizes[0]));
      decoded.insert(decoded.end(), block.begin(), block.end());
      at += 12 + sizes[1];
    }
    EXPECT_EQ(at + 4, d.size());
    EXPECT_EQ(std::memcmp(&d[at], "bv4$", 4), 0);
    EXPECT_EQ(decoded, input);
  }
  {  // xz container with LZMA2.
    const Data d = encode(COMPRESSION_LZMA);
    const std::uint8_t magic[] = {0xFD, '7', 'z', 'X', 'Z', 0x00};
    EXPECT_EQ(std::memcmp(d.data(), magic, sizeof magic), 0);
    std::uint64_t limit = UINT64_MAX;
    std::size_t inPos = 0, outPos = 0;
    EXPECT_EQ(lzma_stream_buffer_decode(&limit, 0, nullptr, d.data(), &inPos, d.size(), out.data(),
                                        &outPos, out.size()),
              LZMA_OK);
    EXPECT_EQ(out, input);
  }
  {  // Brotli.
    const Data d = encode(COMPRESSION_BROTLI);
    std::size_t length = out.size();
    EXPECT_EQ(BrotliDecoderDecompress(d.size(), d.data(), &length, out.data()),
              BROTLI_DECODER_RESULT_SUCCESS);
    EXPECT_EQ(out, input);
  }
}

TEST(NSDataCompressionTest, DecodesBuffersMadeElsewhere) {
  const Data input = textLike(200000, 99);
  const auto decode = [&](const Data& d, compression_algorithm a) {
    return NSDataCompression::upcompressWithBufferSizeAlgorithm(d, input.size(), a);
  };
  {  // Raw DEFLATE at another level.
    z_stream zs{};
    ASSERT_EQ(deflateInit2(&zs, 9, Z_DEFLATED, -15, 9, Z_DEFAULT_STRATEGY), Z_OK);
    Data d(deflateBound(&zs, input.size()));
    zs.next_in = const_cast<Bytef*>(input.data());
    zs.avail_in = static_cast<uInt>(input.size());
    zs.next_out = d.data();
    zs.avail_out = static_cast<uInt>(d.size());
    ASSERT_EQ(deflate(&zs, Z_FINISH), Z_STREAM_END);
    d.resize(zs.total_out);
    deflateEnd(&zs);
    EXPECT_EQ(decode(d, COMPRESSION_ZLIB), input);
  }
  {  // LZ4 framing with a stored block and compressed blocks that refer back
     // into the previous block's output.
    Data d;
    append(d, "bv4-");
    appendLE32(d, 1000);
    d.insert(d.end(), input.begin(), input.begin() + 1000);
    LZ4_stream_t* stream = LZ4_createStream();
    LZ4_loadDict(stream, reinterpret_cast<const char*>(input.data()), 1000);
    for (std::size_t at = 1000; at < input.size();) {
      const std::size_t length = std::min<std::size_t>(30000, input.size() - at);
      Data block(LZ4_compressBound(static_cast<int>(length)));
      const int n =
          LZ4_compress_fast_continue(stream, reinterpret_cast<const char*>(input.data() + at),
                                     reinterpret_cast<char*>(block.data()),
                                     static_cast<int>(length), static_cast<int>(block.size()), 1);
      ASSERT_GT(n, 0);
      append(d, "bv41");
      appendLE32(d, static_cast<std::uint32_t>(length));
      appendLE32(d, static_cast<std::uint32_t>(n));
      d.insert(d.end(), block.begin(), block.begin() + n);
      at += length;
    }
    LZ4_freeStream(stream);
    append(d, "bv4$");
    EXPECT_EQ(decode(d, COMPRESSION_LZ4), input);
  }
  {  // xz at another preset, with another check.
    Data d(input.size());
    std::size_t length = 0;
    ASSERT_EQ(lzma_easy_buffer_encode(9, LZMA_CHECK_SHA256, nullptr, input.data(), input.size(),
                                      d.data(), &length, d.size()),
              LZMA_OK);
    d.resize(length);
    EXPECT_EQ(decode(d, COMPRESSION_LZMA), input);
  }
  {  // Brotli at the highest quality.
    Data d(input.size());
    std::size_t length = d.size();
    ASSERT_TRUE(BrotliEncoderCompress(11, 22, BROTLI_MODE_TEXT, input.size(), input.data(), &length,
                                      d.data()));
    d.resize(length);
    EXPECT_EQ(decode(d, COMPRESSION_BROTLI), input);
  }
}

TEST(NSDataCompressionTest, MalformedInputGivesNothing) {
  const Data input = textLike(50000);
  for (const compression_algorithm algorithm : kCodecs) {
    const Data encoded = *NSDataCompression::compressWithAlgorithm(input, algorithm);
    const auto decode = [&](ByteView d) {
      return NSDataCompression::upcompressWithBufferSizeAlgorithm(d, input.size(), algorithm);
    };
    EXPECT_EQ(decode(ByteView()), std::nullopt) << algorithm;
    EXPECT_EQ(decode(randomBytes(3000)), std::nullopt) << algorithm;
    // Truncated: nothing once data is missing. A cut that only loses the end
    // marks may still give every byte, and then the full size is met.
    for (std::size_t cut = 0; cut < encoded.size(); cut += 1 + encoded.size() / 50) {
      const auto result = decode(ByteView(encoded).first(cut));
      if (cut <= encoded.size() * 3 / 4) {
        EXPECT_EQ(result, std::nullopt) << algorithm << " " << cut;
      } else if (result) {
        EXPECT_EQ(*result, input) << algorithm << " " << cut;
      }
    }
  }
}

TEST(NSDataCompressionTest, Lz4FramingWithLyingHeadersGivesNothing) {
  const Data input = textLike(3000);
  const Data good = *NSDataCompression::compressWithAlgorithm(input, COMPRESSION_LZ4);
  ASSERT_EQ(std::memcmp(good.data(), "bv41", 4), 0);
  const auto decode = [&](const Data& d) {
    return NSDataCompression::upcompressWithBufferSizeAlgorithm(d, input.size(), COMPRESSION_LZ4);
  };
  auto patched = [&](std::size_t offset, std::uint32_t value) {
    Data d = good;
    std::memcpy(&d[offset], &value, 4);
    return d;
  };
  EXPECT_EQ(decode(patched(4, 2999)), std::nullopt);        // decoded size too small
  EXPECT_EQ(decode(patched(8, 0xFFFFFFF0)), std::nullopt);  // encoded size past the end
  EXPECT_EQ(decode(patched(0, 0x32347662)), std::nullopt);  // unknown block magic "bv42"
  Data stored;
  append(stored, "bv4-");
  appendLE32(stored, 0x7FFFFFFF);
  append(stored, "abc");
  EXPECT_EQ(decode(stored), std::nullopt);
}

// Inputs that claim far more output than they can hold, asked to decode into
// a large buffer: nothing is set aside for the claim. The child's peak
// resident memory shows what was touched.
TEST(NSDataCompressionTest, DecodersSetAsideOnlyWhatTheInputCanHold) {
  Data lyingLz4;  // one block of one encoded byte that claims 2 GiB
  append(lyingLz4, "bv41");
  appendLE32(lyingLz4, 0x7FFFFFFF);
  appendLE32(lyingLz4, 1);
  lyingLz4.push_back(0);
  ASSERT_EQ(lyingLz4.size(), 13u);
  const Data small = *NSDataCompression::compressWithAlgorithm(textLike(5000), COMPRESSION_ZLIB);
  const std::pair<const Data*, compression_algorithm> inputs[] = {
      {&lyingLz4, COMPRESSION_LZ4}, {&small, COMPRESSION_ZLIB}, {&small, COMPRESSION_LZ4_RAW}};
  for (const auto& [input, algorithm] : inputs) {
    SCOPED_TRACE(algorithm);
    auto result = testing::runInChild([&] {
      rusage before{}, after{};
      getrusage(RUSAGE_SELF, &before);
      const auto out = NSDataCompression::upcompressWithBufferSizeAlgorithm(
          *input, std::uint64_t{4} << 30, algorithm);
      getrusage(RUSAGE_SELF, &after);
      if (out) return 1;
      return after.ru_maxrss - before.ru_maxrss < (64 << 10) ? 0 : 2;  // in KiB
    });
    EXPECT_EQ(result.exitCode, 0) << result.stderrText;
  }
}

TEST(NSDataCompressionTest, UnobtainableDecodedSizeGivesNothing) {
  if (kAddressSanitizer)
    GTEST_SKIP() << "AddressSanitizer's allocator aborts on impossible sizes instead of failing";
  const Data encoded = *NSDataCompression::compressWithAlgorithm(textLike(5000), COMPRESSION_LZ4);
  EXPECT_EQ(NSDataCompression::upcompressWithBufferSizeAlgorithm(encoded, std::uint64_t{1} << 62,
                                                                 COMPRESSION_LZ4),
            std::nullopt);
  EXPECT_EQ(
      NSDataCompression::upcompressWithBufferSizeAlgorithm(encoded, UINT64_MAX, COMPRESSION_LZ4),
      std::nullopt);
}

}  // namespace
}  // namespace orvane

namespace orvane {
namespace {

TEST(CompressionConcurrencyTest, CallsFromManyThreadsShareNothing) {
  const Data input = textLike(120000, 21);
  std::vector<std::thread> threads;
  std::atomic<int> failures{0};
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int round = 0; round < 3; ++round) {
        for (const compression_algorithm algorithm :
             {COMPRESSION_ZLIB, COMPRESSION_LZ4, COMPRESSION_LZ4_RAW, COMPRESSION_BROTLI}) {
          const auto encoded = NSDataCompression::compressWithAlgorithm(input, algorithm);
          if (!encoded || NSDataCompression::upcompressWithBufferSizeAlgorithm(
                              *encoded, input.size(), algorithm) != input)
            ++failures;
        }
        const auto stream = NKZlibCompression::zlibCompressionCompress(input);
        if (!stream || NKZlibCompression::zlibCompressionUncompress(*stream) != input) ++failures;
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(failures, 0);
}

}  // namespace
}  // namespace orvane
