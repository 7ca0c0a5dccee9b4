#include "orvane/Platform/CoreImage/CIContext.h"

#include <cmath>

namespace orvane {

namespace {

constexpr double kMaxSide = 65535.0;

bool usableSource(const CGRect& r) {
  return !CGRectIsEmpty(r) && !CGRectIsInfinite(r) && std::isfinite(r.origin.x) &&
         std::isfinite(r.origin.y) && std::isfinite(r.size.width) && std::isfinite(r.size.height);
}

// The transform taking `from` onto `to`, corner to corner.
CGAffineTransform placement(const CGRect& from, const CGRect& to) {
  const double sx = to.size.width / from.size.width;
  const double sy = to.size.height / from.size.height;
  return CGAffineTransformMake(sx, 0, 0, sy, to.origin.x - from.origin.x * sx,
                               to.origin.y - from.origin.y * sy);
}

void render(const CGContextRef& ctx, const CIImage& image, CGRect inRect, CGRect fromRect) {
  if (image.source() == CIImage::Source::kNothing) return;
  const CGAffineTransform toUser = placement(fromRect, inRect);
  CGContextSaveGState(ctx);
  CGContextClipToRect(ctx, inRect);
  for (const CIImage::Crop& crop : image.crops())
    CGContextClipToRect(
        ctx, CGRectApplyAffineTransform(crop.rect, CGAffineTransformConcat(crop.toImage, toUser)));
  if (image.source() == CIImage::Source::kColor) {
    const CIColor& c = *image.sourceColor();
    CGContextSetRGBFillColor(ctx, c.red(), c.green(), c.blue(), c.alpha());
    CGContextFillRect(ctx, inRect);
  } else {
    const CGImageRef& source = image.sourceImage();
    CGContextConcatCTM(ctx, CGAffineTransformConcat(image.sourceTransform(), toUser));
    CGContextDrawImage(ctx,
                       CGRectMake(0, 0, static_cast<double>(CGImageGetWidth(source)),
                                  static_cast<double>(CGImageGetHeight(source))),
                       source);
  }
  CGContextRestoreGState(ctx);
}

}  // namespace

std::shared_ptr<CIContext> CIContext::contextWithCGContextOptions(CGContextRef context,
                                                                  const NSDictionary*) {
  if (!context) return nullptr;
  return std::make_shared<CIContext>(Private{}, std::move(context));
}

std::shared_ptr<CIContext> CIContext::contextWithOptions(const NSDictionary*) {
  return std::make_shared<CIContext>(Private{}, nullptr);
}

void CIContext::drawImageInRectFromRect(const std::shared_ptr<const CIImage>& image,
                                        CGRect inRect, CGRect fromRect) const {
  if (!context_ || !image || !usableSource(fromRect) || CGRectIsEmpty(inRect)) return;
  render(context_, *image, inRect, fromRect);
}

CGImageRef CIContext::createCGImageFromRect(const std::shared_ptr<const CIImage>& image,
                                            CGRect rect) const {
  if (!image || !usableSource(rect)) return nullptr;
  const CGRect pixels = CGRectIntegral(rect);
  if (pixels.size.width > kMaxSide || pixels.size.height > kMaxSide) return nullptr;
  CGColorSpaceRef space = CGBitmapContextGetColorSpace(context_);
  if (CGColorSpaceGetModel(space) != kCGColorSpaceModelRGB)
    space = CGColorSpaceCreateWithName(kCGColorSpaceSRGB);
  const auto width = static_cast<std::size_t>(pixels.size.width);
  const auto height = static_cast<std::size_t>(pixels.size.height);
  CGContextRef bitmap =
      CGBitmapContextCreate(nullptr, width, height, 8, 0, space, kCGImageAlphaPremultipliedLast);
  if (!bitmap) return nullptr;
  render(bitmap, *image, CGRectMake(0, 0, pixels.size.width, pixels.size.height), pixels);
  return CGBitmapContextCreateImage(bitmap);
}

}  // namespace orvane
