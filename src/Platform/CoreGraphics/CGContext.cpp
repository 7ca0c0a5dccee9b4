#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>

#include "Platform/CoreGraphics/ColorSpaceInternal.h"
#include "Platform/CoreGraphics/ContextInternal.h"

namespace orvane {

const DrawTarget& CGContext::writable() {
  // An image made from the owned storage shares it; copy before changing it.
  if (owned_ && owned_.use_count() > 1) {
    owned_ = std::make_shared<Data>(*owned_);
    target_.data = owned_->data();
  }
  return target_;
}

CGImageRef CGContext::makeImage() const {
  const std::size_t bpr = target_.bytesPerRow, h = static_cast<std::size_t>(target_.height);
  CGDataProviderRef provider;
  if (owned_) {
    provider = CGDataProviderCreateWithSharedData(owned_);
  } else {
    provider = CGDataProviderCreateWithData(Data(target_.data, target_.data + bpr * h));
  }
  const std::size_t bpp = static_cast<std::size_t>(target_.format.channels) * 8;
  return CGImageCreate(static_cast<std::size_t>(target_.width), h, 8, bpp, bpr, target_.space,
                       info_, std::move(provider), nullptr, true, kCGRenderingIntentDefault);
}

CGContextRef CGBitmapContextCreate(void* data, std::size_t width, std::size_t height,
                                   std::size_t bitsPerComponent, std::size_t bytesPerRow,
                                   CGColorSpaceRef space, CGBitmapInfo bitmapInfo) {
  if (!space || width == 0 || height == 0 || bitsPerComponent != 8) return nullptr;
  if (width > 65535 * 4 || height > 65535 * 4) return nullptr;
  const CGImageAlphaInfo alpha = bitmapInfo & kCGBitmapAlphaInfoMask;
  const CGBitmapInfo order = bitmapInfo & kCGBitmapByteOrderMask;
  std::size_t bpp;
  if (space->components() == 3) {
    if (alpha != kCGImageAlphaPremultipliedFirst && alpha != kCGImageAlphaPremultipliedLast &&
        alpha != kCGImageAlphaNoneSkipFirst && alpha != kCGImageAlphaNoneSkipLast)
      return nullptr;
    if (order != kCGBitmapByteOrderDefault && order != kCGBitmapByteOrder32Little &&
        order != kCGBitmapByteOrder32Big)
      return nullptr;
    bpp = 4;
  } else {
    if (alpha != kCGImageAlphaNone || order != kCGBitmapByteOrderDefault) return nullptr;
    bpp = 1;
  }
  const auto format = PixelFormat::of(8, bpp * 8, bitmapInfo, static_cast<std::size_t>(space->components()));
  if (!format) return nullptr;
  if (bytesPerRow == 0) bytesPerRow = width * bpp;
  if (bytesPerRow < width * bpp) return nullptr;
  DrawTarget t;
  t.width = static_cast<int>(width);
  t.height = static_cast<int>(height);
  t.bytesPerRow = bytesPerRow;
  t.format = *format;
  t.space = std::move(space);
  std::shared_ptr<Data> owned;
  if (data) {
    t.data = static_cast<std::uint8_t*>(data);
  } else {
    try {
      owned = std::make_shared<Data>(bytesPerRow * height);
    } catch (const std::bad_alloc&) {
      return nullptr;
    }
    t.data = owned->data();
  }
  return std::make_shared<CGContext>(std::move(t), 8, bitmapInfo, std::move(owned));
}

void* CGBitmapContextGetData(const CGContextRef& context) {
  return context ? context->writable().data : nullptr;
}
std::size_t CGBitmapContextGetWidth(const CGContextRef& context) {
  return context ? static_cast<std::size_t>(context->target().width) : 0;
}
std::size_t CGBitmapContextGetHeight(const CGContextRef& context) {
  return context ? static_cast<std::size_t>(context->target().height) : 0;
}
std::size_t CGBitmapContextGetBytesPerRow(const CGContextRef& context) {
  return context ? context->target().bytesPerRow : 0;
}
std::size_t CGBitmapContextGetBitsPerComponent(const CGContextRef& context) {
  return context ? context->bitsPerComponent() : 0;
}
std::size_t CGBitmapContextGetBitsPerPixel(const CGContextRef& context) {
  return context ? static_cast<std::size_t>(context->target().format.channels) * 8 : 0;
}
CGBitmapInfo CGBitmapContextGetBitmapInfo(const CGContextRef& context) {
  return context ? context->bitmapInfo() : 0;
}
CGImageAlphaInfo CGBitmapContextGetAlphaInfo(const CGContextRef& context) {
  return context ? (context->bitmapInfo() & kCGBitmapAlphaInfoMask) : kCGImageAlphaNone;
}
CGColorSpaceRef CGBitmapContextGetColorSpace(const CGContextRef& context) {
  return context ? context->target().space : nullptr;
}
CGImageRef CGBitmapContextCreateImage(const CGContextRef& context) {
  return context ? context->makeImage() : nullptr;
}

void CGContextSaveGState(const CGContextRef& context) {
  if (context) context->stack().push_back(context->state());
}

void CGContextRestoreGState(const CGContextRef& context) {
  if (!context || context->stack().empty()) return;
  context->state() = context->stack().back();
  context->stack().pop_back();
}

void CGContextConcatCTM(const CGContextRef& context, const CGAffineTransform& t) {
  if (context) context->state().ctm = CGAffineTransformConcat(t, context->state().ctm);
}
void CGContextTranslateCTM(const CGContextRef& context, double tx, double ty) {
  CGContextConcatCTM(context, CGAffineTransformMakeTranslation(tx, ty));
}
void CGContextScaleCTM(const CGContextRef& context, double sx, double sy) {
  CGContextConcatCTM(context, CGAffineTransformMakeScale(sx, sy));
}
void CGContextRotateCTM(const CGContextRef& context, double angle) {
  CGContextConcatCTM(context, CGAffineTransformMakeRotation(angle));
}
CGAffineTransform CGContextGetCTM(const CGContextRef& context) {
  return context ? context->state().ctm : CGAffineTransformIdentity;
}

void CGContextClipToRect(const CGContextRef& context, CGRect rect) {
  if (!context) return;
  GraphicsState& s = context->state();
  const double h = context->target().height;
  const CGRect d = CGRectApplyAffineTransform(rect, s.ctm);
  if (CGRectIsNull(d)) {
    s.clip = {0, 0, 0, 0};
    return;
  }
  // Device rows count from the top.
  s.clip.x0 = std::max(s.clip.x0, d.origin.x);
  s.clip.x1 = std::min(s.clip.x1, d.origin.x + d.size.width);
  s.clip.y0 = std::max(s.clip.y0, h - (d.origin.y + d.size.height));
  s.clip.y1 = std::min(s.clip.y1, h - d.origin.y);
  if (!(s.clip.x1 > s.clip.x0) || !(s.clip.y1 > s.clip.y0)) s.clip = {0, 0, 0, 0};
}

CGRect CGContextGetClipBoundingBox(const CGContextRef& context) {
  if (!context) return CGRectNull;
  const GraphicsState& s = context->state();
  if (!(s.clip.x1 > s.clip.x0)) return CGRectNull;
  const double h = context->target().height;
  const CGRect device = CGRectMake(s.clip.x0, h - s.clip.y1, s.clip.x1 - s.clip.x0, s.clip.y1 - s.clip.y0);
  return CGRectApplyAffineTransform(device, CGAffineTransformInvert(s.ctm));
}

void CGContextSetRGBFillColor(const CGContextRef& context, double red, double green, double blue,
                              double alpha) {
  if (!context) return;
  auto c = [](double v) { return static_cast<float>(std::isnan(v) ? 0.0 : std::clamp(v, 0.0, 1.0)); };
  float* f = context->state().fill;
  f[0] = c(red);
  f[1] = c(green);
  f[2] = c(blue);
  f[3] = c(alpha);
}

void CGContextSetAlpha(const CGContextRef& context, double alpha) {
  if (context) context->state().alpha = std::isnan(alpha) ? 0.0 : std::clamp(alpha, 0.0, 1.0);
}

void CGContextSetInterpolationQuality(const CGContextRef& context, CGInterpolationQuality quality) {
  if (context && quality >= kCGInterpolationDefault && quality <= kCGInterpolationMedium)
    context->state().quality = quality;
}

CGInterpolationQuality CGContextGetInterpolationQuality(const CGContextRef& context) {
  return context ? context->state().quality : kCGInterpolationDefault;
}

namespace {

DrawState drawState(const GraphicsState& s) {
  DrawState d;
  d.ctm = s.ctm;
  d.clip = s.clip;
  d.alpha = s.alpha;
  d.quality = s.quality;
  return d;
}

}  // namespace

void CGContextFillRect(const CGContextRef& context, CGRect rect) {
  if (!context) return;
  const GraphicsState& s = context->state();
  const DrawTarget& t = context->writable();
  float color[4];
  const float* fill = s.fill;
  float rgb[3] = {fill[0], fill[1], fill[2]};
  float converted[3] = {rgb[0], rgb[1], rgb[2]};
  if (auto match = ColorMatch::between(CGColorSpaceCreateWithName(kCGColorSpaceSRGB), t.space))
    match->apply(rgb, converted, 1);
  const int colors = t.format.colors;
  for (int c = 0; c < colors; ++c) color[c] = std::clamp(converted[c], 0.f, 1.f) * fill[3];
  color[colors] = fill[3];
  fillRect(t, drawState(s), rect, color, false);
}

void CGContextClearRect(const CGContextRef& context, CGRect rect) {
  if (!context) return;
  const DrawTarget& t = context->writable();
  DrawState d = drawState(context->state());
  d.alpha = 1.0;
  fillRect(t, d, rect, nullptr, true);
}

void CGContextDrawImage(const CGContextRef& context, CGRect rect, const CGImageRef& image) {
  if (!context || !image) return;
  const DrawTarget& t = context->writable();
  drawImage(t, drawState(context->state()), rect, *image);
}

void CGContextFlush(const CGContextRef& context) { (void)context; }

}  // namespace orvane
