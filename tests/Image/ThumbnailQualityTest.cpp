// Thumbnails of large pictures come from reduced decodes (JPEG's scaled IDCT,
// JPEG 2000's resolution levels) or from rows streamed into the average; in
// every format the result stays within 40 dB of the exact area average of
// the full-size decode.

#include <gtest/gtest.h>

#include <cmath>

#include "orvane/Image/HXImageUtility.h"
#include "support/AreaAverage.h"
#include "ImageTestSupport.h"

namespace orvane {
namespace {

// Smooth colour with hard-edged bars and grain: what a photograph asks of a
// reduced decode (flat areas, edges, texture).
CGImageRef photoLike(std::size_t w, std::size_t h) {
  Data px(w * h * 4);
  std::uint32_t seed = 7;
  for (std::size_t y = 0; y < h; ++y) {
    for (std::size_t x = 0; x < w; ++x) {
      seed = seed * 1664525u + 1013904223u;
      const int grain = static_cast<int>(seed >> 28) - 8;
      const bool bar = (x / 37 + y / 53) % 5 == 0;
      const double v[3] = {128 + 100 * std::sin(x / 90.0), bar ? 230.0 : 120 + 90 * std::cos(y / 70.0),
                           bar ? 20.0 : 128 + 80 * std::sin((x + y) / 150.0)};
      for (int c = 0; c < 3; ++c) px[(y * w + x) * 4 + c] = static_cast<std::uint8_t>(std::clamp(int(v[c]) + grain, 0, 255));
      px[(y * w + x) * 4 + 3] = 255;
    }
  }
  return CGImageCreate(w, h, 8, 32, w * 4, CGColorSpaceCreateWithName(kCGColorSpaceSRGB), kCGImageAlphaNoneSkipLast,
                       CGDataProviderCreateWithData(std::move(px)), nullptr, true, kCGRenderingIntentDefault);
}

TEST(ThumbnailQuality, EveryFormatStaysWithin40dBOfTheAreaAverage) {
  const CGImageRef picture = photoLike(1600, 1200);
  for (const char* type : {"public.jpeg", "public.jpeg-2000", "public.png", "public.tiff", "com.microsoft.bmp"}) {
    SCOPED_TRACE(type);
    const auto file = HXImageUtility::saveImageWithFormatQualityProperty(picture, type, 0.9, nullptr);
    ASSERT_TRUE(file && !file->empty());
    const CGImageRef thumb = HXImageUtility::createThumbnailFromImage({100, 100}, HXImageUtility::readImageFromData(*file));
    ASSERT_EQ(testing::dims(thumb), (testing::Dims{100, 75}));
    const CGImageRef full = HXImageUtility::readImageFromData(*file);
    const Data pixels = testing::pixelBytes(full);
    const Data thumbPixels = testing::pixelBytes(thumb);
    const testing::SourcePixels source{pixels.data(), CGImageGetWidth(full), CGImageGetHeight(full),
                                       CGImageGetBitsPerPixel(full) / 8, CGImageGetBytesPerRow(full)};
    EXPECT_GE(testing::psnrAgainstAreaAverage(source, thumbPixels.data(), 100, 75, CGImageGetBytesPerRow(thumb)), 40.0);
  }
}

}  // namespace
}  // namespace orvane
