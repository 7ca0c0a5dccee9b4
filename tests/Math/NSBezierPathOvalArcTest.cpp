#include "orvane/Math/NSBezierPathOvalArc.h"

#include <gtest/gtest.h>

#include <algorithm>
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

// Each path is the move and then exactly the points the geometry gives for
// start, start +- step, ... up to the (wrapped) end, and every point lies on
// the ellipse with the clamped semi-axes.
TEST(NSBezierPathOvalArcTest, StepsFromTheStartUpToTheWrappedEnd) {
  const double twoPi = M::pi() + M::pi();
  const CGRect circle = CGRectMake(0, 0, 100, 100), wide = CGRectMake(-40, 25, 600, 150);
  const struct {
    CGRect rect;
    double start, end;
    bool clockwise;
    double wrappedEnd;
  } cases[] = {
      {circle, 0, M::pi_2(), false, M::pi_2()},
      {circle, 0, M::pi_2(), true, M::pi_2() - twoPi},  // three quarters, clockwise
      {circle, M::pi(), 0, false, twoPi},               // the lower half
      {wide, 0.2, 2.9, false, 2.9},
      {wide, 2.9, 0.2, true, 0.2},  // already below the start: no wrap
      {wide, -1.0, -4.0, false, -4.0 + twoPi},
      {wide, 5.0, 5.5, true, 5.5 - twoPi},
      {wide, 1.0, 1.0 + 1e-6, false, 1.0 + 1e-6},  // less than a step: one point
      {circle, 1.0, 1.0, true, 1.0},               // equal angles: one zero-length line
      // An end already on the right side is used as given: two and three turns.
      {CGRectMake(0, 0, 20, 20), 0, 2 * twoPi, false, 2 * twoPi},
      {CGRectMake(0, 0, 20, 20), 0, -3 * twoPi, true, -3 * twoPi},
      // Width + height 2: a quarter-turn step on the clamped unit circle.
      {CGRectMake(0, 0, 1, 1), 0, M::pi(), false, M::pi()},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(::testing::Message() << c.start << " -> " << c.end << " clockwise " << c.clockwise
                                      << " in " << c.rect.size.width << "x" << c.rect.size.height);
    const auto path = Arc::bezierPathWithOvalArcInRectStartAngleEndAngleClockwise(
        c.rect, c.start, c.end, c.clockwise);
    const auto points = linePoints(*path);
    const double step = std::asin(2.0 / (c.rect.size.width + c.rect.size.height));
    const auto angles = steppedAngles(c.start, c.wrappedEnd, step, c.clockwise);
    ASSERT_EQ(points.size(), angles.size());
    EXPECT_EQ(path->associatedPointsAtIndex(0)[0], points[0]);  // zero-length first line
    const double a = std::max(c.rect.size.width * 0.5, 1.0);
    const double b = std::max(c.rect.size.height * 0.5, 1.0);
    const double cx = c.rect.origin.x + c.rect.size.width * 0.5;
    const double cy = c.rect.origin.y + c.rect.size.height * 0.5;
    for (std::size_t i = 0; i < points.size(); ++i) {
      ASSERT_EQ(points[i], M::pointAtOvalWithRectInAngle(c.rect, angles[i])) << i;
      const double u = (points[i].x - cx) / a, v = (points[i].y - cy) / b;
      ASSERT_NEAR(u * u + v * v, 1.0, 1e-12) << i;
    }
  }
}

// Every rectangle or angle that gives no usable step, or a stepping that could
// not finish, yields the move and one line to the start point; an angle that
// is not a number, the move alone.
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
      {"not-a-number end", CGRectMake(0, 0, 100, 100), 0, kNaN, false},
      {"not-a-number end, clockwise", CGRectMake(0, 0, 100, 100), 0, kNaN, true},
      {"not-a-number start", CGRectMake(0, 0, 100, 100), kNaN, 1, false},
      {"not-a-number start, clockwise", CGRectMake(0, 0, 100, 100), kNaN, 1, true},
  };
  for (const auto& c : cases) {
    const auto path = Arc::bezierPathWithOvalArcInRectStartAngleEndAngleClockwise(
        c.rect, c.start, c.end, c.clockwise);
    if (std::isnan(c.start) || std::isnan(c.end)) {
      EXPECT_EQ(path->elementCount(), 1u) << c.name;
      continue;
    }
    ASSERT_EQ(path->elementCount(), 2u) << c.name;
    EXPECT_EQ(path->elementAtIndex(1), NSLineToBezierPathElement) << c.name;
    const CGPoint move = path->associatedPointsAtIndex(0)[0];
    const CGPoint line = path->associatedPointsAtIndex(1)[0];
    // Same point (not-a-number coordinates compare by their bits).
    EXPECT_EQ(std::memcmp(&move, &line, sizeof move), 0) << c.name;
  }
}

}  // namespace
}  // namespace orvane
