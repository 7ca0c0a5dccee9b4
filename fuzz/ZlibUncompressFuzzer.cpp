// NKZlibCompression's decoder on arbitrary bytes: it must answer (data or
// nothing) without crashing, reading out of bounds or spinning on truncated
// streams. Compressing the same bytes and decoding them again must give them back.
#include <cstdint>
#include <cstdlib>

#include "orvane/Compression/NKZlibCompression.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const orvane::ByteView input(bytes, size);
  (void)orvane::NKZlibCompression::zlibCompressionUncompress(input);

  const auto stream = orvane::NKZlibCompression::zlibCompressionCompress(input);
  if (!stream) std::abort();
  const auto back = orvane::NKZlibCompression::zlibCompressionUncompress(*stream);
  if (!back || back->size() != size || !std::equal(back->begin(), back->end(), bytes)) std::abort();
  return 0;
}
