#include "orvane/Image/CIImageTransform.h"

#include <gtest/gtest.h>

#include "Image/ImageTestSupport.h"
#include "orvane/Image/HXImageUtility.h"

namespace orvane {
namespace {

using T = CIImageTransform;

std::shared_ptr<const CIImage> picture(std::size_t w, std::size_t h) {
  return CIImage::imageWithCGImage(testing::solidImage(w, h, {10, 20, 30}));
}

TEST(CIImageTransformTest, IdentityTransformsAnswerTheVerySameImage) {
  const auto image = picture(100, 50);
  EXPECT_EQ(T::translateXByYBy(image, 0, 0), image);
  EXPECT_EQ(T::translatePoint(image, {0, 0}), image);
  EXPECT_EQ(T::scaleXByYBy(image, 1, 1), image);
  EXPECT_EQ(T::rotateDegreeWithCenter(image, 0, {0, 0}), image);
  EXPECT_EQ(T::imageByApplyingNSTransform(image, NSAffineTransform::transform()), image);
  // One number off the identity builds the filter.
  auto shifted = NSAffineTransform::transform();
  shifted->translateXByYBy(1, 0);
  const auto moved = T::imageByApplyingNSTransform(image, shifted);
  ASSERT_TRUE(moved);
  EXPECT_NE(moved, image);
  EXPECT_EQ(moved->extent(), CGRectMake(1, 0, 100, 50));
  // No transform is no identity: the filter has no transform and no output.
  EXPECT_EQ(T::imageByApplyingNSTransform(image, nullptr), nullptr);
}

TEST(CIImageTransformTest, ExtentsFollowTheTransformExactly) {
  const auto image = picture(100, 50);
  EXPECT_EQ(T::translateXByYBy(image, 10, -5)->extent(), CGRectMake(10, -5, 100, 50));
  EXPECT_EQ(T::translatePoint(image, {3, 4})->extent(), T::translateXByYBy(image, 3, 4)->extent());
  EXPECT_EQ(T::scaleXByYBy(image, 2, 0.5)->extent(), CGRectMake(0, 0, 200, 25));
  const CGRect turned = T::rotateDegreeWithCenter(picture(64, 64), 90, {32, 32})->extent();
  EXPECT_NEAR(turned.origin.x, 0, 1e-9);
  EXPECT_NEAR(turned.origin.y, 0, 1e-9);
  EXPECT_NEAR(turned.size.width, 64, 1e-9);
  EXPECT_NEAR(turned.size.height, 64, 1e-9);
}

TEST(CIImageTransformTest, AQuarterTurnIsCounterClockwise) {
  // A 2 x 2 image, top row red and green, bottom row blue and white.
  const Data px{255, 0, 0, 255, 0, 255, 0, 255, 0, 0, 255, 255, 255, 255, 255, 255};
  const auto image = CIImage::imageWithCGImage(CGImageCreate(
      2, 2, 8, 32, 8, CGColorSpaceCreateWithName(kCGColorSpaceSRGB), kCGImageAlphaPremultipliedLast,
      CGDataProviderCreateWithData(px), nullptr, false, kCGRenderingIntentDefault));
  const CGImageRef turned =
      HXImageUtility::createImageFromCIImage(T::rotateDegreeWithCenter(image, 90, {1, 1}));
  ASSERT_TRUE(turned);
  const Data out = testing::pixelBytes(turned);
  ASSERT_EQ(out.size(), 16u);
  // Counter-clockwise: the top-right green comes to the top left, red goes down.
  EXPECT_EQ(Data(out.begin(), out.begin() + 4), (Data{255, 0, 255, 0}));
  EXPECT_EQ(Data(out.begin() + 8, out.begin() + 12), (Data{255, 255, 0, 0}));
}

}  // namespace
}  // namespace orvane
