#pragma once

// Where the colour and alpha components of a pixel sit, worked out once from
// bits per component, bits per pixel, bitmap info and the colour space's
// component count.

#include <cstddef>
#include <cstdint>
#include <optional>

#include "orvane/Platform/CoreGraphics/CGBitmapInfo.h"

namespace orvane {

struct PixelFormat {
  /// Components per pixel as stored (1 to 4), each of bitsPerComponent.
  int channels = 4;
  /// 8 or 16.
  int bitsPerComponent = 8;
  /// 1 (gray) or 3 (RGB) colour components.
  int colors = 3;
  /// Component index of red, green, blue (all three the gray index for
  /// gray) and of alpha (-1 when there is none or it is skipped).
  int red = 0, green = 1, blue = 2, alpha = 3;
  /// Index of a skipped component, or -1.
  int skip = -1;
  /// Colours are stored multiplied by alpha (true also when there is no alpha).
  bool premultiplied = true;
  /// 16-bit components are stored big-endian.
  bool bigEndian16 = false;

  /// The format of a layout, or nothing when no image can have it.
  static std::optional<PixelFormat> of(std::size_t bitsPerComponent, std::size_t bitsPerPixel,
                                       CGBitmapInfo info, std::size_t colorComponents);

  bool hasAlpha() const noexcept { return alpha >= 0; }
  int bytesPerPixel() const noexcept { return channels * bitsPerComponent / 8; }
  /// True when the stored components can be averaged as they are: already
  /// premultiplied (or opaque) and in host byte order.
  bool resamplesAsStored() const noexcept { return premultiplied && !bigEndian16; }
};

}  // namespace orvane
