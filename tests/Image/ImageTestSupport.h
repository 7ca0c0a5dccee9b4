#pragma once

// Images, bitmaps and screens for the image tests (Core Graphics, Core Image, ImageIO, Image).

#include <array>
#include <cstdint>

#include "Platform/Foundation/EnvironmentOverrides.h"
#include "orvane/Platform/CoreGraphics/CGContext.h"
#include "orvane/Platform/CoreGraphics/CGImage.h"

namespace orvane::testing {

using Bytes = std::array<int, 4>;

inline CGColorSpaceRef srgb() { return CGColorSpaceCreateWithName(kCGColorSpaceSRGB); }

/// An image of packed rows (w * bpp / 8 bytes each).
inline CGImageRef image(std::size_t w, std::size_t h, std::size_t bpc, std::size_t bpp, CGBitmapInfo info, Data bytes,
                        CGColorSpaceRef space = srgb()) {
  return CGImageCreate(w, h, bpc, bpp, w * bpp / 8, std::move(space), info,
                       CGDataProviderCreateWithData(std::move(bytes)), nullptr, true, kCGRenderingIntentDefault);
}

inline CGImageRef image8(std::size_t w, std::size_t h, std::size_t channels, CGBitmapInfo info, Data bytes,
                         CGColorSpaceRef space = srgb()) {
  return image(w, h, 8, 8 * channels, info, std::move(bytes), std::move(space));
}

/// An RGBA image of one colour (opaque unless said otherwise).
inline CGImageRef solid(std::size_t w, std::size_t h, std::array<std::uint8_t, 3> rgb, std::uint8_t alpha = 255) {
  Data px;
  for (std::size_t i = 0; i < w * h; ++i) px.insert(px.end(), {rgb[0], rgb[1], rgb[2], alpha});
  return image8(w, h, 4, kCGImageAlphaPremultipliedLast, std::move(px));
}

/// A zeroed premultiplied ARGB sRGB bitmap, the layout the library's own thumbnails use.
inline CGContextRef argb(std::size_t w, std::size_t h) {
  return CGBitmapContextCreate(nullptr, w, h, 8, w * 4, srgb(), kCGImageAlphaPremultipliedFirst);
}

/// The four bytes of a bitmap's pixel (x from the left, row from the top).
inline Bytes at(const CGContextRef& ctx, std::size_t x, std::size_t row) {
  const auto* p = static_cast<const std::uint8_t*>(CGBitmapContextGetData(ctx)) +
                  row * CGBitmapContextGetBytesPerRow(ctx) + x * 4;
  return {p[0], p[1], p[2], p[3]};
}

/// The pixel bytes of an image (decoded if it came from a file).
inline Data pixelBytes(const CGImageRef& image) {
  const auto bytes = CGDataProviderCopyData(CGImageGetDataProvider(image));
  return bytes ? *bytes : Data{};
}

inline Bytes bytesAt(const CGImageRef& image, std::size_t offset) {
  const Data px = pixelBytes(image);
  return px.size() < offset + 4 ? Bytes{-1, -1, -1, -1} : Bytes{px[offset], px[offset + 1], px[offset + 2], px[offset + 3]};
}

using Dims = std::array<std::size_t, 2>;  // width and height
inline Dims dims(const CGImageRef& image) { return {CGImageGetWidth(image), CGImageGetHeight(image)}; }

/// Imposes a main screen (or none) for the object's lifetime.
struct ScopedMainScreen : ScopedEnvironmentOverrides {
  explicit ScopedMainScreen(std::optional<MainScreenOverride> screen)
      : ScopedEnvironmentOverrides([&] {
          EnvironmentOverrides o = environmentOverrides();
          o.mainScreen = screen.value_or(MainScreenOverride{});
          return o;
        }()) {}
};

}  // namespace orvane::testing
