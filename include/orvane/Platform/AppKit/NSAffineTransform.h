#pragma once

#include <memory>

#include "orvane/Export.h"
#include "orvane/Platform/CoreGraphics/CGGeometry.h"

namespace orvane {

/// The six numbers of an affine transform. A point (x, y) maps to
///   (m11 * x + m21 * y + tX, m12 * x + m22 * y + tY).
struct NSAffineTransformStruct {
  double m11 = 1.0;
  double m12 = 0.0;
  double m21 = 0.0;
  double m22 = 1.0;
  double tX = 0.0;
  double tY = 0.0;
};

/// A mutable affine transform of the y-up plane.
///
/// A new transform is the identity. Every operation that adds a step
/// (translate, scale, rotate, prependTransform) puts it in front of the steps
/// already there: the step added last is the first one applied to a point. So
/// translateXByYBy(c) followed by rotateByDegrees(d) rotates a point first and
/// then moves it by c. appendTransform is the one operation that adds its step
/// after the others.
class ORVANE_EXPORT NSAffineTransform {
 public:
  /// The identity.
  NSAffineTransform() = default;
  explicit NSAffineTransform(const NSAffineTransformStruct& matrix) : matrix_(matrix) {}

  /// A new identity transform, shared.
  static std::shared_ptr<NSAffineTransform> transform();
  /// A new transform holding the same six numbers as `other`.
  static std::shared_ptr<NSAffineTransform> transformWithTransform(const NSAffineTransform& other);

  const NSAffineTransformStruct& transformStruct() const { return matrix_; }
  void setTransformStruct(const NSAffineTransformStruct& matrix) { matrix_ = matrix; }

  /// Moves points by (dx, dy) before the current steps.
  void translateXByYBy(double dx, double dy);
  /// Scales points about the origin by (sx, sy) before the current steps.
  void scaleXByYBy(double sx, double sy);
  void scaleBy(double scale);
  /// Turns points counter-clockwise (in the y-up plane) about the origin
  /// before the current steps.
  void rotateByDegrees(double degrees);
  void rotateByRadians(double radians);

  /// Applies `other` after this transform's steps.
  void appendTransform(const NSAffineTransform& other);
  /// Applies `other` before this transform's steps.
  void prependTransform(const NSAffineTransform& other);

  /// Replaces the transform by its inverse. A singular transform (determinant
  /// 0 or not a number) has none: it is left unchanged and the answer is false.
  bool invert();

  /// The image of a point: (m11 * x + m21 * y + tX, m12 * x + m22 * y + tY).
  CGPoint transformPoint(CGPoint point) const;
  /// The image of a size: the linear part only, (m11 * w + m21 * h, m12 * w + m22 * h).
  CGSize transformSize(CGSize size) const;

  /// True when all six numbers are equal, compared exactly (so a transform
  /// holding a not-a-number equals nothing). An absent transform equals nothing.
  bool isEqualTo(const NSAffineTransform& other) const;
  bool isEqualTo(const NSAffineTransform* other) const { return other && isEqualTo(*other); }

 private:
  // Replaces the matrix by `step` followed by the current matrix.
  void prepend(const NSAffineTransformStruct& step);

  NSAffineTransformStruct matrix_;
};

/// The smallest upright rectangle holding the image of `rect` under
/// `transform` (its four corners mapped). The null rectangle stays null and the
/// infinite rectangle stays infinite; a result that is not a number is null.
ORVANE_EXPORT CGRect CGRectApplyNSAffineTransform(const CGRect& rect,
                                                  const NSAffineTransform& transform);

}  // namespace orvane
