#include "orvane/Image/HXImageUtility.h"

#include <gtest/gtest.h>

#include "Image/ImageTestSupport.h"
#include "orvane/Platform/CoreImage/CIColor.h"
#include "orvane/Platform/ImageIO/CGImageProperties.h"
#include "support/ChildProcess.h"

namespace orvane {
namespace {

using H = HXImageUtility;
using testing::ScopedMainScreen;
using testing::solidImage;

TEST(HXImageUtilityTest, FileTypesMapBothWaysAndOnlyIdentifiersFallBackToJpeg) {
  const std::string_view identifiers[] = {kUTTypeTIFF, kUTTypeBMP, kUTTypeGIF,
                                          kUTTypeJPEG, kUTTypePNG, kUTTypeJPEG2000};
  for (NSBitmapImageFileType type = 0; type < 6; ++type) {
    EXPECT_EQ(H::bitmapFileTypeToUTI(type), identifiers[type]) << type;
    EXPECT_EQ(H::bitmapFileTypeFromUTI(identifiers[type]), type) << identifiers[type];
  }
  EXPECT_EQ(H::bitmapFileTypeToUTI(6), std::nullopt);
  EXPECT_EQ(H::bitmapFileTypeToUTI(~0ULL), std::nullopt);
  for (const auto* other : {"PUBLIC.PNG", "public.webp", ""})
    EXPECT_EQ(H::bitmapFileTypeFromUTI(other), 3u) << other;
  EXPECT_EQ(H::bitmapFileTypeFromUTI(std::nullopt), 3u);
  EXPECT_EQ(H::supportMaxSize(), 16384.0);
  EXPECT_EQ(H::supportMinSize(), 1.0);
  EXPECT_EQ(H::minimunDPI(), 60.0);
}

TEST(HXImageUtilityTest, ErrorRecordsCarryTheirExactTexts) {
  const struct {
    std::shared_ptr<NSError> error;
    const char* reason;
    const char* suggestion;
  } cases[] = {
      {H::errorForNotAPhotoFile("a.png"), "The file(a.png) is not a photo.",
       "Please select a photo file."},
      {H::errorForNoImageExist("a.png"), "No image exist(a.png) or too small(1x1).",
       "Please select an another photo file."},
      {H::errorForNoImageExist(std::nullopt), "No image exist((null)) or too small(1x1).",
       "Please select an another photo file."},
      {H::errorForInvalidParameter(), "Invalid Parameter!", "Input image must not be NULL."},
  };
  for (const auto& c : cases) {
    ASSERT_TRUE(c.error);
    EXPECT_EQ(c.error->domain, "NSCocoaErrorDomain");
    EXPECT_EQ(c.error->code, -1);
    EXPECT_EQ(c.error->userInfo,
              (std::map<std::string, std::string>{
                  {"NSLocalizedFailureReason", c.reason},
                  {"NSLocalizedRecoverySuggestion", c.suggestion},
                  {"NSLocalizedDescription", std::string(c.reason) + c.suggestion}}));
  }
  EXPECT_NE(H::errorForInvalidParameter(), H::errorForInvalidParameter()) << "a new record per call";
}

TEST(HXImageUtilityTest, ResolutionFallsBackTo72ButTheScaleFactorTo0) {
  {
    ScopedMainScreen none(std::nullopt);
    EXPECT_EQ(H::defaultDPI(), 72.0);
    EXPECT_EQ(H::backScaleFactor(), 0.0);
  }
  ScopedMainScreen retina(MainScreenOverride{true, CGSizeMake(144, 96), 2.0});
  EXPECT_EQ(H::defaultDPI(), 144.0) << "the horizontal resolution";
  EXPECT_EQ(H::backScaleFactor(), 2.0);
}

TEST(HXImageUtilityTest, SavedImagesReadBackAndTheQualityTravelsOnlyInTheOptions) {
  const CGImageRef image = solidImage(40, 30, {200, 100, 50});
  const auto png = H::saveImageAsFormat(image, kUTTypePNG);
  ASSERT_TRUE(png);
  ASSERT_GT(png->size(), 8u);
  EXPECT_EQ((*png)[1], 'P');
  const CGImageRef back = H::readImageFromData(*png);
  ASSERT_TRUE(back);
  EXPECT_EQ(CGImageGetWidth(back), 40u);
  EXPECT_EQ(CGImageGetHeight(back), 30u);

  EXPECT_FALSE(H::saveImageAsFormat(image, "public.webp"));
  EXPECT_FALSE(H::saveImageAsFormat(image, std::nullopt));
  EXPECT_FALSE(H::saveImageAsFormat(nullptr, kUTTypePNG));
  EXPECT_FALSE(H::readImageFromData(ByteView{}));
  EXPECT_FALSE(H::readImageFromData(bytesOf("not an image")));

  // A noisy picture, so that JPEG's size follows its quality.
  Data noise(64 * 64 * 4);
  std::uint32_t x = 1;
  for (std::size_t i = 0; i < noise.size(); ++i)
    noise[i] = i % 4 == 3 ? 255 : static_cast<std::uint8_t>((x = x * 1664525u + 1013904223u) >> 24);
  const CGImageRef noisy = CGImageCreate(64, 64, 8, 32, 256, CGColorSpaceCreateWithName(kCGColorSpaceSRGB),
                                         kCGImageAlphaNoneSkipLast, CGDataProviderCreateWithData(noise),
                                         nullptr, true, kCGRenderingIntentDefault);
  const auto low = H::saveImageWithFormatQualityProperty(noisy, kUTTypeJPEG, 0.1, nullptr);
  const auto high = H::saveImageWithFormatQualityProperty(noisy, kUTTypeJPEG, 1.0, nullptr);
  ASSERT_TRUE(low && high);
  EXPECT_LT(low->size() * 2, high->size());
  EXPECT_EQ(H::saveImageAsFormat(noisy, kUTTypeJPEG),
            H::saveImageWithFormatQualityProperty(noisy, kUTTypeJPEG, 0.8, nullptr));
  // The caller's properties go with the image, where a quality wins.
  const NSDictionary best{{kCGImageDestinationLossyCompressionQuality, 1.0f}};
  EXPECT_EQ(H::saveImageWithFormatQualityProperty(noisy, kUTTypeJPEG, 0.1, &best), high);
}

TEST(HXImageUtilityTest, ThumbnailsFitTheBoxInAnArgbBitmapAtLeastOnePixelASide) {
  const struct {
    std::size_t w, h;
    CGSize box;
    std::size_t tw, th;
  } cases[] = {
      {400, 200, {100, 100}, 100, 50},
      {200, 400, {100, 100}, 50, 100},
      {10000, 1, {100, 100}, 100, 1},
      {30, 20, {300, 300}, 300, 200},   // enlarged to fill the box
      {30, 20, {0.5, 0.5}, 1, 1},       // raised to the minimum
  };
  for (const auto& c : cases) {
    const CGImageRef thumb = H::createThumbnailFromImage(c.box, solidImage(c.w, c.h, {0, 128, 255}));
    ASSERT_TRUE(thumb) << c.w << "x" << c.h;
    EXPECT_EQ(CGImageGetWidth(thumb), c.tw);
    EXPECT_EQ(CGImageGetHeight(thumb), c.th);
    EXPECT_EQ(CGImageGetBytesPerRow(thumb), c.tw * 4);
    EXPECT_EQ(CGImageGetBitmapInfo(thumb), 2u);
    EXPECT_EQ(CGImageGetBitsPerComponent(thumb), 8u);
    EXPECT_EQ(CGColorSpaceCopyName(CGImageGetColorSpace(thumb)), kCGColorSpaceSRGB);
    // An opaque one-colour source gives that colour everywhere, A R G B.
    const Data px = testing::pixelBytes(thumb);
    for (std::size_t i = 0; i < px.size(); i += 4)
      ASSERT_EQ(Data(px.begin() + i, px.begin() + i + 4), (Data{255, 0, 128, 255})) << i;
  }
  EXPECT_FALSE(H::createThumbnailFromImage({100, 100}, nullptr));
}

TEST(HXImageUtilityTest, NSImageThumbnailsKeepFractionalPointSizes) {
  ScopedMainScreen none(std::nullopt);
  const auto thumb = H::createThumbnailFromNSImage(
      {100, 100}, NSImage::initWithCGImageSize(solidImage(133, 200, {200, 100, 50}), CGSizeZero));
  ASSERT_TRUE(thumb);
  EXPECT_EQ(thumb->size(), CGSizeMake(66.5, 100));
  const auto drawnRep = std::dynamic_pointer_cast<NSBitmapImageRep>(thumb->representations().at(0));
  ASSERT_TRUE(drawnRep);  // the picture is drawn into it
  const Data px = testing::pixelBytes(drawnRep->CGImage());
  const bool alphaFirst = CGImageGetAlphaInfo(drawnRep->CGImage()) == kCGImageAlphaPremultipliedFirst;
  EXPECT_EQ(Data(px.begin(), px.begin() + 4), alphaFirst ? (Data{255, 200, 100, 50}) : (Data{200, 100, 50, 255}));
  EXPECT_EQ(H::createThumbnailFromNSImage({0.1, 0.1}, NSImage::initWithSize({10, 20}))->size(),
            CGSizeMake(1, 1));
  EXPECT_FALSE(H::createThumbnailFromNSImage({100, 100}, nullptr));
}

TEST(HXImageUtilityTest, CoreImageRendersItsWholeExtentOrLogsAnUnusableOne) {
  // The extent (-20, 30, 100.7, 50.2): its corner lands on the bitmap's
  // origin and its size is truncated.
  const auto moved = CIImage::imageWithCGImage(solidImage(100, 50, {255, 0, 0}))
                         ->imageByApplyingTransform(CGAffineTransformMake(1.007, 0, 0, 1.004, -20, 30));
  const CGImageRef rendered = H::createImageFromCIImage(moved);
  ASSERT_TRUE(rendered);
  EXPECT_EQ(CGImageGetWidth(rendered), 100u);
  EXPECT_EQ(CGImageGetHeight(rendered), 50u);
  const Data px = testing::pixelBytes(rendered);
  EXPECT_EQ(Data(px.begin(), px.begin() + 4), (Data{255, 255, 0, 0})) << "top left";
  EXPECT_EQ(Data(px.end() - 4, px.end()), (Data{255, 255, 0, 0})) << "bottom right";

  const auto result = testing::runInChild([] {
    const auto infinite = CIImage::imageWithColor(CIColor::colorWithRedGreenBlueAlpha(1, 0, 0, 1));
    const auto empty = CIImage::emptyImage();
    return H::createImageFromCIImage(infinite) || H::createImageFromCIImage(empty) ||
           H::createImageFromCIImage(nullptr);
  });
  EXPECT_EQ(result.exitCode, 0);
  std::size_t lines = 0;
  for (std::size_t at = 0; (at = result.stderrText.find("] Error input image.\n", at)) != std::string::npos; ++at)
    ++lines;
  EXPECT_EQ(lines, 3u);
}

}  // namespace
}  // namespace orvane
