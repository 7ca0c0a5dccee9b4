#pragma once

#include <memory>
#include <vector>

#include "orvane/Export.h"
#include "orvane/Platform/CoreGraphics/CGAffineTransform.h"
#include "orvane/Platform/CoreGraphics/CGGeometry.h"
#include "orvane/Platform/CoreGraphics/CGImage.h"
#include "orvane/Platform/CoreImage/CIColor.h"

namespace orvane {

/// An immutable, lazily evaluated Core Image image: a recipe of a source (a
/// CGImage, a plain colour or nothing) followed by transforms and crops.
/// Nothing is computed until a CIContext draws it. Safe to share between
/// threads.
///
/// Coordinates are y-up; an image made from a CGImage of w x h pixels covers
/// (0, 0, w, h) with its top row at y = h.
///
/// Each image keeps its chain already composed (one transform from the source
/// to itself, and its crops), so a chain of any length is as cheap to hold,
/// release and render as one step.
class ORVANE_EXPORT CIImage {
  struct Private {};

 public:
  /// The whole of `image`, extent (0, 0, width, height). Null for null.
  static std::shared_ptr<const CIImage> imageWithCGImage(const CGImageRef& image);
  /// `color` everywhere: the extent is CGRectInfinite. Null for null.
  static std::shared_ptr<const CIImage> imageWithColor(const std::shared_ptr<const CIColor>& color);
  /// An image of nothing; its extent is CGRectNull.
  static std::shared_ptr<const CIImage> emptyImage();

  /// The rectangle the image covers: CGRectNull for the empty image,
  /// CGRectInfinite for an unbounded one.
  CGRect extent() const noexcept { return extent_; }

  /// This image moved by `transform`. Its extent is
  /// CGRectApplyAffineTransform(extent(), transform), exactly.
  std::shared_ptr<const CIImage> imageByApplyingTransform(const CGAffineTransform& transform) const;
  /// The part of this image inside `rect`; its extent is
  /// CGRectIntersection(extent(), rect) (CGRectNull when they do not meet).
  std::shared_ptr<const CIImage> imageByCroppingToRect(CGRect rect) const;

  /// The CGImage this image was made from when it was made by
  /// imageWithCGImage and not changed since; null otherwise.
  CGImageRef CGImage() const;

  // The composed recipe, read by the renderer.
  enum class Source { kNothing, kImage, kColor };
  struct Crop {
    CGRect rect;                  // in the space where the crop was applied
    CGAffineTransform toImage;    // from that space to this image's space
  };
  Source source() const noexcept { return source_; }
  const CGImageRef& sourceImage() const noexcept { return image_; }
  const std::shared_ptr<const CIColor>& sourceColor() const noexcept { return color_; }
  /// From the source's space to this image's space.
  const CGAffineTransform& sourceTransform() const noexcept { return transform_; }
  const std::vector<Crop>& crops() const noexcept { return crops_; }

  CIImage(Private, Source source, CGImageRef image, std::shared_ptr<const CIColor> color,
          CGAffineTransform transform, std::vector<Crop> crops, CGRect extent);

 private:
  Source source_;
  CGImageRef image_;
  std::shared_ptr<const CIColor> color_;
  CGAffineTransform transform_;
  std::vector<Crop> crops_;
  CGRect extent_;
};

}  // namespace orvane
