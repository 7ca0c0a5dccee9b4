// The format sniffer on arbitrary bytes, then the properties reader of the
// codec it picks (the path CGImageSourceCreateWithData takes).
#include <cstdint>
#include <cstdlib>

#include "Platform/ImageIO/ImageCodec.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  using namespace orvane::imageio;
  const orvane::ByteView input(bytes, size);
  const ImageCodec* codec = sniffCodec(input);
  if (!codec) return 0;
  if (!codec->sniff(input)) std::abort();
  const auto info = codec->readInfo(input);
  if (info && (!sizeWithinLimits(info->width, info->height) || info->channels < 1 || info->channels > 4 ||
               info->orientation < 1 || info->orientation > 8)) {
    std::abort();
  }
  return 0;
}
