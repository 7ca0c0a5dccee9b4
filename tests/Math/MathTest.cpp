#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <string>

#include "orvane/Math/HXMathUtility.h"
#include "orvane/Math/NSBezierPathOvalArc.h"

namespace orvane {
namespace {

using M = HXMathUtility;
using Arc = NSBezierPathOvalArc;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

// Exact doubles: the length factors are the single-precision values widened,
// and each conversion keeps its order of operations.
TEST(HXMathUtilityTest, ConversionsGiveTheExactDoubles) {
  const std::pair<double, double> cases[] = {
      {M::pi_3(), 1.0471975511965976}, {M::radiansFromDegress(1), 0.017453292519943295},
      {M::radiansToDegress(1), 57.295779513082323}, {M::inchesFromCM(2.54), 1.0000000150184933},
      {M::inchesToCM(1), 2.5399999618530273}, {M::inchesToMM(1), 25.399999618530273},
      {M::inchesFromMM(25.4), 25.4 / 25.399999618530273}, {M::pixelsWideToInchesWithDPI(300, 72), 300.0 / 72.0},
      {M::pixelsWideFromInchesWithDPI(2, 300), 600.0},
      {M::pixelsWideToCMWithDPI(7, 3), (7.0 / 3.0) * M::kCentimetersPerInch},
      {M::pixelsWideFromCMWithDPI(7, 3), (7.0 / M::kCentimetersPerInch) * 3.0},
      {M::pixelsWideToMMWithDPI(7, 3), ((7.0 / 3.0) * M::kCentimetersPerInch) * 10.0},
      {M::pixelsWideFromMMWithDPI(7, 3), (7.0 / M::kMillimetersPerInch) * 3.0},
      {M::distanceBetweenPointToPoint({1, 2}, {4, 6}), 5.0},
  };
  for (std::size_t i = 0; i < std::size(cases); ++i) EXPECT_EQ(cases[i].first, cases[i].second) << "case " << i;
}

TEST(PlaneGeometryTest, SideOfLine) {
  const struct {
    CGPoint p, p1, p2;
    int expected;
  } cases[] = {
      {{5, 6}, {0, 0}, {10, 10}, 0}, {{5, 4}, {0, 0}, {10, 10}, 1}, {{5, 5}, {0, 0}, {10, 10}, 2},
      {{5, kNaN}, {0, 0}, {10, 10}, 2},  // unordered counts as on the line
      {{5, 6}, {10, 10}, {0, 0}, 0},     // the line's direction does not matter
      // Vertical: right is 0, left is 1; nearly vertical compares with the second point's x.
      {{1, 3}, {0, 0}, {0, 10}, 0}, {{-1, 3}, {0, 0}, {0, 10}, 1},
      {{0.00006, 3}, {0, 0}, {0.00005, 10}, 0}, {{0.00003, 3}, {0, 0}, {0.00005, 10}, 1},
      // Nearly horizontal: compared with the first point's y.
      {{3, 0.00001}, {0, 0}, {10, 0.00005}, 0}, {{3, -0.00001}, {0, 0}, {10, 0.00005}, 1},
  };
  for (const auto& c : cases)
    EXPECT_EQ(M::pointRelativeToLineWithPoint1Point2(c.p, c.p1, c.p2), c.expected) << c.p.x << ", " << c.p.y;
}

TEST(PlaneGeometryTest, CoincidingPointsAnswerTwoForALineAndZeroForAnAngle) {
  // Closer than the tolerance counts as the same point.
  EXPECT_EQ(M::pointRelativeToLineWithPoint1Point2({5, 6}, {1, 1}, {1.00005, 1.00005}), 2);
  // A = B, A = C, B within the tolerance of C.
  for (const auto& [a, b, c] : {std::tuple{CGPoint{1, 0}, CGPoint{1, 0}, CGPoint{0, 0}},
                                {{0, 0}, {0, 1}, {0, 0}}, {{1, 0}, {0.00001, 0}, {0, 0}}}) {
    const double angle = M::radianFromPointToPointWithCenter(a, b, c);
    EXPECT_TRUE(angle == 0.0 && !std::signbit(angle)) << angle;
  }
}

TEST(PlaneGeometryTest, SignedAngleAtCentre) {
  // The law of cosines rounds: with sides 1, 1 and sqrt(2) the cosine is
  // -2^-53 rather than 0, so the answer is one ulp above pi/2.
  const double c = std::sqrt(2.0);
  const double quarter = std::acos((1.0 * 1.0 + 1.0 * 1.0 - c * c) / ((1.0 + 1.0) * 1.0));
  EXPECT_EQ(M::radianFromPointToPointWithCenter({1, 0}, {0, 1}, {0, 0}), quarter);
  EXPECT_EQ(M::radianFromPointToPointWithCenter({1, 0}, {0, -1}, {0, 0}), -quarter);
  EXPECT_DOUBLE_EQ(M::degreeFromPointToPointWithCenter({1, 0}, {0, -1}, {0, 0}), -90.0);
  // On the line the sign rule is one-sided: the angle comes back negated.
  EXPECT_TRUE(std::signbit(M::radianFromPointToPointWithCenter({1, 0}, {3, 0}, {0, 0})));
}

TEST(PlaneGeometryTest, RadiusAndPointsOnTheInscribedEllipse) {
  EXPECT_EQ(M::radiusAtOvalWithRectInAngle(CGRectMake(0, 0, 100, 50), 0), 50.0);
  EXPECT_EQ(M::radiusAtOvalWithRectInAngle(CGRectMake(30, 40, 100, 50), M::pi_2()), 25.0);
  // Semi-axes are clamped to 1.0, also for negative sizes; not-a-number stays one.
  EXPECT_NEAR(M::radiusAtOvalWithRectInAngle(CGRectMake(0, 0, -6, 0), 2.5), 1.0, 1e-15);
  EXPECT_TRUE(std::isnan(M::radiusAtOvalWithRectInAngle(CGRectMake(0, 0, kNaN, 10), 0.5)));
  const CGRect rect = CGRectMake(-20, 10, 300, 80);
  for (double angle = -7; angle < 7; angle += 0.37) {
    const CGPoint p = M::pointAtOvalWithRectInAngle(rect, angle);
    const double u = (p.x - 130) / 150, v = (p.y - 50) / 40;
    EXPECT_NEAR(u * u + v * v, 1.0, 1e-13) << angle;
    EXPECT_NEAR(std::remainder(std::atan2(p.y - 50, p.x - 130) - angle, 2 * M::pi()), 0.0, 1e-13);  // direction
  }
  // The centre is the true one, the radius the clamped one: outside a thin rectangle.
  EXPECT_EQ(M::pointAtOvalWithRectInAngle(CGRectMake(0, 0, 1, 1), 0), CGPointMake(1.5, 0.5));
}

TEST(PlaneGeometryTest, FitSizeKeepsProportionsAndTouchesOneSide) {
  const struct {
    CGSize source, target, expected;
  } cases[] = {
      {{400, 200}, {100, 100}, {100, 50}}, {{200, 400}, {100, 100}, {50, 100}},
      {{10, 20}, {100, 100}, {50, 100}},   {{3, 3}, {100, 100}, {100, 100}},  // small sources grow; ties
      {{100, 0.00009}, {30, 40}, {30, 40}}, {{-0.00009, 5}, {30, 40}, {30, 40}},  // no proportions
      {{10, 20}, {30, kNaN}, {30, 60}},  // an undefined comparison takes the width branch
  };
  for (const auto& c : cases)
    EXPECT_EQ(M::fitSizeIntoSize(c.source, c.target), c.expected) << c.source.width << "x" << c.source.height;
}

TEST(PlaneGeometryTest, RotationAboutACentre) {
  // A quarter turn counter-clockwise about (10, 10), in degrees and in radians.
  for (const auto& t : {M::rotateDegreeWithCenter(90, {10, 10}), M::rotateRedianWithCenter(M::pi_2(), {10, 10})}) {
    const CGPoint p = t->transformPoint({20, 11});
    EXPECT_NEAR(p.x, 9, 1e-12);
    EXPECT_NEAR(p.y, 20, 1e-12);
  }
}

// Each path is the move and then exactly the points the geometry gives for
// start, start +- step, ... up to the (wrapped) end.
TEST(NSBezierPathOvalArcTest, StepsFromTheStartUpToTheWrappedEnd) {
  const double twoPi = M::pi() + M::pi();
  const CGRect circle = CGRectMake(0, 0, 100, 100), wide = CGRectMake(-40, 25, 600, 150);
  const struct {
    CGRect rect;
    double start, end;
    bool clockwise;
    double wrappedEnd;
  } cases[] = {
      {wide, 0.2, 2.9, false, 2.9}, {circle, 0, M::pi_2(), true, M::pi_2() - twoPi},
      {circle, M::pi(), 0, false, twoPi}, {wide, 2.9, 0.2, true, 0.2},  // wrapped; already below
      {wide, 1.0, 1.0 + 1e-6, false, 1.0 + 1e-6},                     // less than a step: one point
      {CGRectMake(0, 0, 20, 20), 0, 2 * twoPi, false, 2 * twoPi},     // an end past a turn is kept
      {CGRectMake(0, 0, 1, 1), 0, M::pi(), false, M::pi()},           // clamped: a quarter-turn step
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(::testing::Message() << c.start << " -> " << c.end << " clockwise " << c.clockwise);
    const auto path = Arc::bezierPathWithOvalArcInRectStartAngleEndAngleClockwise(c.rect, c.start, c.end,
                                                                                  c.clockwise);
    const double step = std::asin(2.0 / (c.rect.size.width + c.rect.size.height));
    ASSERT_EQ(path->elementAtIndex(0), NSMoveToBezierPathElement);
    std::size_t i = 1;  // then lines only, never closed
    for (double angle = c.start; c.clockwise ? angle >= c.wrappedEnd : angle <= c.wrappedEnd;
         angle += c.clockwise ? -step : step, ++i) {
      ASSERT_LT(i, path->elementCount());
      ASSERT_EQ(path->elementAtIndex(i), NSLineToBezierPathElement) << i;
      ASSERT_EQ(path->associatedPointsAtIndex(i)[0], M::pointAtOvalWithRectInAngle(c.rect, angle)) << i;
    }
    EXPECT_EQ(i, path->elementCount());
  }
}

// A rectangle or angle that gives no usable step, or a stepping that could
// not finish, yields the move and one line to the start point; an angle that
// is not a number, the move alone.
TEST(NSBezierPathOvalArcTest, UnusableInputGivesTheMoveAndOneLine) {
  const CGRect r100 = CGRectMake(0, 0, 100, 100);
  const struct {
    CGRect rect;
    double start, end;
    bool clockwise;
  } cases[] = {
      {CGRectMake(0, 0, 1, 0), 0, M::pi_2(), false}, {CGRectMake(0, 0, -1, -1), 0, 3, false},  // sums 1, -2
      {CGRectMake(0, 0, kNaN, 100), 0, 3, false}, {CGRectMake(0, 0, kInf, 100), 0, 3, false},
      {CGRectMake(0, 0, -1, -1), 3, 0, true}, {r100, 0, kInf, false}, {r100, kInf, 0, true},
      {CGRectMake(0, 0, 4000, 3000), 0, 1e9, false},  // too many segments
      {r100, 1e300, 0, false}, {r100, 0, 1e15, true},                           // too many turns to wrap
      {r100, 1e15, 1e15 + 10, false},  // steps too small to move
      {r100, -1e17 + 64, -1e17, false},  // a wrap too small to move
      {r100, 0, kNaN, false}, {r100, kNaN, 1, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(::testing::Message() << c.rect.size.width << " " << c.start << " -> " << c.end);
    const auto path = Arc::bezierPathWithOvalArcInRectStartAngleEndAngleClockwise(c.rect, c.start, c.end,
                                                                                  c.clockwise);
    if (std::isnan(c.start) || std::isnan(c.end)) {
      EXPECT_EQ(path->elementCount(), 1u);
      continue;
    }
    ASSERT_EQ(path->elementCount(), 2u);
    EXPECT_EQ(path->elementAtIndex(1), NSLineToBezierPathElement);
    const CGPoint move = path->associatedPointsAtIndex(0)[0], line = path->associatedPointsAtIndex(1)[0];
    EXPECT_EQ(std::memcmp(&move, &line, sizeof move), 0);  // not-a-number coordinates compare by bits
  }
}

}  // namespace
}  // namespace orvane
