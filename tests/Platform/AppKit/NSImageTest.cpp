#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

#include "Image/ImageTestSupport.h"
#include "orvane/Platform/AppKit/NSGraphicsContext.h"
#include "orvane/Platform/AppKit/NSImage.h"
#include "orvane/Platform/ImageIO/CGImageSource.h"

namespace orvane {
namespace {

using namespace testing;

// Bitmaps here are premultiplied A R G B.
constexpr Bytes kClear{0, 0, 0, 0}, kRed{255, 255, 0, 0}, kBlue{255, 0, 0, 255};
CGImageRef red(std::size_t w, std::size_t h) { return solid(w, h, {255, 0, 0}); }
CGImageRef blue(std::size_t w, std::size_t h) { return solid(w, h, {0, 0, 255}); }

// A pixel of an 8-bit RGBA or ARGB image, as A R G B.
Bytes pixel(const CGImageRef& image, std::size_t col, std::size_t row) {
  const Bytes p = bytesAt(image, row * CGImageGetBytesPerRow(image) + col * 4);
  return CGImageGetAlphaInfo(image) == kCGImageAlphaPremultipliedFirst ? p : Bytes{p[3], p[0], p[1], p[2]};
}

// Makes `bitmap` current for the scope, wrapped as `flipped`.
struct Current {
  Current(const CGContextRef& bitmap, bool flipped) {
    NSGraphicsContext::saveGraphicsState();
    NSGraphicsContext::setCurrentContext(NSGraphicsContext::graphicsContextWithCGContextFlipped(bitmap, flipped));
  }
  ~Current() { NSGraphicsContext::restoreGraphicsState(); }
};

bool fillRed(CGRect rect) {
  const auto& cg = NSGraphicsContext::currentContext()->CGContext();
  CGContextSetRGBFillColor(cg, 1, 0, 0, 1);
  CGContextFillRect(cg, rect);
  return true;
}

TEST(NSImageTest, SizesAndTheOrderedRepresentationList) {
  EXPECT_EQ(NSImage::initWithCGImageSize(red(64, 48), CGSizeZero)->size(), (CGSize{64, 48}));
  EXPECT_FALSE(NSImage::initWithCGImageSize(nullptr, CGSizeZero) ||
               NSImage::imageWithSizeFlippedDrawingHandler({10, 5}, false, nullptr));
  const auto points = NSImage::initWithCGImageSize(red(64, 48), {32, 24});
  ASSERT_EQ(points->representations().size(), 1u);
  const auto& rep = points->representations()[0];
  EXPECT_EQ(std::tuple(points->size(), rep->size(), rep->pixelsWide(), rep->pixelsHigh()),
            std::tuple(CGSize{32, 24}, CGSize{32, 24}, 64, 48));
  const auto custom = NSImage::imageWithSizeFlippedDrawingHandler({10, 5}, false, fillRed);
  const auto customRep = custom->representations().at(0);
  EXPECT_EQ(customRep->pixelsWide() + customRep->pixelsHigh(), 0);
  for (const auto& added : {rep, rep, std::shared_ptr<NSImageRep>()}) custom->addRepresentation(added);
  EXPECT_EQ(custom->representations(), (std::vector{customRep, rep}));
  custom->removeRepresentation(customRep);
  EXPECT_EQ(custom->representations(), (std::vector{rep}));
}

TEST(NSImageTest, DrawingHandlersDrawInTheirOwnSpaceMappedOntoTheRectangle) {
  // Drawn into the 8 x 4 band at the bottom of 8 x 8 (rows 4-7), or flipped at the top (rows 0-3); the
  // handler's lower-left (flipped: upper-left) quarter fills 2 rows from firstRow.
  for (const auto& [repFlipped, contextFlipped, firstRow] :
       {std::tuple{false, false, 6u}, {true, false, 4u}, {false, true, 2u}, {true, true, 0u}}) {
    SCOPED_TRACE(::testing::Message() << repFlipped << contextFlipped);
    auto bitmap = argb(8, 8);
    if (contextFlipped) CGContextTranslateCTM(bitmap, 0, 8), CGContextScaleCTM(bitmap, 1, -1);
    CGRect given = CGRectNull;
    bool handlerSawFlipped = !repFlipped;
    const auto image = NSImage::imageWithSizeFlippedDrawingHandler({4, 2}, repFlipped, [&](CGRect dst) {
      given = dst;
      handlerSawFlipped = NSGraphicsContext::currentContext()->isFlipped();
      return fillRed(CGRectMake(0, 0, 2, 1));
    });
    {
      Current current(bitmap, contextFlipped);
      image->drawInRect(CGRectMake(0, 0, 8, 4));
      EXPECT_EQ(NSGraphicsContext::currentContext()->isFlipped(), contextFlipped) << "restored";
    }
    EXPECT_TRUE(given == CGRectMake(0, 0, 4, 2) && handlerSawFlipped == repFlipped);
    for (std::size_t i = 0; i < 64; ++i)
      ASSERT_EQ(at(bitmap, i % 8, i / 8), i % 8 < 4 && i / 8 >= firstRow && i / 8 < firstRow + 2 ? kRed : kClear) << i;
  }
}

TEST(NSImageTest, LockFocusDrawsIntoAScreenScaledBitmapThatBecomesTheFirstRepresentation) {
  for (const auto& [scale, size, wide, high] :
       {std::tuple{std::optional(2.0), CGSize{10.5, 4}, 21, 8}, {std::nullopt, {3, 3}, 3, 3},
        {1.5, {3, 3}, 5, 5}, {1.0, {100, 50}, 100, 50}}) {
    ScopedMainScreen main(scale ? std::optional(MainScreenOverride{true, {72, 72}, *scale}) : std::nullopt);
    Current current(argb(1, 1), false);
    const auto before = NSGraphicsContext::currentContext();
    auto image = NSImage::imageWithSizeFlippedDrawingHandler(size, false, [](CGRect) { return true; });
    image->lockFocus();
    ASSERT_NE(NSGraphicsContext::currentContext(), before);
    fillRed(CGRectMake(0, 0, 2, 1));  // in points
    image->unlockFocus();
    EXPECT_EQ(NSGraphicsContext::currentContext(), before);
    ASSERT_EQ(image->representations().size(), 2u);
    const auto bitmap = std::dynamic_pointer_cast<NSBitmapImageRep>(image->representations()[0]);
    ASSERT_TRUE(bitmap && bitmap->pixelsWide() == wide && bitmap->pixelsHigh() == high && bitmap->size() == size);
    // The 2 x 1 points cover 2s x s pixels from the lower-left corner; an edge pixel in part.
    const double s = scale.value_or(1.0);
    const auto cover = [](double extent, double from) { return std::clamp(extent - from, 0.0, 1.0); };
    for (int i = 0; i < wide * high; ++i)
      ASSERT_NEAR(pixel(bitmap->CGImage(), i % wide, i / wide)[0],
                  255 * cover(2 * s, i % wide) * cover(s, high - 1 - i / wide), 1) << i;
  }
}

TEST(NSImageTest, LockFocusKeepsWhatTheImageShowedAndWithoutPixelsDrawsNowhere) {
  ScopedMainScreen none(std::nullopt);
  auto image = NSImage::initWithCGImageSize(blue(4, 4), CGSizeZero);
  image->lockFocus();
  fillRed(CGRectMake(0, 0, 4, 2));
  image->unlockFocus();
  const auto pixels = std::dynamic_pointer_cast<NSBitmapImageRep>(image->representations()[0])->CGImage();
  EXPECT_EQ(std::pair(pixel(pixels, 0, 0), pixel(pixels, 3, 3)), std::pair(kBlue, kRed));

  auto empty = NSImage::initWithSize({0, 10});
  empty->lockFocus();
  EXPECT_EQ(NSGraphicsContext::currentContext(), nullptr) << "no pixels: no bitmap to draw into";
  empty->unlockFocus();
  empty->unlockFocus();  // unbalanced: nothing happens
  EXPECT_TRUE(empty->representations().empty() && NSGraphicsContext::currentContext() == nullptr);
}

TEST(NSImageTest, DrawInRectPicksTheBitmapThatFitsTheDestinationPixels) {
  auto image = NSImage::initWithCGImageSize(red(4, 4), {4, 4});
  auto large = NSBitmapImageRep::initWithCGImage(blue(16, 16));
  large->setSize({4, 4});
  image->addRepresentation(large);
  // Bitmap side, scale, rectangle side: which of the two is drawn.
  for (const auto& [side, ctm, rect, expected] :
       {std::tuple{4u, 1.0, 4.0, kRed}, {2u, 1.0, 2.0, kRed}, {8u, 1.0, 8.0, kBlue}, {16u, 4.0, 4.0, kBlue},
        {32u, 1.0, 32.0, kBlue}}) {
    auto bitmap = argb(side, side);
    CGContextScaleCTM(bitmap, ctm, ctm);
    Current current(bitmap, false);
    image->drawInRect(CGRectMake(0, 0, rect, rect));
    EXPECT_EQ(at(bitmap, 0, 0), expected) << side << " " << ctm;
  }
  auto none = argb(2, 2);  // nothing to draw, or no context to draw into
  NSImage::initWithCGImageSize(red(2, 2), CGSizeZero)->drawInRect(CGRectMake(0, 0, 2, 2));
  Current current(none, false);
  NSImage::initWithSize({2, 2})->drawInRect(CGRectMake(0, 0, 2, 2));
  for (std::size_t i = 0; i < 4; ++i) EXPECT_EQ(at(none, i % 2, i / 2), kClear);
}

TEST(NSBitmapImageRepTest, BitmapDataIsAPrivateWritableCopy) {
  const CGImageRef original = red(3, 2);
  auto rep = NSBitmapImageRep::initWithCGImage(original);
  ASSERT_NE(rep, nullptr);
  EXPECT_EQ(NSBitmapImageRep::initWithCGImage(nullptr), nullptr);
  EXPECT_EQ(rep->CGImage(), original) << "shared until written";
  EXPECT_EQ(rep->bytesPerRow() * 10000 + rep->bitsPerPixel() * 100 + rep->bitsPerSample(), 123208);
  std::uint8_t* data = rep->bitmapData();
  ASSERT_NE(data, nullptr);
  data[rep->bytesPerRow() + 4 + 2] = 255;  // row 1, column 1: add blue
  const CGImageRef changed = rep->CGImage();
  EXPECT_NE(changed, original);
  EXPECT_EQ(pixel(changed, 1, 1), (Bytes{255, 255, 0, 255}));
  EXPECT_EQ(pixel(changed, 0, 0), kRed);
  EXPECT_EQ(pixel(original, 1, 1), kRed) << "the caller's image is never changed";
  EXPECT_EQ(rep->bitmapData(), data) << "one copy";
}

// Each thread has its own current context; a restore brings back the saved context and its graphics state.
TEST(NSGraphicsContextTest, StateStackRestoresTheContextAndItsGraphicsStatePerThread) {
  EXPECT_EQ(NSGraphicsContext::graphicsContextWithCGContextFlipped(nullptr, false), nullptr);
  const auto a = NSGraphicsContext::graphicsContextWithCGContextFlipped(argb(2, 2), true);
  const auto b = NSGraphicsContext::graphicsContextWithCGContextFlipped(argb(2, 2), false);
  EXPECT_TRUE(a->isFlipped() && !b->isFlipped());
  NSGraphicsContext::setCurrentContext(a);
  NSGraphicsContext::saveGraphicsState();
  CGContextTranslateCTM(a->CGContext(), 5, 7);
  NSGraphicsContext::setCurrentContext(b);
  std::thread([&] { EXPECT_EQ(NSGraphicsContext::currentContext(), nullptr); }).join();
  NSGraphicsContext::restoreGraphicsState();
  EXPECT_EQ(NSGraphicsContext::currentContext(), a);
  EXPECT_EQ(CGContextGetCTM(a->CGContext()), CGAffineTransformIdentity);
  NSGraphicsContext::setCurrentContext(nullptr);
}

// The codecs themselves are checked against Pillow in the ImageIO tests.
TEST(NSBitmapImageRepCodingTest, WritesEveryFileTypeAtTheQualityAskedAndReadsItBack) {
  Data px;  // 5 x 3 pixels whose colour moves 30 levels a pixel
  for (int i = 0; i < 15; ++i)
    px.insert(px.end(),
              {std::uint8_t(30 * (i % 5) + 20), std::uint8_t(40 * (i / 5) + 10), std::uint8_t(200 - 10 * (i % 5 + i / 5))});
  const auto rep = NSBitmapImageRep::initWithCGImage(image8(5, 3, 3, kCGImageAlphaNone, px));
  const NSDictionary best{{NSImageCompressionFactor, 1.0f}}, worst{{NSImageCompressionFactor, 0.0f}};
  const std::tuple<NSBitmapImageFileType, std::string_view, bool> cases[] = {
      {NSBitmapImageFileTypeTIFF, kUTTypeTIFF, false}, {NSBitmapImageFileTypeBMP, kUTTypeBMP, false},
      {NSBitmapImageFileTypeGIF, kUTTypeGIF, false},   {NSBitmapImageFileTypePNG, kUTTypePNG, false},
      {NSBitmapImageFileTypeJPEG, kUTTypeJPEG, true},  {NSBitmapImageFileTypeJPEG2000, kUTTypeJPEG2000, true}};
  for (const auto& [type, uti, lossy] : cases) {
    SCOPED_TRACE(uti);
    const auto data = rep->representationUsingTypeProperties(type, best);
    ASSERT_TRUE(data.has_value());
    EXPECT_EQ(CGImageSourceGetType(CGImageSourceCreateWithData(*data)), uti);
    const auto back = NSBitmapImageRep::initWithData(*data);
    ASSERT_NE(back, nullptr);
    if (!lossy) { EXPECT_EQ(pixelBytes(back->CGImage()), px); }
    // The compression factor sets the quality of the lossy types only.
    const auto coarse = rep->representationUsingTypeProperties(type, worst);
    ASSERT_TRUE(coarse.has_value());
    EXPECT_TRUE(lossy ? coarse->size() < data->size() : coarse == data);
  }
  EXPECT_FALSE(rep->representationUsingTypeProperties(6, best).has_value());

  auto image = NSImage::imageWithSizeFlippedDrawingHandler({5, 3}, false, [](CGRect) { return true; });
  EXPECT_TRUE(image->TIFFRepresentation().empty()) << "a drawing handler is not rasterised";
  image->addRepresentation(rep);
  image->addRepresentation(NSBitmapImageRep::initWithCGImage(blue(3, 3)));
  const Data tiff = image->TIFFRepresentation();  // the first bitmap's
  EXPECT_EQ(tiff, rep->TIFFRepresentation());
  const auto back = NSImage::initWithData(tiff);
  ASSERT_NE(back, nullptr);
  EXPECT_EQ(back->size(), (CGSize{5, 3}));
  EXPECT_EQ(pixelBytes(std::dynamic_pointer_cast<NSBitmapImageRep>(back->representations().at(0))->CGImage()), px);

  const Data garbage = dataOf("not an image at all");
  EXPECT_FALSE(NSBitmapImageRep::initWithData(garbage) || NSBitmapImageRep::imageRepWithData({}) ||
               NSImage::initWithData(garbage));
  EXPECT_TRUE(NSBitmapImageRep::imageRepsWithData(garbage).empty());
}

}  // namespace
}  // namespace orvane
