#include "orvane/Image/NSImageUtilites.h"

#include "orvane/Platform/AppKit/NSGraphicsContext.h"
#include "orvane/Platform/ImageIO/CGImageDestination.h"
#include "orvane/Platform/ImageIO/CGImageSource.h"
#include "orvane/Platform/ImageIO/UTCoreTypes.h"
#include "Image/OffscreenBitmap.h"

namespace orvane {

namespace {

// A side in pixels for the drawing conversion: the representation's own count
// when it has at least 2, else the point size scaled for the main display,
// truncated (0 for what is not a number, negative or absurdly large).
std::size_t drawnSide(std::int64_t pixels, double points) {
  if (pixels >= 2) return static_cast<std::size_t>(pixels);
  return truncatedSide(points * HXImageUtility::backScaleFactor());
}

// A bitmap representation of the image: its first representation when that
// is one, else one made from its TIFF data, else from the TIFF data of a
// redraw at the same point size.
std::shared_ptr<NSBitmapImageRep> bitmapOf(const std::shared_ptr<NSImage>& image) {
  const auto& representations = image->representations();
  if (!representations.empty())
    if (auto bitmap = std::dynamic_pointer_cast<NSBitmapImageRep>(representations.front()))
      return bitmap;
  Data tiff = image->TIFFRepresentation();
  if (tiff.empty()) {
    const CGSize size = image->size();
    const auto redrawn = NSImage::initWithSize(size);
    redrawn->lockFocus();
    image->drawInRect(CGRectMake(0, 0, size.width, size.height));
    redrawn->unlockFocus();
    tiff = redrawn->TIFFRepresentation();
  }
  return NSBitmapImageRep::imageRepWithData(tiff);
}

}  // namespace

std::optional<Data> NSImageUtilites::dataFromCGImageWithCodec(
    const CGImageRef& image, std::optional<std::string_view> /*codec: JPEG is always written*/) {
  if (!image) return std::nullopt;
  auto buffer = std::make_shared<Data>();
  const auto destination = CGImageDestinationCreateWithData(buffer, kUTTypeJPEG, 1, nullptr);
  if (!destination) return std::nullopt;
  CGImageDestinationAddImage(destination, image, nullptr);
  (void)CGImageDestinationFinalize(destination);
  return std::move(*buffer);
}

std::optional<Data> NSImageUtilites::jpegDataFromCGImage(const CGImageRef& image) {
  return dataFromCGImageWithCodec(image, kUTTypeJPEG);
}
std::optional<Data> NSImageUtilites::pngDataFromCGImage(const CGImageRef& image) {
  return dataFromCGImageWithCodec(image, kUTTypePNG);
}
std::optional<Data> NSImageUtilites::jp2kDataFromCGImage(const CGImageRef& image) {
  return dataFromCGImageWithCodec(image, kUTTypeJPEG2000);
}

std::optional<Data> NSImageUtilites::dataWithCodec(const std::shared_ptr<NSImage>& image,
                                                   NSBitmapImageFileType codec) {
  if (!image) return std::nullopt;
  const auto bitmap = bitmapOf(image);
  if (!bitmap) return std::nullopt;
  const NSDictionary properties{{NSImageCompressionFactor, NSPropertyValue(1.0f)}};
  return bitmap->representationUsingTypeProperties(codec, properties);
}

std::optional<Data> NSImageUtilites::jpegData(const std::shared_ptr<NSImage>& image) {
  return dataWithCodec(image, NSBitmapImageFileTypeJPEG);
}
std::optional<Data> NSImageUtilites::pngData(const std::shared_ptr<NSImage>& image) {
  return dataWithCodec(image, NSBitmapImageFileTypePNG);
}
std::optional<Data> NSImageUtilites::jp2KData(const std::shared_ptr<NSImage>& image) {
  return dataWithCodec(image, NSBitmapImageFileTypeJPEG2000);
}

CGImageRef NSImageUtilites::CGImage(const std::shared_ptr<NSImage>& image) {
  if (CGImageRef decoded = convertFromTIFFRep(image)) return decoded;
  return convertFromDrawing(image);
}

CGImageRef NSImageUtilites::convertFromTIFFRep(const std::shared_ptr<NSImage>& image) {
  if (!image) return nullptr;
  auto tiff = std::make_shared<const Data>(image->TIFFRepresentation());
  if (tiff->empty()) return nullptr;
  const auto source = CGImageSourceCreateWithData(tiff);
  if (!source) return nullptr;
  return CGImageSourceCreateImageAtIndex(source, 0);
}

CGImageRef NSImageUtilites::convertFromDrawing(const std::shared_ptr<NSImage>& image) {
  if (!image) return nullptr;
  const auto& representations = image->representations();
  const auto first = representations.empty() ? nullptr : representations.front();
  const CGSize size = image->size();
  const std::size_t width = drawnSide(first ? first->pixelsWide() : 0, size.width);
  const std::size_t height = drawnSide(first ? first->pixelsHigh() : 0, size.height);
  const auto bitmap = offscreenBitmap(width, height);
  if (!bitmap) return nullptr;
  NSGraphicsContext::saveGraphicsState();
  NSGraphicsContext::setCurrentContext(NSGraphicsContext::graphicsContextWithCGContextFlipped(bitmap, false));
  image->drawInRect(CGRectMake(0, 0, static_cast<double>(width), static_cast<double>(height)));
  NSGraphicsContext::restoreGraphicsState();
  CGContextFlush(bitmap);
  return CGBitmapContextCreateImage(bitmap);
}

}  // namespace orvane
