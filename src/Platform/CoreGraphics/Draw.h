#pragma once

// The rasteriser behind CGContextDrawImage, FillRect and ClearRect: works on
// a raw 8-bit bitmap described by DrawTarget, with the state in DrawState.

#include <cstddef>
#include <cstdint>

#include "Platform/CoreGraphics/ImageInternal.h"
#include "Platform/CoreGraphics/PixelFormat.h"
#include "orvane/Platform/CoreGraphics/CGAffineTransform.h"
#include "orvane/Platform/CoreGraphics/CGColorSpace.h"

namespace orvane {

/// An 8-bit bitmap: 4 channels (RGB with alpha or a skipped byte) or 1 (gray).
struct DrawTarget {
  std::uint8_t* data = nullptr;
  int width = 0;
  int height = 0;
  std::size_t bytesPerRow = 0;
  PixelFormat format;
  CGColorSpaceRef space;
};

/// Device clip in pixel coordinates with rows counted from the top:
/// x in [x0, x1), row in [y0, y1), fractional edges allowed.
struct DeviceClip {
  double x0 = 0, y0 = 0, x1 = 0, y1 = 0;
};

struct DrawState {
  CGAffineTransform ctm;
  DeviceClip clip;
  double alpha = 1.0;
  int quality = 0;
};

/// Draws `image` into `rect` (user space, y-up) of `target`.
void drawImage(const DrawTarget& target, const DrawState& state, CGRect rect, const CGImage& image);
/// Fills `rect` with a premultiplied colour (4 components: colour in the
/// target's space, 1 or 3 of them, then alpha), or clears it when `clear`.
void fillRect(const DrawTarget& target, const DrawState& state, CGRect rect, const float* color,
              bool clear);

}  // namespace orvane
