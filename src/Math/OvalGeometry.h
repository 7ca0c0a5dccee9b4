#pragma once

// Points and radii of the ellipse inscribed in a rectangle, shared by
// HXMathUtility and the oval-arc paths so that both compute each point with a
// single sine and cosine pair. Every file including this one is compiled with
// -ffp-contract=off.

#include <cmath>

#include "orvane/Platform/CoreGraphics/CGGeometry.h"

namespace orvane {

// Half of `length`, but never less than 1.0; a not-a-number stays one.
inline double clampedSemiAxis(double length) {
  const double half = length * 0.5;
  return half < 1.0 ? 1.0 : half;
}

// The polar radius of the ellipse inscribed in `rect` in the direction whose
// sine is `s` and cosine `k`.
inline double ovalRadius(const CGRect& rect, double s, double k) {
  const double a = clampedSemiAxis(rect.size.width);
  const double b = clampedSemiAxis(rect.size.height);
  return (a * b) / std::sqrt(s * (a * (s * a)) + k * (b * (k * b)));
}

// The point of the ellipse inscribed in `rect` in the direction `angle`. The
// centre uses the true half sizes, the radius the clamped ones.
inline CGPoint ovalPoint(const CGRect& rect, double angle) {
  const double s = std::sin(angle);
  const double k = std::cos(angle);
  const double r = ovalRadius(rect, s, k);
  return {(rect.origin.x + rect.size.width * 0.5) + k * r,
          (rect.origin.y + rect.size.height * 0.5) + s * r};
}

}  // namespace orvane
