#include "orvane/Image/HXImageUtility.h"

#include <gtest/gtest.h>

#include "Image/ImageTestSupport.h"
#include "orvane/Platform/CoreImage/CIColor.h"
#include "orvane/Platform/ImageIO/CGImageProperties.h"
#include "orvane/Platform/ImageIO/CGImageDestination.h"
#include "support/ChildProcess.h"

namespace orvane {
namespace {

using H = HXImageUtility;
using namespace testing;

TEST(HXImageUtilityTest, FileTypesErrorsAndScreenValues) {
  const std::string_view identifiers[] = {kUTTypeTIFF, kUTTypeBMP, kUTTypeGIF, kUTTypeJPEG, kUTTypePNG, kUTTypeJPEG2000};
  for (NSBitmapImageFileType type = 0; type < 6; ++type) {
    EXPECT_EQ(H::bitmapFileTypeToUTI(type), identifiers[type]) << type;
    EXPECT_EQ(H::bitmapFileTypeFromUTI(identifiers[type]), type) << identifiers[type];
  }
  EXPECT_EQ(H::bitmapFileTypeToUTI(6), std::nullopt);
  EXPECT_EQ(H::bitmapFileTypeToUTI(~0ULL), std::nullopt);
  for (const std::optional<std::string_view> other : std::initializer_list<std::optional<std::string_view>>{"PUBLIC.PNG", "public.webp", "", std::nullopt})
    EXPECT_EQ(H::bitmapFileTypeFromUTI(other), 3u) << "only identifiers fall back to JPEG";
  EXPECT_EQ((std::array{H::supportMaxSize(), H::supportMinSize(), H::minimunDPI()}), (std::array{16384.0, 1.0, 60.0}));

  const struct {
    std::shared_ptr<NSError> error;
    std::string reason, suggestion;
  } errors[] = {
      {H::errorForNotAPhotoFile("a.png"), "The file(a.png) is not a photo.", "Please select a photo file."},
      {H::errorForNoImageExist("a.png"), "No image exist(a.png) or too small(1x1).", "Please select an another photo file."},
      {H::errorForNoImageExist(std::nullopt), "No image exist((null)) or too small(1x1).", "Please select an another photo file."},
      {H::errorForInvalidParameter(), "Invalid Parameter!", "Input image must not be NULL."},
  };
  for (const auto& e : errors) {
    ASSERT_TRUE(e.error);
    EXPECT_EQ(e.error->domain, "NSCocoaErrorDomain");
    EXPECT_EQ(e.error->code, -1);
    EXPECT_EQ(e.error->userInfo, (std::map<std::string, std::string>{{"NSLocalizedFailureReason", e.reason},
                                                                      {"NSLocalizedRecoverySuggestion", e.suggestion},
                                                                      {"NSLocalizedDescription", e.reason + e.suggestion}}));
  }
  EXPECT_NE(H::errorForInvalidParameter(), H::errorForInvalidParameter()) << "a new record per call";

  {  // the resolution falls back to 72 but the scale factor to 0
    ScopedMainScreen none(std::nullopt);
    EXPECT_EQ(H::defaultDPI(), 72.0);
    EXPECT_EQ(H::backScaleFactor(), 0.0);
  }
  ScopedMainScreen retina(MainScreenOverride{true, CGSizeMake(144, 96), 2.0});
  EXPECT_EQ(H::defaultDPI(), 144.0) << "the horizontal resolution";
  EXPECT_EQ(H::backScaleFactor(), 2.0);
}

TEST(HXImageUtilityTest, SavedImagesReadBackAndTheQualityTravelsInOptionsAndProperties) {
  const auto png = H::saveImageAsFormat(solid(40, 30, {200, 100, 50}), kUTTypePNG);
  ASSERT_TRUE(png && png->size() > 8);
  EXPECT_EQ((*png)[1], 'P');
  EXPECT_EQ(dims(H::readImageFromData(*png)), (Dims{40, 30}));
  EXPECT_FALSE(H::saveImageAsFormat(solid(4, 4, {}), "public.webp"));
  EXPECT_FALSE(H::saveImageAsFormat(solid(4, 4, {}), std::nullopt));
  EXPECT_FALSE(H::saveImageAsFormat(nullptr, kUTTypePNG));
  EXPECT_FALSE(H::readImageFromData(ByteView{}));
  EXPECT_FALSE(H::readImageFromData(bytesOf("not an image")));

  Data noise(64 * 64 * 4);  // noisy, so that JPEG's size follows its quality
  std::uint32_t x = 1;
  for (std::size_t i = 0; i < noise.size(); ++i) noise[i] = i % 4 == 3 ? 255 : std::uint8_t((x = x * 1664525u + 1013904223u) >> 24);
  const CGImageRef noisy = image8(64, 64, 4, kCGImageAlphaNoneSkipLast, noise);
  auto jpeg = [&](double quality, const NSDictionary* properties = nullptr) {
    return H::saveImageWithFormatQualityProperty(noisy, kUTTypeJPEG, quality, properties);
  };
  const auto low = jpeg(0.1), high = jpeg(1.0);
  ASSERT_TRUE(low && high);
  EXPECT_LT(low->size() * 2, high->size());
  EXPECT_EQ(H::saveImageAsFormat(noisy, kUTTypeJPEG), jpeg(0.8));
  // The caller's properties go with the image, where a quality wins; without one the options' stays.
  const NSDictionary best{{kCGImageDestinationLossyCompressionQuality, 1.0f}}, other{{kCGImagePropertyOrientation, 6}};
  EXPECT_EQ(jpeg(0.1, &best), high);
  EXPECT_EQ(jpeg(1.0, &other), high);
  // A destination without options writes the codec's default quality.
  auto data = std::make_shared<Data>();
  const auto destination = CGImageDestinationCreateWithData(data, kUTTypeJPEG, 1);
  CGImageDestinationAddImage(destination, noisy, &other);
  ASSERT_TRUE(CGImageDestinationFinalize(destination));
  EXPECT_NE(*data, *high);
  EXPECT_NE(*data, *low);
}

TEST(HXImageUtilityTest, ThumbnailsFitTheBoxInAnArgbBitmapAtLeastOnePixelASide) {
  const struct {
    std::size_t w, h;
    CGSize box;
    std::size_t tw, th;
  } cases[] = {
      {400, 200, {100, 100}, 100, 50}, {200, 400, {100, 100}, 50, 100}, {10000, 1, {100, 100}, 100, 1},
      {30, 20, {300, 300}, 300, 200},  // enlarged to fill the box
      {30, 20, {0.5, 0.5}, 1, 1},      // raised to the minimum
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.w);
    const CGImageRef thumb = H::createThumbnailFromImage(c.box, solid(c.w, c.h, {0, 128, 255}));
    ASSERT_TRUE(thumb);
    EXPECT_EQ(dims(thumb), (Dims{c.tw, c.th}));
    EXPECT_EQ(CGImageGetBytesPerRow(thumb), c.tw * 4);
    EXPECT_EQ(CGImageGetBitmapInfo(thumb), 2u);
    EXPECT_EQ(CGImageGetBitsPerComponent(thumb), 8u);
    EXPECT_EQ(CGColorSpaceCopyName(CGImageGetColorSpace(thumb)), kCGColorSpaceSRGB);
    const Data px = pixelBytes(thumb);  // one colour everywhere, A R G B
    for (std::size_t i = 0; i < px.size(); i += 4) ASSERT_EQ(Data(px.begin() + i, px.begin() + i + 4), (Data{255, 0, 128, 255})) << i;
  }
  EXPECT_FALSE(H::createThumbnailFromImage({100, 100}, nullptr));

  ScopedMainScreen none(std::nullopt);  // NSImage thumbnails keep fractional point sizes
  const auto thumb = H::createThumbnailFromNSImage({100, 100}, NSImage::initWithCGImageSize(solid(133, 200, {200, 100, 50}), CGSizeZero));
  ASSERT_TRUE(thumb);
  EXPECT_EQ(thumb->size(), CGSizeMake(66.5, 100));
  const auto drawnRep = std::dynamic_pointer_cast<NSBitmapImageRep>(thumb->representations().at(0));
  ASSERT_TRUE(drawnRep);  // the picture is drawn into it
  const bool alphaFirst = CGImageGetAlphaInfo(drawnRep->CGImage()) == kCGImageAlphaPremultipliedFirst;
  EXPECT_EQ(bytesAt(drawnRep->CGImage(), 0), alphaFirst ? (Bytes{255, 200, 100, 50}) : (Bytes{200, 100, 50, 255}));
  EXPECT_EQ(H::createThumbnailFromNSImage({0.1, 0.1}, NSImage::initWithSize({10, 20}))->size(), CGSizeMake(1, 1));
  EXPECT_FALSE(H::createThumbnailFromNSImage({100, 100}, nullptr));
}

TEST(HXImageUtilityTest, CoreImageRendersItsWholeExtentOrLogsAnUnusableOne) {
  // The extent (-20, 30, 100.7, 50.2): its corner lands on the bitmap's origin, its size truncated.
  const CGImageRef rendered = H::createImageFromCIImage(CIImage::imageWithCGImage(solid(100, 50, {255, 0, 0}))
      ->imageByApplyingTransform(CGAffineTransformMake(1.007, 0, 0, 1.004, -20, 30)));
  ASSERT_TRUE(rendered);
  EXPECT_EQ(dims(rendered), (Dims{100, 50}));
  EXPECT_EQ(bytesAt(rendered, 0), (Bytes{255, 255, 0, 0})) << "top left";
  EXPECT_EQ(bytesAt(rendered, 100 * 50 * 4 - 4), (Bytes{255, 255, 0, 0})) << "bottom right";

  const auto result = testing::runInChild([] {
    return H::createImageFromCIImage(CIImage::imageWithColor(CIColor::colorWithRedGreenBlueAlpha(1, 0, 0, 1))) ||
           H::createImageFromCIImage(CIImage::emptyImage()) || H::createImageFromCIImage(nullptr);
  });
  EXPECT_EQ(result.exitCode, 0);
  std::size_t lines = 0;
  for (std::size_t at = 0; (at = result.stderrText.find("] Error input image.\n", at)) != std::string::npos; ++at) ++lines;
  EXPECT_EQ(lines, 3u);
}

}  // namespace
}  // namespace orvane
