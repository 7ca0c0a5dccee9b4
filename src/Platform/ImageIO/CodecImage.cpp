#include "Platform/ImageIO/CodecImage.h"

#include <algorithm>
#include <cstring>

#include "orvane/Platform/CoreGraphics/CGDataProvider.h"

namespace orvane::imageio {

ImagePixelLayout layoutOf(const ImageInfo& info) {
  ImagePixelLayout layout;
  layout.width = info.width;
  layout.height = info.height;
  layout.bitsPerComponent = info.bitsPerComponent;
  layout.bitsPerPixel = std::size_t{info.channels} * info.bitsPerComponent;
  layout.bytesPerRow = std::size_t{info.width} * info.bytesPerPixel();
  layout.bitmapInfo = (info.hasAlpha() ? kCGImageAlphaLast : kCGImageAlphaNone) |
                      (info.bitsPerComponent == 16 ? kCGBitmapByteOrder16Little : kCGBitmapByteOrderDefault);
  return layout;
}

CGColorSpaceRef colorSpaceOf(const ImageInfo& info) {
  const std::size_t components = info.isGray() ? 1 : 3;
  if (!info.iccProfile.empty()) {
    CGColorSpaceRef space = CGColorSpaceCreateWithICCData(info.iccProfile);
    if (space && CGColorSpaceGetNumberOfComponents(space) == components) return space;
  }
  return CGColorSpaceCreateWithName(info.isGray() ? kCGColorSpaceGenericGrayGamma2_2 : kCGColorSpaceSRGB);
}

CGImageRef createPixelImage(Pixels&& pixels) {
  const ImagePixelLayout layout = layoutOf(pixels.info);
  CGColorSpaceRef space = colorSpaceOf(pixels.info);
  return CGImageCreate(layout.width, layout.height, layout.bitsPerComponent, layout.bitsPerPixel, layout.bytesPerRow,
                       std::move(space), layout.bitmapInfo, CGDataProviderCreateWithData(std::move(pixels.storage)),
                       nullptr, true, kCGRenderingIntentDefault);
}

namespace {

// Forwards codec rows to the drawing code's sink until it says stop.
class SinkAdapter final : public RowSink {
 public:
  explicit SinkAdapter(ImageRowSink& sink, const ImageInfo& expected) : sink_(sink), expected_(expected) {}
  bool begin(const ImageInfo& info) override {
    return info.width == expected_.width && info.height == expected_.height && info.channels == expected_.channels &&
           info.bitsPerComponent == expected_.bitsPerComponent;
  }
  void row(std::uint32_t, const std::uint8_t* bytes) override {
    if (!stopped_) stopped_ = !sink_.consumeRow(bytes);
  }

 private:
  ImageRowSink& sink_;
  const ImageInfo& expected_;
  bool stopped_ = false;
};

// The decoder of a codec image. With a reduction it stands for the codec's
// reduced decode of at least reduceTo's sides instead, which it streams.
class CodecDecoder final : public ImageDecoder {
 public:
  struct Reduction {
    std::uint32_t minWidth = 0, minHeight = 0;
  };

  CodecDecoder(std::shared_ptr<const Data> bytes, const ImageCodec& codec, const ImageInfo& info,
               std::optional<Reduction> reduceTo = std::nullopt)
      : bytes_(std::move(bytes)), codec_(codec), info_(info), reduceTo_(reduceTo) {}

  std::optional<Data> decode() const override {
    auto pixels = reduceTo_ ? codec_.decodeReduced(*bytes_, reduceTo_->minWidth, reduceTo_->minHeight)
                            : codec_.decode(*bytes_);
    if (!pixels || pixels->info.width != info_.width || pixels->info.height != info_.height ||
        pixels->info.channels != info_.channels || pixels->info.bitsPerComponent != info_.bitsPerComponent) {
      return std::nullopt;
    }
    return std::move(pixels->storage);
  }

  CGImageRef decodeReduced(std::size_t minWidth, std::size_t minHeight) const override {
    if (reduceTo_ || (minWidth >= info_.width && minHeight >= info_.height)) return nullptr;
    const Reduction wanted{static_cast<std::uint32_t>(std::min<std::size_t>(minWidth, info_.width)),
                           static_cast<std::uint32_t>(std::min<std::size_t>(minHeight, info_.height))};
    // A codec that streams its reduced rows gives an image that decodes them
    // when drawn, without a buffer of their own; the others decode now.
    if (auto reduced = codec_.reducedInfo(*bytes_, wanted.minWidth, wanted.minHeight)) {
      reduced->iccProfile = info_.iccProfile;  // the same space as the full-size image
      return CGImageCreateWithDecoder(layoutOf(*reduced), colorSpaceOf(*reduced),
                                      std::make_shared<const CodecDecoder>(bytes_, codec_, *reduced, wanted));
    }
    auto pixels = codec_.decodeReduced(*bytes_, wanted.minWidth, wanted.minHeight);
    if (!pixels || pixels->info.width >= info_.width) return nullptr;
    pixels->info.iccProfile = info_.iccProfile;
    return createPixelImage(std::move(*pixels));
  }

  bool canStreamRows() const override {
    const ImageFormat f = codec_.format();
    return reduceTo_ || f == ImageFormat::PNG || f == ImageFormat::TIFF || f == ImageFormat::BMP ||
           f == ImageFormat::GIF;
  }

  bool streamRows(ImageRowSink& sink) const override {
    if (!canStreamRows()) return false;
    SinkAdapter adapter(sink, info_);
    return reduceTo_ ? codec_.decodeReducedRows(*bytes_, reduceTo_->minWidth, reduceTo_->minHeight, adapter)
                     : codec_.decodeRows(*bytes_, adapter);
  }

 private:
  std::shared_ptr<const Data> bytes_;
  const ImageCodec& codec_;
  ImageInfo info_;
  std::optional<Reduction> reduceTo_;
};

}  // namespace

CGImageRef createCodecImage(std::shared_ptr<const Data> bytes, const ImageCodec& codec, const ImageInfo& info) {
  if (!bytes) return nullptr;
  return CGImageCreateWithDecoder(layoutOf(info), colorSpaceOf(info),
                                  std::make_shared<const CodecDecoder>(std::move(bytes), codec, info));
}

namespace {

unsigned readSample(const std::uint8_t* p, bool sixteen, bool bigEndian) {
  if (!sixteen) return *p;
  return bigEndian ? (unsigned{p[0]} << 8 | p[1]) : (unsigned{p[1]} << 8 | p[0]);
}

}  // namespace

std::optional<ImagePixels> pixelsOfImage(const CGImageRef& image) {
  if (!image) return std::nullopt;
  const std::size_t width = CGImageGetWidth(image), height = CGImageGetHeight(image);
  const std::size_t bpc = CGImageGetBitsPerComponent(image), bpp = CGImageGetBitsPerPixel(image);
  const std::size_t stride = CGImageGetBytesPerRow(image);
  const CGBitmapInfo bitmapInfo = CGImageGetBitmapInfo(image);
  const CGImageAlphaInfo alpha = bitmapInfo & kCGBitmapAlphaInfoMask;
  const CGBitmapInfo order = bitmapInfo & kCGBitmapByteOrderMask;
  const std::size_t colours = CGColorSpaceGetNumberOfComponents(CGImageGetColorSpace(image));
  if (!sizeWithinLimits(width, height) || (bpc != 8 && bpc != 16) || (colours != 1 && colours != 3)) {
    return std::nullopt;
  }
  const std::size_t components = bpp / bpc;
  if (components != colours && components != colours + 1) return std::nullopt;
  const bool hasExtra = components == colours + 1;
  const bool extraIsAlpha = hasExtra && alpha != kCGImageAlphaNoneSkipFirst && alpha != kCGImageAlphaNoneSkipLast;
  const bool first = alpha == kCGImageAlphaFirst || alpha == kCGImageAlphaPremultipliedFirst ||
                     alpha == kCGImageAlphaNoneSkipFirst;
  const bool premultiplied = alpha == kCGImageAlphaPremultipliedFirst || alpha == kCGImageAlphaPremultipliedLast;
  const bool sixteen = bpc == 16;
  // 32Little with 8-bit components and 16Little with 8-bit gray+alpha reverse the pixel's bytes.
  const bool reversed = !sixteen && ((order == kCGBitmapByteOrder32Little && bpp == 32) ||
                                     (order == kCGBitmapByteOrder16Little && bpp == 16));
  const bool bigEndian = sixteen && order != kCGBitmapByteOrder16Little;

  const auto source = CGDataProviderCopyData(CGImageGetDataProvider(image));
  if (!source || source->size() < stride * (height - 1) + (width * bpp + 7) / 8) return std::nullopt;

  ImagePixels result;
  const CGColorSpaceRef space = CGImageGetColorSpace(image);
  const auto name = CGColorSpaceCopyName(space);
  const bool assumed = name && (*name == kCGColorSpaceSRGB || *name == kCGColorSpaceDeviceRGB ||
                                *name == kCGColorSpaceDeviceGray || *name == kCGColorSpaceGenericGrayGamma2_2);
  if (!assumed) {
    result.iccProfile = CGColorSpaceCopyICCData(space);
    if (result.iccProfile) result.view.iccProfile = *result.iccProfile;
  }
  PixelsView& view = result.view;
  view.width = static_cast<std::uint32_t>(width);
  view.height = static_cast<std::uint32_t>(height);
  view.channels = static_cast<std::uint8_t>(colours + (extraIsAlpha ? 1 : 0));
  view.bitsPerComponent = static_cast<std::uint8_t>(bpc);
  view.bytesPerRow = width * view.channels * (bpc / 8);
  const bool asIs = !reversed && !first && !premultiplied && (!hasExtra || extraIsAlpha) &&
                    (!sixteen || !bigEndian) && stride == view.bytesPerRow;
  if (asIs) {
    view.data = source->data();
    result.bytes = source;
    return result;
  }
  auto converted = std::make_shared<Data>(view.bytesPerRow * height, 0);
  Data& keep = *converted;
  const std::size_t bytesPerSample = bpc / 8, pixelBytes = bpp / 8;
  const unsigned maxValue = sixteen ? 65535u : 255u;
  for (std::size_t y = 0; y < height; ++y) {
    const std::uint8_t* in = source->data() + y * stride;
    std::uint8_t* out = keep.data() + y * view.bytesPerRow;
    for (std::size_t x = 0; x < width; ++x) {
      std::uint8_t pixel[8];
      std::memcpy(pixel, in + x * pixelBytes, pixelBytes);
      if (reversed) std::reverse(pixel, pixel + pixelBytes);
      unsigned v[4];
      for (std::size_t c = 0; c < components; ++c) v[c] = readSample(pixel + c * bytesPerSample, sixteen, bigEndian);
      unsigned colour[3], a = maxValue;
      for (std::size_t c = 0; c < colours; ++c) colour[c] = v[c + (hasExtra && first ? 1 : 0)];
      if (extraIsAlpha) a = v[first ? 0 : components - 1];
      if (premultiplied && a != 0 && a != maxValue) {
        for (std::size_t c = 0; c < colours; ++c) colour[c] = std::min(maxValue, (colour[c] * maxValue + a / 2) / a);
      }
      unsigned outv[4] = {colour[0], colours == 3 ? colour[1] : a, colours == 3 ? colour[2] : 0, a};
      for (std::size_t c = 0; c < view.channels; ++c) {
        if (sixteen) {
          const auto s = static_cast<std::uint16_t>(outv[c]);
          std::memcpy(out + (x * view.channels + c) * 2, &s, 2);
        } else {
          out[x * view.channels + c] = static_cast<std::uint8_t>(outv[c]);
        }
      }
    }
  }
  view.data = keep.data();
  result.bytes = std::move(converted);
  return result;
}

}  // namespace orvane::imageio
