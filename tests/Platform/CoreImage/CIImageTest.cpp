#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "orvane/Platform/CoreGraphics/CGAffineTransform.h"
#include "orvane/Platform/CoreImage/CIFilter.h"
#include "orvane/Platform/CoreImage/CIImage.h"

namespace orvane {
namespace {

CGImageRef grayImage(std::size_t width, std::size_t height) {
  return CGImageCreate(width, height, 8, 8, width, CGColorSpaceCreateDeviceGray(),
                       kCGImageAlphaNone, CGDataProviderCreateWithData(Data(width * height, 7)),
                       nullptr, false, kCGRenderingIntentDefault);
}

// The upright box around the four corners of `r` under `t`, from first
// principles (no library geometry).
CGRect box(const CGRect& r, const CGAffineTransform& t) {
  double xs[4], ys[4];
  const double cx[4] = {r.origin.x, r.origin.x + r.size.width, r.origin.x,
                        r.origin.x + r.size.width};
  const double cy[4] = {r.origin.y, r.origin.y, r.origin.y + r.size.height,
                        r.origin.y + r.size.height};
  for (int i = 0; i < 4; ++i) {
    xs[i] = t.a * cx[i] + t.c * cy[i] + t.tx;
    ys[i] = t.b * cx[i] + t.d * cy[i] + t.ty;
  }
  const double x0 = std::fmin(std::fmin(xs[0], xs[1]), std::fmin(xs[2], xs[3]));
  const double x1 = std::fmax(std::fmax(xs[0], xs[1]), std::fmax(xs[2], xs[3]));
  const double y0 = std::fmin(std::fmin(ys[0], ys[1]), std::fmin(ys[2], ys[3]));
  const double y1 = std::fmax(std::fmax(ys[0], ys[1]), std::fmax(ys[2], ys[3]));
  return CGRectMake(x0, y0, x1 - x0, y1 - y0);
}

void expectNear(const CGRect& actual, const CGRect& expected, double tolerance = 1e-9) {
  EXPECT_NEAR(actual.origin.x, expected.origin.x, tolerance);
  EXPECT_NEAR(actual.origin.y, expected.origin.y, tolerance);
  EXPECT_NEAR(actual.size.width, expected.size.width, tolerance);
  EXPECT_NEAR(actual.size.height, expected.size.height, tolerance);
}

TEST(CIImageTest, SourcesHaveTheirExtents) {
  const auto image = CIImage::imageWithCGImage(grayImage(100, 50));
  ASSERT_NE(image, nullptr);
  EXPECT_EQ(image->extent(), CGRectMake(0, 0, 100, 50));
  EXPECT_NE(image->CGImage(), nullptr);
  EXPECT_EQ(CIImage::imageWithCGImage(nullptr), nullptr);

  const auto color = CIImage::imageWithColor(CIColor::colorWithRedGreenBlueAlpha(1, 0, 0, 1));
  ASSERT_NE(color, nullptr);
  EXPECT_TRUE(CGRectIsInfinite(color->extent()));
  EXPECT_EQ(CIImage::imageWithColor(nullptr), nullptr);

  EXPECT_TRUE(CGRectIsNull(CIImage::emptyImage()->extent()));
}

TEST(CIImageTest, EachStepsExtentIsTheTransformedExtentOfItsInputExactly) {
  const auto image = CIImage::imageWithCGImage(grayImage(100, 50));
  const double turn = std::numbers::pi / 7;
  const CGAffineTransform steps[] = {
      CGAffineTransformMakeTranslation(10, -5),
      CGAffineTransformMakeScale(2, 0.5),
      CGAffineTransformMakeRotation(turn),
      CGAffineTransformMake(1, 0.25, -0.5, 1, 3.5, 7.25),
      CGAffineTransformMakeScale(-1, 1),
  };
  auto current = image;
  for (const CGAffineTransform& t : steps) {
    const CGRect before = current->extent();
    current = current->imageByApplyingTransform(t);
    EXPECT_EQ(current->extent(), CGRectApplyAffineTransform(before, t));
    expectNear(current->extent(), box(before, t));
  }
  EXPECT_EQ(current->CGImage(), nullptr) << "no longer the plain source";

  // The closed forms of the two simplest steps.
  EXPECT_EQ(image->imageByApplyingTransform(steps[0])->extent(), CGRectMake(10, -5, 100, 50));
  EXPECT_EQ(image->imageByApplyingTransform(steps[1])->extent(), CGRectMake(0, 0, 200, 25));
}

TEST(CIImageTest, ExtentsAccumulateStepByStepNotFromTheComposedTransform) {
  // Two turns by 45 degrees: the first step's box of a 100 x 50 rectangle is
  // a square of side 150 / sqrt(2); turning that square by 45 degrees again
  // gives a box of side 150, whereas one turn by 90 degrees would give 50 x 100.
  const auto image = CIImage::imageWithCGImage(grayImage(100, 50));
  const auto eighth = CGAffineTransformMakeRotation(std::numbers::pi / 4);
  const auto twice = image->imageByApplyingTransform(eighth)->imageByApplyingTransform(eighth);
  EXPECT_NEAR(twice->extent().size.width, 150, 1e-9);
  EXPECT_NEAR(twice->extent().size.height, 150, 1e-9);
}

TEST(CIImageTest, CropsIntersectAndUnboundedOrEmptyImagesStaySo) {
  const auto image = CIImage::imageWithCGImage(grayImage(100, 50));
  EXPECT_EQ(image->imageByCroppingToRect(CGRectMake(-10, 20, 50, 100))->extent(),
            CGRectMake(0, 20, 40, 30));
  EXPECT_TRUE(CGRectIsNull(image->imageByCroppingToRect(CGRectMake(200, 0, 5, 5))->extent()));

  const auto color = CIImage::imageWithColor(CIColor::colorWithRedGreenBlue(0, 0, 1));
  const CGRect rect = CGRectMake(-20, 30, 100.7, 50.2);
  EXPECT_EQ(color->imageByCroppingToRect(rect)->extent(), rect);
  EXPECT_TRUE(CGRectIsInfinite(
      color->imageByApplyingTransform(CGAffineTransformMakeRotation(1))->extent()));

  const auto empty = CIImage::emptyImage();
  EXPECT_TRUE(CGRectIsNull(empty->imageByApplyingTransform(CGAffineTransformMakeScale(2, 2))->extent()));
  EXPECT_TRUE(CGRectIsNull(empty->imageByCroppingToRect(rect)->extent()));
}

TEST(CIFilterTest, OnlyTheAffineTransformFilterIsKnown) {
  EXPECT_NE(CIFilter::filterWithName("CIAffineTransform"), nullptr);
  for (const char* name : {"", "CIGaussianBlur", "ciaffinetransform", "CIAffineTransform "})
    EXPECT_EQ(CIFilter::filterWithName(name), nullptr) << name;
}

TEST(CIFilterTest, OutputNeedsBothAnImageAndATransform) {
  const auto image = CIImage::imageWithCGImage(grayImage(100, 50));
  auto filter = CIFilter::filterWithName("CIAffineTransform");
  EXPECT_EQ(filter->outputImage(), nullptr);
  ASSERT_TRUE(filter->setValueForKey(image, kCIInputImageKey));
  EXPECT_EQ(filter->outputImage(), nullptr) << "no transform before setDefaults";

  filter->setDefaults();
  const CIFilterValue defaultTransform = filter->valueForKey(kCIInputTransformKey);
  ASSERT_TRUE(std::holds_alternative<std::shared_ptr<const NSAffineTransform>>(defaultTransform));
  EXPECT_TRUE(std::get<std::shared_ptr<const NSAffineTransform>>(defaultTransform)
                  ->isEqualTo(NSAffineTransform()));
  EXPECT_EQ(std::get<std::shared_ptr<const CIImage>>(filter->valueForKey(kCIInputImageKey)),
            image)
      << "setDefaults keeps the image";
  ASSERT_NE(filter->outputImage(), nullptr);
  EXPECT_EQ(filter->outputImage()->extent(), image->extent());

  ASSERT_TRUE(filter->setValueForKey(std::monostate{}, kCIInputImageKey));
  EXPECT_EQ(filter->outputImage(), nullptr);
  EXPECT_TRUE(std::holds_alternative<std::monostate>(filter->valueForKey(kCIInputImageKey)));
}

TEST(CIFilterTest, KeepsTheTransformObjectAndReadsItWhenAskedForOutput) {
  const auto image = CIImage::imageWithCGImage(grayImage(100, 50));
  auto filter = CIFilter::filterWithName("CIAffineTransform");
  filter->setDefaults();
  filter->setValueForKey(image, kCIInputImageKey);
  auto transform = NSAffineTransform::transform();
  transform->translateXByYBy(10, -5);
  ASSERT_TRUE(filter->setValueForKey(transform, kCIInputTransformKey));
  EXPECT_EQ(std::get<std::shared_ptr<const NSAffineTransform>>(
                filter->valueForKey(kCIInputTransformKey)),
            transform);

  const auto moved = filter->outputImage();
  EXPECT_EQ(moved->extent(), CGRectMake(10, -5, 100, 50));
  transform->scaleXByYBy(2, 0.5);  // applied before the move
  EXPECT_EQ(moved->extent(), CGRectMake(10, -5, 100, 50)) << "an output never changes";
  EXPECT_EQ(filter->outputImage()->extent(), CGRectMake(10, -5, 200, 25));
}

TEST(CIFilterTest, RefusesUnknownKeysAndValuesOfTheWrongKind) {
  const auto image = CIImage::imageWithCGImage(grayImage(4, 4));
  auto filter = CIFilter::filterWithName("CIAffineTransform");
  filter->setDefaults();
  filter->setValueForKey(image, kCIInputImageKey);
  const auto transform = filter->valueForKey(kCIInputTransformKey);

  EXPECT_FALSE(filter->setValueForKey(NSAffineTransform::transform(), kCIInputImageKey));
  EXPECT_FALSE(filter->setValueForKey(image, kCIInputTransformKey));
  EXPECT_FALSE(filter->setValueForKey(image, "inputScale"));
  EXPECT_EQ(std::get<std::shared_ptr<const CIImage>>(filter->valueForKey(kCIInputImageKey)),
            image);
  EXPECT_EQ(filter->valueForKey(kCIInputTransformKey), transform);
  EXPECT_TRUE(std::holds_alternative<std::monostate>(filter->valueForKey("inputScale")));

  ASSERT_TRUE(filter->setValueForKey(std::monostate{}, kCIInputTransformKey));
  EXPECT_EQ(filter->outputImage(), nullptr) << "an absent transform is not the identity";
}

}  // namespace
}  // namespace orvane
