#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

#include "orvane/Export.h"
#include "orvane/Platform/AppKit/NSBitmapImageRep.h"
#include "orvane/Platform/AppKit/NSImage.h"
#include "orvane/Platform/CoreGraphics/CGGeometry.h"
#include "orvane/Platform/CoreGraphics/CGImage.h"
#include "orvane/Platform/CoreImage/CIImage.h"
#include "orvane/Platform/Foundation/Data.h"
#include "orvane/Platform/Foundation/NSDictionary.h"
#include "orvane/Platform/Foundation/NSError.h"
#include "orvane/Platform/ImageIO/UTCoreTypes.h"

namespace orvane {

/// Image services: the display's resolution and the limits of the library,
/// bitmap file types and their type identifiers, the error records a host
/// shows when a chosen file is no usable photo, encoding and decoding of
/// images, thumbnails, and the rendering of Core Image images. Class-level
/// operations only; no state. Every call may run on any thread; the calls
/// that draw an NSImage follow AppKit's rule and belong on one thread per
/// image.
class ORVANE_EXPORT HXImageUtility {
 public:
  HXImageUtility() = delete;

  // Display and limits.

  /// The main screen's horizontal resolution in dots per inch, from its
  /// NSDeviceResolution entry; 72.0 when there is no main screen or the entry
  /// is missing.
  static double defaultDPI();
  /// The main screen's backing scale factor; 0.0 when there is no main
  /// screen (there is no fallback).
  static double backScaleFactor();
  /// 16384.0: the largest image side the library claims to support. Nothing
  /// checks against it; it is for the host.
  static double supportMaxSize();
  /// 1.0: the smallest image side; thumbnails enforce it.
  static double supportMinSize();
  /// 60.0: the smallest resolution in dots per inch, for the host.
  static double minimunDPI();

  // File types and type identifiers.

  /// The bitmap file type of a type identifier, compared exactly (case
  /// matters) with TIFF, BMP, GIF, PNG, JPEG and JPEG 2000 in that order;
  /// 3 (JPEG) for any other identifier and for none.
  static NSBitmapImageFileType bitmapFileTypeFromUTI(std::optional<std::string_view> uti);
  /// The type identifier of a bitmap file type 0 to 5; none above 5 (there
  /// is no JPEG fallback in this direction).
  static std::optional<std::string_view> bitmapFileTypeToUTI(NSBitmapImageFileType type);

  // Error records: domain NSCocoaErrorDomain, code -1, and exactly three
  // user-info texts (reason, suggestion, and the description: the reason
  // directly followed by the suggestion). An absent file prints "(null)".

  /// "The file(<file>) is not a photo." / "Please select a photo file."
  static std::shared_ptr<NSError> errorForNotAPhotoFile(std::optional<std::string_view> file);
  /// "No image exist(<file>) or too small(1x1)." / "Please select an another
  /// photo file." (the minimum side, twice, with no decimals).
  static std::shared_ptr<NSError> errorForNoImageExist(std::optional<std::string_view> file);
  /// "Invalid Parameter!" / "Input image must not be NULL."
  static std::shared_ptr<NSError> errorForInvalidParameter();

  // Saving and reading. Nothing here touches files.

  /// The image encoded through its first representation when that is a
  /// bitmap that gives at least one byte in `type` (with the encoder's own
  /// defaults); otherwise the image converted to a CGImage and written as
  /// bitmapFileTypeToUTI(type) at quality 0.8. None when neither works.
  static std::optional<Data> saveNSImageAsFormat(const std::shared_ptr<NSImage>& image,
                                                 NSBitmapImageFileType type);
  /// The image written through an image destination of type `uti` with the
  /// quality (as a single-precision number) in the destination's options and
  /// `property` with the image. None for no image or a type no destination
  /// writes; otherwise whatever the destination wrote, possibly nothing.
  static std::optional<Data> saveImageWithFormatQualityProperty(
      const CGImageRef& image, std::optional<std::string_view> uti, double quality,
      const NSDictionary* property);
  /// saveImageWithFormatQualityProperty at quality 0.8, no properties.
  static std::optional<Data> saveImageAsFormat(const CGImageRef& image,
                                               std::optional<std::string_view> uti);
  /// The first image of encoded data, decoded on first use; none for empty
  /// data or bytes no codec reads.
  static CGImageRef readImageFromData(ByteView data);
  /// The same without copying the bytes: the image keeps `data` until it
  /// has decoded.
  static CGImageRef readImageFromData(const std::shared_ptr<const Data>& data);

  // Thumbnails and rendering.

  /// `image` drawn into a new ARGB premultiplied sRGB bitmap of the size
  /// fitSizeIntoSize gives inside `size` (each side at least 1 pixel, whole
  /// pixels by truncation). None for no image or a side below 1 pixel.
  static CGImageRef createThumbnailFromImage(CGSize size, const CGImageRef& image);
  /// `image` drawn into a new image of the point size fitSizeIntoSize gives
  /// inside `size` (each side at least 1 point, fractions kept).
  static std::shared_ptr<NSImage> createThumbnailFromNSImage(CGSize size,
                                                             const std::shared_ptr<NSImage>& image);
  /// The whole extent of `image` rendered into a new ARGB premultiplied sRGB
  /// bitmap of its truncated size, the extent's lower-left corner on the
  /// bitmap's origin. Logs "Error input image." and answers none for no
  /// image or a null, infinite or empty extent.
  static CGImageRef createImageFromCIImage(const std::shared_ptr<const CIImage>& image);
};

}  // namespace orvane
