#pragma once

#include <cmath>
#include <limits>

namespace orvane {

/// A point in the y-up plane.
struct CGPoint {
  double x = 0.0;
  double y = 0.0;
  friend bool operator==(const CGPoint&, const CGPoint&) = default;
};

/// A width and a height.
struct CGSize {
  double width = 0.0;
  double height = 0.0;
  friend bool operator==(const CGSize&, const CGSize&) = default;
};

/// A rectangle: an origin and a size. The size may be negative.
struct CGRect {
  CGPoint origin;
  CGSize size;
  friend bool operator==(const CGRect&, const CGRect&) = default;
};

inline constexpr CGPoint CGPointMake(double x, double y) { return {x, y}; }
inline constexpr CGSize CGSizeMake(double width, double height) { return {width, height}; }
inline constexpr CGRect CGRectMake(double x, double y, double width, double height) {
  return {{x, y}, {width, height}};
}

inline constexpr CGPoint CGPointZero{};
inline constexpr CGSize CGSizeZero{};
inline constexpr CGRect CGRectZero{};

/// The null rectangle: the "no rectangle" answer, e.g. of an empty intersection.
inline constexpr CGRect CGRectNull{
    {std::numeric_limits<double>::infinity(), std::numeric_limits<double>::infinity()}, {0.0, 0.0}};

/// The rectangle that covers the whole plane, as the platform defines it.
inline constexpr CGRect CGRectInfinite{
    {-std::numeric_limits<double>::max() / 2, -std::numeric_limits<double>::max() / 2},
    {std::numeric_limits<double>::max(), std::numeric_limits<double>::max()}};

/// True for the null rectangle (an origin coordinate at +infinity).
inline bool CGRectIsNull(const CGRect& r) {
  constexpr double inf = std::numeric_limits<double>::infinity();
  return r.origin.x == inf || r.origin.y == inf;
}

/// True for the infinite rectangle.
inline bool CGRectIsInfinite(const CGRect& r) { return r == CGRectInfinite; }

/// True for the null rectangle and for any rectangle of zero width or height.
inline bool CGRectIsEmpty(const CGRect& r) {
  return CGRectIsNull(r) || r.size.width == 0.0 || r.size.height == 0.0;
}

/// The rectangle with a non-negative size covering the same area.
inline CGRect CGRectStandardize(const CGRect& r) {
  if (CGRectIsNull(r)) return r;
  CGRect s = r;
  if (s.size.width < 0) {
    s.origin.x += s.size.width;
    s.size.width = -s.size.width;
  }
  if (s.size.height < 0) {
    s.origin.y += s.size.height;
    s.size.height = -s.size.height;
  }
  return s;
}

inline double CGRectGetMinX(const CGRect& r) { return CGRectStandardize(r).origin.x; }
inline double CGRectGetMinY(const CGRect& r) { return CGRectStandardize(r).origin.y; }
inline double CGRectGetWidth(const CGRect& r) { return std::fabs(r.size.width); }
inline double CGRectGetHeight(const CGRect& r) { return std::fabs(r.size.height); }
inline double CGRectGetMaxX(const CGRect& r) { return CGRectGetMinX(r) + CGRectGetWidth(r); }
inline double CGRectGetMaxY(const CGRect& r) { return CGRectGetMinY(r) + CGRectGetHeight(r); }
inline double CGRectGetMidX(const CGRect& r) { return CGRectGetMinX(r) + CGRectGetWidth(r) / 2; }
inline double CGRectGetMidY(const CGRect& r) { return CGRectGetMinY(r) + CGRectGetHeight(r) / 2; }

/// The smallest rectangle with integral coordinates holding `r` (standardised
/// first); null and infinite rectangles stay as they are.
inline CGRect CGRectIntegral(const CGRect& r) {
  if (CGRectIsNull(r) || CGRectIsInfinite(r)) return r;
  const CGRect s = CGRectStandardize(r);
  const double x0 = std::floor(s.origin.x), y0 = std::floor(s.origin.y);
  const double x1 = std::ceil(s.origin.x + s.size.width), y1 = std::ceil(s.origin.y + s.size.height);
  return {{x0, y0}, {x1 - x0, y1 - y0}};
}

/// The overlap of two rectangles (both standardised); CGRectNull when they do
/// not meet or either is null. Rectangles that only touch meet in an empty
/// rectangle.
inline CGRect CGRectIntersection(const CGRect& a, const CGRect& b) {
  if (CGRectIsNull(a) || CGRectIsNull(b)) return CGRectNull;
  const CGRect p = CGRectStandardize(a), q = CGRectStandardize(b);
  const double x0 = std::fmax(p.origin.x, q.origin.x);
  const double y0 = std::fmax(p.origin.y, q.origin.y);
  const double x1 = std::fmin(p.origin.x + p.size.width, q.origin.x + q.size.width);
  const double y1 = std::fmin(p.origin.y + p.size.height, q.origin.y + q.size.height);
  if (!(x1 >= x0) || !(y1 >= y0)) return CGRectNull;
  return {{x0, y0}, {x1 - x0, y1 - y0}};
}

}  // namespace orvane
