#include <gtest/gtest.h>

#include <functional>
#include <numbers>

#include "Image/ImageTestSupport.h"
#include "orvane/Platform/CoreImage/CIContext.h"
#include "orvane/Platform/CoreImage/CIFilter.h"

namespace orvane {
namespace {

TEST(CIImageTest, ExtentsFollowEachStepExactlyCropsIntersectAndUnboundedOrEmptyImagesStaySo) {
  const auto image = CIImage::imageWithCGImage(testing::image8(100, 50, 1, kCGImageAlphaNone, Data(5000, 7),
                                                              CGColorSpaceCreateDeviceGray()));
  // Two turns by 45 degrees: the box of the box, not of one turn by 90 degrees (50 x 100).
  const auto eighth = CGAffineTransformMakeRotation(std::numbers::pi / 4);
  const auto once = image->imageByApplyingTransform(eighth), twice = once->imageByApplyingTransform(eighth);
  EXPECT_EQ(twice->extent(), CGRectApplyAffineTransform(once->extent(), eighth)) << "to the last bit";
  EXPECT_TRUE(image->CGImage() && !twice->CGImage() && !image->imageByCroppingToRect(image->extent())->CGImage());
  EXPECT_EQ(image->imageByCroppingToRect(CGRectMake(-10, 20, 50, 100))->extent(), CGRectMake(0, 20, 40, 30));
  const auto color = CIImage::imageWithColor(CIColor::colorWithRedGreenBlue(0, 0, 1));
  EXPECT_TRUE(CGRectIsInfinite(color->imageByApplyingTransform(CGAffineTransformMakeRotation(1))->extent()));
  EXPECT_TRUE(CGRectIsNull(CIImage::emptyImage()->imageByApplyingTransform(CGAffineTransformMakeScale(2, 2))->extent()));
  EXPECT_FALSE(CIImage::imageWithCGImage(nullptr) || CIImage::imageWithColor(nullptr));
}

// The filter's values: those of its keys and types, and no others.
TEST(CIFilterTest, KeepsTheValuesItTakesAndRefusesOthers) {
  auto filter = CIFilter::filterWithName("CIAffineTransform");
  const auto image = CIImage::emptyImage();
  ASSERT_TRUE(filter && !CIFilter::filterWithName("ciaffinetransform") && filter->setValueForKey(image, kCIInputImageKey));
  EXPECT_FALSE(filter->setValueForKey(image, kCIInputTransformKey) || filter->setValueForKey(image, "inputScale"));
  EXPECT_EQ(std::get<std::shared_ptr<const CIImage>>(filter->valueForKey(kCIInputImageKey)), image);
  EXPECT_TRUE(std::holds_alternative<std::monostate>(filter->valueForKey(kCIInputTransformKey)));
}

using Pixel = std::array<std::uint8_t, 4>;  // R G B A, premultiplied

// Deterministic noise: neighbouring pixels differ widely, so any resampling shows.
Pixel noise(std::size_t col, std::size_t row) {
  const std::uint32_t h = std::uint32_t(col * 73856093u ^ row * 19349663u) * 1103515245u + 12345u;
  return {std::uint8_t(h >> 24), std::uint8_t(h >> 16), std::uint8_t(h >> 8), 255};
}

CGImageRef noiseImage(std::size_t width, std::size_t height) {
  Data bytes;
  for (std::size_t i = 0; i < width * height; ++i)
    for (const std::uint8_t v : noise(i % width, i / width)) bytes.push_back(v);
  return testing::image8(width, height, 4, kCGImageAlphaPremultipliedLast, bytes);
}

// Every pixel of an RGBA image against `want(col, row)`, to `tolerance` levels.
void expectPixels(const CGImageRef& image, const std::function<Pixel(std::size_t, std::size_t)>& want, int tolerance = 0) {
  ASSERT_TRUE(image);
  const Data bytes = testing::pixelBytes(image);
  for (std::size_t row = 0; row < CGImageGetHeight(image); ++row)
    for (std::size_t col = 0; col < CGImageGetWidth(image); ++col) {
      const Pixel w = want(col, row);
      for (int c = 0; c < 4; ++c)
        ASSERT_NEAR(bytes[row * CGImageGetBytesPerRow(image) + col * 4 + c], w[c], tolerance) << col << "," << row;
    }
}

std::shared_ptr<CIContext> context() { return CIContext::contextWithOptions(nullptr); }

TEST(CIContextTest, WholePixelMovesCopyPixelsAndCropsFillExactlyTheirRectangle) {
  const auto moved = CIImage::imageWithCGImage(noiseImage(4, 3))->imageByApplyingTransform(CGAffineTransformMakeTranslation(1, 1));
  // Up by one is one row nearer the top in memory: output row r shows source row r - 1.
  expectPixels(context()->createCGImageFromRect(moved, CGRectMake(0, 0, 6, 5)), [](std::size_t col, std::size_t row) {
    return row >= 1 && row <= 3 && col >= 1 && col <= 4 ? noise(col - 1, row - 1) : Pixel{0, 0, 0, 0};
  });
  const auto red = CIImage::imageWithColor(CIColor::colorWithRedGreenBlueAlpha(1, 0.5, 0, 0.5))
                       ->imageByCroppingToRect(CGRectMake(2, 1, 3, 2));
  // y from 1 to 3 of 4 is memory rows 1 and 2.
  expectPixels(context()->createCGImageFromRect(red, CGRectMake(0, 0, 6, 4)), [](std::size_t col, std::size_t row) {
    return col >= 2 && col <= 4 && row >= 1 && row <= 2 ? Pixel{128, 64, 0, 128} : Pixel{0, 0, 0, 0};
  }, 1);
}

TEST(CIContextTest, AThousandSmallTurnsAreSampledOnceAndGiveTheImageBack) {
  constexpr std::size_t n = 32;
  const CGAffineTransform step = CGAffineTransformConcat(  // 0.36 degrees about the centre
      CGAffineTransformConcat(CGAffineTransformMakeTranslation(-16, -16), CGAffineTransformMakeRotation(0.36 * std::numbers::pi / 180)),
      CGAffineTransformMakeTranslation(16, 16));
  auto turned = CIImage::imageWithCGImage(noiseImage(n, n));
  for (int i = 1; i <= 1000; ++i) turned = turned->imageByApplyingTransform(step);
  expectPixels(context()->createCGImageFromRect(turned, CGRectMake(0, 0, n, n)), noise, 1);
}

TEST(CIContextTest, AnswersNothingForUnusableArguments) {
  const auto ctx = context();
  const auto image = CIImage::imageWithCGImage(noiseImage(4, 4));
  EXPECT_FALSE(CIContext::contextWithCGContextOptions(nullptr, nullptr) || ctx->createCGImageFromRect(nullptr, image->extent()));
  for (const CGRect r : {CGRectNull, CGRectInfinite, CGRectMake(0, 0, 0, 4), CGRectMake(0, 0, 70000, 1)})
    EXPECT_EQ(ctx->createCGImageFromRect(image, r), nullptr);
  ctx->drawImageInRectFromRect(image, CGRectMake(0, 0, 4, 4), image->extent());  // no destination
  // Nothing to draw is a transparent picture, not a failure.
  const auto empty = ctx->createCGImageFromRect(CIImage::emptyImage(), CGRectMake(0.5, 0, 2, 1));
  EXPECT_EQ(testing::dims(empty), (testing::Dims{3, 1})) << "the integral rectangle";
  expectPixels(empty, [](std::size_t, std::size_t) { return Pixel{0, 0, 0, 0}; });
}

}  // namespace
}  // namespace orvane
