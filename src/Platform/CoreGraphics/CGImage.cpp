#include <algorithm>
#include <cmath>
#include <cstring>

#include "Platform/CoreGraphics/ColorSpaceInternal.h"
#include "Platform/CoreGraphics/ImageInternal.h"

namespace orvane {

std::optional<PixelFormat> PixelFormat::of(std::size_t bitsPerComponent, std::size_t bitsPerPixel,
                                           CGBitmapInfo info, std::size_t colorComponents) {
  if (bitsPerComponent != 8 && bitsPerComponent != 16) return std::nullopt;
  if (colorComponents != 1 && colorComponents != 3) return std::nullopt;
  if ((info & ~(kCGBitmapAlphaInfoMask | kCGBitmapByteOrderMask)) != 0) return std::nullopt;
  const CGImageAlphaInfo alphaInfo = info & kCGBitmapAlphaInfoMask;
  const CGBitmapInfo order = info & kCGBitmapByteOrderMask;
  if (alphaInfo > kCGImageAlphaNoneSkipFirst) return std::nullopt;

  PixelFormat f;
  f.bitsPerComponent = static_cast<int>(bitsPerComponent);
  f.colors = static_cast<int>(colorComponents);
  f.channels = f.colors + (alphaInfo == kCGImageAlphaNone ? 0 : 1);
  if (bitsPerPixel != static_cast<std::size_t>(f.channels) * bitsPerComponent) return std::nullopt;

  const bool first = alphaInfo == kCGImageAlphaPremultipliedFirst ||
                     alphaInfo == kCGImageAlphaFirst || alphaInfo == kCGImageAlphaNoneSkipFirst;
  const int extra = alphaInfo == kCGImageAlphaNone ? -1 : (first ? 0 : f.channels - 1);
  const int colorStart = first ? 1 : 0;
  int pos[4] = {colorStart, colorStart + 1, colorStart + 2, extra};
  if (f.colors == 1) pos[1] = pos[2] = pos[0];

  // Byte orders: with 8-bit components a little-endian 32-bit (or 16-bit)
  // pixel reverses its components; with 16-bit components the order is that
  // of each component's two bytes.
  if (bitsPerComponent == 8) {
    if (order == kCGBitmapByteOrder32Little || order == kCGBitmapByteOrder32Big) {
      if (bitsPerPixel != 32) return std::nullopt;
    } else if (order == kCGBitmapByteOrder16Little || order == kCGBitmapByteOrder16Big) {
      if (bitsPerPixel != 16) return std::nullopt;
    } else if (order != kCGBitmapByteOrderDefault) {
      return std::nullopt;
    }
    if (order == kCGBitmapByteOrder32Little || order == kCGBitmapByteOrder16Little)
      for (int& p : pos)
        if (p >= 0) p = f.channels - 1 - p;
  } else {
    if (order == kCGBitmapByteOrder16Little) {
      f.bigEndian16 = false;
    } else if (order == kCGBitmapByteOrderDefault || order == kCGBitmapByteOrder16Big) {
      f.bigEndian16 = true;
    } else {
      return std::nullopt;
    }
  }
  f.red = pos[0];
  f.green = pos[1];
  f.blue = pos[2];
  const bool skipped = alphaInfo == kCGImageAlphaNoneSkipFirst || alphaInfo == kCGImageAlphaNoneSkipLast;
  f.alpha = skipped ? -1 : pos[3];
  f.skip = skipped ? pos[3] : -1;
  f.premultiplied = !(alphaInfo == kCGImageAlphaLast || alphaInfo == kCGImageAlphaFirst);
  return f;
}

std::shared_ptr<const Data> CGDataProvider::bytes() const {
  if (ready()) return bytes_;
  std::call_once(once_, [this] {
    std::optional<Data> decoded = decoder_->decode();
    if (decoded) {
      if (decoded->size() < minimumBytes_) decoded->resize(minimumBytes_, 0);
      bytes_ = std::make_shared<const Data>(std::move(*decoded));
    }
    ready_.store(true, std::memory_order_release);
  });
  return bytes_;
}

CGDataProviderRef CGDataProviderCreateWithData(Data data) {
  return std::make_shared<const CGDataProvider>(std::make_shared<const Data>(std::move(data)));
}

CGDataProviderRef CGDataProviderCreateWithSharedData(std::shared_ptr<const Data> data) {
  if (!data) return nullptr;
  return std::make_shared<const CGDataProvider>(std::move(data));
}

std::shared_ptr<const Data> CGDataProviderCopyData(const CGDataProviderRef& provider) {
  return provider ? provider->bytes() : nullptr;
}

namespace {

constexpr std::size_t kMaxSide = 65535;
constexpr std::size_t kMaxPixels = std::size_t{1} << 28;

// The pixel format of a layout in a space, when an image can have it.
std::optional<PixelFormat> checkLayout(const ImagePixelLayout& l, const CGColorSpaceRef& space) {
  if (!space || l.width == 0 || l.height == 0) return std::nullopt;
  if (l.width > (std::size_t{1} << 40) / 8 || l.height > (std::size_t{1} << 40)) return std::nullopt;
  auto format = PixelFormat::of(l.bitsPerComponent, l.bitsPerPixel, l.bitmapInfo,
                                static_cast<std::size_t>(space->components()));
  if (!format) return std::nullopt;
  if (l.bytesPerRow < (l.width * l.bitsPerPixel + 7) / 8) return std::nullopt;
  return format;
}

}  // namespace

CGImageRef CGImageCreate(std::size_t width, std::size_t height, std::size_t bitsPerComponent,
                         std::size_t bitsPerPixel, std::size_t bytesPerRow, CGColorSpaceRef space,
                         CGBitmapInfo bitmapInfo, CGDataProviderRef provider, const double* decode,
                         bool shouldInterpolate, CGColorRenderingIntent intent) {
  if (decode || !provider) return nullptr;
  const ImagePixelLayout layout{width, height, bitsPerComponent, bitsPerPixel, bytesPerRow,
                                bitmapInfo};
  const auto format = checkLayout(layout, space);
  if (!format) return nullptr;
  // A provider made with a decoder carries its own size promise; plain bytes
  // are checked here.
  if (!provider->decoder()) {
    const auto bytes = provider->bytes();
    if (!bytes || bytes->size() < layout.minimumByteCount()) return nullptr;
  }
  return std::make_shared<const CGImage>(layout, *format, std::move(space), std::move(provider),
                                         shouldInterpolate, intent);
}

CGImageRef CGImageCreateWithDecoder(const ImagePixelLayout& layout, CGColorSpaceRef space,
                                    std::shared_ptr<const ImageDecoder> decoder) {
  if (!decoder) return nullptr;
  if (layout.width > kMaxSide || layout.height > kMaxSide ||
      layout.width * layout.height > kMaxPixels)
    return nullptr;
  const auto format = checkLayout(layout, space);
  if (!format) return nullptr;
  auto provider = std::make_shared<const CGDataProvider>(std::move(decoder), layout.minimumByteCount());
  return std::make_shared<const CGImage>(layout, *format, std::move(space), std::move(provider),
                                         true, kCGRenderingIntentDefault);
}

CGImageRef CGImageCreateWithImageInRect(const CGImageRef& image, CGRect rect) {
  if (!image || CGRectIsNull(rect)) return nullptr;
  const ImagePixelLayout& l = image->layout();
  const CGRect bounds = CGRectMake(0, 0, static_cast<double>(l.width), static_cast<double>(l.height));
  const CGRect r = CGRectIntersection(CGRectIntegral(rect), bounds);
  if (CGRectIsEmpty(r)) return nullptr;
  const auto x = static_cast<std::size_t>(r.origin.x), y = static_cast<std::size_t>(r.origin.y);
  const auto w = static_cast<std::size_t>(r.size.width), h = static_cast<std::size_t>(r.size.height);
  const auto bytes = image->provider()->bytes();
  if (!bytes) return nullptr;
  const std::size_t bpp = l.bitsPerPixel / 8;
  const std::size_t rowBytes = w * bpp;
  Data out(rowBytes * h);
  for (std::size_t row = 0; row < h; ++row)
    std::memcpy(out.data() + row * rowBytes, bytes->data() + (y + row) * l.bytesPerRow + x * bpp,
                rowBytes);
  return CGImageCreate(w, h, l.bitsPerComponent, l.bitsPerPixel, rowBytes, image->space(),
                       l.bitmapInfo, CGDataProviderCreateWithData(std::move(out)), nullptr,
                       image->shouldInterpolate(), image->intent());
}

std::size_t CGImageGetWidth(const CGImageRef& image) { return image ? image->layout().width : 0; }
std::size_t CGImageGetHeight(const CGImageRef& image) { return image ? image->layout().height : 0; }
std::size_t CGImageGetBitsPerComponent(const CGImageRef& image) {
  return image ? image->layout().bitsPerComponent : 0;
}
std::size_t CGImageGetBitsPerPixel(const CGImageRef& image) {
  return image ? image->layout().bitsPerPixel : 0;
}
std::size_t CGImageGetBytesPerRow(const CGImageRef& image) {
  return image ? image->layout().bytesPerRow : 0;
}
CGBitmapInfo CGImageGetBitmapInfo(const CGImageRef& image) {
  return image ? image->layout().bitmapInfo : 0;
}
CGImageAlphaInfo CGImageGetAlphaInfo(const CGImageRef& image) {
  return image ? (image->layout().bitmapInfo & kCGBitmapAlphaInfoMask) : kCGImageAlphaNone;
}
CGColorSpaceRef CGImageGetColorSpace(const CGImageRef& image) {
  return image ? image->space() : nullptr;
}
CGDataProviderRef CGImageGetDataProvider(const CGImageRef& image) {
  return image ? image->provider() : nullptr;
}
bool CGImageGetShouldInterpolate(const CGImageRef& image) {
  return image && image->shouldInterpolate();
}
CGColorRenderingIntent CGImageGetRenderingIntent(const CGImageRef& image) {
  return image ? image->intent() : kCGRenderingIntentDefault;
}

}  // namespace orvane
