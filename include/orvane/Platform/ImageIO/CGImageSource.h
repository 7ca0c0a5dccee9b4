#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "orvane/Export.h"
#include "orvane/Platform/CoreGraphics/CGImage.h"
#include "orvane/Platform/Foundation/Data.h"
#include "orvane/Platform/Foundation/NSDictionary.h"
#include "orvane/Platform/ImageIO/CGImageProperties.h"
#include "orvane/Platform/ImageIO/UTCoreTypes.h"

namespace orvane {

/// Encoded image data of one of the six formats (JPEG, PNG, TIFF, BMP, GIF,
/// JPEG 2000), the format found from the bytes alone. A source keeps the
/// data it was made with and is immutable: it may be used from several
/// threads at once.
class CGImageSource;
using CGImageSourceRef = std::shared_ptr<CGImageSource>;

/// A source over `data` (shared, not copied). Null when `data` is null or
/// no codec recognises the bytes and reads the first image's headers (a
/// header declaring more than 2^28 pixels or a side above 65535 is refused).
/// `options` are accepted and not consulted (null for none).
ORVANE_EXPORT CGImageSourceRef CGImageSourceCreateWithData(std::shared_ptr<const Data> data,
                                                           const NSDictionary* options = nullptr);
/// The same over a copy of `bytes`.
ORVANE_EXPORT CGImageSourceRef CGImageSourceCreateWithData(ByteView bytes, const NSDictionary* options = nullptr);

/// The number of images: GIF frames, TIFF directories, 1 for the other
/// formats; 0 for a null source.
ORVANE_EXPORT std::size_t CGImageSourceGetCount(const CGImageSourceRef& source);

/// The type identifier of the source's format (kUTTypeJPEG, ...); nothing
/// for a null source.
ORVANE_EXPORT std::optional<std::string_view> CGImageSourceGetType(const CGImageSourceRef& source);

/// The image at `index`, decoded lazily: the pixels are made on first use,
/// once, and a drawing that shrinks the image may decode a reduced size
/// instead (JPEG, JPEG 2000) or stream rows (PNG, TIFF, BMP, GIF). Only the
/// first image (index 0) is decoded: null for a later index, a null source,
/// or an image whose layout cannot be represented. The image keeps the
/// encoded data alive. Pixels: 8- or 16-bit gray, gray + alpha, RGB or RGBA
/// (alpha last, not premultiplied; 16-bit samples little-endian), in the
/// embedded ICC profile's colour space, else sRGB or gray gamma 2.2.
/// Orientation is reported, not applied. A file that ends early decodes to
/// the rows it has (the rest transparent black). `options` are not consulted.
ORVANE_EXPORT CGImageRef CGImageSourceCreateImageAtIndex(const CGImageSourceRef& source, std::size_t index,
                                                         const NSDictionary* options = nullptr);

/// The properties of the image at `index`, read from the headers without
/// decoding pixels: kCGImagePropertyPixelWidth and PixelHeight (integers),
/// Orientation (integer 1...8, 1 when the file says nothing), Depth (bits
/// per sample as stored, integer), HasAlpha (boolean), ColorModel ("RGB" or
/// "Gray"), and DPIWidth / DPIHeight (numbers) when the file states its
/// resolution. Null for a null source or an index other than 0.
ORVANE_EXPORT std::shared_ptr<const NSDictionary> CGImageSourceCopyPropertiesAtIndex(
    const CGImageSourceRef& source, std::size_t index, const NSDictionary* options = nullptr);

/// A thumbnail of the image at `index`, made from the image when `options`
/// hold kCGImageSourceCreateThumbnailFromImageAlways true (embedded
/// thumbnails are not read, so without it the answer is null). Its longer
/// side is at most kCGImageSourceThumbnailMaxPixelSize (a number; never
/// enlarged; the full size without it). kCGImageSourceCreateThumbnailWithTransform
/// true turns it upright by the EXIF orientation (1 to 8). A JPEG or JPEG
/// 2000 thumbnail decodes at a reduced size and PNG, TIFF, BMP and GIF rows
/// stream into the average, so the full-size pixels are not kept. Result:
/// 8-bit gray for opaque gray images, else 8-bit RGBA premultiplied (alpha
/// last), in the image's colour space. Null for a null source, another index,
/// or a decode that fails.
ORVANE_EXPORT CGImageRef CGImageSourceCreateThumbnailAtIndex(const CGImageSourceRef& source, std::size_t index,
                                                             const NSDictionary* options);

/// The type identifiers a source can read: the six formats.
ORVANE_EXPORT std::vector<std::string_view> CGImageSourceCopyTypeIdentifiers();

}  // namespace orvane
