#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <thread>

#include "Platform/Foundation/EnvironmentOverrides.h"
#include "orvane/Platform/AppKit/NSGraphicsContext.h"
#include "orvane/Platform/AppKit/NSImage.h"

namespace orvane {
namespace {

// Overrides that set the main screen alone.
EnvironmentOverrides screenOverride(MainScreenOverride screen) {
  EnvironmentOverrides overrides;
  overrides.mainScreen = screen;
  return overrides;
}

using Pixel = std::array<std::uint8_t, 4>;  // R G B A, premultiplied
constexpr Pixel kClear{0, 0, 0, 0}, kRed{255, 0, 0, 255}, kBlue{0, 0, 255, 255};

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

// An opaque image of one colour, RGBA.
CGImageRef solid(std::size_t width, std::size_t height, Pixel colour) {
  Data bytes(width * height * 4);
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = colour[i % 4];
  return CGImageCreate(width, height, 8, 32, width * 4,
                       CGColorSpaceCreateWithName(kCGColorSpaceSRGB),
                       kCGImageAlphaPremultipliedLast, CGDataProviderCreateWithData(bytes),
                       nullptr, false, kCGRenderingIntentDefault);
}

// Checks every pixel: `inside(col, row)` ones are `colour`, the rest clear.
template <class Inside>
void expectPainted(const CGContextRef& bitmap, Pixel colour, Inside inside) {
  for (std::size_t row = 0; row < CGBitmapContextGetHeight(bitmap); ++row)
    for (std::size_t col = 0; col < CGBitmapContextGetWidth(bitmap); ++col)
      ASSERT_EQ(at(bitmap, col, row), inside(col, row) ? colour : kClear) << col << "," << row;
}

// Makes `bitmap` current for the scope, wrapped as `flipped`.
class Current {
 public:
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
  const auto blank = NSImage::initWithSize({133, 200});
  EXPECT_EQ(blank->size(), (CGSize{133, 200}));
  EXPECT_TRUE(blank->representations().empty());

  const auto pixels = NSImage::initWithCGImageSize(solid(64, 48, kRed), CGSizeZero);
  ASSERT_NE(pixels, nullptr);
  EXPECT_EQ(pixels->size(), (CGSize{64, 48}));
  const auto points = NSImage::initWithCGImageSize(solid(64, 48, kRed), {32, 24});
  EXPECT_EQ(points->size(), (CGSize{32, 24}));
  ASSERT_EQ(points->representations().size(), 1u);
  const auto& rep = points->representations()[0];
  EXPECT_EQ(rep->size(), (CGSize{32, 24}));
  EXPECT_EQ(rep->pixelsWide(), 64);
  EXPECT_EQ(rep->pixelsHigh(), 48);
  EXPECT_EQ(NSImage::initWithCGImageSize(nullptr, CGSizeZero), nullptr);

  const auto custom = NSImage::imageWithSizeFlippedDrawingHandler({10, 5}, false, fillRed);
  ASSERT_NE(custom, nullptr);
  const auto customRep = custom->representations().at(0);
  EXPECT_EQ(customRep->pixelsWide(), 0);
  EXPECT_EQ(customRep->pixelsHigh(), 0);
  EXPECT_EQ(NSImage::imageWithSizeFlippedDrawingHandler({10, 5}, false, nullptr), nullptr);

  custom->addRepresentation(rep);
  custom->addRepresentation(rep);
  custom->addRepresentation(nullptr);
  ASSERT_EQ(custom->representations().size(), 2u);
  EXPECT_EQ(custom->representations()[0], customRep);
  EXPECT_EQ(custom->representations()[1], rep);
  custom->removeRepresentation(customRep);
  ASSERT_EQ(custom->representations().size(), 1u);
  EXPECT_EQ(custom->representations()[0], rep);
}

TEST(NSImageTest, DrawingHandlersDrawInTheirOwnSpaceMappedOntoTheRectangle) {
  struct Case {
    bool repFlipped, contextFlipped;
    std::size_t firstRow;  // the 2 rows the lower-left (or, flipped, upper-left) quarter fills
  };
  // The image is drawn into the 8 x 4 band at the bottom of an 8 x 8 bitmap
  // (rows 4-7), or, in a flipped context, into the band at the top (rows 0-3).
  for (const Case c : {Case{false, false, 6}, Case{true, false, 4}, Case{false, true, 2},
                       Case{true, true, 0}}) {
    SCOPED_TRACE(testing::Message() << c.repFlipped << c.contextFlipped);
    auto bitmap = rgbaBitmap(8, 8);
    if (c.contextFlipped) {
      CGContextTranslateCTM(bitmap, 0, 8);
      CGContextScaleCTM(bitmap, 1, -1);
    }
    CGRect given = CGRectNull;
    bool handlerSawFlipped = !c.repFlipped;
    const auto image = NSImage::imageWithSizeFlippedDrawingHandler(
        {4, 2}, c.repFlipped, [&](CGRect dst) {
          given = dst;
          handlerSawFlipped = NSGraphicsContext::currentContext()->isFlipped();
          return fillRed(CGRectMake(0, 0, 2, 1));
        });
    {
      Current current(bitmap, c.contextFlipped);
      image->drawInRect(CGRectMake(0, 0, 8, 4));
      EXPECT_EQ(NSGraphicsContext::currentContext()->isFlipped(), c.contextFlipped) << "restored";
    }
    EXPECT_EQ(given, CGRectMake(0, 0, 4, 2));
    EXPECT_EQ(handlerSawFlipped, c.repFlipped);
    expectPainted(bitmap, kRed, [&](std::size_t col, std::size_t row) {
      return col < 4 && row >= c.firstRow && row < c.firstRow + 2;
    });
  }
}

TEST(NSImageTest, LockFocusDrawsIntoAScreenScaledBitmapThatBecomesTheFirstRepresentation) {
  struct Case {
    std::optional<double> scale;  // none: no screen
    CGSize size;
    std::int64_t wide, high;
  };
  for (const Case c : {Case{2.0, {10.5, 4}, 21, 8}, Case{std::nullopt, {3, 3}, 3, 3},
                       Case{1.5, {3, 3}, 5, 5}, Case{1.0, {100, 50}, 100, 50}}) {
    ScopedEnvironmentOverrides screen(screenOverride(
        c.scale ? MainScreenOverride{true, {72, 72}, *c.scale} : MainScreenOverride{}));
    auto outside = rgbaBitmap(1, 1);
    Current current(outside, false);
    const auto before = NSGraphicsContext::currentContext();
    auto image = NSImage::imageWithSizeFlippedDrawingHandler(c.size, false,
                                                             [](CGRect) { return true; });
    image->lockFocus();
    ASSERT_NE(NSGraphicsContext::currentContext(), before);
    fillRed(CGRectMake(0, 0, 2, 1));  // in points
    image->unlockFocus();
    EXPECT_EQ(NSGraphicsContext::currentContext(), before);

    ASSERT_EQ(image->representations().size(), 2u);
    const auto bitmap = std::dynamic_pointer_cast<NSBitmapImageRep>(image->representations()[0]);
    ASSERT_NE(bitmap, nullptr);
    EXPECT_EQ(bitmap->pixelsWide(), c.wide);
    EXPECT_EQ(bitmap->pixelsHigh(), c.high);
    EXPECT_EQ(bitmap->size(), c.size);
    const double s = c.scale.value_or(1.0);
    const CGImageRef pixels = bitmap->CGImage();
    // The 2 x 1 points cover 2s x s pixels from the lower-left corner; a
    // pixel on the edge is covered in part.
    const auto cover = [](double extent, double from) {
      return std::clamp(extent - from, 0.0, 1.0);
    };
    for (std::int64_t row = 0; row < c.high; ++row)
      for (std::int64_t col = 0; col < c.wide; ++col) {
        const double share = cover(2 * s, double(col)) * cover(s, double(c.high - 1 - row));
        ASSERT_NEAR(at(pixels, col, row)[3], 255 * share, 1) << col << "," << row;
      }
  }
}

TEST(NSImageTest, LockFocusWithoutPixelsDrawsNowhereAndAddsNothing) {
  ScopedEnvironmentOverrides screen(screenOverride(MainScreenOverride{}));
  auto image = NSImage::initWithSize({0, 10});
  image->lockFocus();
  EXPECT_EQ(NSGraphicsContext::currentContext(), nullptr);
  image->unlockFocus();
  image->unlockFocus();  // unbalanced: nothing happens
  EXPECT_TRUE(image->representations().empty());
}

TEST(NSImageTest, LockFocusKeepsWhatTheImageShowedAlready) {
  ScopedEnvironmentOverrides screen(screenOverride(MainScreenOverride{}));
  auto image = NSImage::initWithCGImageSize(solid(4, 4, kBlue), CGSizeZero);
  image->lockFocus();
  fillRed(CGRectMake(0, 0, 4, 2));
  image->unlockFocus();
  const CGImageRef pixels =
      std::dynamic_pointer_cast<NSBitmapImageRep>(image->representations()[0])->CGImage();
  EXPECT_EQ(at(pixels, 0, 0), kBlue);
  EXPECT_EQ(at(pixels, 3, 3), kRed);
}

TEST(NSImageTest, DrawInRectPicksTheBitmapThatFitsTheDestinationPixels) {
  auto image = NSImage::initWithCGImageSize(solid(4, 4, kRed), {4, 4});
  auto large = NSBitmapImageRep::initWithCGImage(solid(16, 16, kBlue));
  large->setSize({4, 4});
  image->addRepresentation(large);

  struct Case {
    std::size_t bitmapSide;
    double ctmScale, rectSide;
    Pixel expected;
  };
  for (const Case c : {Case{4, 1, 4, kRed}, Case{2, 1, 2, kRed}, Case{8, 1, 8, kBlue},
                       Case{16, 4, 4, kBlue}, Case{32, 1, 32, kBlue}}) {
    auto bitmap = rgbaBitmap(c.bitmapSide, c.bitmapSide);
    CGContextScaleCTM(bitmap, c.ctmScale, c.ctmScale);
    Current current(bitmap, false);
    image->drawInRect(CGRectMake(0, 0, c.rectSide, c.rectSide));
    EXPECT_EQ(at(bitmap, 0, 0), c.expected) << c.bitmapSide << " " << c.ctmScale;
  }

  auto none = rgbaBitmap(2, 2);
  {
    Current current(none, false);
    NSImage::initWithSize({2, 2})->drawInRect(CGRectMake(0, 0, 2, 2));
  }
  NSImage::initWithCGImageSize(solid(2, 2, kRed), CGSizeZero)->drawInRect(CGRectMake(0, 0, 2, 2));
  expectPainted(none, kRed, [](std::size_t, std::size_t) { return false; });
}

TEST(NSBitmapImageRepTest, BitmapDataIsAPrivateWritableCopy) {
  const CGImageRef original = solid(3, 2, kRed);
  auto rep = NSBitmapImageRep::initWithCGImage(original);
  ASSERT_NE(rep, nullptr);
  EXPECT_EQ(NSBitmapImageRep::initWithCGImage(nullptr), nullptr);
  EXPECT_EQ(rep->CGImage(), original) << "shared until written";
  EXPECT_EQ(rep->bytesPerRow(), 12);
  EXPECT_EQ(rep->bitsPerPixel(), 32);
  EXPECT_EQ(rep->bitsPerSample(), 8);

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
