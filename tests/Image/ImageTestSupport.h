#pragma once

// Images and screens for the image interface's tests.

#include <array>
#include <cstdint>

#include "Platform/Foundation/EnvironmentOverrides.h"
#include "orvane/Platform/CoreGraphics/CGContext.h"
#include "orvane/Platform/CoreGraphics/CGImage.h"

namespace orvane::testing {

/// An opaque RGBA image of one colour.
inline CGImageRef solidImage(std::size_t w, std::size_t h, std::array<std::uint8_t, 3> rgb) {
  Data px;
  px.reserve(w * h * 4);
  for (std::size_t i = 0; i < w * h; ++i) px.insert(px.end(), {rgb[0], rgb[1], rgb[2], 255});
  return CGImageCreate(w, h, 8, 32, w * 4, CGColorSpaceCreateWithName(kCGColorSpaceSRGB),
                       kCGImageAlphaPremultipliedLast, CGDataProviderCreateWithData(std::move(px)),
                       nullptr, true, kCGRenderingIntentDefault);
}

/// The pixel bytes of an image (decoded if it came from a file).
inline Data pixelBytes(const CGImageRef& image) {
  const auto bytes = CGDataProviderCopyData(CGImageGetDataProvider(image));
  return bytes ? *bytes : Data{};
}

/// Imposes a main screen (or none) for the object's lifetime.
class ScopedMainScreen {
 public:
  explicit ScopedMainScreen(std::optional<MainScreenOverride> screen)
      : overrides_(withScreen(std::move(screen))) {}

 private:
  static EnvironmentOverrides withScreen(std::optional<MainScreenOverride> screen) {
    EnvironmentOverrides o = environmentOverrides();
    o.mainScreen = screen ? *screen : MainScreenOverride{};
    return o;
  }
  ScopedEnvironmentOverrides overrides_;
};

}  // namespace orvane::testing
