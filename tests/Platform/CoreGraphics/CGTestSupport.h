#pragma once

// Small helpers for the Core Graphics tests: images from bytes, an ARGB
// premultiplied sRGB bitmap, pixel reads.

#include <array>
#include <cstdint>
#include <vector>

#include "orvane/Platform/CoreGraphics/CGContext.h"
#include "orvane/Platform/CoreGraphics/CGImage.h"

namespace orvane::cgtest {

inline CGColorSpaceRef srgb() { return CGColorSpaceCreateWithName(kCGColorSpaceSRGB); }

/// An 8-bit image of `channels` components per pixel from packed bytes.
inline CGImageRef image8(int w, int h, int channels, CGBitmapInfo info, std::vector<std::uint8_t> bytes,
                         CGColorSpaceRef space = srgb()) {
  return CGImageCreate(static_cast<std::size_t>(w), static_cast<std::size_t>(h), 8,
                       static_cast<std::size_t>(8 * channels), static_cast<std::size_t>(w * channels),
                       std::move(space), info, CGDataProviderCreateWithData(std::move(bytes)), nullptr,
                       true, kCGRenderingIntentDefault);
}

/// An opaque RGBA image of one colour.
inline CGImageRef solid(int w, int h, std::array<std::uint8_t, 4> rgba) {
  std::vector<std::uint8_t> px;
  for (int i = 0; i < w * h; ++i) px.insert(px.end(), rgba.begin(), rgba.end());
  return image8(w, h, 4, kCGImageAlphaPremultipliedLast, std::move(px));
}

/// A zeroed premultiplied ARGB sRGB bitmap, the layout the library's own
/// thumbnails use.
inline CGContextRef argb(int w, int h) {
  return CGBitmapContextCreate(nullptr, static_cast<std::size_t>(w), static_cast<std::size_t>(h), 8,
                               static_cast<std::size_t>(w) * 4, srgb(), kCGImageAlphaPremultipliedFirst);
}

/// The four bytes of a pixel (x from the left, row from the top).
inline std::array<int, 4> at(const CGContextRef& ctx, int x, int row) {
  const auto* p = static_cast<const std::uint8_t*>(CGBitmapContextGetData(ctx)) +
                  static_cast<std::size_t>(row) * CGBitmapContextGetBytesPerRow(ctx) +
                  static_cast<std::size_t>(x) * 4;
  return {p[0], p[1], p[2], p[3]};
}

}  // namespace orvane::cgtest
