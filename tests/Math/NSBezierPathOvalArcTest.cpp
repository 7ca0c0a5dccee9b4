#include "orvane/Math/NSBezierPathOvalArc.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include "orvane/Math/HXMathUtility.h"

namespace orvane {
namespace {

using M = HXMathUtility;
using Arc = NSBezierPathOvalArc;

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

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
      {circle, 0, M::pi_2(), false, M::pi_2()}, {wide, 0.2, 2.9, false, 2.9},
      {circle, 0, M::pi_2(), true, M::pi_2() - twoPi},  // three quarters, clockwise
      {circle, M::pi(), 0, false, twoPi},               // the lower half
      {wide, 2.9, 0.2, true, 0.2},                      // already below the start: no wrap
      {wide, -1.0, -4.0, false, -4.0 + twoPi}, {wide, 5.0, 5.5, true, 5.5 - twoPi},
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
    const double step = std::asin(2.0 / (c.rect.size.width + c.rect.size.height));
    const double a = std::max(c.rect.size.width * 0.5, 1.0), b = std::max(c.rect.size.height * 0.5, 1.0);
    const double cx = c.rect.origin.x + c.rect.size.width * 0.5;
    const double cy = c.rect.origin.y + c.rect.size.height * 0.5;
    ASSERT_GE(path->elementCount(), 2u);
    EXPECT_EQ(path->elementAtIndex(0), NSMoveToBezierPathElement);
    EXPECT_EQ(path->associatedPointsAtIndex(0)[0], path->associatedPointsAtIndex(1)[0]);
    std::size_t i = 1;  // then lines only, never closed
    for (double angle = c.start; c.clockwise ? angle >= c.wrappedEnd : angle <= c.wrappedEnd;
         angle += c.clockwise ? -step : step, ++i) {
      ASSERT_LT(i, path->elementCount());
      ASSERT_EQ(path->elementAtIndex(i), NSLineToBezierPathElement) << i;
      const CGPoint p = path->associatedPointsAtIndex(i)[0];
      ASSERT_EQ(p, M::pointAtOvalWithRectInAngle(c.rect, angle)) << i;
      const double u = (p.x - cx) / a, v = (p.y - cy) / b;
      ASSERT_NEAR(u * u + v * v, 1.0, 1e-12) << i;
    }
    EXPECT_EQ(i, path->elementCount());
  }
}

// Every rectangle or angle that gives no usable step, or a stepping that could
// not finish, yields the move and one line to the start point; an angle that
// is not a number, the move alone.
TEST(NSBezierPathOvalArcTest, UnusableInputGivesTheMoveAndOneLine) {
  const CGRect r100 = CGRectMake(0, 0, 100, 100);
  const struct {
    const char* name;
    CGRect rect;
    double start, end;
    bool clockwise;
  } cases[] = {
      {"sum below 2", CGRectMake(0, 0, 1, 0), 0, M::pi_2(), false},
      {"zero rectangle", CGRectMake(5, 5, 0, 0), 0, 3, true},
      {"sum of -1", CGRectMake(0, 0, -1, 0), 0, 3, false},
      {"sum of -2", CGRectMake(0, 0, -1, -1), 0, 3, false}, {"", CGRectMake(0, 0, -1, -1), 3, 0, true},
      {"sum of -3000", CGRectMake(0, 0, -1000, -2000), 0, 3, false},
      {"NaN size", CGRectMake(0, 0, kNaN, 100), 0, 3, false},
      {"infinite size", CGRectMake(0, 0, kInf, 100), 0, 3, false},
      {"infinite end", r100, 0, kInf, false}, {"", r100, 0, -kInf, false}, {"", r100, 0, kInf, true},
      {"infinite start", r100, kInf, 0, false}, {"", r100, kInf, 0, true},
      {"steps too small to move", r100, 1e15, 1e15 + 10, false},
      {"wrap too small to move", r100, -1e17 + 64, -1e17, false},
      {"too many turns to wrap", r100, 1e300, 0, false},
      {"too many segments", CGRectMake(0, 0, 4000, 3000), 0, 1e9, false},
      {"NaN end", r100, 0, kNaN, false}, {"", r100, 0, kNaN, true},
      {"NaN start", r100, kNaN, 1, false}, {"", r100, kNaN, 1, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(::testing::Message() << c.name << " " << c.start << " -> " << c.end);
    const auto path = Arc::bezierPathWithOvalArcInRectStartAngleEndAngleClockwise(
        c.rect, c.start, c.end, c.clockwise);
    if (std::isnan(c.start) || std::isnan(c.end)) {
      EXPECT_EQ(path->elementCount(), 1u);
      continue;
    }
    ASSERT_EQ(path->elementCount(), 2u);
    EXPECT_EQ(path->elementAtIndex(1), NSLineToBezierPathElement);
    const CGPoint move = path->associatedPointsAtIndex(0)[0];
    const CGPoint line = path->associatedPointsAtIndex(1)[0];
    // Same point (not-a-number coordinates compare by their bits).
    EXPECT_EQ(std::memcmp(&move, &line, sizeof move), 0);
  }
}

}  // namespace
}  // namespace orvane
