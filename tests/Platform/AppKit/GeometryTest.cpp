#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <functional>
#include <limits>
#include <stdexcept>

#include "orvane/Platform/AppKit/NSAffineTransform.h"
#include "orvane/Platform/AppKit/NSBezierPath.h"

namespace orvane {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

void expectNear(CGPoint actual, CGPoint expected, double tolerance) {
  EXPECT_NEAR(actual.x, expected.x, tolerance);
  EXPECT_NEAR(actual.y, expected.y, tolerance);
}

TEST(NSAffineTransformTest, TheNewestStepIsAppliedFirst) {
  EXPECT_NE(NSAffineTransform::transform(), NSAffineTransform::transform());
  NSAffineTransform scale;
  scale.scaleBy(2);
  // Tolerance 0 where the answer is exact; turns are within rounding.
  const struct {
    std::function<void(NSAffineTransform&)> build;
    CGPoint in, out;
    double tolerance;
  } cases[] = {
      {[](auto&) {}, {3.5, -2}, {3.5, -2}, 0},
      {[](auto& t) { t.translateXByYBy(10, 0), t.scaleXByYBy(2, 3); }, {1, 1}, {12, 3}, 0},
      {[](auto& t) { t.scaleBy(2), t.translateXByYBy(10, 0); }, {1, 1}, {22, 2}, 0},
      {[&](auto& t) { t.translateXByYBy(5, 0), t.appendTransform(scale); }, {1, 0}, {12, 0}, 0},
      {[&](auto& t) { t.translateXByYBy(5, 0), t.prependTransform(scale); }, {1, 0}, {7, 0}, 0},
      // A quarter turn is counter-clockwise in the y-up plane.
      {[](auto& t) { t.rotateByDegrees(90); }, {1, 0}, {0, 1}, 1e-12},
      {[](auto& t) { t.rotateByRadians(-std::acos(0.0)); }, {1, 0}, {0, -1}, 1e-12},
      {[](auto& t) { t.translateXByYBy(5, 5), t.rotateByDegrees(180), t.translateXByYBy(-5, -5); },
       {6, 5}, {4, 5}, 1e-12},
  };
  for (const auto& c : cases) {
    NSAffineTransform t;
    c.build(t);
    expectNear(t.transformPoint(c.in), c.out, c.tolerance);
  }
  NSAffineTransform sizes;
  sizes.translateXByYBy(100, 200);
  sizes.scaleXByYBy(2, -1);
  EXPECT_EQ(sizes.transformSize({3, 4}), CGSizeMake(6, -4));  // sizes ignore the translation
}

TEST(NSAffineTransformTest, InvertAndEquality) {
  NSAffineTransform t;
  t.translateXByYBy(3, -7);
  t.rotateByDegrees(37);
  t.scaleXByYBy(21, 18);
  NSAffineTransform inverse(t.transformStruct());
  ASSERT_TRUE(inverse.invert());
  expectNear(inverse.transformPoint(t.transformPoint({4, -9})), {4, -9}, 1e-9);
  NSAffineTransform singular;
  singular.scaleXByYBy(0, 3);
  singular.translateXByYBy(1, 2);
  const NSAffineTransform before(singular.transformStruct());
  EXPECT_FALSE(singular.invert());
  EXPECT_TRUE(singular.isEqualTo(before));

  const NSAffineTransform identity;
  NSAffineTransform e;
  EXPECT_TRUE(e.isEqualTo(&identity));
  EXPECT_FALSE(e.isEqualTo(nullptr));
  e.rotateByDegrees(0);  // no turn, no scale, no move: still the identity
  e.scaleBy(1);
  e.translateXByYBy(-0.0, -0.0);
  EXPECT_TRUE(e.isEqualTo(identity));
  e.translateXByYBy(std::numeric_limits<double>::denorm_min(), 0);
  EXPECT_FALSE(e.isEqualTo(identity));
  NSAffineTransformStruct m;
  m.tX = kNaN;
  EXPECT_FALSE(NSAffineTransform(m).isEqualTo(NSAffineTransform(m)));
}

TEST(NSAffineTransformTest, RectanglesMapToTheBoundingBoxOfTheirCorners) {
  NSAffineTransform move, scale, mirror, turn;
  move.translateXByYBy(10, -5);
  scale.scaleXByYBy(2, 0.5);
  mirror.scaleXByYBy(-1, 1);
  turn.rotateByDegrees(90);
  EXPECT_EQ(CGRectApplyNSAffineTransform(CGRectMake(0, 0, 100, 50), move), CGRectMake(10, -5, 100, 50));
  EXPECT_EQ(CGRectApplyNSAffineTransform(CGRectMake(0, 0, 100, 50), scale), CGRectMake(0, 0, 200, 25));
  EXPECT_EQ(CGRectApplyNSAffineTransform(CGRectMake(10, 0, 100, 50), mirror), CGRectMake(-110, 0, 100, 50));
  // Negative sizes are standardised first.
  EXPECT_EQ(CGRectApplyNSAffineTransform(CGRectMake(100, 50, -100, -50), move), CGRectMake(10, -5, 100, 50));
  const CGRect turned = CGRectApplyNSAffineTransform(CGRectMake(0, 0, 100, 50), turn);
  expectNear(turned.origin, {-50, 0}, 1e-12);
  expectNear({turned.size.width, turned.size.height}, {50, 100}, 1e-12);
  EXPECT_TRUE(CGRectIsNull(CGRectApplyNSAffineTransform(CGRectNull, turn)));
  EXPECT_TRUE(CGRectIsInfinite(CGRectApplyNSAffineTransform(CGRectInfinite, turn)));
  NSAffineTransformStruct m;
  m.m11 = kNaN;
  EXPECT_TRUE(CGRectIsNull(CGRectApplyNSAffineTransform(CGRectMake(0, 0, 1, 1), NSAffineTransform(m))));
}

TEST(NSBezierPathTest, ElementsKeepTheirKindsAndPointsAndNeedACurrentPoint) {
  auto empty = NSBezierPath::bezierPath();
  EXPECT_EQ(empty->bounds(), CGRectZero);
  EXPECT_THROW(empty->currentPoint(), std::logic_error);
  EXPECT_THROW(empty->lineToPoint({1, 1}), std::logic_error);
  EXPECT_THROW(empty->curveToPointControlPoint1ControlPoint2({1, 1}, {0, 1}, {1, 0}), std::logic_error);
  empty->closePath();
  EXPECT_TRUE(empty->isEmpty());
  EXPECT_THROW(empty->elementAtIndex(0), std::out_of_range);

  NSBezierPath path;
  path.moveToPoint({1, 2});
  path.lineToPoint({3, 4});
  path.curveToPointControlPoint1ControlPoint2({9, 10}, {5, 6}, {7, 8});
  EXPECT_EQ(path.currentPoint(), CGPointMake(9, 10));
  path.closePath();
  ASSERT_EQ(path.elementCount(), 4u);
  std::array<CGPoint, 3> points{};
  EXPECT_EQ(path.elementAtIndexAssociatedPoints(0, points), NSMoveToBezierPathElement);
  EXPECT_EQ(points[0], CGPointMake(1, 2));
  EXPECT_EQ(path.elementAtIndexAssociatedPoints(1, points), NSLineToBezierPathElement);
  EXPECT_EQ(points[0], CGPointMake(3, 4));
  EXPECT_EQ(path.elementAtIndexAssociatedPoints(2, points), NSCurveToBezierPathElement);
  EXPECT_EQ(points, (std::array<CGPoint, 3>{{{5, 6}, {7, 8}, {9, 10}}}));
  EXPECT_EQ(path.elementAtIndex(3), NSClosePathBezierPathElement);
  EXPECT_TRUE(path.associatedPointsAtIndex(3).empty());
  EXPECT_THROW(path.associatedPointsAtIndex(4), std::out_of_range);
  EXPECT_THROW(path.elementAtIndexAssociatedPoints(4, points), std::out_of_range);
  // Closing returns to the subpath's start; a new line starts a new subpath there.
  EXPECT_EQ(path.currentPoint(), CGPointMake(1, 2));
  path.lineToPoint({0, 0});
  ASSERT_EQ(path.elementCount(), 6u);
  EXPECT_EQ(path.elementAtIndex(4), NSMoveToBezierPathElement);
  EXPECT_EQ(path.associatedPointsAtIndex(4)[0], CGPointMake(1, 2));
  path.removeAllPoints();
  EXPECT_TRUE(path.isEmpty());
}

TEST(NSBezierPathTest, BoundsFollowTheCurveNotItsControlPoints) {
  NSBezierPath path, s, lines;
  path.moveToPoint({0, 0});
  path.curveToPointControlPoint1ControlPoint2({10, 0}, {0, 10}, {10, 10});
  EXPECT_EQ(path.bounds(), CGRectMake(0, 0, 10, 7.5));  // the peak at t = 0.5: 3/4 of the height
  EXPECT_EQ(path.controlPointBounds(), CGRectMake(0, 0, 10, 10));
  s.moveToPoint({0, 0});  // an S-curve overshooting on both sides horizontally
  s.curveToPointControlPoint1ControlPoint2({0, 9}, {12, 3}, {-12, 6});
  const CGRect b = s.bounds();
  EXPECT_GT(b.origin.x, -12);
  EXPECT_LT(b.origin.x, 0);
  EXPECT_NEAR(b.origin.x, -(b.origin.x + b.size.width), 1e-12);  // symmetric
  EXPECT_EQ(b.origin.y, 0);
  EXPECT_EQ(b.size.height, 9);
  lines.moveToPoint({3, -1});
  lines.lineToPoint({-2, 4});
  lines.lineToPoint({5, 0});
  EXPECT_EQ(lines.bounds(), CGRectMake(-2, -1, 7, 5));
  EXPECT_EQ(lines.bounds(), lines.controlPointBounds());
}

}  // namespace
}  // namespace orvane
