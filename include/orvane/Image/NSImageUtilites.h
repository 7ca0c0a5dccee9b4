#pragma once

#include <memory>
#include <optional>
#include <string_view>

#include "orvane/Export.h"
#include "orvane/Image/HXImageUtility.h"
#include "orvane/Platform/AppKit/NSImage.h"
#include "orvane/Platform/CoreGraphics/CGImage.h"
#include "orvane/Platform/Foundation/Data.h"

namespace orvane {

/// Encoded data of images and their conversion to CGImages. The class-level
/// family writes a CGImage through an image destination and always writes
/// JPEG, whatever codec it is asked for; the instance family (the receiver
/// first) encodes an NSImage through a bitmap representation in the codec
/// asked for, at compression factor 1.0. Every CGImage answered is the
/// caller's; no image handed in is changed.
struct ORVANE_EXPORT NSImageUtilites {
  NSImageUtilites() = delete;

  /// JPEG data of the image (the codec is not consulted); none for no image.
  static std::optional<Data> dataFromCGImageWithCodec(const CGImageRef& image,
                                                      std::optional<std::string_view> codec);
  static std::optional<Data> jpegDataFromCGImage(const CGImageRef& image);
  /// JPEG data too: the codec is not consulted.
  static std::optional<Data> pngDataFromCGImage(const CGImageRef& image);
  /// JPEG data too: the codec is not consulted.
  static std::optional<Data> jp2kDataFromCGImage(const CGImageRef& image);

  /// The image encoded in `codec` with NSImageCompressionFactor 1.0 by a
  /// bitmap representation: its first representation when that is a bitmap,
  /// else one made from its TIFF data, else one made from a redraw of the
  /// image at its point size. None when no bitmap can be made or the codec
  /// gives nothing.
  static std::optional<Data> dataWithCodec(const std::shared_ptr<NSImage>& image,
                                           NSBitmapImageFileType codec);
  static std::optional<Data> jpegData(const std::shared_ptr<NSImage>& image);
  static std::optional<Data> pngData(const std::shared_ptr<NSImage>& image);
  static std::optional<Data> jp2KData(const std::shared_ptr<NSImage>& image);

  /// The image as a CGImage: decoded from its TIFF data, else drawn.
  static CGImageRef CGImage(const std::shared_ptr<NSImage>& image);
  /// The first image decoded from the image's TIFF data; none when that is
  /// empty or does not decode.
  static CGImageRef convertFromTIFFRep(const std::shared_ptr<NSImage>& image);
  /// The image drawn into a new ARGB premultiplied sRGB bitmap. Each side is
  /// the first representation's pixel count when that is at least 2, else the
  /// point size times HXImageUtility::backScaleFactor(), truncated; none when
  /// a side comes to 0.
  static CGImageRef convertFromDrawing(const std::shared_ptr<NSImage>& image);
};

}  // namespace orvane
