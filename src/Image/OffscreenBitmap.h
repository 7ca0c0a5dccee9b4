#pragma once

// The off-screen bitmap every drawn image of the image utilities goes
// through, and the conversion of a side in points to whole pixels.

#include <cstddef>
#include <memory>

#include "orvane/Platform/CoreGraphics/CGContext.h"

namespace orvane {

/// A bitmap context that owns its storage: sRGB, 8 bits per component, alpha
/// first and premultiplied (bitmap info 2: bytes A, R, G, B), rows packed
/// (width x 4 bytes). Null when it cannot be made (a zero side, too large).
inline std::shared_ptr<CGContext> offscreenBitmap(std::size_t width, std::size_t height) {
  return CGBitmapContextCreate(nullptr, width, height, 8, width * 4,
                               CGColorSpaceCreateWithName(kCGColorSpaceSRGB),
                               kCGImageAlphaPremultipliedFirst);
}

/// A side truncated toward zero to whole pixels; 0 (no bitmap can have it)
/// for what is not a number, negative or beyond any bitmap, where a plain
/// conversion would be undefined.
inline std::size_t truncatedSide(double value) {
  constexpr double kBeyondAnyBitmap = 4294967296.0;
  if (!(value >= 0.0 && value < kBeyondAnyBitmap)) return 0;
  return static_cast<std::size_t>(value);
}

}  // namespace orvane
