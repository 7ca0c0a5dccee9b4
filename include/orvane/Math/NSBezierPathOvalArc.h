#pragma once

#include <memory>

#include "orvane/Export.h"
#include "orvane/Platform/CoreGraphics/CGGeometry.h"
#include "orvane/Platform/AppKit/NSBezierPath.h"

namespace orvane {

/// Paths that follow an arc of the ellipse inscribed in a rectangle, as a
/// chain of straight segments.
///
/// The path starts with a move to the point at the start angle and a
/// zero-length line to that same point, then adds a line for every step of
/// asin(2.0 / (width + height)) radians (about half a unit along a circle)
/// while the angle has not passed the end angle. The end point is reached only
/// when the stepping lands on it exactly; the path is never closed. When the
/// end lies on the wrong side of the start it is moved by whole turns until it
/// does not, so such an arc turns at most once; an end already on the right
/// side is used as given and the arc winds as often as it says.
///
/// Points come from HXMathUtility::pointAtOvalWithRectInAngle (semi-axes of
/// at least 1.0). Angles are in radians, counter-clockwise from the positive x
/// axis in the y-up plane.
///
/// A rectangle whose width + height lies strictly between -2.0 and 2.0 gives
/// no usable step: the path is the move and one line to the start point. So
/// is every call whose stepping could not finish: width + height of -2.0 or
/// less, an infinite rectangle or angle, angles so large that a step no
/// longer changes them, or more than 2^26 segments or turns to go. A
/// not-a-number angle gives the move alone.
struct ORVANE_EXPORT NSBezierPathOvalArc {
  NSBezierPathOvalArc() = delete;

  /// The counter-clockwise arc: bezierPathWithOvalArcInRectStartAngleEndAngleClockwise
  /// with `clockwise` false.
  static std::shared_ptr<NSBezierPath> bezierPathWithOvalArcInRectStartAngleEndAngle(
      CGRect rect, double startAngle, double endAngle);

  /// The arc from `startAngle` to `endAngle`, with decreasing angles when
  /// `clockwise` is set and increasing ones otherwise.
  static std::shared_ptr<NSBezierPath> bezierPathWithOvalArcInRectStartAngleEndAngleClockwise(
      CGRect rect, double startAngle, double endAngle, bool clockwise);
};

}  // namespace orvane
