#include "orvane/Image/CIImageTransform.h"

#include <gtest/gtest.h>

#include "Image/ImageTestSupport.h"
#include "orvane/Image/HXImageUtility.h"

namespace orvane {
namespace {

using T = CIImageTransform;

TEST(CIImageTransformTest, IdentitiesAnswerTheVerySameImageAndExtentsFollowExactly) {
  const auto image = CIImage::imageWithCGImage(testing::solid(100, 50, {10, 20, 30}));
  EXPECT_EQ(T::translateXByYBy(image, 0, 0), image);
  EXPECT_EQ(T::translatePoint(image, {0, 0}), image);
  EXPECT_EQ(T::scaleXByYBy(image, 1, 1), image);
  EXPECT_EQ(T::rotateDegreeWithCenter(image, 0, {0, 0}), image);
  EXPECT_EQ(T::imageByApplyingNSTransform(image, NSAffineTransform::transform()), image);
  auto shifted = NSAffineTransform::transform();  // one number off the identity builds the filter
  shifted->translateXByYBy(1, 0);
  EXPECT_EQ(T::imageByApplyingNSTransform(image, shifted)->extent(), CGRectMake(1, 0, 100, 50));
  EXPECT_EQ(T::imageByApplyingNSTransform(image, nullptr), nullptr) << "no transform is no identity";

  EXPECT_EQ(T::translateXByYBy(image, 10, -5)->extent(), CGRectMake(10, -5, 100, 50));
  EXPECT_EQ(T::translatePoint(image, {3, 4})->extent(), CGRectMake(3, 4, 100, 50));
  EXPECT_EQ(T::scaleXByYBy(image, 2, 0.5)->extent(), CGRectMake(0, 0, 200, 25));
  const CGRect turned = T::rotateDegreeWithCenter(image, 90, {50, 50})->extent();  // about (50, 50): x 50...100
  for (const double v : {turned.origin.x - 50, turned.origin.y, turned.size.width - 50, turned.size.height - 100})
    EXPECT_NEAR(v, 0, 1e-9);
}

TEST(CIImageTransformTest, AQuarterTurnIsCounterClockwise) {
  // A 2 x 2 image, top row red and green, bottom row blue and white.
  const auto image = CIImage::imageWithCGImage(testing::image8(
      2, 2, 4, kCGImageAlphaPremultipliedLast, {255, 0, 0, 255, 0, 255, 0, 255, 0, 0, 255, 255, 255, 255, 255, 255}));
  const CGImageRef turned = HXImageUtility::createImageFromCIImage(T::rotateDegreeWithCenter(image, 90, {1, 1}));
  ASSERT_TRUE(turned);
  // Counter-clockwise: the top-right green comes to the top left, red goes down.
  EXPECT_EQ(testing::bytesAt(turned, 0), (testing::Bytes{255, 0, 255, 0}));
  EXPECT_EQ(testing::bytesAt(turned, 8), (testing::Bytes{255, 255, 0, 0}));
}

}  // namespace
}  // namespace orvane
