// NSDataCompression's decoder for one algorithm (FUZZ_ALGORITHM) on arbitrary
// bytes. The first three bytes give the decoded size asked for (below 1 MiB);
// the rest is the encoded input. The answer is nothing or exactly that many
// bytes. Except for the slow xz encoder, the rest is also encoded and decoded
// again, which must give it back.
#include <algorithm>
#include <cstdint>
#include <cstdlib>

#include "orvane/Compression/NSDataCompression.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  if (size < 3) return 0;
  const std::size_t wanted = (bytes[0] | bytes[1] << 8 | bytes[2] << 16) & 0xFFFFF;
  const orvane::ByteView input(bytes + 3, size - 3);
  constexpr orvane::compression_algorithm algorithm = FUZZ_ALGORITHM;

  const auto decoded =
      orvane::NSDataCompression::upcompressWithBufferSizeAlgorithm(input, wanted, algorithm);
  if (decoded && decoded->size() != wanted) std::abort();

  if (algorithm != orvane::COMPRESSION_LZMA) {
    const auto encoded = orvane::NSDataCompression::compressWithAlgorithm(input, algorithm);
    if (encoded) {
      if (encoded->size() > input.size()) std::abort();
      const auto back = orvane::NSDataCompression::upcompressWithBufferSizeAlgorithm(
          *encoded, input.size(), algorithm);
      if (!back || !std::equal(back->begin(), back->end(), input.begin(), input.end()))
        std::abort();
    }
  }
  return 0;
}
