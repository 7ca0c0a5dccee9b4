#pragma once

#include <memory>

#include "orvane/Export.h"
#include "orvane/Platform/AppKit/NSAffineTransform.h"
#include "orvane/Platform/CoreGraphics/CGGeometry.h"
#include "orvane/Platform/CoreImage/CIImage.h"

namespace orvane {

/// Moves, scales and turns a Core Image image in its own y-up space. Each
/// answers a new lazy image made by the "CIAffineTransform" filter (nothing is
/// rendered here); the receiver is never changed. A transform equal to the
/// identity answers the receiver itself, the very same object.
struct ORVANE_EXPORT CIImageTransform {
  CIImageTransform() = delete;

  /// (x, y) to (x + dx, y + dy).
  static std::shared_ptr<const CIImage> translateXByYBy(const std::shared_ptr<const CIImage>& image,
                                                        double dx, double dy);
  /// translateXByYBy with the point's coordinates.
  static std::shared_ptr<const CIImage> translatePoint(const std::shared_ptr<const CIImage>& image,
                                                       CGPoint point);
  /// (x, y) to (sx * x, sy * y), about the origin.
  static std::shared_ptr<const CIImage> scaleXByYBy(const std::shared_ptr<const CIImage>& image,
                                                    double sx, double sy);
  /// Turned by `degrees` about `center`, as HXMathUtility::rotateDegreeWithCenter.
  static std::shared_ptr<const CIImage> rotateDegreeWithCenter(
      const std::shared_ptr<const CIImage>& image, double degrees, CGPoint center);
  /// The image through `transform`: the receiver itself when the transform
  /// equals the identity exactly; otherwise the filter's output, which is
  /// none for an absent transform (it is not taken for the identity).
  static std::shared_ptr<const CIImage> imageByApplyingNSTransform(
      const std::shared_ptr<const CIImage>& image,
      const std::shared_ptr<const NSAffineTransform>& transform);
};

}  // namespace orvane
