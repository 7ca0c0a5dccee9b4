#include "orvane/Platform/AppKit/NSBitmapImageRep.h"

#include <array>

#include "Platform/AppKit/UprightDrawing.h"
#include "orvane/Platform/AppKit/NSGraphicsContext.h"
#include "orvane/Platform/ImageIO/CGImageDestination.h"
#include "orvane/Platform/ImageIO/CGImageSource.h"
#include "orvane/Platform/ImageIO/UTCoreTypes.h"

namespace orvane {

namespace {

// The type identifier of each bitmap file type, by its value.
constexpr std::array<std::string_view, 6> kTypeIdentifiers = {
    kUTTypeTIFF, kUTTypeBMP, kUTTypeGIF, kUTTypeJPEG, kUTTypePNG, kUTTypeJPEG2000};

// Encodes `image` as one file of `type`, with the image's `properties`.
std::optional<Data> encode(std::string_view type, const CGImageRef& image,
                           const NSDictionary* properties = nullptr) {
  auto out = std::make_shared<Data>();
  const auto destination = CGImageDestinationCreateWithData(out, type, 1);
  if (!destination || !image) return std::nullopt;
  CGImageDestinationAddImage(destination, image, properties);
  if (!CGImageDestinationFinalize(destination)) return std::nullopt;
  return std::move(*out);
}

}  // namespace

NSBitmapImageRep::NSBitmapImageRep(Private, CGImageRef image)
    : NSImageRep(CGSizeMake(static_cast<double>(CGImageGetWidth(image)),
                            static_cast<double>(CGImageGetHeight(image)))),
      image_(std::move(image)) {}

std::shared_ptr<NSBitmapImageRep> NSBitmapImageRep::initWithCGImage(CGImageRef image) {
  if (!image) return nullptr;
  return std::make_shared<NSBitmapImageRep>(Private{}, std::move(image));
}

std::vector<std::shared_ptr<NSBitmapImageRep>> NSBitmapImageRep::imageRepsWithData(
    ByteView data) {
  std::vector<std::shared_ptr<NSBitmapImageRep>> reps;
  const auto source = CGImageSourceCreateWithData(data);
  if (!source) return reps;
  const std::size_t count = CGImageSourceGetCount(source);
  for (std::size_t i = 0; i < count; ++i) {
    // The image decodes on first use, not here.
    if (CGImageRef image = CGImageSourceCreateImageAtIndex(source, i))
      reps.push_back(initWithCGImage(std::move(image)));
  }
  return reps;
}

std::shared_ptr<NSBitmapImageRep> NSBitmapImageRep::initWithData(ByteView data) {
  const auto source = CGImageSourceCreateWithData(data);
  if (!source || CGImageSourceGetCount(source) == 0) return nullptr;
  CGImageRef image = CGImageSourceCreateImageAtIndex(source, 0);
  return initWithCGImage(std::move(image));
}

std::shared_ptr<NSBitmapImageRep> NSBitmapImageRep::imageRepWithData(ByteView data) {
  return initWithData(data);
}

std::int64_t NSBitmapImageRep::pixelsWide() const {
  return static_cast<std::int64_t>(CGImageGetWidth(image_));
}

std::int64_t NSBitmapImageRep::pixelsHigh() const {
  return static_cast<std::int64_t>(CGImageGetHeight(image_));
}

std::int64_t NSBitmapImageRep::bytesPerRow() const {
  return static_cast<std::int64_t>(CGImageGetBytesPerRow(image_));
}

std::int64_t NSBitmapImageRep::bitsPerPixel() const {
  return static_cast<std::int64_t>(CGImageGetBitsPerPixel(image_));
}

std::int64_t NSBitmapImageRep::bitsPerSample() const {
  return static_cast<std::int64_t>(CGImageGetBitsPerComponent(image_));
}

std::uint8_t* NSBitmapImageRep::bitmapData() {
  if (!ownPixels_) {
    const auto bytes = CGDataProviderCopyData(CGImageGetDataProvider(image_));
    if (!bytes) return nullptr;
    pixels_ = *bytes;
    ownPixels_ = true;
  }
  return pixels_.data();
}

CGImageRef NSBitmapImageRep::CGImage() const {
  if (!ownPixels_) return image_;
  return CGImageCreate(CGImageGetWidth(image_), CGImageGetHeight(image_),
                       CGImageGetBitsPerComponent(image_), CGImageGetBitsPerPixel(image_),
                       CGImageGetBytesPerRow(image_), CGImageGetColorSpace(image_),
                       CGImageGetBitmapInfo(image_), CGDataProviderCreateWithData(pixels_),
                       nullptr, CGImageGetShouldInterpolate(image_),
                       CGImageGetRenderingIntent(image_));
}

std::optional<Data> NSBitmapImageRep::representationUsingTypeProperties(
    NSBitmapImageFileType type, const NSDictionary& properties) const {
  if (type >= kTypeIdentifiers.size()) return std::nullopt;
  NSDictionary imageProperties;
  if (type == NSBitmapImageFileTypeJPEG || type == NSBitmapImageFileTypeJPEG2000) {
    const NSPropertyValue* factor = properties.objectForKey(NSImageCompressionFactor);
    if (const auto quality = factor ? factor->doubleValue() : std::nullopt)
      imageProperties = NSDictionary{
          {std::string(kCGImageDestinationLossyCompressionQuality), NSPropertyValue(*quality)}};
  }
  return encode(kTypeIdentifiers[type], CGImage(), &imageProperties);
}

std::optional<Data> NSBitmapImageRep::TIFFRepresentation() const {
  return encode(kUTTypeTIFF, CGImage());
}

bool NSBitmapImageRep::drawInRect(CGRect rect) const {
  const auto current = NSGraphicsContext::currentContext();
  if (!current || CGRectIsEmpty(rect)) return false;
  const CGContextRef& cg = current->CGContext();
  CGContextSaveGState(cg);
  CGContextSetAlpha(cg, 1.0);
  mirrorForFlippedContext(cg, rect, current->isFlipped());
  CGContextDrawImage(cg, rect, CGImage());
  CGContextRestoreGState(cg);
  return true;
}

}  // namespace orvane
