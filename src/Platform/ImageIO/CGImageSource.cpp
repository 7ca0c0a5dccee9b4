#include "orvane/Platform/ImageIO/CGImageSource.h"

#include "Platform/ImageIO/CodecImage.h"
#include "Platform/ImageIO/ImageIOInternal.h"

#include <algorithm>
#include <cmath>

#include "orvane/Platform/CoreGraphics/CGContext.h"

namespace orvane {

class CGImageSource {
 public:
  CGImageSource(std::shared_ptr<const Data> data, const imageio::ImageCodec& codec, imageio::ImageInfo info)
      : data_(std::move(data)), codec_(codec), info_(std::move(info)) {}
  const std::shared_ptr<const Data>& data() const noexcept { return data_; }
  const imageio::ImageCodec& codec() const noexcept { return codec_; }
  const imageio::ImageInfo& info() const noexcept { return info_; }

 private:
  std::shared_ptr<const Data> data_;
  const imageio::ImageCodec& codec_;
  imageio::ImageInfo info_;
};

CGImageSourceRef CGImageSourceCreateWithData(std::shared_ptr<const Data> data, const NSDictionary*) {
  if (!data) return nullptr;
  const imageio::ImageCodec* codec = imageio::sniffCodec(*data);
  if (!codec) return nullptr;
  auto info = codec->readInfo(*data);
  if (!info) return nullptr;
  return std::make_shared<CGImageSource>(std::move(data), *codec, std::move(*info));
}

CGImageSourceRef CGImageSourceCreateWithData(ByteView bytes, const NSDictionary*) {
  return CGImageSourceCreateWithData(std::make_shared<const Data>(bytes.begin(), bytes.end()));
}

std::size_t CGImageSourceGetCount(const CGImageSourceRef& source) {
  return source ? source->info().imageCount : 0;
}

std::optional<std::string_view> CGImageSourceGetType(const CGImageSourceRef& source) {
  if (!source) return std::nullopt;
  return imageio::typeIdentifierOf(source->codec().format());
}

CGImageRef CGImageSourceCreateImageAtIndex(const CGImageSourceRef& source, std::size_t index, const NSDictionary*) {
  if (!source || index != 0) return nullptr;
  return imageio::createCodecImage(source->data(), source->codec(), source->info());
}

std::shared_ptr<const NSDictionary> CGImageSourceCopyPropertiesAtIndex(const CGImageSourceRef& source,
                                                                       std::size_t index, const NSDictionary*) {
  if (!source || index != 0) return nullptr;
  const imageio::ImageInfo& info = source->info();
  NSDictionary::Entries entries;
  entries.emplace(kCGImagePropertyPixelWidth, std::int64_t{info.width});
  entries.emplace(kCGImagePropertyPixelHeight, std::int64_t{info.height});
  entries.emplace(kCGImagePropertyOrientation, std::int64_t{info.orientation});
  entries.emplace(kCGImagePropertyDepth, std::int64_t{info.fileBitsPerSample});
  entries.emplace(kCGImagePropertyHasAlpha, info.hasAlpha());
  entries.emplace(kCGImagePropertyColorModel,
                  info.isGray() ? kCGImagePropertyColorModelGray : kCGImagePropertyColorModelRGB);
  if (info.dpiWidth > 0 && info.dpiHeight > 0) {
    entries.emplace(kCGImagePropertyDPIWidth, info.dpiWidth);
    entries.emplace(kCGImagePropertyDPIHeight, info.dpiHeight);
  }
  return std::make_shared<const NSDictionary>(std::move(entries));
}

CGImageRef CGImageSourceCreateThumbnailAtIndex(const CGImageSourceRef& source, std::size_t index,
                                               const NSDictionary* options) {
  if (!options) return nullptr;
  const std::optional<double> maxSize = options->doubleForKey(kCGImageSourceThumbnailMaxPixelSize);
  return imageio::createThumbnail(source, index, maxSize,
                                  options->boolForKey(kCGImageSourceCreateThumbnailFromImageAlways).value_or(false),
                                  options->boolForKey(kCGImageSourceCreateThumbnailWithTransform).value_or(false));
}

std::vector<std::string_view> CGImageSourceCopyTypeIdentifiers() {
  return {kUTTypeJPEG, kUTTypePNG, kUTTypeTIFF, kUTTypeGIF, kUTTypeBMP, kUTTypeJPEG2000};
}

namespace imageio {

const ImageInfo* sourceImageInfo(const CGImageSourceRef& source, std::size_t index) {
  return source && index == 0 ? &source->info() : nullptr;
}

const ImageCodec* sourceCodec(const CGImageSourceRef& source) { return source ? &source->codec() : nullptr; }

std::shared_ptr<const Data> sourceData(const CGImageSourceRef& source) {
  return source ? source->data() : nullptr;
}

CGAffineTransform orientationTransform(std::uint16_t orientation, double w, double h) {
  // x' = a x + c y + tx, y' = b x + d y + ty, with the image drawn in (0, 0, w, h).
  switch (orientation) {
    case 2: return CGAffineTransformMake(-1, 0, 0, 1, w, 0);   // mirrored left to right
    case 3: return CGAffineTransformMake(-1, 0, 0, -1, w, h);  // turned half round
    case 4: return CGAffineTransformMake(1, 0, 0, -1, 0, h);   // mirrored top to bottom
    case 5: return CGAffineTransformMake(0, -1, -1, 0, h, w);  // transposed
    case 6: return CGAffineTransformMake(0, -1, 1, 0, 0, w);   // stored a quarter turn anticlockwise
    case 7: return CGAffineTransformMake(0, 1, 1, 0, 0, 0);    // transversed
    case 8: return CGAffineTransformMake(0, 1, -1, 0, h, 0);   // stored a quarter turn clockwise
    default: return CGAffineTransformIdentity;
  }
}

CGImageRef createThumbnail(const CGImageSourceRef& source, std::size_t index, std::optional<double> maxPixelSize,
                           bool fromImageAlways, bool withTransform) {
  const ImageInfo* info = sourceImageInfo(source, index);
  if (!info || !fromImageAlways) return nullptr;
  const CGImageRef image = CGImageSourceCreateImageAtIndex(source, index);
  if (!image) return nullptr;
  const std::uint16_t orientation = withTransform ? info->orientation : 1;
  const bool turned = orientation >= 5;
  double scale = 1.0;
  const double longer = std::max(info->width, info->height);
  if (maxPixelSize && *maxPixelSize > 0 && *maxPixelSize < longer) scale = std::floor(*maxPixelSize) / longer;
  const double w = std::max(1.0, std::round(info->width * scale)), h = std::max(1.0, std::round(info->height * scale));
  const double canvasW = turned ? h : w, canvasH = turned ? w : h;
  const bool gray = info->isGray() && !info->hasAlpha();
  CGColorSpaceRef space = CGImageGetColorSpace(image);
  CGContextRef context =
      CGBitmapContextCreate(nullptr, static_cast<std::size_t>(canvasW), static_cast<std::size_t>(canvasH), 8, 0, space,
                            gray ? kCGImageAlphaNone : kCGImageAlphaPremultipliedLast);
  if (!context) {
    context = CGBitmapContextCreate(nullptr, static_cast<std::size_t>(canvasW), static_cast<std::size_t>(canvasH), 8, 0,
                                    CGColorSpaceCreateWithName(gray ? kCGColorSpaceGenericGrayGamma2_2 : kCGColorSpaceSRGB),
                                    gray ? kCGImageAlphaNone : kCGImageAlphaPremultipliedLast);
  }
  if (!context) return nullptr;
  CGContextConcatCTM(context, orientationTransform(orientation, w, h));
  CGContextDrawImage(context, CGRectMake(0, 0, w, h), image);
  return CGBitmapContextCreateImage(context);
}

}  // namespace imageio
}  // namespace orvane
