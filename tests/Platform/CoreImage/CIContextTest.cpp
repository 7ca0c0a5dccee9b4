#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <numbers>

#include "orvane/Platform/CoreGraphics/CGAffineTransform.h"
#include "orvane/Platform/CoreGraphics/CGContext.h"
#include "orvane/Platform/CoreImage/CIContext.h"

namespace orvane {
namespace {

using Pixel = std::array<std::uint8_t, 4>;  // R G B A, premultiplied

// An opaque sRGB image whose pixel at (column, row from the top) is `at`.
CGImageRef makeImage(std::size_t width, std::size_t height,
                     const std::function<Pixel(std::size_t, std::size_t)>& at) {
  Data bytes(width * height * 4);
  for (std::size_t row = 0; row < height; ++row)
    for (std::size_t col = 0; col < width; ++col) {
      const Pixel p = at(col, row);
      std::copy(p.begin(), p.end(), bytes.begin() + (row * width + col) * 4);
    }
  return CGImageCreate(width, height, 8, 32, width * 4,
                       CGColorSpaceCreateWithName(kCGColorSpaceSRGB),
                       kCGImageAlphaPremultipliedLast, CGDataProviderCreateWithData(bytes),
                       nullptr, false, kCGRenderingIntentDefault);
}

Pixel pixelOf(const CGImageRef& image, std::size_t col, std::size_t row) {
  const auto bytes = CGDataProviderCopyData(CGImageGetDataProvider(image));
  const std::size_t at = row * CGImageGetBytesPerRow(image) + col * 4;
  return {(*bytes)[at], (*bytes)[at + 1], (*bytes)[at + 2], (*bytes)[at + 3]};
}

// Deterministic noise: neighbouring pixels differ widely, so any resampling
// shows.
Pixel noise(std::size_t col, std::size_t row) {
  std::uint32_t h = static_cast<std::uint32_t>(col * 73856093u ^ row * 19349663u);
  h = h * 1103515245u + 12345u;
  return {static_cast<std::uint8_t>(h >> 24), static_cast<std::uint8_t>(h >> 16),
          static_cast<std::uint8_t>(h >> 8), 255};
}

bool within(const Pixel& a, const Pixel& b, int tolerance) {
  for (int i = 0; i < 4; ++i)
    if (std::abs(int(a[i]) - int(b[i])) > tolerance) return false;
  return true;
}

// A turn by `degrees` counter-clockwise about (c, c).
CGAffineTransform turnAbout(double c, double degrees) {
  return CGAffineTransformConcat(
      CGAffineTransformConcat(CGAffineTransformMakeTranslation(-c, -c),
                              CGAffineTransformMakeRotation(degrees * std::numbers::pi / 180)),
      CGAffineTransformMakeTranslation(c, c));
}

std::shared_ptr<CIContext> context() { return CIContext::contextWithOptions(nullptr); }

TEST(CIContextTest, WholePixelMovesCopyPixelsAndLeaveTheRestTransparent) {
  const auto source = makeImage(4, 3, noise);
  const auto moved = CIImage::imageWithCGImage(source)->imageByApplyingTransform(
      CGAffineTransformMakeTranslation(1, 1));
  const auto out = context()->createCGImageFromRect(moved, CGRectMake(0, 0, 6, 5));
  ASSERT_NE(out, nullptr);
  ASSERT_EQ(CGImageGetWidth(out), 6u);
  ASSERT_EQ(CGImageGetHeight(out), 5u);
  for (std::size_t row = 0; row < 5; ++row)
    for (std::size_t col = 0; col < 6; ++col) {
      // Up by one is one row nearer the top in memory: output row r shows
      // source row r - 1.
      const bool inside = row >= 1 && row <= 3 && col >= 1 && col <= 4;
      const Pixel expected = inside ? noise(col - 1, row - 1) : Pixel{0, 0, 0, 0};
      EXPECT_EQ(pixelOf(out, col, row), expected) << col << "," << row;
    }
}

TEST(CIContextTest, AThousandSmallTurnsAreSampledOnceAndGiveTheImageBack) {
  constexpr std::size_t n = 32;
  const auto image = CIImage::imageWithCGImage(makeImage(n, n, noise));
  const CGAffineTransform step = turnAbout(n / 2.0, 0.36);
  auto turned = image;
  std::shared_ptr<const CIImage> halfway;
  for (int i = 1; i <= 1000; ++i) {
    turned = turned->imageByApplyingTransform(step);
    if (i == 500) halfway = turned;
  }
  const auto ctx = context();
  const auto whole = ctx->createCGImageFromRect(turned, CGRectMake(0, 0, n, n));
  const auto half = ctx->createCGImageFromRect(halfway, CGRectMake(0, 0, n, n));
  ASSERT_NE(whole, nullptr);
  ASSERT_NE(half, nullptr);
  for (std::size_t row = 0; row < n; ++row)
    for (std::size_t col = 0; col < n; ++col) {
      EXPECT_TRUE(within(pixelOf(whole, col, row), noise(col, row), 1)) << col << "," << row;
      // Half the turns is half a turn: the picture upside down.
      EXPECT_TRUE(within(pixelOf(half, n - 1 - col, n - 1 - row), noise(col, row), 1))
          << col << "," << row;
    }
}

TEST(CIContextTest, CroppedColoursFillExactlyTheirRectangle) {
  const auto red = CIImage::imageWithColor(CIColor::colorWithRedGreenBlueAlpha(1, 0.5, 0, 0.5))
                       ->imageByCroppingToRect(CGRectMake(2, 1, 3, 2));
  const auto out = context()->createCGImageFromRect(red, CGRectMake(0, 0, 6, 4));
  ASSERT_NE(out, nullptr);
  for (std::size_t row = 0; row < 4; ++row)
    for (std::size_t col = 0; col < 6; ++col) {
      // y from 1 to 3 of 4 is memory rows 1 and 2.
      const bool inside = col >= 2 && col <= 4 && row >= 1 && row <= 2;
      const Pixel expected = inside ? Pixel{128, 64, 0, 128} : Pixel{0, 0, 0, 0};
      EXPECT_TRUE(within(pixelOf(out, col, row), expected, 1)) << col << "," << row;
    }
}

TEST(CIContextTest, DrawsTheSourceRectangleOntoTheDestinationRectangle) {
  // An alpha-first sRGB bitmap, as the image utility's renderings use.
  auto bitmap = CGBitmapContextCreate(nullptr, 100, 50, 8, 0,
                                      CGColorSpaceCreateWithName(kCGColorSpaceSRGB),
                                      kCGImageAlphaPremultipliedFirst);
  ASSERT_NE(bitmap, nullptr);
  const auto ctx = CIContext::contextWithCGContextOptions(bitmap, nullptr);
  ASSERT_NE(ctx, nullptr);
  const auto blue = CIImage::imageWithColor(CIColor::colorWithRedGreenBlue(0, 0, 1))
                        ->imageByCroppingToRect(CGRectMake(-20, 30, 100.7, 50.2));
  ctx->drawImageInRectFromRect(blue, CGRectMake(0, 0, 100, 50), blue->extent());
  const auto* bytes = static_cast<const std::uint8_t*>(CGBitmapContextGetData(bitmap));
  const std::size_t stride = CGBitmapContextGetBytesPerRow(bitmap);
  for (std::size_t row = 0; row < 50; ++row)
    for (std::size_t col = 0; col < 100; ++col) {
      const std::uint8_t* p = bytes + row * stride + col * 4;
      ASSERT_TRUE(within({p[0], p[1], p[2], p[3]}, {255, 0, 0, 255}, 1)) << col << "," << row;
    }

  // A part of an image: the top right quarter of a 4 x 4 image (y-up) onto
  // a 2 x 2 bitmap shows source rows 0-1, columns 2-3.
  auto small = CGBitmapContextCreate(nullptr, 2, 2, 8, 0,
                                     CGColorSpaceCreateWithName(kCGColorSpaceSRGB),
                                     kCGImageAlphaPremultipliedLast);
  CIContext::contextWithCGContextOptions(small, nullptr)
      ->drawImageInRectFromRect(CIImage::imageWithCGImage(makeImage(4, 4, noise)),
                                CGRectMake(0, 0, 2, 2), CGRectMake(2, 2, 2, 2));
  const auto part = CGBitmapContextCreateImage(small);
  for (std::size_t row = 0; row < 2; ++row)
    for (std::size_t col = 0; col < 2; ++col)
      EXPECT_EQ(pixelOf(part, col, row), noise(col + 2, row));
}

TEST(CIContextTest, AnswersNothingForUnusableArguments) {
  const auto ctx = context();
  const auto image = CIImage::imageWithCGImage(makeImage(4, 4, noise));
  EXPECT_EQ(CIContext::contextWithCGContextOptions(nullptr, nullptr), nullptr);
  EXPECT_EQ(ctx->createCGImageFromRect(nullptr, CGRectMake(0, 0, 4, 4)), nullptr);
  EXPECT_EQ(ctx->createCGImageFromRect(image, CGRectNull), nullptr);
  EXPECT_EQ(ctx->createCGImageFromRect(image, CGRectInfinite), nullptr);
  EXPECT_EQ(ctx->createCGImageFromRect(image, CGRectMake(0, 0, 0, 4)), nullptr);
  EXPECT_EQ(ctx->createCGImageFromRect(image, CGRectMake(0, 0, 70000, 1)), nullptr);
  ctx->drawImageInRectFromRect(image, CGRectMake(0, 0, 4, 4), image->extent());  // no destination

  // Nothing to draw is a transparent picture, not a failure.
  const auto empty = ctx->createCGImageFromRect(CIImage::emptyImage(), CGRectMake(0.5, 0, 2, 1));
  ASSERT_NE(empty, nullptr);
  EXPECT_EQ(CGImageGetWidth(empty), 3u) << "the integral rectangle";
  EXPECT_EQ(pixelOf(empty, 2, 0), (Pixel{0, 0, 0, 0}));
}

}  // namespace
}  // namespace orvane
