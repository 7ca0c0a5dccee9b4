#include "orvane/Image/HXImageUtility.h"

#include <cstdio>
#include <string>

#include "orvane/Image/NSImageUtilites.h"
#include "orvane/Math/HXMathUtility.h"
#include "orvane/Platform/AppKit/NSScreen.h"
#include "orvane/Platform/CoreImage/CIContext.h"
#include "orvane/Platform/Foundation/NSLog.h"
#include "orvane/Platform/ImageIO/CGImageDestination.h"
#include "orvane/Platform/ImageIO/CGImageSource.h"
#include "orvane/Platform/ImageIO/UTCoreTypes.h"
#include "Image/OffscreenBitmap.h"

namespace orvane {

namespace {

constexpr double kDefaultDPI = 72.0;
constexpr double kDefaultQuality = 0.8;

// A record in the platform's general domain with code -1 and the three texts;
// the description is the reason directly followed by the suggestion.
std::shared_ptr<NSError> imageError(std::string reason, std::string suggestion) {
  auto error = std::make_shared<NSError>();
  error->domain = NSCocoaErrorDomain;
  error->code = -1;
  error->userInfo[NSLocalizedDescriptionKey] = reason + suggestion;
  error->userInfo[NSLocalizedFailureReasonErrorKey] = std::move(reason);
  error->userInfo[NSLocalizedRecoverySuggestionErrorKey] = std::move(suggestion);
  return error;
}

// How "%@" prints an argument: its text, or the platform's "(null)".
std::string describe(std::optional<std::string_view> object) {
  return object ? std::string(*object) : std::string("(null)");
}

}  // namespace

double HXImageUtility::defaultDPI() {
  const auto screen = NSScreen::mainScreen();
  if (!screen) return kDefaultDPI;
  const auto resolution = screen->deviceDescription().sizeForKey(NSDeviceResolution);
  return resolution ? resolution->width : kDefaultDPI;
}

double HXImageUtility::backScaleFactor() {
  const auto screen = NSScreen::mainScreen();
  return screen ? screen->backingScaleFactor() : 0.0;
}

double HXImageUtility::supportMaxSize() { return 16384.0; }
double HXImageUtility::supportMinSize() { return 1.0; }
double HXImageUtility::minimunDPI() { return 60.0; }

NSBitmapImageFileType HXImageUtility::bitmapFileTypeFromUTI(std::optional<std::string_view> uti) {
  if (!uti) return 3;
  // PNG is compared before JPEG; the answer is the same in either order.
  if (*uti == kUTTypeTIFF) return 0;
  if (*uti == kUTTypeBMP) return 1;
  if (*uti == kUTTypeGIF) return 2;
  if (*uti == kUTTypePNG) return 4;
  if (*uti == kUTTypeJPEG) return 3;
  if (*uti == kUTTypeJPEG2000) return 5;
  return 3;
}

std::optional<std::string_view> HXImageUtility::bitmapFileTypeToUTI(NSBitmapImageFileType type) {
  switch (type) {
    case 0: return kUTTypeTIFF;
    case 1: return kUTTypeBMP;
    case 2: return kUTTypeGIF;
    case 3: return kUTTypeJPEG;
    case 4: return kUTTypePNG;
    case 5: return kUTTypeJPEG2000;
    default: return std::nullopt;
  }
}

std::shared_ptr<NSError> HXImageUtility::errorForNotAPhotoFile(
    std::optional<std::string_view> file) {
  return imageError("The file(" + describe(file) + ") is not a photo.",
                    "Please select a photo file.");
}

std::shared_ptr<NSError> HXImageUtility::errorForNoImageExist(std::optional<std::string_view> file) {
  char sizes[96];
  std::snprintf(sizes, sizeof sizes, "%.0fx%.0f", supportMinSize(), supportMinSize());
  return imageError("No image exist(" + describe(file) + ") or too small(" + sizes + ").",
                    "Please select an another photo file.");
}

std::shared_ptr<NSError> HXImageUtility::errorForInvalidParameter() {
  return imageError("Invalid Parameter!", "Input image must not be NULL.");
}

std::optional<Data> HXImageUtility::saveNSImageAsFormat(const std::shared_ptr<NSImage>& image,
                                                        NSBitmapImageFileType type) {
  if (!image) return std::nullopt;
  const auto& representations = image->representations();
  if (!representations.empty()) {
    if (const auto bitmap = std::dynamic_pointer_cast<NSBitmapImageRep>(representations.front())) {
      const NSDictionary none;
      if (auto data = bitmap->representationUsingTypeProperties(type, none); data && !data->empty())
        return data;
    }
  }
  const CGImageRef converted = NSImageUtilites::CGImage(image);
  if (!converted) return std::nullopt;
  return saveImageAsFormat(converted, bitmapFileTypeToUTI(type));
}

std::optional<Data> HXImageUtility::saveImageWithFormatQualityProperty(
    const CGImageRef& image, std::optional<std::string_view> uti, double quality,
    const NSDictionary* property) {
  if (!image || !uti) return std::nullopt;
  auto buffer = std::make_shared<Data>();
  const NSDictionary options{
      {kCGImageDestinationLossyCompressionQuality, NSPropertyValue(static_cast<float>(quality))}};
  const auto destination = CGImageDestinationCreateWithData(buffer, *uti, 1, &options);
  if (!destination) return std::nullopt;
  CGImageDestinationAddImage(destination, image, property);
  // Whatever the destination wrote is the answer, even when finishing failed.
  (void)CGImageDestinationFinalize(destination);
  return std::move(*buffer);
}

std::optional<Data> HXImageUtility::saveImageAsFormat(const CGImageRef& image,
                                                      std::optional<std::string_view> uti) {
  return saveImageWithFormatQualityProperty(image, uti, kDefaultQuality, nullptr);
}

CGImageRef HXImageUtility::readImageFromData(ByteView data) {
  if (data.empty()) return nullptr;
  return readImageFromData(std::make_shared<const Data>(data.begin(), data.end()));
}

CGImageRef HXImageUtility::readImageFromData(const std::shared_ptr<const Data>& data) {
  if (!data || data->empty()) return nullptr;
  const auto source = CGImageSourceCreateWithData(data);
  if (!source) return nullptr;
  return CGImageSourceCreateImageAtIndex(source, 0);
}

CGImageRef HXImageUtility::createThumbnailFromImage(CGSize size, const CGImageRef& image) {
  if (!image) return nullptr;
  const double w = static_cast<double>(CGImageGetWidth(image));
  const double h = static_cast<double>(CGImageGetHeight(image));
  if (supportMinSize() > w || supportMinSize() > h) return nullptr;
  CGSize fitted = HXMathUtility::fitSizeIntoSize(CGSizeMake(w, h), size);
  // "Not greater than" also catches a fitted side that is not a number.
  if (!(fitted.width > supportMinSize())) fitted.width = supportMinSize();
  if (!(fitted.height > supportMinSize())) fitted.height = supportMinSize();
  const std::size_t width = truncatedSide(fitted.width), height = truncatedSide(fitted.height);
  const auto bitmap = offscreenBitmap(width, height);
  if (!bitmap) return nullptr;
  CGContextDrawImage(bitmap, CGRectMake(0, 0, static_cast<double>(width), static_cast<double>(height)),
                     image);
  CGContextFlush(bitmap);
  return CGBitmapContextCreateImage(bitmap);
}

std::shared_ptr<NSImage> HXImageUtility::createThumbnailFromNSImage(
    CGSize size, const std::shared_ptr<NSImage>& image) {
  if (!image) return nullptr;
  CGSize fitted = HXMathUtility::fitSizeIntoSize(image->size(), size);
  // Unlike the pixel thumbnail: fractions stay and a side that is not a
  // number is left as it is.
  if (fitted.width < supportMinSize()) fitted.width = supportMinSize();
  if (fitted.height < supportMinSize()) fitted.height = supportMinSize();
  auto thumbnail = NSImage::initWithSize(fitted);
  thumbnail->lockFocus();
  image->drawInRect(CGRectMake(0, 0, fitted.width, fitted.height));
  thumbnail->unlockFocus();
  return thumbnail;
}

CGImageRef HXImageUtility::createImageFromCIImage(const std::shared_ptr<const CIImage>& image) {
  const CGRect extent = image ? image->extent() : CGRectZero;
  if (CGRectIsNull(extent) || CGRectIsInfinite(extent) || CGRectIsEmpty(extent)) {
    NSLog("Error input image.");
    return nullptr;
  }
  const std::size_t width = truncatedSide(extent.size.width);
  const std::size_t height = truncatedSide(extent.size.height);
  const auto bitmap = offscreenBitmap(width, height);
  if (!bitmap) return nullptr;
  const auto context = CIContext::contextWithCGContextOptions(bitmap, nullptr);
  context->drawImageInRectFromRect(
      image, CGRectMake(0, 0, static_cast<double>(width), static_cast<double>(height)),
      image->extent());
  CGContextFlush(bitmap);
  return CGBitmapContextCreateImage(bitmap);
}

}  // namespace orvane
