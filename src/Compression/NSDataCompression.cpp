#include "orvane/Compression/NSDataCompression.h"

#include <algorithm>
#include <limits>
#include <new>
#include <stdexcept>

#include "Platform/System/LibCompression.h"

namespace orvane {

namespace {

/// An empty buffer that can hold `size` bytes without growing, or nothing when
/// that much memory cannot be had.
std::optional<Data> bufferOfCapacity(std::uint64_t size) {
  if (size > std::numeric_limits<std::size_t>::max()) return std::nullopt;
  try {
    Data buffer;
    buffer.reserve(static_cast<std::size_t>(size));
    return buffer;
  } catch (const std::bad_alloc&) {
    return std::nullopt;
  } catch (const std::length_error&) {
    return std::nullopt;
  }
}

}  // namespace

std::optional<Data> NSDataCompression::compressWithAlgorithm(ByteView data,
                                                             compression_algorithm algorithm) {
  // The output may be as long as the input and no longer.
  std::optional<Data> output = bufferOfCapacity(data.size());
  if (!output) return std::nullopt;
  const std::size_t written = compressionEncodeBuffer(*output, data.size(), data, algorithm);
  if (written == 0) return std::nullopt;
  output->resize(written);
  return output;
}

std::optional<Data> NSDataCompression::upcompressWithBufferSizeAlgorithm(
    ByteView data, std::uint64_t size, compression_algorithm algorithm) {
  // Room is set aside for the size asked for only as far as the input can
  // decode to; a larger size, which the input cannot reach, fails once
  // decoding ends short of it.
  std::optional<Data> output =
      bufferOfCapacity(std::min<std::uint64_t>(size, decodedSizeBound(data, algorithm)));
  if (!output) return std::nullopt;
  const std::size_t written =
      compressionDecodeBuffer(*output, static_cast<std::size_t>(size), data, algorithm);
  if (written != size) return std::nullopt;
  output->resize(written);
  return output;
}

}  // namespace orvane
