#include "orvane/Compression/NKZlibCompression.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <csignal>
#include <random>
#include <vector>

#include "Compression/ZlibPasses.h"
#include "support/ChildProcess.h"

namespace orvane {
namespace {

Data textLike(std::size_t size, unsigned seed = 7) {
  std::mt19937 rng(seed);
  static const char* const words[] = {"image ", "store ", "chunk ", "table ", "the ", "of ", "\n"};
  Data d;
  while (d.size() < size) {
    const std::string_view w = words[rng() % 7];
    d.insert(d.end(), w.begin(), w.end());
  }
  d.resize(size);
  return d;
}

Data randomBytes(std::size_t size, unsigned seed = 3) {
  std::mt19937 rng(seed);
  Data d(size);
  for (auto& b : d) b = static_cast<std::uint8_t>(rng());
  return d;
}

/// zlib's own decoder, as an independent check of what we produce.
Data zlibUncompress(const Data& stream, std::size_t size) {
  Data out(size);
  uLongf length = size;
  EXPECT_EQ(uncompress(out.data(), &length, stream.data(), stream.size()), Z_OK);
  out.resize(length);
  return out;
}

TEST(NKZlibCompressionTest, EmptyInputGivesTheEightByteStreamOfNoData) {
  const auto stream = NKZlibCompression::zlibCompressionCompress(ByteView());
  ASSERT_TRUE(stream);
  EXPECT_EQ(*stream, (Data{0x78, 0x01, 0x03, 0x00, 0x00, 0x00, 0x00, 0x01}));
  const auto back = NKZlibCompression::zlibCompressionUncompress(*stream);
  ASSERT_TRUE(back);
  EXPECT_TRUE(back->empty());
}

TEST(NKZlibCompressionTest, EmptyInputDecodesToEmptyData) {
  const auto back = NKZlibCompression::zlibCompressionUncompress(ByteView());
  ASSERT_TRUE(back);
  EXPECT_TRUE(back->empty());
}

TEST(NKZlibCompressionTest, RoundTripsAcrossChunkBoundaries) {
  // Sizes around the 16384-byte chunk, and outputs spanning many chunks.
  for (const std::size_t size : {1u, 16383u, 16384u, 16385u, 100000u, 1u << 20}) {
    for (const Data& input : {textLike(size), randomBytes(size)}) {
      const auto stream = NKZlibCompression::zlibCompressionCompress(input);
      ASSERT_TRUE(stream) << size;
      EXPECT_EQ(zlibUncompress(*stream, size), input) << size;
      const auto back = NKZlibCompression::zlibCompressionUncompress(*stream);
      ASSERT_TRUE(back) << size;
      EXPECT_EQ(*back, input) << size;
    }
  }
}

TEST(NKZlibCompressionTest, StreamIsZlibFormatAtLevelOne) {
  const Data input = textLike(100000);
  const auto stream = NKZlibCompression::zlibCompressionCompress(input);
  ASSERT_TRUE(stream);
  ASSERT_GE(stream->size(), 2u);
  EXPECT_EQ((*stream)[0], 0x78);
  EXPECT_EQ((*stream)[1], 0x01);  // FLEVEL 0: the fastest compressor
  // Byte for byte what zlib's compress2 makes at level 1.
  Data expected(compressBound(input.size()));
  uLongf length = expected.size();
  ASSERT_EQ(compress2(expected.data(), &length, input.data(), input.size(), 1), Z_OK);
  expected.resize(length);
  EXPECT_EQ(*stream, expected);
}

TEST(NKZlibCompressionTest, BytesAfterTheStreamAreIgnored) {
  const Data input = textLike(40000);
  auto stream = *NKZlibCompression::zlibCompressionCompress(input);
  const Data junk = randomBytes(5000);
  stream.insert(stream.end(), junk.begin(), junk.end());
  EXPECT_EQ(NKZlibCompression::zlibCompressionUncompress(stream), input);
}

TEST(NKZlibCompressionTest, RejectsWhatIsNotAZlibStream) {
  const Data input = textLike(3000);
  // Raw deflate and gzip of the same bytes are refused, as is plain text.
  auto rawOrGzip = [&](int windowBits) {
    z_stream zs{};
    EXPECT_EQ(deflateInit2(&zs, 6, Z_DEFLATED, windowBits, 8, Z_DEFAULT_STRATEGY), Z_OK);
    Data out(deflateBound(&zs, input.size()));
    zs.next_in = const_cast<Bytef*>(input.data());
    zs.avail_in = static_cast<uInt>(input.size());
    zs.next_out = out.data();
    zs.avail_out = static_cast<uInt>(out.size());
    EXPECT_EQ(deflate(&zs, Z_FINISH), Z_STREAM_END);
    out.resize(zs.total_out);
    deflateEnd(&zs);
    return out;
  };
  EXPECT_EQ(NKZlibCompression::zlibCompressionUncompress(rawOrGzip(-15)), std::nullopt);
  EXPECT_EQ(NKZlibCompression::zlibCompressionUncompress(rawOrGzip(31)), std::nullopt);
  EXPECT_EQ(NKZlibCompression::zlibCompressionUncompress(input), std::nullopt);

  // A corrupted Adler-32 trailer is a data error.
  auto stream = *NKZlibCompression::zlibCompressionCompress(input);
  stream.back() ^= 0xFF;
  EXPECT_EQ(NKZlibCompression::zlibCompressionUncompress(stream), std::nullopt);
}

TEST(NKZlibCompressionTest, StreamNeedingADictionaryGivesNothing) {
  const Data input = textLike(2000);
  z_stream zs{};
  ASSERT_EQ(deflateInit(&zs, 1), Z_OK);
  const Data dictionary = dataOf("image store chunk");
  ASSERT_EQ(deflateSetDictionary(&zs, dictionary.data(), static_cast<uInt>(dictionary.size())),
            Z_OK);
  Data out(deflateBound(&zs, input.size()));
  zs.next_in = const_cast<Bytef*>(input.data());
  zs.avail_in = static_cast<uInt>(input.size());
  zs.next_out = out.data();
  zs.avail_out = static_cast<uInt>(out.size());
  ASSERT_EQ(deflate(&zs, Z_FINISH), Z_STREAM_END);
  out.resize(zs.total_out);
  deflateEnd(&zs);
  EXPECT_EQ(NKZlibCompression::zlibCompressionUncompress(out), std::nullopt);
}

TEST(NKZlibCompressionTest, TruncatedStreamsEndWithoutSpinning) {
  // Every prefix of a stream: the decoder is handed the prefix again from its
  // first byte; whatever comes of it, the call returns and never yields more
  // than the bounded passes can make.
  const Data input = textLike(20000);
  const auto stream = *NKZlibCompression::zlibCompressionCompress(input);
  for (std::size_t cut = 1; cut < stream.size(); cut += 97) {
    const auto back = NKZlibCompression::zlibCompressionUncompress(ByteView(stream).first(cut));
    if (back) {
      EXPECT_LE(back->size(), zlibpasses::kMaxPasses * 1032 * cut + 16384) << cut;
    }
  }
}

TEST(NKZlibCompressionTest, StoredBlockThatReadsItsOwnHeaderAgainIsBounded) {
  // A stored block of 65534 bytes whose stream header, read again as deflate
  // data, is a valid stored block of 1 byte: each re-delivery makes progress,
  // so only the pass bound stops it.
  Data stream{0x78, 0x01, 0x00, 0xFE, 0xFF, 0x01, 0x00};
  for (int i = 0; i < 100; ++i) stream.push_back(static_cast<std::uint8_t>('a' + i % 26));
  const auto back = NKZlibCompression::zlibCompressionUncompress(stream);
  ASSERT_TRUE(back);
  EXPECT_EQ(Data(back->begin(), back->begin() + 100), Data(stream.begin() + 7, stream.end()));
  EXPECT_LE(back->size(), zlibpasses::kMaxPasses * stream.size());
}

// A truncated stream crafted so that every re-delivery decodes afresh: the
// first pass reads one stored block of 65534 bytes; read again from its first
// byte, the stream header and the stored block's header are a stored block of
// one byte, after which the stored bytes are deflate blocks of their own: 4 MiB
// of zeros, then a stored block that ends exactly at the end of the input.
// Re-delivery then adds at most as much as the first pass made.
TEST(NKZlibCompressionTest, RedeliveryNeverAddsMoreThanTheFirstPassMade) {
  constexpr std::size_t kStored = 0xFFFE;
  Data stream{0x78, 0x01, 0x00, 0xFE, 0xFF, 0x01, 0x00, 0x00, 0x00, 0xFF, 0xFF};
  z_stream z{};
  ASSERT_EQ(deflateInit2(&z, 9, Z_DEFLATED, -15, 8, Z_DEFAULT_STRATEGY), Z_OK);
  const Data zeros(4 << 20, 0);
  Data packed(64 << 10);
  z.next_in = const_cast<Bytef*>(zeros.data());
  z.avail_in = static_cast<uInt>(zeros.size());
  z.next_out = packed.data();
  z.avail_out = static_cast<uInt>(packed.size());
  ASSERT_EQ(deflate(&z, Z_SYNC_FLUSH), Z_OK);  // ends on a byte, before a block header
  ASSERT_EQ(z.avail_in, 0u);
  packed.resize(packed.size() - z.avail_out);
  deflateEnd(&z);
  stream.insert(stream.end(), packed.begin(), packed.end());
  const std::size_t end = 7 + kStored;
  ASSERT_LE(stream.size() + 5, end);
  const auto filler = static_cast<std::uint16_t>(end - stream.size() - 5);
  for (const std::uint8_t b :
       {std::uint8_t{0}, std::uint8_t(filler), std::uint8_t(filler >> 8), std::uint8_t(~filler),
        std::uint8_t(~filler >> 8)})
    stream.push_back(b);
  stream.resize(end, 'f');

  const auto back = NKZlibCompression::zlibCompressionUncompress(stream);
  ASSERT_TRUE(back);
  EXPECT_EQ(Data(back->begin(), back->begin() + kStored), Data(stream.begin() + 7, stream.end()));
  EXPECT_LE(back->size(), 2 * kStored);
}

// A stand-in for the zlib stream that answers scripted codes, to reach the
// branches that real zlib only takes on a damaged stream record.
struct ScriptedStream {
  static inline std::vector<int> script;
  static inline std::uint32_t fill = 0;
  static inline int ends = 0;
  std::size_t next = 0;
  std::uint32_t in = 0;
  std::uint32_t out = 0;

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

TEST(NKZlibCompressionTest, ErrorCodesEndTheStreamAndGiveNothing) {
  for (const int code : {kZlibNeedDict, kZlibDataError, kZlibMemError}) {
    ScriptedStream::script = {kZlibOk, code};
    ScriptedStream::fill = zlibpasses::kChunkSize;  // first call fills the chunk
    ScriptedStream::ends = 0;
    EXPECT_EQ(zlibpasses::uncompress<ScriptedStream>(bytesOf("x")), std::nullopt) << code;
    EXPECT_EQ(ScriptedStream::ends, 1) << code;
  }
}

TEST(NKZlibCompressionTest, BufferErrorIsNotAFailure) {
  ScriptedStream::script = {kZlibBufError};
  ScriptedStream::fill = 0;
  const auto result = zlibpasses::uncompress<ScriptedStream>(bytesOf("x"));
  ASSERT_TRUE(result);
  EXPECT_TRUE(result->empty());
}

TEST(NKZlibCompressionTest, StreamErrorStopsTheProcessWithTheAssertion) {
  const auto child = testing::runInChild([] {
    ScriptedStream::script = {kZlibStreamError};
    ScriptedStream::fill = 0;
    zlibpasses::uncompress<ScriptedStream>(bytesOf("x"));
    return 0;
  });
  EXPECT_EQ(child.signal, SIGABRT);
  EXPECT_EQ(child.stderrText,
            "Assertion failed: (ret != Z_STREAM_ERROR), function +[NKZlibCompression "
            "zlibCompressionUncompress:], file Compression/NKZlibCompression, line 87.\n");
}

}  // namespace
}  // namespace orvane
