// Compression beside the codec libraries called directly, on the same buffers
// in the same run. Buffers: 1 MiB and 64 MiB of real text (the system's
// licence and documentation files) and of already-compressed bytes (the
// system's .gz documentation files), read at start-up.
//
// Each row times this library and the library called directly in alternation,
// call after call, in CPU time of the thread, so that load from elsewhere on
// the machine falls on both alike. Counters: Orvane and Library in bytes per second (always counted
// on the uncompressed size) and ratio = Orvane / Library, the figure that matters.
// NKZlibCompression is measured against compress2 at level 1 and uncompress; each NSDataCompression
// algorithm against its library with the same output capacity (the input's size for encoding, the
// decoded size for decoding), the library writing into uninitialised memory.
#include <benchmark/benchmark.h>
#include <brotli/decode.h>
#include <brotli/encode.h>
#include <lz4.h>
#include <lzma.h>
#include <time.h>
#include <zlib.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
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

/// A value made once, on first use (encoding 64 MiB with xz takes a while).
const Data& cached(const std::string& key, const std::function<Data()>& make) {
  static std::map<std::string, Data> cache;
  auto it = cache.find(key);
  if (it == cache.end()) it = cache.emplace(key, make()).first;
  return it->second;
}

using Call = std::function<void()>;

/// CPU time of the calling thread, kernel time (page faults) included. On a
/// machine shared with other work, time spent descheduled would otherwise
/// land on whichever side happened to be running.
double threadSeconds() {
  timespec t{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
}

/// Registers one row that alternates `ours` and `library` (which one goes first
/// alternates too) and reports both throughputs and their ratio.
/// `prepare` runs once before timing (to make encoded inputs on first use).
void pair(const std::string& name, std::size_t bytes, bool slow, std::function<void()> prepare,
          Call ours, Call library) {
  auto* b = benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
    prepare();
    double oursTime = 0, libraryTime = 0;
    bool oursFirst = true;
    for (auto _ : state) {
      const double t0 = threadSeconds();
      (oursFirst ? ours : library)();
      const double t1 = threadSeconds();
      (oursFirst ? library : ours)();
      const double t2 = threadSeconds();
      (oursFirst ? oursTime : libraryTime) += t1 - t0;
      (oursFirst ? libraryTime : oursTime) += t2 - t1;
      oursFirst = !oursFirst;
    }
    const double total = static_cast<double>(bytes) * static_cast<double>(state.iterations());
    state.counters["Orvane"] = benchmark::Counter(total / oursTime);
    state.counters["Library"] = benchmark::Counter(total / libraryTime);
    state.counters["ratio"] = libraryTime / oursTime;
  });
  b->Unit(benchmark::kMillisecond)->UseRealTime();
  if (slow && bytes > kMiB)
    b->Iterations(1);
  else
    b->MinTime(bytes > kMiB ? 2.0 : 1.0);
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

  const auto nothing = [] {};
  for (const auto& buffer : buffers) {
    const Data& input = buffer.bytes;
    const std::string key = "zlib/" + buffer.name;
    const auto stream = [&input, key]() -> const Data& {
      return cached(key,
                    [&] { return *orvane::NKZlibCompression::zlibCompressionCompress(input); });
    };
    pair(
        "ZlibCompress/" + buffer.name, input.size(), false, nothing,
        [&input] {
          benchmark::DoNotOptimize(orvane::NKZlibCompression::zlibCompressionCompress(input));
        },
        [&input] { benchmark::DoNotOptimize(zlibCompress2(input)); });
    pair(
        "ZlibUncompress/" + buffer.name, input.size(), false, [stream] { stream(); },
        [stream] {
          benchmark::DoNotOptimize(orvane::NKZlibCompression::zlibCompressionUncompress(stream()));
        },
        [&input, stream] { benchmark::DoNotOptimize(zlibUncompress(stream(), input.size())); });
  }

  for (const auto& codec : kCodecs) {
    for (const auto& buffer : buffers) {
      const Data& input = buffer.bytes;
      const std::string stem = std::string(codec.name) + "/" + buffer.name;
      pair(
          "Encode/" + stem, input.size(), codec.slow, nothing,
          [&input, &codec] {
            benchmark::DoNotOptimize(
                orvane::NSDataCompression::compressWithAlgorithm(input, codec.algorithm));
          },
          [&input, &codec] {
            benchmark::DoNotOptimize(codec.library(input, input.size(), false));
          });

      // Decoding needs an encoded form that fits into the input's size, so
      // only text is decoded. Encoded forms are made on first use.
      if (buffer.name.rfind("text", 0) != 0) continue;
      const auto ours = [&input, &codec, stem]() -> const Data& {
        return cached("ours/" + stem, [&] {
          return *orvane::NSDataCompression::compressWithAlgorithm(input, codec.algorithm);
        });
      };
      // The library decodes the very same buffer, except for the framing,
      // whose stand-in is one LZ4 block of the whole input.
      const auto theirs = [&input, &codec, stem, ours]() -> const Data& {
        if (codec.algorithm != orvane::COMPRESSION_LZ4) return ours();
        return cached("theirs/" + stem, [&] {
          Data d(input.size());
          const int n = LZ4_compress_default(
              reinterpret_cast<const char*>(input.data()), reinterpret_cast<char*>(d.data()),
              static_cast<int>(input.size()), static_cast<int>(input.size()));
          d.resize(static_cast<std::size_t>(n));
          return d;
        });
      };
      pair(
          "Decode/" + stem, input.size(), false,
          [ours, theirs] {
            ours();
            theirs();
          },
          [&input, &codec, ours] {
            benchmark::DoNotOptimize(orvane::NSDataCompression::upcompressWithBufferSizeAlgorithm(
                ours(), input.size(), codec.algorithm));
          },
          [&input, &codec, theirs] {
            benchmark::DoNotOptimize(codec.library(theirs(), input.size(), true));
          });
    }
  }

  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
