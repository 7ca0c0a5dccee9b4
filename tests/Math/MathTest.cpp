#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <numbers>
#include <random>
#include <string>

#include "orvane/Math/HXMathUtility.h"
#include "orvane/Math/NSBezierPathOvalArc.h"
#include "support/ChildProcess.h"

namespace orvane {
namespace {

using M = HXMathUtility;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

// Exact doubles: the length factors are the single-precision values widened,
// and each conversion keeps its order of operations.
TEST(HXMathUtilityTest, ConversionsGiveTheExactDoubles) {
  const std::pair<double, double> cases[] = {
      {M::pi_3(), 1.0471975511965976}, {M::kCentimetersPerInch, double(2.54f)},
      {M::kMillimetersPerInch, double(25.4f)}, {M::radiansFromDegress(90), 1.5707963267948966},
      {M::radiansFromDegress(1), 0.017453292519943295}, {M::radiansToDegress(M::pi()), 180.0},
      {M::radiansToDegress(1), 57.295779513082323}, {M::inchesFromCM(2.54), 1.0000000150184933},
      {M::inchesToCM(1), 2.5399999618530273}, {M::inchesToMM(1), 25.399999618530273},
      {M::inchesFromMM(25.4), 25.4 / 25.399999618530273},
      {M::pixelsWideToInchesWithDPI(300, 72), 300.0 / 72.0},
      {M::pixelsWideFromInchesWithDPI(2, 300), 600.0},
      {M::pixelsWideToCMWithDPI(300, 72), 10.583333174387615},
      {M::pixelsWideFromMMWithDPI(25.4, 300), 300.000004505548},
      {M::pixelsWideFromCMWithDPI(2.54, 300), 1.0000000150184933 * 300},
      {M::pixelsWideToMMWithDPI(300, 300), 25.399999618530273},
      {M::pixelsWideToCMWithDPI(7, 3), (7.0 / 3.0) * M::kCentimetersPerInch},
      {M::pixelsWideFromCMWithDPI(7, 3), (7.0 / M::kCentimetersPerInch) * 3.0},
      {M::pixelsWideToMMWithDPI(7, 3), ((7.0 / 3.0) * M::kCentimetersPerInch) * 10.0},
      {M::pixelsWideFromMMWithDPI(7, 3), (7.0 / M::kMillimetersPerInch) * 3.0},
      {M::pixelsWideToInchesWithDPI(-144, 72), -2.0}, {M::pixelsWideToInchesWithDPI(300, 0), kInf},
      {M::pixelsWideToCMWithDPI(-3, 0), -kInf}, {M::pixelsWideToMMWithDPI(1, 0), kInf},
      {M::pixelsWideToInchesWithDPI(0, 0), kNaN}, {M::pixelsWideToCMWithDPI(0, 0), kNaN},
      {M::pixelsWideToMMWithDPI(0, 0), kNaN}, {M::distanceBetweenPointToPoint({1, 2}, {4, 6}), 5.0},
  };
  for (std::size_t i = 0; i < std::size(cases); ++i)
    EXPECT_TRUE(std::isnan(cases[i].second) ? std::isnan(cases[i].first)
                : std::bit_cast<std::uint64_t>(cases[i].first) == std::bit_cast<std::uint64_t>(cases[i].second))
        << "case " << i << ": " << cases[i].first;
}

TEST(PlaneGeometryTest, SideOfLine) {
  const struct {
    CGPoint p, p1, p2;
    int expected;
  } cases[] = {
      {{5, 6}, {0, 0}, {10, 10}, 0}, {{5, 4}, {0, 0}, {10, 10}, 1}, {{5, 5}, {0, 0}, {10, 10}, 2},
      // Vertical: right is 0, left is 1.
      {{1, 3}, {0, 0}, {0, 10}, 0}, {{-1, 3}, {0, 0}, {0, 10}, 1}, {{0, 30}, {0, 0}, {0, 10}, 2},
      // Nearly vertical (dx below the tolerance): compared with the second point's x.
      {{0.00006, 3}, {0, 0}, {0.00005, 10}, 0}, {{0.00003, 3}, {0, 0}, {0.00005, 10}, 1},
      // Nearly horizontal: compared with the first point's y.
      {{3, 0.00003}, {0, 0}, {10, 0.00005}, 0}, {{3, 0.00001}, {0, 0}, {10, 0.00005}, 0},
      {{3, -0.00001}, {0, 0}, {10, 0.00005}, 1},
      {{5, 6}, {10, 10}, {0, 0}, 0},  // the direction of the line does not matter for "above"
      // Not-a-number coordinates compare as "on the line".
      {{5, kNaN}, {0, 0}, {10, 10}, 2}, {{kNaN, 5}, {0, 0}, {0, 10}, 2},
  };
  for (const auto& c : cases)
    EXPECT_EQ(M::pointRelativeToLineWithPoint1Point2(c.p, c.p1, c.p2), c.expected)
        << "(" << c.p.x << ", " << c.p.y << ") against (" << c.p1.x << ", " << c.p1.y << ")-("
        << c.p2.x << ", " << c.p2.y << ")";
}

TEST(PlaneGeometryTest, CoincidingPointsLogAndAnswerTwoForALineAndZeroForAnAngle) {
  auto result = testing::runInChild([] {
    // Closer than the tolerance counts as the same point.
    int wrong = (M::pointRelativeToLineWithPoint1Point2({5, 6}, {1, 1}, {1, 1}) != 2) +
                (M::pointRelativeToLineWithPoint1Point2({5, 6}, {1, 1}, {1.00005, 1.00005}) != 2);
    // A = B, A = C, B within the tolerance of C.
    for (const auto& [a, b, c] : {std::tuple{CGPoint{1, 0}, CGPoint{1, 0}, CGPoint{0, 0}},
                                  {{0, 0}, {0, 1}, {0, 0}}, {{1, 0}, {0.00001, 0}, {0, 0}}}) {
      const double angle = M::radianFromPointToPointWithCenter(a, b, c);
      wrong += angle != 0.0 || std::signbit(angle);
    }
    return wrong;
  });
  EXPECT_EQ(result.exitCode, 0);
  const std::string line = "] Info, can not make line, points are the same.\n";
  const std::string angle = "] Can not calc radian.\n";
  std::size_t lines = 0, angles = 0;
  for (std::size_t at = 0; (at = result.stderrText.find(line, at)) != std::string::npos; ++at) ++lines;
  for (std::size_t at = 0; (at = result.stderrText.find(angle, at)) != std::string::npos; ++at) ++angles;
  EXPECT_EQ(lines * 10 + angles, 23u) << result.stderrText;
  EXPECT_TRUE(result.stderrText.ends_with(angle)) << result.stderrText;
}

TEST(PlaneGeometryTest, SignedAngleAtCentre) {
  // The law of cosines rounds: with sides 1, 1 and sqrt(2) the cosine is
  // -2^-53 rather than 0, so the answer is one ulp above pi/2.
  const double c = std::sqrt(2.0);
  const double quarter = std::acos((1.0 * 1.0 + 1.0 * 1.0 - c * c) / ((1.0 + 1.0) * 1.0));
  EXPECT_DOUBLE_EQ(quarter, M::pi_2());
  EXPECT_EQ(M::radianFromPointToPointWithCenter({1, 0}, {0, 1}, {0, 0}), quarter);
  EXPECT_EQ(M::radianFromPointToPointWithCenter({1, 0}, {0, -1}, {0, 0}), -quarter);
  EXPECT_DOUBLE_EQ(M::degreeFromPointToPointWithCenter({1, 0}, {0, -1}, {0, 0}), -90.0);
  EXPECT_NEAR(M::degreeFromPointToPointWithCenter({12, 2}, {12, 12}, {2, 2}), 45.0, 1e-12);
  // On the line the sign rule is one-sided: the angle comes back negated.
  const double straightOn = M::radianFromPointToPointWithCenter({1, 0}, {3, 0}, {0, 0});
  EXPECT_EQ(straightOn, 0.0);
  EXPECT_TRUE(std::signbit(straightOn));
  EXPECT_EQ(M::radianFromPointToPointWithCenter({1, 0}, {-1, 0}, {0, 0}), -M::pi());
}

TEST(PlaneGeometryTest, RadiusAndPointsOnTheInscribedEllipse) {
  EXPECT_EQ(M::radiusAtOvalWithRectInAngle(CGRectMake(0, 0, 100, 50), 0), 50.0);
  EXPECT_EQ(M::radiusAtOvalWithRectInAngle(CGRectMake(0, 0, 100, 50), M::pi_2()), 25.0);
  EXPECT_EQ(M::radiusAtOvalWithRectInAngle(CGRectMake(30, 40, 100, 50), M::pi()), 50.0);
  // Semi-axes are clamped to 1.0, also for empty and negative sizes.
  for (double angle : {0.0, 0.3, 1.0, 2.5, -4.0}) {
    EXPECT_EQ(M::radiusAtOvalWithRectInAngle(CGRectMake(0, 0, 1, 1), angle), 1.0) << angle;
    EXPECT_NEAR(M::radiusAtOvalWithRectInAngle(CGRectMake(0, 0, -6, 0), angle), 1.0, 1e-15);
  }
  EXPECT_TRUE(std::isnan(M::radiusAtOvalWithRectInAngle(CGRectMake(0, 0, kNaN, 10), 0.5)));
  const CGRect rect = CGRectMake(-20, 10, 300, 80);
  for (double angle = -7; angle < 7; angle += 0.37) {
    const CGPoint p = M::pointAtOvalWithRectInAngle(rect, angle);
    const double u = (p.x - 130) / 150, v = (p.y - 50) / 40;
    EXPECT_NEAR(u * u + v * v, 1.0, 1e-13) << angle;
    // In the direction asked for.
    EXPECT_NEAR(std::remainder(std::atan2(p.y - 50, p.x - 130) - angle, 2 * M::pi()), 0.0, 1e-13);
  }
  // The centre is the true one, the radius the clamped one: outside a thin rectangle.
  EXPECT_EQ(M::pointAtOvalWithRectInAngle(CGRectMake(0, 0, 1, 1), 0), CGPointMake(1.5, 0.5));
}

TEST(PlaneGeometryTest, FitSizeTouchesOneSideAndNeverExceedsTheOther) {
  const struct {
    CGSize source, target, expected;
  } cases[] = {
      {{400, 200}, {100, 100}, {100, 50}}, {{200, 400}, {100, 100}, {50, 100}},
      {{100, 100}, {100, 50}, {50, 50}},   {{10, 20}, {100, 100}, {50, 100}},  // small sources grow
      {{3, 3}, {100, 100}, {100, 100}},    {{0, 100}, {30, 40}, {30, 40}},  // ties: target's width
      {{100, 0.00009}, {30, 40}, {30, 40}}, {{-0.00009, 5}, {30, 40}, {30, 40}},
      {{10, 20}, {30, kNaN}, {30, 60}},  // an undefined comparison takes the width branch
  };
  for (const auto& c : cases)
    EXPECT_EQ(M::fitSizeIntoSize(c.source, c.target), c.expected) << c.source.width << "x" << c.source.height;
  const CGSize undefined = M::fitSizeIntoSize({10, 20}, {kNaN, 50});
  EXPECT_TRUE(std::isnan(undefined.width) && std::isnan(undefined.height));
  std::mt19937_64 rng(11);
  std::uniform_real_distribution<double> length(0.001, 20000.0);
  const double eps = std::numeric_limits<double>::epsilon();
  for (int i = 0; i < 20000; ++i) {
    const CGSize source{length(rng), length(rng)}, target{length(rng), length(rng)};
    const CGSize fitted = M::fitSizeIntoSize(source, target);
    ASSERT_TRUE(fitted.width == target.width || fitted.height == target.height);
    ASSERT_LE(fitted.width, target.width * (1 + 4 * eps));
    ASSERT_LE(fitted.height, target.height * (1 + 4 * eps));
    ASSERT_NEAR(fitted.width / fitted.height, source.width / source.height,
                8 * eps * (source.width / source.height));  // proportions kept
  }
}

TEST(PlaneGeometryTest, RotationAboutACentre) {
  // The six numbers of a counter-clockwise turn about the centre.
  const double d = 30, cx = 7, cy = -3;
  const double c = std::cos(d * std::numbers::pi / 180), s = std::sin(d * std::numbers::pi / 180);
  const NSAffineTransformStruct m = M::rotateDegreeWithCenter(d, {cx, cy})->transformStruct();
  const std::pair<double, double> numbers[] = {{m.m11, c}, {m.m12, s}, {m.m21, -s}, {m.m22, c},
                                               {m.tX, cx - cx * c + cy * s}, {m.tY, cy - cx * s - cy * c}};
  for (const auto& [actual, expected] : numbers) EXPECT_NEAR(actual, expected, 1e-14);
  // No turn about the origin is exactly the identity; the radian form turns the same way.
  EXPECT_TRUE(M::rotateDegreeWithCenter(0, {0, 0})->isEqualTo(NSAffineTransform()));
  const auto t = M::rotateDegreeWithCenter(90, {10, 10});
  EXPECT_TRUE(M::rotateRedianWithCenter(M::pi_2(), {10, 10})->isEqualTo(*t));
  EXPECT_NE(M::rotateDegreeWithCenter(90, {10, 10}), t) << "each call hands out a new object";
}

using Arc = NSBezierPathOvalArc;


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
