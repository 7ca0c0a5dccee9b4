#include "orvane/Platform/AppKit/NSAffineTransform.h"

#include <cmath>
#include <numbers>

namespace orvane {

namespace {

// The matrices act on row vectors (x, y, 1):
//   | m11 m12 0 |
//   | m21 m22 0 |
//   | tX  tY  1 |
// so first * second applies `first` to a point, then `second`.
NSAffineTransformStruct multiply(const NSAffineTransformStruct& a,
                                 const NSAffineTransformStruct& b) {
  NSAffineTransformStruct r;
  r.m11 = a.m11 * b.m11 + a.m12 * b.m21;
  r.m12 = a.m11 * b.m12 + a.m12 * b.m22;
  r.m21 = a.m21 * b.m11 + a.m22 * b.m21;
  r.m22 = a.m21 * b.m12 + a.m22 * b.m22;
  r.tX = a.tX * b.m11 + a.tY * b.m21 + b.tX;
  r.tY = a.tX * b.m12 + a.tY * b.m22 + b.tY;
  return r;
}

}  // namespace

std::shared_ptr<NSAffineTransform> NSAffineTransform::transform() {
  return std::make_shared<NSAffineTransform>();
}

std::shared_ptr<NSAffineTransform> NSAffineTransform::transformWithTransform(
    const NSAffineTransform& other) {
  return std::make_shared<NSAffineTransform>(other);
}

void NSAffineTransform::prepend(const NSAffineTransformStruct& step) {
  matrix_ = multiply(step, matrix_);
}

void NSAffineTransform::translateXByYBy(double dx, double dy) {
  // Only the translation changes; written out so that the linear part is kept
  // bit for bit (a general product would turn 0 * infinity into not-a-number).
  NSAffineTransformStruct& m = matrix_;
  const double tX = dx * m.m11 + dy * m.m21 + m.tX;
  const double tY = dx * m.m12 + dy * m.m22 + m.tY;
  m.tX = tX;
  m.tY = tY;
}

void NSAffineTransform::scaleXByYBy(double sx, double sy) {
  NSAffineTransformStruct& m = matrix_;
  m.m11 = sx * m.m11;
  m.m12 = sx * m.m12;
  m.m21 = sy * m.m21;
  m.m22 = sy * m.m22;
}

void NSAffineTransform::scaleBy(double scale) { scaleXByYBy(scale, scale); }

void NSAffineTransform::rotateByDegrees(double degrees) {
  rotateByRadians(degrees * std::numbers::pi / 180.0);
}

void NSAffineTransform::rotateByRadians(double radians) {
  // The rotation | c s / -s c | in front of the linear part; the translation
  // is unchanged.
  const double s = std::sin(radians);
  const double c = std::cos(radians);
  NSAffineTransformStruct& m = matrix_;
  const double m11 = c * m.m11 + s * m.m21;
  const double m12 = c * m.m12 + s * m.m22;
  const double m21 = -s * m.m11 + c * m.m21;
  const double m22 = -s * m.m12 + c * m.m22;
  m.m11 = m11;
  m.m12 = m12;
  m.m21 = m21;
  m.m22 = m22;
}

void NSAffineTransform::appendTransform(const NSAffineTransform& other) {
  matrix_ = multiply(matrix_, other.matrix_);
}

void NSAffineTransform::prependTransform(const NSAffineTransform& other) { prepend(other.matrix_); }

bool NSAffineTransform::invert() {
  const NSAffineTransformStruct& m = matrix_;
  const double det = m.m11 * m.m22 - m.m12 * m.m21;
  if (det == 0.0 || std::isnan(det)) return false;
  NSAffineTransformStruct r;
  r.m11 = m.m22 / det;
  r.m12 = -m.m12 / det;
  r.m21 = -m.m21 / det;
  r.m22 = m.m11 / det;
  r.tX = -(m.tX * r.m11 + m.tY * r.m21);
  r.tY = -(m.tX * r.m12 + m.tY * r.m22);
  matrix_ = r;
  return true;
}

CGPoint NSAffineTransform::transformPoint(CGPoint p) const {
  const NSAffineTransformStruct& m = matrix_;
  return {m.m11 * p.x + m.m21 * p.y + m.tX, m.m12 * p.x + m.m22 * p.y + m.tY};
}

CGSize NSAffineTransform::transformSize(CGSize s) const {
  const NSAffineTransformStruct& m = matrix_;
  return {m.m11 * s.width + m.m21 * s.height, m.m12 * s.width + m.m22 * s.height};
}

bool NSAffineTransform::isEqualTo(const NSAffineTransform& other) const {
  const NSAffineTransformStruct& a = matrix_;
  const NSAffineTransformStruct& b = other.matrix_;
  return a.m11 == b.m11 && a.m12 == b.m12 && a.m21 == b.m21 && a.m22 == b.m22 && a.tX == b.tX &&
         a.tY == b.tY;
}

CGRect CGRectApplyNSAffineTransform(const CGRect& rect, const NSAffineTransform& transform) {
  if (CGRectIsNull(rect) || CGRectIsInfinite(rect)) return rect;
  const CGRect r = CGRectStandardize(rect);
  const double x0 = r.origin.x, x1 = r.origin.x + r.size.width;
  const double y0 = r.origin.y, y1 = r.origin.y + r.size.height;
  const CGPoint corners[4] = {
      transform.transformPoint({x0, y0}), transform.transformPoint({x1, y0}),
      transform.transformPoint({x0, y1}), transform.transformPoint({x1, y1})};
  double minX = corners[0].x, maxX = corners[0].x, minY = corners[0].y, maxY = corners[0].y;
  for (const CGPoint& p : corners) {
    if (std::isnan(p.x) || std::isnan(p.y)) return CGRectNull;
    minX = std::fmin(minX, p.x);
    maxX = std::fmax(maxX, p.x);
    minY = std::fmin(minY, p.y);
    maxY = std::fmax(maxY, p.y);
  }
  const CGRect bounds = CGRectMake(minX, minY, maxX - minX, maxY - minY);
  if (std::isnan(bounds.size.width) || std::isnan(bounds.size.height)) return CGRectNull;
  return bounds;
}

}  // namespace orvane
