#include <gtest/gtest.h>

#include <thread>

#include "orvane/Platform/AppKit/NSGraphicsContext.h"

namespace orvane {
namespace {

CGContextRef rgbaBitmap(std::size_t width, std::size_t height) {
  return CGBitmapContextCreate(nullptr, width, height, 8, 0,
                               CGColorSpaceCreateWithName(kCGColorSpaceSRGB),
                               kCGImageAlphaPremultipliedLast);
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
