#include "orvane/Compression/NKZlibCompression.h"

#include "Compression/ZlibPasses.h"
#include "Platform/System/ZlibStream.h"

namespace orvane {

namespace {
constexpr int kLevel = 1;
}  // namespace

std::optional<Data> NKZlibCompression::zlibCompressionCompress(ByteView data) {
  using zlibpasses::kChunkSize;
  std::uint8_t chunk[kChunkSize] = {};
  Data result;
  ZlibStream stream;
  if (stream.initDeflate(kLevel, zlibpasses::kVersionText) != kZlibOk) return std::nullopt;
  // The count is 32 bits wide: longer inputs are cut to their length modulo 2^32.
  stream.setInput(data.data(), static_cast<std::uint32_t>(data.size()));
  do {
    stream.setOutput(chunk, kChunkSize);
    stream.deflateFinish();
    result.insert(result.end(), chunk, chunk + (kChunkSize - stream.availOut()));
  } while (stream.availOut() == 0);
  stream.end();
  return result;
}

std::optional<Data> NKZlibCompression::zlibCompressionUncompress(ByteView data) {
  return zlibpasses::uncompress<ZlibStream>(data);
}

}  // namespace orvane
