// One image codec (FUZZ_FORMAT, numbered as the bitmap file types) on
// arbitrary bytes: properties, full decode, row streaming and, where the
// format has them, reduced decodes. Every answer must be self-consistent.
// Images above 4 megapixels are only parsed: their pixel buffers would
// measure the fuzzer's memory limit, not the decoder.
#include <cstdint>
#include <cstdlib>

#include "Platform/ImageIO/ImageCodec.h"

namespace {

using namespace orvane::imageio;

class CountingSink final : public RowSink {
 public:
  bool begin(const ImageInfo& info) override {
    info_ = info;
    return true;
  }
  void row(std::uint32_t y, const std::uint8_t* bytes) override {
    if (y != rows++) std::abort();
    // Touch every byte so that reads of memory never written show up.
    unsigned sum = 0;
    for (std::size_t i = 0; i < std::size_t{info_.width} * info_.bytesPerPixel(); ++i) sum += bytes[i];
    checksum += sum;
  }
  ImageInfo info_;
  std::uint32_t rows = 0;
  unsigned checksum = 0;
};

constexpr std::uint64_t kFuzzMaxPixels = std::uint64_t{1} << 22;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const orvane::ByteView input(bytes, size);
  const ImageCodec& codec = codecFor(static_cast<ImageFormat>(FUZZ_FORMAT));
  const auto info = codec.readInfo(input);
  if (!info) return 0;
  if (!sizeWithinLimits(info->width, info->height)) std::abort();
  if (std::uint64_t{info->width} * info->height > kFuzzMaxPixels) return 0;
  const auto pixels = codec.decode(input);
  if (pixels) {
    if (pixels->info.width != info->width || pixels->info.height != info->height ||
        pixels->storage.size() != pixels->byteCount()) {
      std::abort();
    }
  }
  CountingSink sink;
  if (codec.decodeRows(input, sink) && sink.rows != info->height) std::abort();
  const auto reduced = codec.decodeReduced(input, info->width / 4 + 1, info->height / 4 + 1);
  if (reduced && (reduced->info.width < info->width / 4 + 1 || reduced->info.width > info->width)) std::abort();
  // Reduced rows streamed: as many as the reduced size the headers promise.
  if (const auto promised = codec.reducedInfo(input, info->width / 4 + 1, info->height / 4 + 1)) {
    CountingSink reducedSink;
    if (codec.decodeReducedRows(input, info->width / 4 + 1, info->height / 4 + 1, reducedSink) &&
        reducedSink.rows != promised->height) {
      std::abort();
    }
  }
  return 0;
}
