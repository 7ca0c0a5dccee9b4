#pragma once

#include <memory>

#include "orvane/Export.h"
#include "orvane/Platform/CoreGraphics/CGContext.h"
#include "orvane/Platform/CoreGraphics/CGImage.h"
#include "orvane/Platform/CoreImage/CIImage.h"
#include "orvane/Platform/Foundation/NSDictionary.h"

namespace orvane {

/// Renders Core Image images, into a Core Graphics context or into new
/// CGImages.
///
/// Rendering composes an image's whole chain of transforms into one and
/// samples its source once through CGContextDrawImage: area averages where
/// the result is smaller than the source, bilinear where it is larger (the
/// destination context's interpolation quality decides), on premultiplied
/// pixels, colour-matched into the destination's space. So a chain of a
/// thousand steps is no blurrier and hardly slower than one. Crops clip the
/// drawing; a crop that a later rotation or shear turns clips to the upright
/// box around the turned rectangle.
///
/// A context renders on the caller's thread; one context may serve one thread
/// at a time (the destination CGContext's rule).
class ORVANE_EXPORT CIContext {
  struct Private {};

 public:
  /// A context drawing into `context` (kept alive by the CIContext). Null for
  /// a null context. No options are read; pass null.
  static std::shared_ptr<CIContext> contextWithCGContextOptions(CGContextRef context,
                                                                const NSDictionary* options);
  /// A context without a destination, for createCGImageFromRect.
  static std::shared_ptr<CIContext> contextWithOptions(const NSDictionary* options);

  /// Draws the part `fromRect` (image space) of `image` scaled to fill
  /// `inRect` (the destination's user space, under its current CTM and
  /// clip), source-over. Nothing is drawn without a destination, for a null
  /// image, for an empty, null or infinite `fromRect` or an empty `inRect`.
  void drawImageInRectFromRect(const std::shared_ptr<const CIImage>& image, CGRect inRect,
                               CGRect fromRect) const;

  /// A new image of the part `rect` of `image`: CGRectIntegral(rect) in
  /// pixels, one pixel per unit, 8-bit RGBA with premultiplied alpha
  /// (kCGImageAlphaPremultipliedLast) in the destination's colour space when
  /// it has an RGB one, else sRGB; transparent where the image has nothing.
  /// Null for a null image, an empty, null or infinite rectangle, or a side
  /// above 65535 pixels.
  CGImageRef createCGImageFromRect(const std::shared_ptr<const CIImage>& image, CGRect rect) const;

  const CGContextRef& CGContext() const noexcept { return context_; }

  CIContext(Private, CGContextRef context) : context_(std::move(context)) {}

 private:
  CGContextRef context_;
};

}  // namespace orvane
