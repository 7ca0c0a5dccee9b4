#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>
#include <numbers>
#include <random>
#include <string>

#include "orvane/Math/HXMathUtility.h"
#include "support/ChildProcess.h"

namespace orvane {
namespace {

using M = HXMathUtility;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

bool endsWith(const std::string& text, const std::string& tail) {
  return text.size() >= tail.size() &&
         text.compare(text.size() - tail.size(), tail.size(), tail) == 0;
}

// Exact doubles: the length factors are the single-precision values widened,
// and each conversion keeps its order of operations.
TEST(HXMathUtilityTest, ConversionsGiveTheExactDoubles) {
  const double inf = std::numeric_limits<double>::infinity();
  const struct {
    const char* name;
    double actual, expected;
  } cases[] = {
      {"pi_3", M::pi_3(), 1.0471975511965976},
      {"cm per inch", M::kCentimetersPerInch, static_cast<double>(2.54f)},
      {"mm per inch", M::kMillimetersPerInch, static_cast<double>(25.4f)},
      {"radiansFromDegress 90", M::radiansFromDegress(90), 1.5707963267948966},
      {"radiansFromDegress 1", M::radiansFromDegress(1), 0.017453292519943295},
      {"radiansToDegress pi", M::radiansToDegress(M::pi()), 180.0},
      {"radiansToDegress 1", M::radiansToDegress(1), 57.295779513082323},
      {"inchesFromCM 2.54", M::inchesFromCM(2.54), 1.0000000150184933},
      {"inchesToCM 1", M::inchesToCM(1), 2.5399999618530273},
      {"inchesToMM 1", M::inchesToMM(1), 25.399999618530273},
      {"inchesFromMM 25.4", M::inchesFromMM(25.4), 25.4 / 25.399999618530273},
      {"toInches 300 @ 72", M::pixelsWideToInchesWithDPI(300, 72), 300.0 / 72.0},
      {"fromInches 2 @ 300", M::pixelsWideFromInchesWithDPI(2, 300), 600.0},
      {"toCM 300 @ 72", M::pixelsWideToCMWithDPI(300, 72), 10.583333174387615},
      {"fromMM 25.4 @ 300", M::pixelsWideFromMMWithDPI(25.4, 300), 300.000004505548},
      {"fromCM 2.54 @ 300", M::pixelsWideFromCMWithDPI(2.54, 300), 1.0000000150184933 * 300},
      {"toMM 300 @ 300", M::pixelsWideToMMWithDPI(300, 300), 25.399999618530273},
      {"toCM 7 @ 3", M::pixelsWideToCMWithDPI(7, 3), (7.0 / 3.0) * M::kCentimetersPerInch},
      {"fromCM 7 @ 3", M::pixelsWideFromCMWithDPI(7, 3), (7.0 / M::kCentimetersPerInch) * 3.0},
      {"toMM 7 @ 3", M::pixelsWideToMMWithDPI(7, 3), ((7.0 / 3.0) * M::kCentimetersPerInch) * 10.0},
      {"fromMM 7 @ 3", M::pixelsWideFromMMWithDPI(7, 3), (7.0 / M::kMillimetersPerInch) * 3.0},
      {"negative passes", M::pixelsWideToInchesWithDPI(-144, 72), -2.0},
      {"zero dpi", M::pixelsWideToInchesWithDPI(300, 0), inf},
      {"zero dpi, negative", M::pixelsWideToCMWithDPI(-3, 0), -inf},
      {"zero dpi, mm", M::pixelsWideToMMWithDPI(1, 0), inf},
  };
  for (const auto& c : cases) EXPECT_EQ(std::bit_cast<std::uint64_t>(c.actual), std::bit_cast<std::uint64_t>(c.expected)) << c.name;
  EXPECT_TRUE(std::isnan(M::pixelsWideToInchesWithDPI(0, 0)));
  EXPECT_TRUE(std::isnan(M::pixelsWideToCMWithDPI(0, 0)));
  EXPECT_TRUE(std::isnan(M::pixelsWideToMMWithDPI(0, 0)));
}

TEST(PlaneGeometryTest, DistanceIsEuclidean) {
  EXPECT_EQ(M::distanceBetweenPointToPoint({1, 2}, {4, 6}), 5.0);
  EXPECT_EQ(M::distanceBetweenPointToPoint({-3, 0}, {-3, 0}), 0.0);
}

TEST(PlaneGeometryTest, SideOfLine) {
  const struct {
    CGPoint p, p1, p2;
    int expected;
  } cases[] = {
      // Slanted line y = x.
      {{5, 6}, {0, 0}, {10, 10}, 0},
      {{5, 4}, {0, 0}, {10, 10}, 1},
      {{5, 5}, {0, 0}, {10, 10}, 2},
      // Vertical: right is 0, left is 1.
      {{1, 3}, {0, 0}, {0, 10}, 0},
      {{-1, 3}, {0, 0}, {0, 10}, 1},
      {{0, 30}, {0, 0}, {0, 10}, 2},
      // Nearly vertical (dx below the tolerance): compared with the second point's x.
      {{0.00006, 3}, {0, 0}, {0.00005, 10}, 0},
      {{0.00003, 3}, {0, 0}, {0.00005, 10}, 1},
      // Nearly horizontal: compared with the first point's y.
      {{3, 0.00003}, {0, 0}, {10, 0.00005}, 0},
      {{3, 0.00001}, {0, 0}, {10, 0.00005}, 0},
      {{3, -0.00001}, {0, 0}, {10, 0.00005}, 1},
      // Direction of the line does not matter for "above".
      {{5, 6}, {10, 10}, {0, 0}, 0},
      // Not-a-number coordinates compare as "on the line".
      {{5, kNaN}, {0, 0}, {10, 10}, 2},
      {{kNaN, 5}, {0, 0}, {0, 10}, 2},
  };
  for (const auto& c : cases)
    EXPECT_EQ(M::pointRelativeToLineWithPoint1Point2(c.p, c.p1, c.p2), c.expected)
        << "(" << c.p.x << ", " << c.p.y << ") against (" << c.p1.x << ", " << c.p1.y << ")-("
        << c.p2.x << ", " << c.p2.y << ")";
}

TEST(PlaneGeometryTest, NoLineThroughOnePointLogsAndAnswersTwo) {
  auto result = testing::runInChild([] {
    // Closer than the tolerance counts as the same point.
    const int same = M::pointRelativeToLineWithPoint1Point2({5, 6}, {1, 1}, {1, 1});
    const int close = M::pointRelativeToLineWithPoint1Point2({5, 6}, {1, 1}, {1.00005, 1.00005});
    return same == 2 && close == 2 ? 0 : 1;
  });
  EXPECT_EQ(result.exitCode, 0);
  const std::string line = "] Info, can not make line, points are the same.\n";
  const auto first = result.stderrText.find(line);
  ASSERT_NE(first, std::string::npos) << result.stderrText;
  EXPECT_NE(result.stderrText.find(line, first + 1), std::string::npos) << result.stderrText;
}

TEST(PlaneGeometryTest, SignedAngleAtCentre) {
  // The law of cosines rounds: with sides 1, 1 and sqrt(2) the cosine is
  // -2^-53 rather than 0, so the answer is one ulp above pi/2.
  const double c = std::sqrt(2.0);
  const double quarter = std::acos((1.0 * 1.0 + 1.0 * 1.0 - c * c) / ((1.0 + 1.0) * 1.0));
  EXPECT_DOUBLE_EQ(quarter, M::pi_2());
  EXPECT_EQ(M::radianFromPointToPointWithCenter({1, 0}, {0, 1}, {0, 0}), quarter);
  EXPECT_EQ(M::radianFromPointToPointWithCenter({1, 0}, {0, -1}, {0, 0}), -quarter);
  EXPECT_DOUBLE_EQ(M::degreeFromPointToPointWithCenter({1, 0}, {0, 1}, {0, 0}), 90.0);
  EXPECT_DOUBLE_EQ(M::degreeFromPointToPointWithCenter({1, 0}, {0, -1}, {0, 0}), -90.0);
  // Moved away from the origin, 45 degrees.
  EXPECT_NEAR(M::degreeFromPointToPointWithCenter({12, 2}, {12, 12}, {2, 2}), 45.0, 1e-12);

  // On the line the sign rule is one-sided: the angle comes back negated.
  const double straightOn = M::radianFromPointToPointWithCenter({1, 0}, {3, 0}, {0, 0});
  EXPECT_EQ(straightOn, 0.0);
  EXPECT_TRUE(std::signbit(straightOn));
  EXPECT_EQ(M::radianFromPointToPointWithCenter({1, 0}, {-1, 0}, {0, 0}), -M::pi());
}

TEST(PlaneGeometryTest, AngleWithCoincidingPointsLogsAndAnswersZero) {
  const struct {
    CGPoint a, b, c;
  } cases[] = {
      {{1, 0}, {1, 0}, {0, 0}},        // A = B
      {{0, 0}, {0, 1}, {0, 0}},        // A = C
      {{1, 0}, {0.00001, 0}, {0, 0}},  // B within the tolerance of C
  };
  for (const auto& c : cases) {
    auto result = testing::runInChild([&] {
      const double angle = M::radianFromPointToPointWithCenter(c.a, c.b, c.c);
      return angle == 0.0 && !std::signbit(angle) ? 0 : 1;
    });
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_TRUE(endsWith(result.stderrText, "] Can not calc radian.\n")) << result.stderrText;
  }
}

TEST(PlaneGeometryTest, RadiusOnTheInscribedEllipse) {
  const CGRect wide = CGRectMake(0, 0, 100, 50);
  EXPECT_EQ(M::radiusAtOvalWithRectInAngle(wide, 0), 50.0);
  EXPECT_EQ(M::radiusAtOvalWithRectInAngle(wide, M::pi_2()), 25.0);
  EXPECT_EQ(M::radiusAtOvalWithRectInAngle(CGRectMake(30, 40, 100, 50), M::pi()), 50.0);
  // Semi-axes are clamped to 1.0, also for empty and negative sizes.
  for (double angle : {0.0, 0.3, 1.0, 2.5, -4.0}) {
    EXPECT_EQ(M::radiusAtOvalWithRectInAngle(CGRectMake(0, 0, 1, 1), angle), 1.0) << angle;
    EXPECT_NEAR(M::radiusAtOvalWithRectInAngle(CGRectMake(0, 0, -6, 0), angle), 1.0, 1e-15);
  }
  // A half size that is not a number stays one.
  EXPECT_TRUE(std::isnan(M::radiusAtOvalWithRectInAngle(CGRectMake(0, 0, kNaN, 10), 0.5)));
}

TEST(PlaneGeometryTest, PointsLieOnTheEllipse) {
  const CGRect rect = CGRectMake(-20, 10, 300, 80);
  const double a = 150, b = 40, cx = 130, cy = 50;
  for (double angle = -7; angle < 7; angle += 0.37) {
    const CGPoint p = M::pointAtOvalWithRectInAngle(rect, angle);
    const double u = (p.x - cx) / a, v = (p.y - cy) / b;
    EXPECT_NEAR(u * u + v * v, 1.0, 1e-13) << angle;
    // In the direction asked for.
    EXPECT_NEAR(std::remainder(std::atan2(p.y - cy, p.x - cx) - angle, 2 * M::pi()), 0.0, 1e-13);
  }
  // The centre is the true one, the radius the clamped one: outside a thin rectangle.
  EXPECT_EQ(M::pointAtOvalWithRectInAngle(CGRectMake(0, 0, 1, 1), 0), CGPointMake(1.5, 0.5));
}

TEST(PlaneGeometryTest, FitSizeExamples) {
  const struct {
    CGSize source, target, expected;
  } cases[] = {
      {{400, 200}, {100, 100}, {100, 50}}, {{200, 400}, {100, 100}, {50, 100}},
      {{100, 100}, {100, 50}, {50, 50}},   {{10, 20}, {100, 100}, {50, 100}},  // small sources grow
      {{3, 3}, {100, 100}, {100, 100}},  // ties take the target's width
      {{0, 100}, {30, 40}, {30, 40}},      {{100, 0.00009}, {30, 40}, {30, 40}},
      {{-0.00009, 5}, {30, 40}, {30, 40}},
  };
  for (const auto& c : cases) {
    const CGSize fitted = M::fitSizeIntoSize(c.source, c.target);
    EXPECT_EQ(fitted, c.expected) << c.source.width << "x" << c.source.height;
  }
  // An undefined comparison takes the width branch.
  const CGSize undefined = M::fitSizeIntoSize({10, 20}, {kNaN, 50});
  EXPECT_TRUE(std::isnan(undefined.width));
  EXPECT_TRUE(std::isnan(undefined.height));
  const CGSize exact = M::fitSizeIntoSize({10, 20}, {30, kNaN});
  EXPECT_EQ(exact.width, 30.0);
  EXPECT_EQ(exact.height, 60.0);
}

TEST(PlaneGeometryTest, FittedSizeTouchesOneSideAndNeverExceedsTheOther) {
  std::mt19937_64 rng(11);
  std::uniform_real_distribution<double> length(0.001, 20000.0);
  const double eps = std::numeric_limits<double>::epsilon();
  for (int i = 0; i < 20000; ++i) {
    const CGSize source{length(rng), length(rng)}, target{length(rng), length(rng)};
    const CGSize fitted = M::fitSizeIntoSize(source, target);
    const bool touchesWidth = fitted.width == target.width;
    const bool touchesHeight = fitted.height == target.height;
    ASSERT_TRUE(touchesWidth || touchesHeight);
    ASSERT_LE(fitted.width, target.width * (1 + 4 * eps));
    ASSERT_LE(fitted.height, target.height * (1 + 4 * eps));
    // Proportions kept.
    ASSERT_NEAR(fitted.width / fitted.height, source.width / source.height,
                8 * eps * (source.width / source.height));
  }
}

TEST(PlaneGeometryTest, RotationAboutACentre) {
  auto t = M::rotateDegreeWithCenter(90, {10, 10});
  const CGPoint p = t->transformPoint({20, 10});
  EXPECT_NEAR(p.x, 10.0, 1e-12);
  EXPECT_NEAR(p.y, 20.0, 1e-12);

  // The six numbers of a counter-clockwise turn about the centre.
  const double d = 30, cx = 7, cy = -3;
  const double c = std::cos(d * std::numbers::pi / 180), s = std::sin(d * std::numbers::pi / 180);
  const NSAffineTransformStruct m = M::rotateDegreeWithCenter(d, {cx, cy})->transformStruct();
  EXPECT_NEAR(m.m11, c, 1e-15);
  EXPECT_NEAR(m.m12, s, 1e-15);
  EXPECT_NEAR(m.m21, -s, 1e-15);
  EXPECT_NEAR(m.m22, c, 1e-15);
  EXPECT_NEAR(m.tX, cx - cx * c + cy * s, 1e-14);
  EXPECT_NEAR(m.tY, cy - cx * s - cy * c, 1e-14);

  // No turn about the origin is exactly the identity.
  EXPECT_TRUE(M::rotateDegreeWithCenter(0, {0, 0})->isEqualTo(NSAffineTransform()));
  // The radian form converts and then turns the same way.
  EXPECT_TRUE(M::rotateRedianWithCenter(M::pi_2(), {10, 10})->isEqualTo(*t));
  // Each call hands out a new object.
  EXPECT_NE(M::rotateDegreeWithCenter(90, {10, 10}), t);
}

}  // namespace
}  // namespace orvane
