// The image interface: file types, saving, thumbnails, NSImage conversions, Core Image transforms.

#include <gtest/gtest.h>

#include <cmath>

#include "Image/ImageTestSupport.h"
#include "orvane/Image/CIImageTransform.h"
#include "orvane/Image/HXImageUtility.h"
#include "orvane/Image/NSImageUtilites.h"
#include "orvane/Platform/AppKit/NSGraphicsContext.h"
#include "orvane/Platform/CoreImage/CIColor.h"
#include "orvane/Platform/ImageIO/CGImageDestination.h"
#include "orvane/Platform/ImageIO/CGImageProperties.h"
#include "support/AreaAverage.h"

namespace orvane {
namespace {

using namespace testing;

using H = HXImageUtility;

TEST(HXImageUtilityTest, FileTypesErrorsAndScreenValues) {
  const std::string_view identifiers[] = {kUTTypeTIFF, kUTTypeBMP, kUTTypeGIF, kUTTypeJPEG, kUTTypePNG, kUTTypeJPEG2000};
  for (NSBitmapImageFileType type = 0; type < 6; ++type) {
    EXPECT_EQ(H::bitmapFileTypeToUTI(type), identifiers[type]) << type;
    EXPECT_EQ(H::bitmapFileTypeFromUTI(identifiers[type]), type) << identifiers[type];
  }
  EXPECT_FALSE(H::bitmapFileTypeToUTI(6));
  for (const auto other : {std::optional<std::string_view>("PUBLIC.PNG"), {"public.webp"}, {""}, {std::nullopt}})
    EXPECT_EQ(H::bitmapFileTypeFromUTI(other), 3u) << "only identifiers fall back to JPEG";
  EXPECT_EQ((std::array{H::supportMaxSize(), H::supportMinSize(), H::minimunDPI()}), (std::array{16384.0, 1.0, 60.0}));
  EXPECT_EQ(H::errorForNotAPhotoFile("a.png")->userInfo.at("NSLocalizedFailureReason"), "The file(a.png) is not a photo.");
  EXPECT_EQ(H::errorForInvalidParameter()->userInfo.at("NSLocalizedRecoverySuggestion"), "Input image must not be NULL.");
  const auto e = H::errorForNoImageExist(std::nullopt);  // the records are built alike
  ASSERT_TRUE(e);
  const std::string reason = "No image exist((null)) or too small(1x1).", suggestion = "Please select an another photo file.";
  EXPECT_EQ(std::tuple(e->domain, e->code, e->userInfo),
            std::tuple("NSCocoaErrorDomain", -1, std::map<std::string, std::string>{
                {"NSLocalizedFailureReason", reason}, {"NSLocalizedRecoverySuggestion", suggestion},
                {"NSLocalizedDescription", reason + suggestion}}));

  ScopedMainScreen retina(MainScreenOverride{true, CGSizeMake(144, 96), 2.0});
  EXPECT_EQ(std::pair(H::defaultDPI(), H::backScaleFactor()), std::pair(144.0, 2.0)) << "the horizontal resolution";
  ScopedMainScreen none(std::nullopt);  // the resolution falls back to 72 but the scale factor to 0
  EXPECT_EQ(std::pair(H::defaultDPI(), H::backScaleFactor()), std::pair(72.0, 0.0));
}

TEST(HXImageUtilityTest, SavedImagesReadBackAndTheQualityTravelsInOptionsAndProperties) {
  const auto png = H::saveImageAsFormat(solid(40, 30, {200, 100, 50}), kUTTypePNG);
  ASSERT_TRUE(png && png->size() > 8 && (*png)[1] == 'P');
  EXPECT_EQ(dims(H::readImageFromData(*png)), (Dims{40, 30}));
  EXPECT_FALSE(H::saveImageAsFormat(solid(4, 4, {}), "public.webp") || H::saveImageAsFormat(solid(4, 4, {}), std::nullopt) ||
               H::saveImageAsFormat(nullptr, kUTTypePNG));
  EXPECT_FALSE(H::readImageFromData(ByteView{}) || H::readImageFromData(bytesOf("not an image")));

  Data noise(64 * 64 * 4);  // noisy, so that JPEG's size follows its quality
  std::uint32_t x = 1;
  for (std::size_t i = 0; i < noise.size(); ++i) noise[i] = i % 4 == 3 ? 255 : std::uint8_t((x = x * 1664525u + 1013904223u) >> 24);
  const CGImageRef noisy = image8(64, 64, 4, kCGImageAlphaNoneSkipLast, noise);
  auto jpeg = [&](double quality, const NSDictionary* properties = nullptr) {
    return H::saveImageWithFormatQualityProperty(noisy, kUTTypeJPEG, quality, properties);
  };
  const auto low = jpeg(0.1), high = jpeg(1.0);
  ASSERT_TRUE(low && high && low->size() * 2 < high->size());
  EXPECT_EQ(H::saveImageAsFormat(noisy, kUTTypeJPEG), jpeg(0.8));
  // The caller's properties go with the image, where a quality wins; without one the options' stays.
  const NSDictionary best{{kCGImageDestinationLossyCompressionQuality, 1.0f}}, other{{kCGImagePropertyOrientation, 6}};
  EXPECT_EQ(jpeg(0.1, &best), high);
  EXPECT_EQ(jpeg(1.0, &other), high);
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
    EXPECT_EQ(dims(thumb), (Dims{c.tw, c.th}));
    EXPECT_EQ(std::tuple(CGImageGetBytesPerRow(thumb), CGImageGetBitmapInfo(thumb), CGImageGetBitsPerComponent(thumb),
                         CGColorSpaceCopyName(CGImageGetColorSpace(thumb))), std::tuple(c.tw * 4, 2u, 8u, kCGColorSpaceSRGB));
    const Data px = pixelBytes(thumb);  // one colour everywhere, A R G B
    for (std::size_t i = 0; i < px.size(); i += 4) ASSERT_EQ(Data(px.begin() + i, px.begin() + i + 4), (Data{255, 0, 128, 255})) << i;
  }

  ScopedMainScreen none(std::nullopt);  // NSImage thumbnails keep fractional point sizes
  const auto thumb = H::createThumbnailFromNSImage({100, 100}, NSImage::initWithCGImageSize(solid(133, 200, {200, 100, 50}), CGSizeZero));
  ASSERT_TRUE(thumb);
  EXPECT_EQ(thumb->size(), CGSizeMake(66.5, 100));
  const auto drawnRep = std::dynamic_pointer_cast<NSBitmapImageRep>(thumb->representations().at(0));
  ASSERT_TRUE(drawnRep);  // the picture is drawn into it
  EXPECT_EQ(bytesAt(drawnRep->CGImage(), 0), (Bytes{255, 200, 100, 50}));
  EXPECT_EQ(H::createThumbnailFromNSImage({0.1, 0.1}, NSImage::initWithSize({10, 20}))->size(), CGSizeMake(1, 1));
  EXPECT_FALSE(H::createThumbnailFromNSImage({100, 100}, nullptr) || H::createThumbnailFromImage({100, 100}, nullptr));
}

TEST(HXImageUtilityTest, CoreImageRendersItsWholeExtentOrNothingForAnUnusableOne) {
  // The extent (-20, 30, 100.7, 50.2): its corner lands on the bitmap's origin, its size truncated.
  const CGImageRef rendered = H::createImageFromCIImage(CIImage::imageWithCGImage(solid(100, 50, {255, 0, 0}))
      ->imageByApplyingTransform(CGAffineTransformMake(1.007, 0, 0, 1.004, -20, 30)));
  ASSERT_TRUE(rendered);
  EXPECT_EQ(dims(rendered), (Dims{100, 50}));
  EXPECT_EQ(bytesAt(rendered, 0), (Bytes{255, 255, 0, 0})) << "top left";
  EXPECT_EQ(bytesAt(rendered, 100 * 50 * 4 - 4), (Bytes{255, 255, 0, 0})) << "bottom right";

  EXPECT_FALSE(H::createImageFromCIImage(CIImage::imageWithColor(CIColor::colorWithRedGreenBlueAlpha(1, 0, 0, 1))) ||
               H::createImageFromCIImage(CIImage::emptyImage()) || H::createImageFromCIImage(nullptr));
}

using N = NSImageUtilites;

bool isJpeg(const std::optional<Data>& d) { return d && d->size() > 3 && (*d)[0] == 0xFF && (*d)[1] == 0xD8; }
bool isPng(const std::optional<Data>& d) { return d && d->size() > 8 && (*d)[1] == 'P' && (*d)[2] == 'N'; }

// An image drawn by a handler that fills its rectangle with one colour.
std::shared_ptr<NSImage> drawn(CGSize size) {
  return NSImage::imageWithSizeFlippedDrawingHandler(size, false, [](CGRect rect) {
    const auto context = NSGraphicsContext::currentContext();
    if (!context) return false;
    CGContextSetRGBFillColor(context->CGContext(), 0, 1, 0, 1);
    CGContextFillRect(context->CGContext(), rect);
    return true;
  });
}

TEST(NSImageUtilitesTest, TheCGImageFamilyWritesJpegTheBitmapFamilyTriesTheFirstBitmapThenTiffThenARedraw) {
  const CGImageRef image = solid(8, 8, {1, 2, 3});  // the CGImage family writes JPEG whatever it is asked for
  for (const auto& data : {N::jpegDataFromCGImage(image), N::pngDataFromCGImage(image), N::jp2kDataFromCGImage(image),
                           N::dataFromCGImageWithCodec(image, "public.webp")})
    EXPECT_TRUE(isJpeg(data));
  ScopedMainScreen none(std::nullopt);
  // First representation a bitmap: encoded from it, at factor 1.0.
  const auto bitmap = NSBitmapImageRep::initWithCGImage(solid(20, 10, {255, 0, 0}));
  const auto withBitmap = NSImage::initWithSize({20, 10});
  withBitmap->addRepresentation(bitmap);
  withBitmap->addRepresentation(NSBitmapImageRep::initWithCGImage(solid(4, 4, {0, 0, 255})));
  const NSDictionary best{{NSImageCompressionFactor, 1.0f}};
  EXPECT_EQ(N::jpegData(withBitmap), bitmap->representationUsingTypeProperties(3, best));
  EXPECT_TRUE(isPng(N::pngData(withBitmap)));

  // First representation drawn, a bitmap behind it: the TIFF data holds the bitmap, and that is encoded.
  const auto behind = drawn({20, 10});
  behind->addRepresentation(NSBitmapImageRep::initWithCGImage(solid(6, 3, {0, 0, 255})));
  EXPECT_EQ(dims(H::readImageFromData(*N::pngData(behind))), (Dims{6, 3}));

  // Nothing but a drawing and no screen: a redraw at the point size (a focus bitmap's scale is 1).
  EXPECT_EQ(dims(H::readImageFromData(*N::pngData(drawn({7, 5})))), (Dims{7, 5}));
  EXPECT_FALSE(N::dataWithCodec(nullptr, 4) || N::pngDataFromCGImage(nullptr));

  // CGImage decodes the TIFF data before it draws.
  const auto photo = NSImage::initWithCGImageSize(solid(64, 48, {5, 6, 7}), {640, 480});
  EXPECT_EQ(dims(N::CGImage(photo)), (Dims{64, 48})) << "the bitmap's pixels, not its point size";
  EXPECT_EQ(N::convertFromTIFFRep(drawn({3, 3})), nullptr);
  EXPECT_EQ(N::CGImage(drawn({3, 3})), nullptr) << "no screen: the scale factor 0 gives no bitmap";
}

TEST(NSImageUtilitesTest, DrawingTakesEachSideFromPixelsOfTwoOrMoreElsePointsTimesScale) {
  ScopedMainScreen retina(MainScreenOverride{true, CGSizeMake(144, 144), 2.0});
  const auto thin = NSImage::initWithCGImageSize(solid(1, 300, {0, 0, 0}), {10.7, 40});
  EXPECT_EQ(dims(N::convertFromDrawing(drawn({100, 50}))), (Dims{200, 100})) << "0 x 0 pixels: points x 2";
  EXPECT_EQ(dims(N::convertFromDrawing(thin)), (Dims{21, 300})) << "1 pixel wide: 10.7 x 2 truncated; 300 high kept";
  EXPECT_EQ(CGImageGetBitmapInfo(N::convertFromDrawing(thin)), 2u);
  EXPECT_EQ(bytesAt(N::convertFromDrawing(drawn({4, 4})), 0), (Bytes{255, 0, 255, 0})) << "drawn, A R G B";
  // Drawn upright: a picture's top row, red, stays on top; its bottom row is blue.
  const auto twoRows = NSImage::initWithCGImageSize(
      image8(2, 2, 4, kCGImageAlphaPremultipliedLast, {255, 0, 0, 255, 255, 0, 0, 255, 0, 0, 255, 255, 0, 0, 255, 255}),
      CGSizeZero);
  EXPECT_EQ(pixelBytes(N::convertFromDrawing(twoRows)),
            (Data{255, 255, 0, 0, 255, 255, 0, 0, 255, 0, 0, 255, 255, 0, 0, 255}));
}

using T = CIImageTransform;

TEST(CIImageTransformTest, IdentitiesAnswerTheVerySameImageExtentsFollowExactlyAndTurnsAreCounterClockwise) {
  const auto image = CIImage::imageWithCGImage(solid(100, 50, {10, 20, 30}));
  EXPECT_TRUE(T::translateXByYBy(image, 0, 0) == image && T::translatePoint(image, {0, 0}) == image &&
              T::scaleXByYBy(image, 1, 1) == image && T::rotateDegreeWithCenter(image, 0, {0, 0}) == image &&
              T::imageByApplyingNSTransform(image, NSAffineTransform::transform()) == image);
  auto shifted = NSAffineTransform::transform();  // one number off the identity builds the filter
  shifted->translateXByYBy(1, 0);
  EXPECT_EQ(T::imageByApplyingNSTransform(image, shifted)->extent(), CGRectMake(1, 0, 100, 50));
  EXPECT_EQ(T::imageByApplyingNSTransform(image, nullptr), nullptr) << "no transform is no identity";

  EXPECT_EQ(T::translateXByYBy(image, 10, -5)->extent(), CGRectMake(10, -5, 100, 50));
  EXPECT_EQ(T::translatePoint(image, {3, 4})->extent(), CGRectMake(3, 4, 100, 50));
  EXPECT_EQ(T::scaleXByYBy(image, 2, 0.5)->extent(), CGRectMake(0, 0, 200, 25));
  const CGRect turned = T::rotateDegreeWithCenter(image, 90, {50, 50})->extent();  // about (50, 50): x 50...100
  EXPECT_NEAR(std::abs(turned.origin.x - 50) + std::abs(turned.origin.y) + std::abs(turned.size.width - 50), 0, 1e-9);

  // A quarter turn is counter-clockwise: the top-right green comes to the top left, red goes down.
  const CGImageRef quarter = H::createImageFromCIImage(T::rotateDegreeWithCenter(CIImage::imageWithCGImage(image8(
      2, 2, 4, kCGImageAlphaPremultipliedLast, {255, 0, 0, 255, 0, 255, 0, 255, 0, 0, 255, 255, 255, 255, 255, 255})), 90, {1, 1}));
  EXPECT_EQ(bytesAt(quarter, 0), (Bytes{255, 0, 255, 0}));
  EXPECT_EQ(bytesAt(quarter, 8), (Bytes{255, 255, 0, 0}));
}

// Thumbnails from reduced decodes or streamed rows stay within 40 dB of the exact area average.
TEST(ThumbnailQuality, EveryFormatStaysWithin40dBOfTheAreaAverage) {
  // Smooth colour with hard-edged bars and grain: what a photograph asks of a reduced decode.
  const std::size_t w = 1600, h = 1200;
  Data px(w * h * 4, 255);
  std::uint32_t seed = 7;
  for (std::size_t y = 0; y < h; ++y)
    for (std::size_t x = 0; x < w; ++x) {
      const int grain = int((seed = seed * 1664525u + 1013904223u) >> 28) - 8;
      const bool bar = (x / 37 + y / 53) % 5 == 0;
      const double v[3] = {128 + 100 * std::sin(x / 90.0), bar ? 230.0 : 120 + 90 * std::cos(y / 70.0),
                           bar ? 20.0 : 128 + 80 * std::sin((x + y) / 150.0)};
      for (int c = 0; c < 3; ++c) px[(y * w + x) * 4 + c] = std::uint8_t(std::clamp(int(v[c]) + grain, 0, 255));
    }
  const CGImageRef picture = image8(w, h, 4, kCGImageAlphaNoneSkipLast, std::move(px));
  for (const char* type : {"public.jpeg", "public.jpeg-2000", "public.png", "public.tiff", "com.microsoft.bmp"}) {
    SCOPED_TRACE(type);
    const auto file = H::saveImageWithFormatQualityProperty(picture, type, 0.9, nullptr);
    ASSERT_TRUE(file && !file->empty());
    const CGImageRef full = H::readImageFromData(*file), thumb = H::createThumbnailFromImage({100, 100}, H::readImageFromData(*file));
    ASSERT_EQ(dims(thumb), (Dims{100, 75}));
    const Data pixels = pixelBytes(full), thumbPixels = pixelBytes(thumb);
    EXPECT_GE(psnrAgainstAreaAverage({pixels.data(), CGImageGetWidth(full), CGImageGetHeight(full), CGImageGetBitsPerPixel(full) / 8,
                                      CGImageGetBytesPerRow(full)}, thumbPixels.data(), 100, 75, CGImageGetBytesPerRow(thumb)), 40.0);
  }
}

}  // namespace
}  // namespace orvane
