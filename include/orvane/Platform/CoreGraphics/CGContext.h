#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "orvane/Export.h"
#include "orvane/Platform/CoreGraphics/CGAffineTransform.h"
#include "orvane/Platform/CoreGraphics/CGBitmapInfo.h"
#include "orvane/Platform/CoreGraphics/CGColorSpace.h"
#include "orvane/Platform/CoreGraphics/CGGeometry.h"
#include "orvane/Platform/CoreGraphics/CGImage.h"

namespace orvane {

/// A drawing destination with a graphics state. Here every context is a
/// bitmap context. User space is y-up with the origin at the bitmap's
/// lower-left corner and one unit per pixel until the CTM changes; the first
/// row in memory is the top of the picture.
///
/// A context is not thread-safe: use one from one thread at a time.
/// Different contexts may be used from different threads at once.
class CGContext;
using CGContextRef = std::shared_ptr<CGContext>;

/// How images are resampled when drawn at another size.
using CGInterpolationQuality = std::int32_t;
inline constexpr CGInterpolationQuality kCGInterpolationDefault = 0;  ///< as Medium
inline constexpr CGInterpolationQuality kCGInterpolationNone = 1;     ///< nearest pixel
inline constexpr CGInterpolationQuality kCGInterpolationLow = 2;      ///< as Medium
inline constexpr CGInterpolationQuality kCGInterpolationHigh = 3;     ///< bicubic when enlarging
inline constexpr CGInterpolationQuality kCGInterpolationMedium = 4;   ///< bilinear when enlarging

/// A bitmap context over width x height pixels. Supported layouts:
///   - RGB space, 8 bits per component, 32 bits per pixel, alpha
///     kCGImageAlphaPremultipliedFirst, PremultipliedLast, NoneSkipFirst or
///     NoneSkipLast, byte order default (or 32Big: premultiplied-first is
///     bytes A R G B) or kCGBitmapByteOrder32Little (premultiplied-first is
///     bytes B G R A, cairo's and Qt's premultiplied ARGB32);
///   - gray space, 8 bits per component, kCGImageAlphaNone.
/// Bits per pixel follow from the layout. `bytesPerRow` 0 means packed rows.
/// With `data` null the context allocates zeroed storage of its own;
/// otherwise it draws into `data`, which must hold height rows of
/// bytesPerRow bytes and outlive the context (the caller keeps ownership).
/// Null for other layouts (non-premultiplied alpha among them), a zero
/// side, bytes per row fewer than one row needs, a null space, or storage
/// that cannot be allocated.
ORVANE_EXPORT CGContextRef CGBitmapContextCreate(void* data, std::size_t width,
                                                 std::size_t height,
                                                 std::size_t bitsPerComponent,
                                                 std::size_t bytesPerRow, CGColorSpaceRef space,
                                                 CGBitmapInfo bitmapInfo);

/// The pixel storage, writable; null for null. Writing through it is seen by
/// later drawing; images made earlier keep the pixels they had.
ORVANE_EXPORT void* CGBitmapContextGetData(const CGContextRef& context);
/// Accessors; 0 or null for null.
ORVANE_EXPORT std::size_t CGBitmapContextGetWidth(const CGContextRef& context);
ORVANE_EXPORT std::size_t CGBitmapContextGetHeight(const CGContextRef& context);
ORVANE_EXPORT std::size_t CGBitmapContextGetBytesPerRow(const CGContextRef& context);
ORVANE_EXPORT std::size_t CGBitmapContextGetBitsPerComponent(const CGContextRef& context);
ORVANE_EXPORT std::size_t CGBitmapContextGetBitsPerPixel(const CGContextRef& context);
ORVANE_EXPORT CGBitmapInfo CGBitmapContextGetBitmapInfo(const CGContextRef& context);
ORVANE_EXPORT CGImageAlphaInfo CGBitmapContextGetAlphaInfo(const CGContextRef& context);
ORVANE_EXPORT CGColorSpaceRef CGBitmapContextGetColorSpace(const CGContextRef& context);
/// An image of the pixels as they are now, in the context's layout and
/// space; later drawing does not change it. For a context that owns its
/// storage the image takes the pixels over without copying and the context
/// copies them only when it is drawn into again. Null for null.
ORVANE_EXPORT CGImageRef CGBitmapContextCreateImage(const CGContextRef& context);

// Graphics state: CTM, clip rectangle, fill colour, alpha and interpolation
// quality. A new context has the identity CTM, no clip, opaque black fill,
// alpha 1 and kCGInterpolationDefault.

/// Pushes a copy of the graphics state.
ORVANE_EXPORT void CGContextSaveGState(const CGContextRef& context);
/// Pops the state pushed last; nothing happens when none was pushed.
ORVANE_EXPORT void CGContextRestoreGState(const CGContextRef& context);

/// Each of these applies its step before the current CTM (in user space).
ORVANE_EXPORT void CGContextTranslateCTM(const CGContextRef& context, double tx, double ty);
ORVANE_EXPORT void CGContextScaleCTM(const CGContextRef& context, double sx, double sy);
/// Counter-clockwise by `angle` radians.
ORVANE_EXPORT void CGContextRotateCTM(const CGContextRef& context, double angle);
ORVANE_EXPORT void CGContextConcatCTM(const CGContextRef& context, const CGAffineTransform& t);
/// The CTM; the identity for null.
ORVANE_EXPORT CGAffineTransform CGContextGetCTM(const CGContextRef& context);

/// Narrows the clip to `rect` (in user space) intersected with the current
/// clip. Under a rotated or sheared CTM the clip is the upright bounding box
/// of the transformed rectangle. Clip edges that fall inside a pixel cover it
/// partly, as shape edges do.
ORVANE_EXPORT void CGContextClipToRect(const CGContextRef& context, CGRect rect);
/// The clip in user space (the bitmap's bounds when nothing is clipped);
/// CGRectNull for null.
ORVANE_EXPORT CGRect CGContextGetClipBoundingBox(const CGContextRef& context);

/// The fill colour, components clamped to 0...1, in sRGB; matched into the
/// context's space when that differs.
ORVANE_EXPORT void CGContextSetRGBFillColor(const CGContextRef& context, double red, double green,
                                            double blue, double alpha);
/// The global alpha every drawing is multiplied by, clamped to 0...1.
ORVANE_EXPORT void CGContextSetAlpha(const CGContextRef& context, double alpha);
ORVANE_EXPORT void CGContextSetInterpolationQuality(const CGContextRef& context,
                                                    CGInterpolationQuality quality);
ORVANE_EXPORT CGInterpolationQuality CGContextGetInterpolationQuality(const CGContextRef& context);

/// Paints `rect` with the fill colour (source-over, times alpha), within the
/// clip. Pixels on the rectangle's edges are blended by the share of them it
/// covers.
ORVANE_EXPORT void CGContextFillRect(const CGContextRef& context, CGRect rect);
/// Makes `rect` transparent (black where the bitmap has no alpha), within the
/// clip, ignoring fill colour and alpha; partly covered pixels are cleared by
/// the share covered.
ORVANE_EXPORT void CGContextClearRect(const CGContextRef& context, CGRect rect);

/// Draws `image` scaled to fill `rect` (user space; the image's top row at
/// the rectangle's top edge, so a negative height or a flipping CTM turns it
/// over) under the CTM, source-over on premultiplied pixels, times alpha,
/// within the clip; edge pixels are blended by coverage.
///
/// Resampling: where a device pixel covers more than one image pixel along
/// an axis (shrinking), each device pixel is the exact area average of the
/// image pixels under it, every one counted; enlarging is bilinear
/// (kCGInterpolationDefault, Low, Medium) or bicubic (High);
/// kCGInterpolationNone takes the nearest pixel at any scale. Averaging is
/// done on premultiplied colours, so transparent pixels do not darken edges.
/// 16-bit images are averaged at 16 bits. An image in another colour space is
/// colour-matched into the context's (relative colorimetric); images in an
/// equal space are copied without matching.
///
/// Under a CTM that turns or shears the image, each device pixel samples the
/// image bilinearly through the inverse transform (nearest for None); when
/// that also shrinks the image, it is first area-averaged upright to about
/// the size it covers (at 8 bits per component), so every pixel still counts.
/// Edge coverage there is estimated from the pixel centre's distance to each
/// edge, which is exact where one edge crosses a pixel.
///
/// An image read from encoded data that is shrunk and not decoded yet is
/// drawn from its decoder's reduced decode when one is large enough, or from
/// its rows as they are decoded, without keeping full-size pixels.
///
/// Nothing is drawn for a null context or image, an empty rectangle, or a
/// singular CTM.
ORVANE_EXPORT void CGContextDrawImage(const CGContextRef& context, CGRect rect,
                                      const CGImageRef& image);
/// Nothing to do for a bitmap context: drawing is finished when a call returns.
ORVANE_EXPORT void CGContextFlush(const CGContextRef& context);

}  // namespace orvane
