// MD5 digests beside OpenSSL's one-shot EVP digest, and the byte search beside
// memmem, on the same buffers in the same run. Compare the *_Orvane and
// *_OpenSSL (or *_memmem) rows: the ratio of their bytes_per_second is the
// figure that matters.
#include <benchmark/benchmark.h>
#include <openssl/evp.h>
#include <string.h>

#include <cstdint>
#include <random>

#include "orvane/Categories/NSDataLineRead.h"
#include "orvane/Categories/NSDataMd5.h"

namespace {

orvane::Data randomBytes(std::size_t size, std::uint8_t alphabet) {
  std::mt19937 rng(42);
  orvane::Data d(size);
  for (auto& b : d) b = static_cast<std::uint8_t>(rng() % alphabet);
  return d;
}

void BM_Md5_Orvane(benchmark::State& state) {
  const auto data = randomBytes(static_cast<std::size_t>(state.range(0)), 255);
  for (auto _ : state) benchmark::DoNotOptimize(orvane::NSDataMd5::md5Value(data));
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * state.range(0));
}

void BM_Md5_OpenSSL(benchmark::State& state) {
  const auto data = randomBytes(static_cast<std::size_t>(state.range(0)), 255);
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int length = 0;
  for (auto _ : state) {
    EVP_Digest(data.data(), data.size(), digest, &length, EVP_md5(), nullptr);
    benchmark::DoNotOptimize(digest);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * state.range(0));
}

BENCHMARK(BM_Md5_Orvane)->Arg(4 << 10)->Arg(16 << 20);
BENCHMARK(BM_Md5_OpenSSL)->Arg(4 << 10)->Arg(16 << 20);

// 64 MiB of text-like bytes with the pattern only at the very end, so both
// searches read everything.
const orvane::Data& haystack() {
  static const orvane::Data d = [] {
    auto bytes = randomBytes(64 << 20, 26);
    for (auto& b : bytes) b = static_cast<std::uint8_t>('a' + b);
    const char tail[] = "\r\n";
    bytes[bytes.size() - 2] = tail[0];
    bytes[bytes.size() - 1] = tail[1];
    return bytes;
  }();
  return d;
}

void BM_Find_Orvane(benchmark::State& state) {
  const auto& d = haystack();
  const orvane::Data pattern{'\r', '\n'};
  for (auto _ : state)
    benchmark::DoNotOptimize(orvane::NSDataLineRead::rangeOfDataFind(d, pattern));
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * d.size()));
}

void BM_Find_memmem(benchmark::State& state) {
  const auto& d = haystack();
  const char pattern[] = "\r\n";
  for (auto _ : state) benchmark::DoNotOptimize(memmem(d.data(), d.size(), pattern, 2));
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * d.size()));
}

BENCHMARK(BM_Find_Orvane);
BENCHMARK(BM_Find_memmem);

// 64 MiB of 80-character lines searched for a blank line that only ends the
// data: every line feed opens a partial match that the next byte breaks.
const orvane::Data& lines() {
  static const orvane::Data d = [] {
    orvane::Data bytes = haystack();
    for (std::size_t i = 79; i + 2 < bytes.size(); i += 80) bytes[i] = '\n';
    bytes[bytes.size() - 2] = '\n';
    bytes[bytes.size() - 1] = '\n';
    return bytes;
  }();
  return d;
}

void BM_FindLines_Orvane(benchmark::State& state) {
  const auto& d = lines();
  const orvane::Data pattern{'\n', '\n'};
  for (auto _ : state)
    benchmark::DoNotOptimize(orvane::NSDataLineRead::rangeOfDataFind(d, pattern));
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * d.size()));
}

void BM_FindLines_memmem(benchmark::State& state) {
  const auto& d = lines();
  for (auto _ : state) benchmark::DoNotOptimize(memmem(d.data(), d.size(), "\n\n", 2));
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * d.size()));
}

BENCHMARK(BM_FindLines_Orvane);
BENCHMARK(BM_FindLines_memmem);

}  // namespace

BENCHMARK_MAIN();
