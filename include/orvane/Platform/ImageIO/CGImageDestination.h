#pragma once

#include <cstddef>
#include <memory>
#include <string_view>
#include <vector>

#include "orvane/Export.h"
#include "orvane/Platform/CoreGraphics/CGImage.h"
#include "orvane/Platform/Foundation/Data.h"
#include "orvane/Platform/Foundation/NSDictionary.h"
#include "orvane/Platform/ImageIO/CGImageProperties.h"
#include "orvane/Platform/ImageIO/UTCoreTypes.h"

namespace orvane {

/// Writes images in one format into a growable byte buffer. Not for use from
/// several threads at once.
class CGImageDestination;
using CGImageDestinationRef = std::shared_ptr<CGImageDestination>;

/// A destination that appends one file of `type` (a kUTType* identifier) to
/// `data` when finalised. Null when `data` is null, the type is not one of
/// the six, or `count` is 0.
///
/// Defaults: JPEG quality 0.8; JPEG 2000 lossless; PNG with zlib level 1 and
/// the Sub filter (a 5120 x 2880 picture writes 6.8 times faster than with
/// libpng's defaults, for a file 13 percent larger); TIFF uncompressed (LZW
/// with a predictor takes 15 times as long; PNG is the compact lossless choice);
/// BMP 8-bit gray, 24-bit RGB or 32-bit RGBA; GIF quantised to a palette of
/// our own (exact up to 256 colours, median cut beyond).
/// `options` may hold kCGImageDestinationLossyCompressionQuality (0...1,
/// clamped) for JPEG and JPEG 2000; null for none.
ORVANE_EXPORT CGImageDestinationRef CGImageDestinationCreateWithData(std::shared_ptr<Data> data,
                                                                     std::string_view type, std::size_t count,
                                                                     const NSDictionary* options = nullptr);

/// Queues `image` (kept, not copied; never changed). Images beyond the
/// count given at creation, and null images, are ignored. Only the first
/// queued image is written: these formats hold one image here.
/// `properties` may hold kCGImageDestinationLossyCompressionQuality, which
/// wins over the creation options' for this image; null for none.
ORVANE_EXPORT void CGImageDestinationAddImage(const CGImageDestinationRef& destination, CGImageRef image,
                                              const NSDictionary* properties = nullptr);

/// Encodes the queued image and appends the file to the data. True on
/// success; false (the data unchanged) for a null destination, no image, a
/// second call, or an encoder failure.
ORVANE_EXPORT bool CGImageDestinationFinalize(const CGImageDestinationRef& destination);

/// The type identifiers a destination can write: the six formats.
ORVANE_EXPORT std::vector<std::string_view> CGImageDestinationCopyTypeIdentifiers();

}  // namespace orvane
