#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "orvane/Export.h"
#include "orvane/Platform/CoreGraphics/CGGeometry.h"

namespace orvane {

/// The kinds of element of a path, numbered as the platform numbers them.
enum NSBezierPathElement : int {
  NSMoveToBezierPathElement = 0,    // one point: the new current point
  NSLineToBezierPathElement = 1,    // one point: the end of the line
  NSCurveToBezierPathElement = 2,   // three points: control point 1, control point 2, end
  NSClosePathBezierPathElement = 3  // no points: back to the start of the subpath
};

/// A path of straight lines and cubic Bézier curves in the y-up plane, kept as
/// a list of elements with their points.
///
/// Adding a line or a curve needs a current point: calling lineToPoint or
/// curveToPoint... on an empty path throws std::logic_error, as the platform
/// raises an exception there. After closePath the current point is the start
/// of the closed subpath, and a following line or curve first starts a new
/// subpath there (an implicit move element).
class ORVANE_EXPORT NSBezierPath {
 public:
  NSBezierPath() = default;

  /// A new, empty path.
  static std::shared_ptr<NSBezierPath> bezierPath();

  void moveToPoint(CGPoint point);
  void lineToPoint(CGPoint point);
  void curveToPointControlPoint1ControlPoint2(CGPoint endPoint, CGPoint controlPoint1,
                                              CGPoint controlPoint2);
  /// Ends the current subpath with a straight line back to its start. Does
  /// nothing on an empty path.
  void closePath();
  void removeAllPoints();

  std::size_t elementCount() const { return elements_.size(); }
  bool isEmpty() const { return elements_.empty(); }

  /// The kind of element `index`; std::out_of_range past the end.
  NSBezierPathElement elementAtIndex(std::size_t index) const;
  /// The kind of element `index`, its points written to the front of `points`
  /// (one for a move or line, three for a curve, none for a close);
  /// std::out_of_range past the end.
  NSBezierPathElement elementAtIndexAssociatedPoints(std::size_t index,
                                                     std::span<CGPoint, 3> points) const;
  /// The points of element `index` (see NSBezierPathElement); std::out_of_range past the end.
  std::span<const CGPoint> associatedPointsAtIndex(std::size_t index) const;

  /// The last point the path reached: the end of its last element, or the
  /// start of the last subpath after a close. Throws std::logic_error on an
  /// empty path, which has none.
  CGPoint currentPoint() const;

  /// The smallest upright rectangle holding the path as drawn: every end
  /// point and the extreme points of each curve, not its control points.
  /// CGRectZero for an empty path.
  CGRect bounds() const;
  /// The smallest upright rectangle holding every point of the path, control
  /// points included. CGRectZero for an empty path.
  CGRect controlPointBounds() const;

  /// A path holds at most 2^32 - 1 points; adding more throws std::length_error.
  ///
  /// Makes room for `count` more elements of up to one point each, so that a
  /// path whose length is known in advance grows without reallocating.
  void reserveElements(std::size_t count);

 private:
  // Eight bytes per element: an arc of tens of thousands of segments stays
  // compact. The number of points follows from the kind.
  struct Element {
    NSBezierPathElement kind;
    std::uint32_t firstPoint;
  };

  void append(NSBezierPathElement kind, std::span<const CGPoint> points);
  void append(NSBezierPathElement kind, CGPoint point);
  // Starts a new subpath at the current point when the last element closed one.
  void moveAfterCloseIfNeeded(const char* operation);

  std::vector<Element> elements_;
  std::vector<CGPoint> points_;
  CGPoint subpathStart_{};
  bool lastClosed_ = false;
};

}  // namespace orvane
