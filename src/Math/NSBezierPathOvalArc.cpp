// This file is compiled with -ffp-contract=off (see CMakeLists.txt).
#include "orvane/Math/NSBezierPathOvalArc.h"

#include <cmath>
#include <cstddef>
#include <limits>

#include "Math/OvalGeometry.h"
#include "orvane/Math/HXMathUtility.h"

namespace orvane {

namespace {

// Bounds on the work of one call: more segments (about 2 GiB of path) or more
// whole turns of wrapping than this cannot be meant.
constexpr double kMaxSegments = 67108864.0;  // 2^26
constexpr double kMaxWraps = 67108864.0;

double twoPi() { return HXMathUtility::pi() + HXMathUtility::pi(); }

// True when stepping by `step` between angles no larger in magnitude than
// those of `start` and `end` changes the angle every time, and the number of
// steps is within bounds. `span` is the distance to go in the direction of
// travel.
bool steppingFinishes(double start, double end, double span, double step) {
  if (!(span / step <= kMaxSegments)) return false;  // step 0, infinities, not-a-numbers
  const double largest = std::fmax(std::fabs(start), std::fabs(end));
  return largest + step != largest && largest - step != largest;
}

}  // namespace

std::shared_ptr<NSBezierPath> NSBezierPathOvalArc::bezierPathWithOvalArcInRectStartAngleEndAngle(
    CGRect rect, double startAngle, double endAngle) {
  return bezierPathWithOvalArcInRectStartAngleEndAngleClockwise(rect, startAngle, endAngle, false);
}

std::shared_ptr<NSBezierPath>
NSBezierPathOvalArc::bezierPathWithOvalArcInRectStartAngleEndAngleClockwise(CGRect rect,
                                                                            double start,
                                                                            double end,
                                                                            bool clockwise) {
  auto path = NSBezierPath::bezierPath();
  const CGPoint first = HXMathUtility::pointAtOvalWithRectInAngle(rect, start);
  path->moveToPoint(first);

  const double sum = rect.size.width + rect.size.height;
  double step = std::asin(2.0 / sum);
  // A sum of -2.0 or less gives a negative step that leads away from the end:
  // treat it like the sums that give no step at all.
  if (sum <= -2.0) step = std::numeric_limits<double>::quiet_NaN();

  // The outcome of every call whose stepping could not finish.
  auto degenerate = [&] {
    path->lineToPoint(first);
    return path;
  };

  if (clockwise) {
    if (end > start && !((end - start) / twoPi() <= kMaxWraps)) return degenerate();
    while (end > start) {
      const double wrapped = end - twoPi();
      if (wrapped == end) return degenerate();
      end = wrapped;
    }
    if (end <= start) {
      if (!std::isnan(step)) {
        if (!steppingFinishes(start, end, start - end, step)) return degenerate();
        path->reserveElements(static_cast<std::size_t>((start - end) / step) + 2);
      }
      double a = start;
      do {
        path->lineToPoint(ovalPoint(rect, a));
        const double next = a - step;
        if (next == a) break;  // cannot happen after the checks above; never spin
        a = next;
      } while (a >= end);
    }
  } else {
    if (end < start && !((start - end) / twoPi() <= kMaxWraps)) return degenerate();
    while (end < start) {
      const double wrapped = end + twoPi();
      if (wrapped == end) return degenerate();
      end = wrapped;
    }
    if (end >= start) {
      if (!std::isnan(step)) {
        if (!steppingFinishes(start, end, end - start, step)) return degenerate();
        path->reserveElements(static_cast<std::size_t>((end - start) / step) + 2);
      }
      double a = start;
      do {
        path->lineToPoint(ovalPoint(rect, a));
        const double next = a + step;
        if (next == a) break;  // cannot happen after the checks above; never spin
        a = next;
      } while (a <= end);
    }
  }
  return path;
}

}  // namespace orvane
