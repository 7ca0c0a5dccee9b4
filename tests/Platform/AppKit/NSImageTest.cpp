#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <thread>

#include "Platform/Foundation/EnvironmentOverrides.h"
#include "orvane/Platform/AppKit/NSGraphicsContext.h"
#include "orvane/Platform/AppKit/NSImage.h"

namespace orvane {
namespace {

using Pixel = std::array<std::uint8_t, 4>;  // R G B A, premultiplied
constexpr Pixel kClear{0, 0, 0, 0}, kRed{255, 0, 0, 255}, kBlue{0, 0, 255, 255};

// Sets the main screen alone for the object's lifetime; no scale: no screen.
struct Screen : EnvironmentOverrides, ScopedEnvironmentOverrides {
  explicit Screen(std::optional<double> scale)
      : ScopedEnvironmentOverrides([&] {
          EnvironmentOverrides o;
          o.mainScreen = scale ? MainScreenOverride{true, {72, 72}, *scale} : MainScreenOverride{};
          return o;
        }()) {}
};

CGContextRef rgbaBitmap(std::size_t width, std::size_t height) {
  return CGBitmapContextCreate(nullptr, width, height, 8, 0,
                               CGColorSpaceCreateWithName(kCGColorSpaceSRGB),
                               kCGImageAlphaPremultipliedLast);
}

Pixel at(const CGContextRef& bitmap, std::size_t col, std::size_t row) {
  const auto* p = static_cast<const std::uint8_t*>(CGBitmapContextGetData(bitmap)) +
                  row * CGBitmapContextGetBytesPerRow(bitmap) + col * 4;
  return {p[0], p[1], p[2], p[3]};
}

// A pixel of an 8-bit RGBA or ARGB image, as R G B A.
Pixel at(const CGImageRef& image, std::size_t col, std::size_t row) {
  const auto bytes = CGDataProviderCopyData(CGImageGetDataProvider(image));
  const std::uint8_t* p = bytes->data() + row * CGImageGetBytesPerRow(image) + col * 4;
  if (CGImageGetAlphaInfo(image) == kCGImageAlphaPremultipliedFirst) return {p[1], p[2], p[3], p[0]};
  return {p[0], p[1], p[2], p[3]};
}

CGImageRef solid(std::size_t width, std::size_t height, Pixel colour) {  // opaque, RGBA
  Data bytes(width * height * 4);
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = colour[i % 4];
  return CGImageCreate(width, height, 8, 32, width * 4, CGColorSpaceCreateWithName(kCGColorSpaceSRGB),
                       kCGImageAlphaPremultipliedLast, CGDataProviderCreateWithData(bytes), nullptr,
                       false, kCGRenderingIntentDefault);
}

// Makes `bitmap` current for the scope, wrapped as `flipped`.
struct Current {
  Current(const CGContextRef& bitmap, bool flipped) {
    NSGraphicsContext::saveGraphicsState();
    NSGraphicsContext::setCurrentContext(
        NSGraphicsContext::graphicsContextWithCGContextFlipped(bitmap, flipped));
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
  EXPECT_TRUE(NSImage::initWithSize({133, 200})->representations().empty());
  EXPECT_EQ(NSImage::initWithCGImageSize(solid(64, 48, kRed), CGSizeZero)->size(), (CGSize{64, 48}));
  EXPECT_EQ(NSImage::initWithCGImageSize(nullptr, CGSizeZero), nullptr);
  const auto points = NSImage::initWithCGImageSize(solid(64, 48, kRed), {32, 24});
  EXPECT_EQ(points->size(), (CGSize{32, 24}));
  ASSERT_EQ(points->representations().size(), 1u);
  const auto& rep = points->representations()[0];
  EXPECT_EQ(rep->size(), (CGSize{32, 24}));
  EXPECT_EQ(rep->pixelsWide() * 100 + rep->pixelsHigh(), 6448);

  const auto custom = NSImage::imageWithSizeFlippedDrawingHandler({10, 5}, false, fillRed);
  ASSERT_NE(custom, nullptr);
  const auto customRep = custom->representations().at(0);
  EXPECT_EQ(customRep->pixelsWide() + customRep->pixelsHigh(), 0);
  EXPECT_EQ(NSImage::imageWithSizeFlippedDrawingHandler({10, 5}, false, nullptr), nullptr);
  for (const auto& added : {rep, rep, std::shared_ptr<NSImageRep>()}) custom->addRepresentation(added);
  EXPECT_EQ(custom->representations(), (std::vector{customRep, rep}));
  custom->removeRepresentation(customRep);
  EXPECT_EQ(custom->representations(), (std::vector{rep}));
}

TEST(NSImageTest, DrawingHandlersDrawInTheirOwnSpaceMappedOntoTheRectangle) {
  // The image is drawn into the 8 x 4 band at the bottom of an 8 x 8 bitmap
  // (rows 4-7), or, in a flipped context, into the band at the top (rows 0-3);
  // its lower-left (or, flipped, upper-left) quarter fills 2 rows from firstRow.
  for (const auto& [repFlipped, contextFlipped, firstRow] :
       {std::tuple{false, false, 6u}, {true, false, 4u}, {false, true, 2u}, {true, true, 0u}}) {
    SCOPED_TRACE(testing::Message() << repFlipped << contextFlipped);
    auto bitmap = rgbaBitmap(8, 8);
    if (contextFlipped) CGContextTranslateCTM(bitmap, 0, 8), CGContextScaleCTM(bitmap, 1, -1);
    CGRect given = CGRectNull;
    bool handlerSawFlipped = !repFlipped;
    const auto image =
        NSImage::imageWithSizeFlippedDrawingHandler({4, 2}, repFlipped, [&](CGRect dst) {
          given = dst;
          handlerSawFlipped = NSGraphicsContext::currentContext()->isFlipped();
          return fillRed(CGRectMake(0, 0, 2, 1));
        });
    {
      Current current(bitmap, contextFlipped);
      image->drawInRect(CGRectMake(0, 0, 8, 4));
      EXPECT_EQ(NSGraphicsContext::currentContext()->isFlipped(), contextFlipped) << "restored";
    }
    EXPECT_EQ(given, CGRectMake(0, 0, 4, 2));
    EXPECT_EQ(handlerSawFlipped, repFlipped);
    for (std::size_t row = 0; row < 8; ++row)
      for (std::size_t col = 0; col < 8; ++col)
        ASSERT_EQ(at(bitmap, col, row),
                  col < 4 && row >= firstRow && row < firstRow + 2 ? kRed : kClear) << col << "," << row;
  }
}

TEST(NSImageTest, LockFocusDrawsIntoAScreenScaledBitmapThatBecomesTheFirstRepresentation) {
  for (const auto& [scale, size, wide, high] :
       {std::tuple{std::optional(2.0), CGSize{10.5, 4}, 21, 8}, {std::nullopt, {3, 3}, 3, 3},
        {1.5, {3, 3}, 5, 5}, {1.0, {100, 50}, 100, 50}}) {
    Screen screen(scale);
    auto outside = rgbaBitmap(1, 1);
    Current current(outside, false);
    const auto before = NSGraphicsContext::currentContext();
    auto image = NSImage::imageWithSizeFlippedDrawingHandler(size, false, [](CGRect) { return true; });
    image->lockFocus();
    ASSERT_NE(NSGraphicsContext::currentContext(), before);
    fillRed(CGRectMake(0, 0, 2, 1));  // in points
    image->unlockFocus();
    EXPECT_EQ(NSGraphicsContext::currentContext(), before);
    ASSERT_EQ(image->representations().size(), 2u);
    const auto bitmap = std::dynamic_pointer_cast<NSBitmapImageRep>(image->representations()[0]);
    ASSERT_NE(bitmap, nullptr);
    EXPECT_EQ(bitmap->pixelsWide() * 1000 + bitmap->pixelsHigh(), wide * 1000 + high);
    EXPECT_EQ(bitmap->size(), size);
    // The 2 x 1 points cover 2s x s pixels from the lower-left corner; a pixel
    // on the edge is covered in part.
    const double s = scale.value_or(1.0);
    const auto cover = [](double extent, double from) { return std::clamp(extent - from, 0.0, 1.0); };
    for (int row = 0; row < high; ++row)
      for (int col = 0; col < wide; ++col)
        ASSERT_NEAR(at(bitmap->CGImage(), col, row)[3],
                    255 * cover(2 * s, col) * cover(s, high - 1 - row), 1) << col << "," << row;
  }
}

TEST(NSImageTest, LockFocusKeepsWhatTheImageShowedAndWithoutPixelsDrawsNowhere) {
  Screen screen(std::nullopt);
  auto image = NSImage::initWithCGImageSize(solid(4, 4, kBlue), CGSizeZero);
  image->lockFocus();
  fillRed(CGRectMake(0, 0, 4, 2));
  image->unlockFocus();
  const auto pixels = std::dynamic_pointer_cast<NSBitmapImageRep>(image->representations()[0])->CGImage();
  EXPECT_EQ(at(pixels, 0, 0), kBlue);
  EXPECT_EQ(at(pixels, 3, 3), kRed);

  auto empty = NSImage::initWithSize({0, 10});
  empty->lockFocus();
  EXPECT_EQ(NSGraphicsContext::currentContext(), nullptr);
  empty->unlockFocus();
  empty->unlockFocus();  // unbalanced: nothing happens
  EXPECT_TRUE(empty->representations().empty());
}

TEST(NSImageTest, DrawInRectPicksTheBitmapThatFitsTheDestinationPixels) {
  auto image = NSImage::initWithCGImageSize(solid(4, 4, kRed), {4, 4});
  auto large = NSBitmapImageRep::initWithCGImage(solid(16, 16, kBlue));
  large->setSize({4, 4});
  image->addRepresentation(large);
  // Bitmap side, scale, rectangle side: which of the two is drawn.
  for (const auto& [side, ctm, rect, expected] :
       {std::tuple{4u, 1.0, 4.0, kRed}, {2u, 1.0, 2.0, kRed}, {8u, 1.0, 8.0, kBlue},
        {16u, 4.0, 4.0, kBlue}, {32u, 1.0, 32.0, kBlue}}) {
    auto bitmap = rgbaBitmap(side, side);
    CGContextScaleCTM(bitmap, ctm, ctm);
    Current current(bitmap, false);
    image->drawInRect(CGRectMake(0, 0, rect, rect));
    EXPECT_EQ(at(bitmap, 0, 0), expected) << side << " " << ctm;
  }
  auto none = rgbaBitmap(2, 2);
  {
    Current current(none, false);
    NSImage::initWithSize({2, 2})->drawInRect(CGRectMake(0, 0, 2, 2));
  }
  NSImage::initWithCGImageSize(solid(2, 2, kRed), CGSizeZero)->drawInRect(CGRectMake(0, 0, 2, 2));
  for (std::size_t i = 0; i < 4; ++i) EXPECT_EQ(at(none, i % 2, i / 2), kClear);
}

TEST(NSBitmapImageRepTest, BitmapDataIsAPrivateWritableCopy) {
  const CGImageRef original = solid(3, 2, kRed);
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
  EXPECT_EQ(at(changed, 1, 1), (Pixel{255, 0, 255, 255}));
  EXPECT_EQ(at(changed, 0, 0), kRed);
  EXPECT_EQ(at(original, 1, 1), kRed) << "the caller's image is never changed";
  EXPECT_EQ(rep->bitmapData(), data) << "one copy";
}

TEST(NSGraphicsContextTest, StateStackRestoresTheContextAndItsGraphicsState) {
  EXPECT_EQ(NSGraphicsContext::graphicsContextWithCGContextFlipped(nullptr, false), nullptr);
  const auto a = NSGraphicsContext::graphicsContextWithCGContextFlipped(rgbaBitmap(2, 2), true);
  const auto b = NSGraphicsContext::graphicsContextWithCGContextFlipped(rgbaBitmap(2, 2), false);
  EXPECT_TRUE(a->isFlipped());
  EXPECT_FALSE(b->isFlipped());
  EXPECT_EQ(NSGraphicsContext::currentContext(), nullptr);
  NSGraphicsContext::saveGraphicsState();  // saves "none"
  NSGraphicsContext::setCurrentContext(a);
  NSGraphicsContext::saveGraphicsState();
  CGContextTranslateCTM(a->CGContext(), 5, 7);
  NSGraphicsContext::setCurrentContext(b);
  NSGraphicsContext::restoreGraphicsState();
  EXPECT_EQ(NSGraphicsContext::currentContext(), a);
  EXPECT_EQ(CGContextGetCTM(a->CGContext()), CGAffineTransformIdentity);
  std::thread([&] {
    EXPECT_EQ(NSGraphicsContext::currentContext(), nullptr) << "each thread has its own";
    NSGraphicsContext::setCurrentContext(b);
    NSGraphicsContext::restoreGraphicsState();  // its stack is empty
    EXPECT_EQ(NSGraphicsContext::currentContext(), b);
  }).join();
  EXPECT_EQ(NSGraphicsContext::currentContext(), a);
  NSGraphicsContext::restoreGraphicsState();
  EXPECT_EQ(NSGraphicsContext::currentContext(), nullptr);
  NSGraphicsContext::restoreGraphicsState();  // nothing saved: no change
  EXPECT_EQ(NSGraphicsContext::currentContext(), nullptr);
}

}  // namespace
}  // namespace orvane
