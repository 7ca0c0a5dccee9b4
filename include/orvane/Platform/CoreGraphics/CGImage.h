#pragma once

#include <cstddef>
#include <memory>

#include "orvane/Export.h"
#include "orvane/Platform/CoreGraphics/CGBitmapInfo.h"
#include "orvane/Platform/CoreGraphics/CGColorSpace.h"
#include "orvane/Platform/CoreGraphics/CGDataProvider.h"
#include "orvane/Platform/CoreGraphics/CGGeometry.h"

namespace orvane {

/// An immutable bitmap image: width x height pixels in a colour space, read
/// from a data provider. Holding the shared pointer keeps the image (and its
/// pixels) alive; dropping the last one releases it. Images may be shared
/// between threads and drawn from several at once.
///
/// Pixel layouts an image can have (colour components, then alpha as the
/// bitmap info says; rows from the top of the picture):
///   - gray: 8 or 16 bits per pixel per component, alone (kCGImageAlphaNone)
///     or with an alpha or skipped component (16 or 32 bits per pixel);
///   - RGB: 3 components (kCGImageAlphaNone, 24 or 48 bits per pixel) or 4
///     with alpha or a skipped component (32 or 64 bits per pixel).
/// With 8-bit components, kCGBitmapByteOrder32Little reverses the four bytes
/// of a 32-bit pixel and kCGBitmapByteOrder16Little the two bytes of a 16-bit
/// gray+alpha pixel. With 16-bit components the default and
/// kCGBitmapByteOrder16Big mean big-endian, kCGBitmapByteOrder16Little
/// little-endian.
class CGImage;
using CGImageRef = std::shared_ptr<const CGImage>;

/// A new image over `provider`'s bytes. Null when a side is 0, the bits per
/// component are not 8 or 16, the bits per pixel do not fit the colour
/// space's components and the alpha information, bytes per row are fewer
/// than one row needs, the space is null or neither RGB nor gray, the byte
/// order does not fit the component size, or the provider is null or holds
/// fewer bytes than height rows need (the last row needs only its pixels).
/// `decode` must be null (decode arrays are not supported: a non-null one
/// answers null); `shouldInterpolate` and `intent` are kept and reported.
ORVANE_EXPORT CGImageRef CGImageCreate(std::size_t width, std::size_t height,
                                       std::size_t bitsPerComponent, std::size_t bitsPerPixel,
                                       std::size_t bytesPerRow, CGColorSpaceRef space,
                                       CGBitmapInfo bitmapInfo, CGDataProviderRef provider,
                                       const double* decode, bool shouldInterpolate,
                                       CGColorRenderingIntent intent);

/// The part of `image` inside `rect`, in pixels with the origin at the top
/// left: the rectangle is first made integral (CGRectIntegral) and clipped to
/// the image. The result owns a copy of those pixels, packed. Null for a null
/// image, a null or empty rectangle, or a rectangle outside the image. An
/// image read from encoded data is decoded first.
ORVANE_EXPORT CGImageRef CGImageCreateWithImageInRect(const CGImageRef& image, CGRect rect);

/// Accessors; each answers 0 (or null) for a null image.
ORVANE_EXPORT std::size_t CGImageGetWidth(const CGImageRef& image);
ORVANE_EXPORT std::size_t CGImageGetHeight(const CGImageRef& image);
ORVANE_EXPORT std::size_t CGImageGetBitsPerComponent(const CGImageRef& image);
ORVANE_EXPORT std::size_t CGImageGetBitsPerPixel(const CGImageRef& image);
ORVANE_EXPORT std::size_t CGImageGetBytesPerRow(const CGImageRef& image);
ORVANE_EXPORT CGBitmapInfo CGImageGetBitmapInfo(const CGImageRef& image);
ORVANE_EXPORT CGImageAlphaInfo CGImageGetAlphaInfo(const CGImageRef& image);
ORVANE_EXPORT CGColorSpaceRef CGImageGetColorSpace(const CGImageRef& image);
/// The image's provider. For an image read from encoded data, asking it for
/// its bytes decodes the image (once).
ORVANE_EXPORT CGDataProviderRef CGImageGetDataProvider(const CGImageRef& image);
ORVANE_EXPORT bool CGImageGetShouldInterpolate(const CGImageRef& image);
ORVANE_EXPORT CGColorRenderingIntent CGImageGetRenderingIntent(const CGImageRef& image);

}  // namespace orvane
