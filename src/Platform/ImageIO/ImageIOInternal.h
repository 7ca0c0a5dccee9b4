#pragma once

// What the dictionary-taking ImageIO calls build on: a source's first-image
// properties and a destination's quality, without dictionaries.

#include <optional>

#include "Platform/ImageIO/ImageCodec.h"
#include "orvane/Platform/CoreGraphics/CGAffineTransform.h"
#include "orvane/Platform/ImageIO/CGImageDestination.h"
#include "orvane/Platform/ImageIO/CGImageSource.h"

namespace orvane::imageio {

/// The properties of the image at `index` as the headers give them (null for
/// a null source or an index other than 0), and the codec that reads it.
const ImageInfo* sourceImageInfo(const CGImageSourceRef& source, std::size_t index);
const ImageCodec* sourceCodec(const CGImageSourceRef& source);
std::shared_ptr<const Data> sourceData(const CGImageSourceRef& source);

/// A thumbnail of the image at `index`, made from the image (embedded
/// thumbnails are not read, so without `fromImageAlways` there is none):
/// shrunk so that its longer side is at most `maxPixelSize` (never enlarged;
/// no limit when absent), through the image's reduced or row-streamed
/// decode, and turned upright by the EXIF orientation when `withTransform`.
/// 8-bit gray for opaque gray images, else 8-bit RGBA premultiplied, in the
/// image's colour space. Null for a null source, another index, or a failed decode.
CGImageRef createThumbnail(const CGImageSourceRef& source, std::size_t index, std::optional<double> maxPixelSize,
                           bool fromImageAlways, bool withTransform);

/// The transform that draws an image stored `width` x `height` upright for an
/// EXIF orientation (1 to 8) in y-up user space; identity for other values.
CGAffineTransform orientationTransform(std::uint16_t orientation, double width, double height);

}  // namespace orvane::imageio
