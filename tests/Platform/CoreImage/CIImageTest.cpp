#include <gtest/gtest.h>

#include <numbers>

#include "orvane/Platform/CoreImage/CIFilter.h"

namespace orvane {
namespace {

std::shared_ptr<const CIImage> grayImage(std::size_t width, std::size_t height) {
  return CIImage::imageWithCGImage(CGImageCreate(
      width, height, 8, 8, width, CGColorSpaceCreateDeviceGray(), kCGImageAlphaNone,
      CGDataProviderCreateWithData(Data(width * height, 7)), nullptr, false,
      kCGRenderingIntentDefault));
}

TEST(CIImageTest, ExtentsFollowEachStepExactly) {
  const auto image = grayImage(100, 50);
  EXPECT_EQ(image->extent(), CGRectMake(0, 0, 100, 50));
  EXPECT_EQ(image->imageByApplyingTransform(CGAffineTransformMakeTranslation(10, -5))->extent(),
            CGRectMake(10, -5, 100, 50));
  EXPECT_EQ(image->imageByApplyingTransform(CGAffineTransformMakeScale(2, 0.5))->extent(),
            CGRectMake(0, 0, 200, 25));

  // Two turns by 45 degrees: the box of the first is a square of side 150 / sqrt(2), whose box
  // turned again has side 150 (one turn by 90 degrees would give 50 x 100).
  const auto eighth = CGAffineTransformMakeRotation(std::numbers::pi / 4);
  auto turned = image->imageByApplyingTransform(eighth);
  const CGRect once = turned->extent();
  turned = turned->imageByApplyingTransform(eighth);
  EXPECT_EQ(turned->extent(), CGRectApplyAffineTransform(once, eighth)) << "to the last bit";
  EXPECT_NEAR(turned->extent().size.width, 150, 1e-9);
  EXPECT_NEAR(turned->extent().size.height, 150, 1e-9);
  EXPECT_NE(image->CGImage(), nullptr);
  EXPECT_EQ(turned->CGImage(), nullptr);
}

TEST(CIImageTest, CropsIntersectAndUnboundedOrEmptyImagesStaySo) {
  const auto image = grayImage(100, 50);
  EXPECT_EQ(image->imageByCroppingToRect(CGRectMake(-10, 20, 50, 100))->extent(),
            CGRectMake(0, 20, 40, 30));
  EXPECT_TRUE(CGRectIsNull(image->imageByCroppingToRect(CGRectMake(200, 0, 5, 5))->extent()));

  const auto color = CIImage::imageWithColor(CIColor::colorWithRedGreenBlue(0, 0, 1));
  EXPECT_TRUE(CGRectIsInfinite(color->extent()));
  const CGRect rect = CGRectMake(-20, 30, 100.7, 50.2);
  EXPECT_EQ(color->imageByCroppingToRect(rect)->extent(), rect);
  EXPECT_TRUE(CGRectIsInfinite(
      color->imageByApplyingTransform(CGAffineTransformMakeRotation(1))->extent()));

  const auto empty = CIImage::emptyImage();
  EXPECT_TRUE(CGRectIsNull(empty->extent()));
  EXPECT_TRUE(CGRectIsNull(empty->imageByApplyingTransform(CGAffineTransformMakeScale(2, 2))->extent()));
  EXPECT_EQ(CIImage::imageWithCGImage(nullptr), nullptr);
  EXPECT_EQ(CIImage::imageWithColor(nullptr), nullptr);
}

TEST(CIFilterTest, AffineTransformNeedsAnImageAndATransformObject) {
  for (const char* name : {"", "CIGaussianBlur", "ciaffinetransform"})
    EXPECT_EQ(CIFilter::filterWithName(name), nullptr) << name;
  const auto image = grayImage(100, 50);
  auto filter = CIFilter::filterWithName("CIAffineTransform");
  ASSERT_NE(filter, nullptr);
  ASSERT_TRUE(filter->setValueForKey(image, kCIInputImageKey));
  EXPECT_EQ(filter->outputImage(), nullptr) << "no transform before setDefaults";

  filter->setDefaults();
  const auto identity =
      std::get<std::shared_ptr<const NSAffineTransform>>(filter->valueForKey(kCIInputTransformKey));
  EXPECT_TRUE(identity->isEqualTo(NSAffineTransform()));
  EXPECT_EQ(std::get<std::shared_ptr<const CIImage>>(filter->valueForKey(kCIInputImageKey)), image);
  EXPECT_EQ(filter->outputImage()->extent(), image->extent());

  // The filter keeps the transform object and reads it when asked for output.
  auto transform = NSAffineTransform::transform();
  transform->translateXByYBy(10, -5);
  ASSERT_TRUE(filter->setValueForKey(transform, kCIInputTransformKey));
  EXPECT_EQ(std::get<std::shared_ptr<const NSAffineTransform>>(
                filter->valueForKey(kCIInputTransformKey)), transform);
  const auto moved = filter->outputImage();
  transform->scaleXByYBy(2, 0.5);  // applied before the move
  EXPECT_EQ(moved->extent(), CGRectMake(10, -5, 100, 50)) << "an output never changes";
  EXPECT_EQ(filter->outputImage()->extent(), CGRectMake(10, -5, 200, 25));

  EXPECT_FALSE(filter->setValueForKey(transform, kCIInputImageKey));
  EXPECT_FALSE(filter->setValueForKey(image, kCIInputTransformKey));
  EXPECT_FALSE(filter->setValueForKey(image, "inputScale"));
  EXPECT_TRUE(std::holds_alternative<std::monostate>(filter->valueForKey("inputScale")));
  EXPECT_NE(filter->outputImage(), nullptr) << "refused values change nothing";
  ASSERT_TRUE(filter->setValueForKey(std::monostate{}, kCIInputTransformKey));
  EXPECT_EQ(filter->outputImage(), nullptr) << "an absent transform is not the identity";
  filter->setDefaults();
  ASSERT_TRUE(filter->setValueForKey(std::monostate{}, kCIInputImageKey));
  EXPECT_EQ(filter->outputImage(), nullptr);
}

}  // namespace
}  // namespace orvane
