#include "orvane/Platform/CoreGraphics/CGAffineTransform.h"

#include <algorithm>
#include <cmath>

namespace orvane {

CGAffineTransform CGAffineTransformMakeRotation(double angle) {
  const double s = std::sin(angle), c = std::cos(angle);
  return {c, s, -s, c, 0, 0};
}

CGAffineTransform CGAffineTransformRotate(const CGAffineTransform& t, double angle) {
  return CGAffineTransformConcat(CGAffineTransformMakeRotation(angle), t);
}

CGAffineTransform CGAffineTransformInvert(const CGAffineTransform& t) {
  const double det = t.a * t.d - t.b * t.c;
  if (det == 0.0 || !std::isfinite(det)) return t;
  const double a = t.d / det, b = -t.b / det, c = -t.c / det, d = t.a / det;
  return {a, b, c, d, -(a * t.tx + c * t.ty), -(b * t.tx + d * t.ty)};
}

CGRect CGRectApplyAffineTransform(const CGRect& rect, const CGAffineTransform& t) {
  if (CGRectIsNull(rect) || CGRectIsInfinite(rect)) return rect;
  const CGRect r = CGRectStandardize(rect);
  const CGPoint corners[4] = {
      CGPointApplyAffineTransform(r.origin, t),
      CGPointApplyAffineTransform({r.origin.x + r.size.width, r.origin.y}, t),
      CGPointApplyAffineTransform({r.origin.x, r.origin.y + r.size.height}, t),
      CGPointApplyAffineTransform({r.origin.x + r.size.width, r.origin.y + r.size.height}, t)};
  double x0 = corners[0].x, x1 = x0, y0 = corners[0].y, y1 = y0;
  for (const CGPoint& p : corners) {
    if (std::isnan(p.x) || std::isnan(p.y)) return CGRectNull;
    x0 = std::min(x0, p.x);
    x1 = std::max(x1, p.x);
    y0 = std::min(y0, p.y);
    y1 = std::max(y1, p.y);
  }
  return {{x0, y0}, {x1 - x0, y1 - y0}};
}

}  // namespace orvane
