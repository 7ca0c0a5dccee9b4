// Compression beside the codec libraries called directly, on the same buffers
// in the same run. Buffers: 1 MiB and 64 MiB of real text (the system's
// licence and documentation files) and of already-compressed bytes (the
// system's .gz documentation files), read at start-up.
//
// Rows come in pairs, <operation>/<corpus>/<size>/Orvane and .../Library; the
// ratio of their bytes_per_second (always counted on the uncompressed size) is
// the figure that matters. NKZlibCompression is measured against compress2 at
// level 1 and uncompress; each NSDataCompression algorithm against its library
// with the same output capacity (the input's size for encoding, the decoded
// size for decoding), the library writing into uninitialised memory.
#include <benchmark/benchmark.h>
#include <brotli/decode.h>
#include <brotli/encode.h>
#include <lz4.h>
#include <lzma.h>
#include <zlib.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "orvane/Compression/NKZlibCompression.h"
#include "orvane/Compression/NSDataCompression.h"

namespace {

using orvane::ByteView;
using orvane::compression_algorithm;
using orvane::Data;

constexpr std::size_t kMiB = 1 << 20;

/// The files under `roots` (sorted, so every run reads the same bytes) whose
/// names do or do not end in ".gz", concatenated and repeated up to `size` bytes.
Data corpus(const std::vector<std::string>& roots, bool gzipped, std::size_t size) {
  std::vector<std::filesystem::path> files;
  for (const auto& root : roots) {
    std::error_code ec;
    for (auto it = std::filesystem::recursive_directory_iterator(root, ec);
         it != std::filesystem::recursive_directory_iterator(); it.increment(ec)) {
      if (ec) break;
      if (!it->is_regular_file(ec) || it->is_symlink(ec)) continue;
      if ((it->path().extension() == ".gz") == gzipped) files.push_back(it->path());
    }
  }
  std::sort(files.begin(), files.end());
  Data all;
  for (const auto& f : files) {
    std::ifstream in(f, std::ios::binary);
    all.insert(all.end(), std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    if (all.size() >= size) break;
  }
  if (all.empty()) {
    std::fprintf(stderr, "no input files found\n");
    std::exit(1);
  }
  Data out;
  out.reserve(size);
  while (out.size() < size)
    out.insert(out.end(), all.begin(),
               all.begin() + static_cast<long>(std::min(all.size(), size - out.size())));
  return out;
}

std::unique_ptr<std::uint8_t[]> uninitialised(std::size_t n) {
  return std::unique_ptr<std::uint8_t[]>(new std::uint8_t[n]);
}

// ---------------------------------------------------------------------------
// The libraries called directly. Each answers the output size, 0 on failure.

std::size_t zlibCompress2(ByteView in) {
  uLongf length = compressBound(in.size());
  auto out = uninitialised(length);
  return compress2(out.get(), &length, in.data(), in.size(), 1) == Z_OK ? length : 0;
}

std::size_t zlibUncompress(ByteView in, std::size_t size) {
  uLongf length = size;
  auto out = uninitialised(size);
  return uncompress(out.get(), &length, in.data(), in.size()) == Z_OK ? length : 0;
}

std::size_t deflateRaw(ByteView in, std::size_t capacity, bool decode) {
  auto out = uninitialised(capacity);
  z_stream zs{};
  if ((decode ? inflateInit2(&zs, -15)
              : deflateInit2(&zs, 5, Z_DEFLATED, -15, 8, Z_DEFAULT_STRATEGY)) != Z_OK)
    return 0;
  zs.next_in = const_cast<Bytef*>(in.data());
  zs.avail_in = static_cast<uInt>(in.size());
  zs.next_out = out.get();
  zs.avail_out = static_cast<uInt>(capacity);
  const int code = decode ? inflate(&zs, Z_FINISH) : deflate(&zs, Z_FINISH);
  const std::size_t n = zs.total_out;
  decode ? inflateEnd(&zs) : deflateEnd(&zs);
  return code == Z_STREAM_END ? n : 0;
}

std::size_t lz4Block(ByteView in, std::size_t capacity, bool decode) {
  auto out = uninitialised(capacity);
  const auto* src = reinterpret_cast<const char*>(in.data());
  auto* dst = reinterpret_cast<char*>(out.get());
  const int n =
      decode
          ? LZ4_decompress_safe(src, dst, static_cast<int>(in.size()), static_cast<int>(capacity))
          : LZ4_compress_default(src, dst, static_cast<int>(in.size()), static_cast<int>(capacity));
  return n > 0 ? static_cast<std::size_t>(n) : 0;
}

std::size_t xz(ByteView in, std::size_t capacity, bool decode) {
  auto out = uninitialised(capacity);
  std::size_t outPos = 0;
  if (decode) {
    std::uint64_t limit = UINT64_MAX;
    std::size_t inPos = 0;
    return lzma_stream_buffer_decode(&limit, 0, nullptr, in.data(), &inPos, in.size(), out.get(),
                                     &outPos, capacity) == LZMA_OK
               ? outPos
               : 0;
  }
  return lzma_easy_buffer_encode(6, LZMA_CHECK_CRC64, nullptr, in.data(), in.size(), out.get(),
                                 &outPos, capacity) == LZMA_OK
             ? outPos
             : 0;
}

std::size_t brotli(ByteView in, std::size_t capacity, bool decode) {
  auto out = uninitialised(capacity);
  std::size_t length = capacity;
  if (decode)
    return BrotliDecoderDecompress(in.size(), in.data(), &length, out.get()) ==
                   BROTLI_DECODER_RESULT_SUCCESS
               ? length
               : 0;
  return BrotliEncoderCompress(2, BROTLI_DEFAULT_WINDOW, BROTLI_MODE_GENERIC, in.size(), in.data(),
                               &length, out.get())
             ? length
             : 0;
}

struct Codec {
  const char* name;
  compression_algorithm algorithm;
  std::function<std::size_t(ByteView, std::size_t, bool)> library;
  bool slow;  // one iteration is enough at 64 MiB
};

const Codec kCodecs[] = {
    {"ZLIB", orvane::COMPRESSION_ZLIB, deflateRaw, false},
    {"LZ4_RAW", orvane::COMPRESSION_LZ4_RAW, lz4Block, false},
    // The framing has no library of its own: beside it, one LZ4 block of the whole buffer.
    {"LZ4", orvane::COMPRESSION_LZ4, lz4Block, false},
    {"LZMA", orvane::COMPRESSION_LZMA, xz, true},
    {"BROTLI", orvane::COMPRESSION_BROTLI, brotli, false},
};

void setBytes(benchmark::State& state, std::size_t bytes) {
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * bytes));
}

template <class F>
void add(const std::string& name, F body, bool slow, std::size_t size) {
  auto* b = benchmark::RegisterBenchmark(name.c_str(), body);
  b->Unit(benchmark::kMillisecond)->UseRealTime();
  if (slow && size > kMiB)
    b->Iterations(1);
  else
    b->MinTime(size > kMiB ? 1.0 : 0.3);
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  const std::vector<std::string> roots = {"/usr/share/common-licenses", "/usr/share/doc"};
  struct Buffer {
    std::string name;
    Data bytes;
  };
  std::vector<Buffer> buffers;
  for (const bool gzipped : {false, true}) {
    const Data big = corpus(roots, gzipped, 64 * kMiB);
    const std::string kind = gzipped ? "compressed" : "text";
    buffers.push_back({kind + "/1MiB", Data(big.begin(), big.begin() + kMiB)});
    buffers.push_back({kind + "/64MiB", big});
  }

  for (const auto& buffer : buffers) {
    const Data& input = buffer.bytes;
    const Data stream = *orvane::NKZlibCompression::zlibCompressionCompress(input);
    add(
        "ZlibCompress/" + buffer.name + "/Orvane",
        [&input](benchmark::State& s) {
          for (auto _ : s)
            benchmark::DoNotOptimize(orvane::NKZlibCompression::zlibCompressionCompress(input));
          setBytes(s, input.size());
        },
        false, input.size());
    add(
        "ZlibCompress/" + buffer.name + "/Library",
        [&input](benchmark::State& s) {
          for (auto _ : s) benchmark::DoNotOptimize(zlibCompress2(input));
          setBytes(s, input.size());
        },
        false, input.size());
    add(
        "ZlibUncompress/" + buffer.name + "/Orvane",
        [&input, stream](benchmark::State& s) {
          for (auto _ : s)
            benchmark::DoNotOptimize(orvane::NKZlibCompression::zlibCompressionUncompress(stream));
          setBytes(s, input.size());
        },
        false, input.size());
    add(
        "ZlibUncompress/" + buffer.name + "/Library",
        [&input, stream](benchmark::State& s) {
          for (auto _ : s) benchmark::DoNotOptimize(zlibUncompress(stream, input.size()));
          setBytes(s, input.size());
        },
        false, input.size());
  }

  for (const auto& codec : kCodecs) {
    for (const auto& buffer : buffers) {
      const Data& input = buffer.bytes;
      const std::string stem = std::string(codec.name) + "/" + buffer.name;
      add(
          "Encode/" + stem + "/Orvane",
          [&input, &codec](benchmark::State& s) {
            for (auto _ : s)
              benchmark::DoNotOptimize(
                  orvane::NSDataCompression::compressWithAlgorithm(input, codec.algorithm));
            setBytes(s, input.size());
          },
          codec.slow, input.size());
      add(
          "Encode/" + stem + "/Library",
          [&input, &codec](benchmark::State& s) {
            for (auto _ : s) benchmark::DoNotOptimize(codec.library(input, input.size(), false));
            setBytes(s, input.size());
          },
          codec.slow, input.size());

      // Decoding needs an encoded form; incompressible input only has one when
      // the encoder may overrun the input's size, so only text is decoded.
      if (buffer.name.rfind("text", 0) != 0) continue;
      const auto ours = orvane::NSDataCompression::compressWithAlgorithm(input, codec.algorithm);
      // The library decodes the very same buffer, except for the framing,
      // whose stand-in is one LZ4 block of the whole input.
      Data theirs;
      if (codec.algorithm == orvane::COMPRESSION_LZ4) {
        theirs.resize(input.size());
        const int n = LZ4_compress_default(
            reinterpret_cast<const char*>(input.data()), reinterpret_cast<char*>(theirs.data()),
            static_cast<int>(input.size()), static_cast<int>(input.size()));
        theirs.resize(n > 0 ? static_cast<std::size_t>(n) : 0);
      } else if (ours) {
        theirs = *ours;
      }
      if (!ours || theirs.empty()) continue;
      add(
          "Decode/" + stem + "/Orvane",
          [&input, &codec, encoded = *ours](benchmark::State& s) {
            for (auto _ : s)
              benchmark::DoNotOptimize(orvane::NSDataCompression::upcompressWithBufferSizeAlgorithm(
                  encoded, input.size(), codec.algorithm));
            setBytes(s, input.size());
          },
          false, input.size());
      add(
          "Decode/" + stem + "/Library",
          [&input, &codec, encoded = theirs](benchmark::State& s) {
            for (auto _ : s) benchmark::DoNotOptimize(codec.library(encoded, input.size(), true));
            setBytes(s, input.size());
          },
          false, input.size());
    }
  }

  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
