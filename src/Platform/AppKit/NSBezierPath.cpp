#include "orvane/Platform/AppKit/NSBezierPath.h"

#include <cmath>
#include <limits>
#include <stdexcept>
#include <string>

namespace orvane {

namespace {

// A running bounding box over points.
struct Extent {
  double minX = std::numeric_limits<double>::infinity();
  double minY = std::numeric_limits<double>::infinity();
  double maxX = -std::numeric_limits<double>::infinity();
  double maxY = -std::numeric_limits<double>::infinity();
  bool any = false;

  void add(CGPoint p) {
    minX = std::fmin(minX, p.x);
    minY = std::fmin(minY, p.y);
    maxX = std::fmax(maxX, p.x);
    maxY = std::fmax(maxY, p.y);
    any = true;
  }
  CGRect rect() const {
    return any ? CGRectMake(minX, minY, maxX - minX, maxY - minY) : CGRectZero;
  }
};

double cubicAt(double p0, double p1, double p2, double p3, double t) {
  const double u = 1.0 - t;
  return u * u * u * p0 + 3.0 * u * u * t * p1 + 3.0 * u * t * t * p2 + t * t * t * p3;
}

// Calls `visit` with each parameter in (0, 1) where the cubic's derivative
// along one axis is zero.
template <typename Visit>
void cubicExtremes(double p0, double p1, double p2, double p3, Visit&& visit) {
  // The derivative divided by 3 is a t^2 + b t + c.
  const double d0 = p1 - p0, d1 = p2 - p1, d2 = p3 - p2;
  const double a = d0 - 2.0 * d1 + d2;
  const double b = 2.0 * (d1 - d0);
  const double c = d0;
  auto inside = [&](double t) {
    if (t > 0.0 && t < 1.0) visit(t);
  };
  if (std::fabs(a) < 1e-12 * (std::fabs(b) + std::fabs(c)) || a == 0.0) {
    if (b != 0.0) inside(-c / b);
    return;
  }
  const double discriminant = b * b - 4.0 * a * c;
  if (discriminant < 0.0) return;
  const double root = std::sqrt(discriminant);
  inside((-b + root) / (2.0 * a));
  inside((-b - root) / (2.0 * a));
}

std::size_t pointCountOf(NSBezierPathElement kind) {
  switch (kind) {
    case NSMoveToBezierPathElement:
    case NSLineToBezierPathElement:
      return 1;
    case NSCurveToBezierPathElement:
      return 3;
    case NSClosePathBezierPathElement:
      return 0;
  }
  return 0;
}

// Where the next point goes, as the element records it.
std::uint32_t nextPointIndex(std::size_t count, std::size_t adding) {
  if (count + adding > std::numeric_limits<std::uint32_t>::max())
    throw std::length_error("NSBezierPath: too many points");
  return static_cast<std::uint32_t>(count);
}

}  // namespace

std::shared_ptr<NSBezierPath> NSBezierPath::bezierPath() {
  return std::make_shared<NSBezierPath>();
}

void NSBezierPath::append(NSBezierPathElement kind, std::span<const CGPoint> points) {
  elements_.push_back({kind, nextPointIndex(points_.size(), points.size())});
  points_.insert(points_.end(), points.begin(), points.end());
}

void NSBezierPath::append(NSBezierPathElement kind, CGPoint point) {
  elements_.push_back({kind, nextPointIndex(points_.size(), 1)});
  points_.push_back(point);
}

void NSBezierPath::moveAfterCloseIfNeeded(const char* operation) {
  if (elements_.empty())
    throw std::logic_error(std::string("NSBezierPath ") + operation + ": no current point");
  if (lastClosed_) {
    append(NSMoveToBezierPathElement, subpathStart_);
    lastClosed_ = false;
  }
}

void NSBezierPath::moveToPoint(CGPoint point) {
  append(NSMoveToBezierPathElement, point);
  subpathStart_ = point;
  lastClosed_ = false;
}

void NSBezierPath::lineToPoint(CGPoint point) {
  moveAfterCloseIfNeeded("lineToPoint");
  append(NSLineToBezierPathElement, point);
}

void NSBezierPath::curveToPointControlPoint1ControlPoint2(CGPoint endPoint, CGPoint controlPoint1,
                                                          CGPoint controlPoint2) {
  moveAfterCloseIfNeeded("curveToPoint");
  const CGPoint points[3] = {controlPoint1, controlPoint2, endPoint};
  append(NSCurveToBezierPathElement, points);
}

void NSBezierPath::closePath() {
  if (elements_.empty() || lastClosed_) return;
  append(NSClosePathBezierPathElement, std::span<const CGPoint>());
  lastClosed_ = true;
}

void NSBezierPath::removeAllPoints() {
  elements_.clear();
  points_.clear();
  subpathStart_ = CGPointZero;
  lastClosed_ = false;
}

NSBezierPathElement NSBezierPath::elementAtIndex(std::size_t index) const {
  return elements_.at(index).kind;
}

NSBezierPathElement NSBezierPath::elementAtIndexAssociatedPoints(
    std::size_t index, std::span<CGPoint, 3> points) const {
  const Element& element = elements_.at(index);
  for (std::size_t i = 0; i < pointCountOf(element.kind); ++i)
    points[i] = points_[element.firstPoint + i];
  return element.kind;
}

std::span<const CGPoint> NSBezierPath::associatedPointsAtIndex(std::size_t index) const {
  const Element& element = elements_.at(index);
  return std::span<const CGPoint>(points_).subspan(element.firstPoint, pointCountOf(element.kind));
}

CGPoint NSBezierPath::currentPoint() const {
  if (elements_.empty()) throw std::logic_error("NSBezierPath currentPoint: empty path");
  if (lastClosed_) return subpathStart_;
  return points_.back();
}

CGRect NSBezierPath::bounds() const {
  Extent extent;
  CGPoint current{}, subpathStart{};
  for (const Element& element : elements_) {
    const CGPoint* p = points_.data() + element.firstPoint;
    switch (element.kind) {
      case NSMoveToBezierPathElement:
        subpathStart = p[0];
        [[fallthrough]];
      case NSLineToBezierPathElement:
        extent.add(p[0]);
        current = p[0];
        break;
      case NSCurveToBezierPathElement: {
        extent.add(p[2]);
        const CGPoint c0 = current, c1 = p[0], c2 = p[1], c3 = p[2];
        auto addAt = [&](double t) {
          extent.add({cubicAt(c0.x, c1.x, c2.x, c3.x, t), cubicAt(c0.y, c1.y, c2.y, c3.y, t)});
        };
        cubicExtremes(c0.x, c1.x, c2.x, c3.x, addAt);
        cubicExtremes(c0.y, c1.y, c2.y, c3.y, addAt);
        current = p[2];
        break;
      }
      case NSClosePathBezierPathElement:
        current = subpathStart;
        break;
    }
  }
  return extent.rect();
}

CGRect NSBezierPath::controlPointBounds() const {
  Extent extent;
  for (const CGPoint& p : points_) extent.add(p);
  return extent.rect();
}

void NSBezierPath::reserveElements(std::size_t count) {
  elements_.reserve(elements_.size() + count);
  points_.reserve(points_.size() + count);
}

}  // namespace orvane
