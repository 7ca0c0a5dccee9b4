#include "orvane/Image/NSImageUtilites.h"

#include <gtest/gtest.h>

#include "Image/ImageTestSupport.h"
#include "orvane/Platform/AppKit/NSGraphicsContext.h"

namespace orvane {
namespace {

using N = NSImageUtilites;
using namespace testing;

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

TEST(NSImageUtilitesTest, TheCGImageFamilyWritesJpegWhateverItIsAskedFor) {
  const CGImageRef image = solid(8, 8, {1, 2, 3});
  EXPECT_TRUE(isJpeg(N::jpegDataFromCGImage(image)));
  EXPECT_TRUE(isJpeg(N::pngDataFromCGImage(image)));
  EXPECT_TRUE(isJpeg(N::jp2kDataFromCGImage(image)));
  EXPECT_TRUE(isJpeg(N::dataFromCGImageWithCodec(image, "public.webp")));
  EXPECT_FALSE(N::pngDataFromCGImage(nullptr));
}

TEST(NSImageUtilitesTest, TheBitmapFamilyTriesTheFirstBitmapThenTiffThenARedraw) {
  ScopedMainScreen none(std::nullopt);
  // First representation a bitmap: encoded from it, at factor 1.0.
  const auto bitmap = NSBitmapImageRep::initWithCGImage(solid(20, 10, {255, 0, 0}));
  const auto withBitmap = NSImage::initWithSize({20, 10});
  withBitmap->addRepresentation(bitmap);
  withBitmap->addRepresentation(NSBitmapImageRep::initWithCGImage(solid(4, 4, {0, 0, 255})));
  const NSDictionary best{{NSImageCompressionFactor, 1.0f}};
  EXPECT_EQ(N::jpegData(withBitmap), bitmap->representationUsingTypeProperties(3, best));
  EXPECT_TRUE(isPng(N::pngData(withBitmap)));

  // First representation drawn, a bitmap behind it: the TIFF data holds the
  // bitmap, and that is what gets encoded.
  const auto behind = drawn({20, 10});
  behind->addRepresentation(NSBitmapImageRep::initWithCGImage(solid(6, 3, {0, 0, 255})));
  EXPECT_EQ(dims(HXImageUtility::readImageFromData(*N::pngData(behind))), (Dims{6, 3}));

  // Nothing but a drawing and no screen: a redraw at the point size (the
  // focus bitmap's scale is 1 without a screen).
  EXPECT_EQ(dims(HXImageUtility::readImageFromData(*N::pngData(drawn({7, 5})))), (Dims{7, 5}));
  EXPECT_FALSE(N::dataWithCodec(nullptr, 4));
}

TEST(NSImageUtilitesTest, CGImageDecodesTheTiffDataBeforeItDraws) {
  ScopedMainScreen none(std::nullopt);
  const auto photo = NSImage::initWithCGImageSize(solid(64, 48, {5, 6, 7}), {640, 480});
  EXPECT_EQ(dims(N::CGImage(photo)), (Dims{64, 48})) << "the bitmap's pixels, not its point size";
  EXPECT_EQ(N::convertFromTIFFRep(drawn({3, 3})), nullptr);
  EXPECT_EQ(N::CGImage(drawn({3, 3})), nullptr) << "no screen: the scale factor 0 gives no bitmap";
}

TEST(NSImageUtilitesTest, DrawingTakesEachSideFromPixelsOfTwoOrMoreElsePointsTimesScale) {
  ScopedMainScreen retina(MainScreenOverride{true, CGSizeMake(144, 144), 2.0});
  const auto thin = NSImage::initWithCGImageSize(solid(1, 300, {0, 0, 0}), {10.7, 40});
  const struct {
    std::shared_ptr<NSImage> image;
    std::size_t w, h;
  } cases[] = {
      {drawn({100, 50}), 200, 100},  // 0 x 0 pixels: points x 2
      {thin, 21, 300},               // 1 pixel wide: 10.7 x 2 truncated; 300 high kept
  };
  for (const auto& c : cases) {
    const CGImageRef image = N::convertFromDrawing(c.image);
    EXPECT_EQ(dims(image), (Dims{c.w, c.h}));
    EXPECT_EQ(CGImageGetBitmapInfo(image), 2u);
  }
  EXPECT_EQ(bytesAt(N::convertFromDrawing(drawn({4, 4})), 0), (Bytes{255, 0, 255, 0})) << "drawn, A R G B";
  // Drawn upright: a picture's top row, red, stays on top; its bottom row is blue.
  const auto twoRows = NSImage::initWithCGImageSize(
      image8(2, 2, 4, kCGImageAlphaPremultipliedLast, {255, 0, 0, 255, 255, 0, 0, 255, 0, 0, 255, 255, 0, 0, 255, 255}),
      CGSizeZero);
  const CGImageRef upright = N::convertFromDrawing(twoRows);
  ASSERT_EQ(pixelBytes(upright).size(), 16u);
  EXPECT_EQ(bytesAt(upright, 0), (Bytes{255, 255, 0, 0}));
  EXPECT_EQ(bytesAt(upright, 12), (Bytes{255, 0, 0, 255}));
}

}  // namespace
}  // namespace orvane
