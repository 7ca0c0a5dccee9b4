#pragma once

#include "orvane/Export.h"
#include "orvane/Platform/CoreGraphics/CGGeometry.h"

namespace orvane {

/// An affine transform of the plane: a point (x, y) maps to
///   (a * x + c * y + tx, b * x + d * y + ty).
struct CGAffineTransform {
  double a = 1.0;
  double b = 0.0;
  double c = 0.0;
  double d = 1.0;
  double tx = 0.0;
  double ty = 0.0;
  friend bool operator==(const CGAffineTransform&, const CGAffineTransform&) = default;
};

inline constexpr CGAffineTransform CGAffineTransformIdentity{};

inline constexpr CGAffineTransform CGAffineTransformMake(double a, double b, double c, double d,
                                                         double tx, double ty) {
  return {a, b, c, d, tx, ty};
}
inline constexpr CGAffineTransform CGAffineTransformMakeTranslation(double tx, double ty) {
  return {1, 0, 0, 1, tx, ty};
}
inline constexpr CGAffineTransform CGAffineTransformMakeScale(double sx, double sy) {
  return {sx, 0, 0, sy, 0, 0};
}
/// Turns counter-clockwise (in the y-up plane) by `angle` radians about the origin.
ORVANE_EXPORT CGAffineTransform CGAffineTransformMakeRotation(double angle);

/// `t1` followed by `t2`: a point goes through t1 first.
inline constexpr CGAffineTransform CGAffineTransformConcat(const CGAffineTransform& t1,
                                                           const CGAffineTransform& t2) {
  return {t1.a * t2.a + t1.b * t2.c,       t1.a * t2.b + t1.b * t2.d,
          t1.c * t2.a + t1.d * t2.c,       t1.c * t2.b + t1.d * t2.d,
          t1.tx * t2.a + t1.ty * t2.c + t2.tx, t1.tx * t2.b + t1.ty * t2.d + t2.ty};
}
/// A translation applied before `t`.
inline constexpr CGAffineTransform CGAffineTransformTranslate(const CGAffineTransform& t, double tx,
                                                              double ty) {
  return CGAffineTransformConcat(CGAffineTransformMakeTranslation(tx, ty), t);
}
/// A scaling applied before `t`.
inline constexpr CGAffineTransform CGAffineTransformScale(const CGAffineTransform& t, double sx,
                                                          double sy) {
  return CGAffineTransformConcat(CGAffineTransformMakeScale(sx, sy), t);
}
/// A rotation applied before `t`.
ORVANE_EXPORT CGAffineTransform CGAffineTransformRotate(const CGAffineTransform& t, double angle);
/// The inverse; a singular transform (determinant 0 or not a number) is
/// answered unchanged, as the platform does.
ORVANE_EXPORT CGAffineTransform CGAffineTransformInvert(const CGAffineTransform& t);

inline constexpr bool CGAffineTransformIsIdentity(const CGAffineTransform& t) {
  return t == CGAffineTransformIdentity;
}
inline constexpr bool CGAffineTransformEqualToTransform(const CGAffineTransform& t1,
                                                        const CGAffineTransform& t2) {
  return t1 == t2;
}

inline constexpr CGPoint CGPointApplyAffineTransform(const CGPoint& p, const CGAffineTransform& t) {
  return {t.a * p.x + t.c * p.y + t.tx, t.b * p.x + t.d * p.y + t.ty};
}
/// The linear part only: (a * w + c * h, b * w + d * h).
inline constexpr CGSize CGSizeApplyAffineTransform(const CGSize& s, const CGAffineTransform& t) {
  return {t.a * s.width + t.c * s.height, t.b * s.width + t.d * s.height};
}
/// The smallest upright rectangle holding the four transformed corners of
/// `rect`. The null rectangle stays null and the infinite one infinite; a
/// result that is not a number is null.
ORVANE_EXPORT CGRect CGRectApplyAffineTransform(const CGRect& rect, const CGAffineTransform& t);

}  // namespace orvane
