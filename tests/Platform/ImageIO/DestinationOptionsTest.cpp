#include <gtest/gtest.h>

#include "orvane/Platform/ImageIO/CGImageDestination.h"

namespace orvane {
namespace {

// A noisy image, so that JPEG's size follows its quality.
CGImageRef noise() {
  constexpr std::size_t kSide = 64;
  Data pixels(kSide * kSide * 3);
  std::uint32_t x = 7;
  for (auto& b : pixels) b = static_cast<std::uint8_t>((x = x * 1664525u + 1013904223u) >> 24);
  return CGImageCreate(kSide, kSide, 8, 24, kSide * 3, CGColorSpaceCreateWithName(kCGColorSpaceSRGB),
                       kCGImageAlphaNone, CGDataProviderCreateWithData(std::move(pixels)), nullptr, true,
                       kCGRenderingIntentDefault);
}

Data jpeg(const NSDictionary* options, const NSDictionary* properties) {
  auto data = std::make_shared<Data>();
  const auto destination = CGImageDestinationCreateWithData(data, kUTTypeJPEG, 1, options);
  CGImageDestinationAddImage(destination, noise(), properties);
  EXPECT_TRUE(CGImageDestinationFinalize(destination));
  return *data;
}

TEST(ImageDestinationOptions, QualityFromTheOptionsAndTheImagesPropertiesWhichWin) {
  const NSDictionary low{{kCGImageDestinationLossyCompressionQuality, 0.1f}};
  const NSDictionary high{{kCGImageDestinationLossyCompressionQuality, 1.0f}};
  const NSDictionary other{{kCGImagePropertyOrientation, 6}};
  const Data atLow = jpeg(&low, nullptr), atHigh = jpeg(&high, nullptr);
  EXPECT_LT(atLow.size() * 2, atHigh.size());
  EXPECT_EQ(jpeg(&low, &high), atHigh) << "the image's quality wins";
  EXPECT_EQ(jpeg(&high, &other), atHigh) << "properties without a quality keep the options'";
  EXPECT_EQ(jpeg(nullptr, nullptr), jpeg(&other, nullptr)) << "no quality: the default";
  EXPECT_NE(jpeg(nullptr, nullptr), atHigh);
}

}  // namespace
}  // namespace orvane
