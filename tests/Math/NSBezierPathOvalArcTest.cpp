#include "orvane/Math/NSBezierPathOvalArc.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include "orvane/Math/HXMathUtility.h"

namespace orvane {
namespace {

using M = HXMathUtility;
using Arc = NSBezierPathOvalArc;

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// The points of the line elements after the leading move, checking the shape
// of the path on the way: one move, then lines only, never closed.
std::vector<CGPoint> linePoints(const NSBezierPath& path) {
  std::vector<CGPoint> points;
  EXPECT_GE(path.elementCount(), 1u);
  EXPECT_EQ(path.elementAtIndex(0), NSMoveToBezierPathElement);
  for (std::size_t i = 1; i < path.elementCount(); ++i) {
    EXPECT_EQ(path.elementAtIndex(i), NSLineToBezierPathElement) << i;
    points.push_back(path.associatedPointsAtIndex(i)[0]);
  }
  return points;
}

// The angles the stepping visits: start, start ± step, ... while not past end.
std::vector<double> steppedAngles(double start, double end, double step, bool clockwise) {
  std::vector<double> angles;
  for (double a = start; clockwise ? a >= end : a <= end; a = clockwise ? a - step : a + step)
    angles.push_back(a);
  return angles;
}

TEST(NSBezierPathOvalArcTest, QuarterCircleCounterClockwise) {
  const CGRect rect = CGRectMake(0, 0, 100, 100);
  const auto path = Arc::bezierPathWithOvalArcInRectStartAngleEndAngle(rect, 0, M::pi_2());
  EXPECT_EQ(path->associatedPointsAtIndex(0)[0], CGPointMake(100, 50));
  const auto points = linePoints(*path);

  // The first segment has zero length; then one point per step of asin(0.01),
  // each the very point the geometry gives for that angle.
  const auto angles = steppedAngles(0, M::pi_2(), std::asin(0.01), false);
  ASSERT_EQ(points.size(), angles.size());
  EXPECT_EQ(points[0], CGPointMake(100, 50));
  for (std::size_t i = 0; i < angles.size(); ++i)
    ASSERT_EQ(points[i], M::pointAtOvalWithRectInAngle(rect, angles[i])) << i;
  // pi/2 is not a whole number of steps, so the end point itself is missing.
  EXPECT_LT(angles.back(), M::pi_2());
  EXPECT_GT(angles.back() + std::asin(0.01), M::pi_2());

  for (const CGPoint& p : points) {
    EXPECT_NEAR(std::hypot(p.x - 50, p.y - 50), 50.0, 1e-12);
    EXPECT_GE(p.x, 50.0 - 1e-12);  // never past the end angle
  }
}

TEST(NSBezierPathOvalArcTest, ClockwiseWrapsTheEndBelowTheStart) {
  const CGRect rect = CGRectMake(0, 0, 100, 100);
  const auto path =
      Arc::bezierPathWithOvalArcInRectStartAngleEndAngleClockwise(rect, 0, M::pi_2(), true);
  const auto points = linePoints(*path);
  const double step = std::asin(0.01);
  const auto angles = steppedAngles(0, M::pi_2() - (M::pi() + M::pi()), step, true);
  ASSERT_EQ(points.size(), angles.size());
  for (std::size_t i = 0; i < angles.size(); ++i)
    ASSERT_EQ(points[i], M::pointAtOvalWithRectInAngle(rect, angles[i])) << i;
  // Three quarters of the circle, through the bottom: no point in the first
  // quadrant's open interior.
  EXPECT_NEAR(static_cast<double>(points.size()), 1.5 * M::pi() / step, 2.0);
  for (const CGPoint& p : points) EXPECT_FALSE(p.x > 50 + 1e-9 && p.y > 50 + 1e-9);
}

TEST(NSBezierPathOvalArcTest, CounterClockwiseWrapsTheEndAboveTheStart) {
  // From pi to 0 counter-clockwise: the lower half (smaller y, y up).
  const CGRect rect = CGRectMake(0, 0, 100, 100);
  const auto path = Arc::bezierPathWithOvalArcInRectStartAngleEndAngle(rect, M::pi(), 0);
  const auto points = linePoints(*path);
  const auto angles = steppedAngles(M::pi(), M::pi() + M::pi(), std::asin(0.01), false);
  ASSERT_EQ(points.size(), angles.size());
  for (const CGPoint& p : points) EXPECT_LE(p.y, 50 + 1e-9);
}

TEST(NSBezierPathOvalArcTest, PointsFollowTheEllipseAndStopAtTheEnd) {
  // A wide ellipse off the origin, in both directions, over several spans.
  const CGRect rect = CGRectMake(-40, 25, 600, 150);
  const double cx = 260, cy = 100, a = 300, b = 75;
  const struct {
    double start, end;
    bool clockwise;
  } cases[] = {{0.2, 2.9, false}, {2.9, 0.2, true},  {-1.0, -4.0, false},
               {5.0, 5.5, true},  {0.0, 0.0, false}, {1.0, 1.0 + 1e-6, false}};
  const double step = std::asin(2.0 / 750.0);
  for (const auto& c : cases) {
    const auto path = Arc::bezierPathWithOvalArcInRectStartAngleEndAngleClockwise(
        rect, c.start, c.end, c.clockwise);
    const auto points = linePoints(*path);
    ASSERT_FALSE(points.empty());
    EXPECT_EQ(points.front(), path->associatedPointsAtIndex(0)[0]);
    // Every point on the ellipse.
    for (const CGPoint& p : points) {
      const double u = (p.x - cx) / a, v = (p.y - cy) / b;
      ASSERT_NEAR(u * u + v * v, 1.0, 1e-12);
    }
    // The number of points is what the stepping over the (wrapped) span gives.
    double end = c.end;
    while (c.clockwise ? end > c.start : end < c.start)
      end += c.clockwise ? -2 * M::pi() : 2 * M::pi();
    const double span = std::fabs(end - c.start);
    EXPECT_NEAR(static_cast<double>(points.size()), std::floor(span / step) + 1, 1.0)
        << c.start << " -> " << c.end;
  }
}

TEST(NSBezierPathOvalArcTest, EqualAnglesGiveOneZeroLengthLine) {
  const auto path = Arc::bezierPathWithOvalArcInRectStartAngleEndAngleClockwise(
      CGRectMake(0, 0, 100, 100), 1.0, 1.0, true);
  ASSERT_EQ(path->elementCount(), 2u);
  EXPECT_EQ(path->associatedPointsAtIndex(1)[0], path->associatedPointsAtIndex(0)[0]);
}

TEST(NSBezierPathOvalArcTest, AnEndAlreadyOnTheRightSideWindsAsOftenAsItSays) {
  const CGRect rect = CGRectMake(0, 0, 20, 20);
  const double step = std::asin(2.0 / 40.0);
  const auto twice = Arc::bezierPathWithOvalArcInRectStartAngleEndAngle(rect, 0, 4 * M::pi());
  EXPECT_EQ(twice->elementCount(), steppedAngles(0, 4 * M::pi(), step, false).size() + 1);
  const auto back =
      Arc::bezierPathWithOvalArcInRectStartAngleEndAngleClockwise(rect, 0, -6 * M::pi(), true);
  EXPECT_EQ(back->elementCount(), steppedAngles(0, -6 * M::pi(), step, true).size() + 1);
}

TEST(NSBezierPathOvalArcTest, ClampedSemiAxesForTinyRectangles) {
  // Width + height of exactly 2: a quarter-turn step on a unit circle.
  const CGRect rect = CGRectMake(0, 0, 1, 1);
  const auto path = Arc::bezierPathWithOvalArcInRectStartAngleEndAngle(rect, 0, M::pi());
  const auto points = linePoints(*path);
  ASSERT_EQ(points.size(), 3u);  // 0, pi/2, pi
  for (const CGPoint& p : points) EXPECT_NEAR(std::hypot(p.x - 0.5, p.y - 0.5), 1.0, 1e-15);
}

// Every rectangle or angle that gives no usable step, or a stepping that could
// not finish, yields the move and one line to the start point, and quickly.
TEST(NSBezierPathOvalArcTest, UnusableInputGivesTheMoveAndOneLine) {
  const struct {
    const char* name;
    CGRect rect;
    double start, end;
    bool clockwise;
  } cases[] = {
      {"sum below 2", CGRectMake(0, 0, 1, 0), 0, M::pi_2(), false},
      {"zero rectangle", CGRectMake(5, 5, 0, 0), 0, 3, true},
      {"sum of -1", CGRectMake(0, 0, -1, 0), 0, 3, false},
      {"sum of exactly -2", CGRectMake(0, 0, -1, -1), 0, 3, false},
      {"sum of -2 clockwise", CGRectMake(0, 0, -1, -1), 3, 0, true},
      {"sum of -3000", CGRectMake(0, 0, -1000, -2000), 0, 3, false},
      {"not-a-number size", CGRectMake(0, 0, kNaN, 100), 0, 3, false},
      {"infinite size", CGRectMake(0, 0, kInf, 100), 0, 3, false},
      {"infinite end", CGRectMake(0, 0, 100, 100), 0, kInf, false},
      {"end at minus infinity", CGRectMake(0, 0, 100, 100), 0, -kInf, false},
      {"start at infinity", CGRectMake(0, 0, 100, 100), kInf, 0, false},
      {"start at infinity, clockwise", CGRectMake(0, 0, 100, 100), kInf, 0, true},
      {"infinite end, clockwise", CGRectMake(0, 0, 100, 100), 0, kInf, true},
      {"steps too small to move", CGRectMake(0, 0, 100, 100), 1e15, 1e15 + 10, false},
      {"wrap too small to move", CGRectMake(0, 0, 100, 100), -1e17 + 64, -1e17, false},
      {"too many turns to wrap", CGRectMake(0, 0, 100, 100), 1e300, 0, false},
      {"too many segments", CGRectMake(0, 0, 4000, 3000), 0, 1e9, false},
  };
  for (const auto& c : cases) {
    const auto began = std::chrono::steady_clock::now();
    const auto path = Arc::bezierPathWithOvalArcInRectStartAngleEndAngleClockwise(
        c.rect, c.start, c.end, c.clockwise);
    EXPECT_LT(std::chrono::steady_clock::now() - began, std::chrono::seconds(5)) << c.name;
    ASSERT_EQ(path->elementCount(), 2u) << c.name;
    EXPECT_EQ(path->elementAtIndex(1), NSLineToBezierPathElement) << c.name;
    const CGPoint move = path->associatedPointsAtIndex(0)[0];
    const CGPoint line = path->associatedPointsAtIndex(1)[0];
    // Same point (not-a-number coordinates compare by their bits).
    EXPECT_EQ(std::memcmp(&move, &line, sizeof move), 0) << c.name;
  }
}

TEST(NSBezierPathOvalArcTest, NotANumberAngleGivesTheMoveAlone) {
  for (bool clockwise : {false, true}) {
    EXPECT_EQ(Arc::bezierPathWithOvalArcInRectStartAngleEndAngleClockwise(
                  CGRectMake(0, 0, 100, 100), 0, kNaN, clockwise)
                  ->elementCount(),
              1u);
    EXPECT_EQ(Arc::bezierPathWithOvalArcInRectStartAngleEndAngleClockwise(
                  CGRectMake(0, 0, 100, 100), kNaN, 1, clockwise)
                  ->elementCount(),
              1u);
  }
}

}  // namespace
}  // namespace orvane
