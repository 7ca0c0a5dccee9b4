#include "orvane/Platform/AppKit/NSAffineTransform.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace orvane {
namespace {

void expectNear(CGPoint actual, CGPoint expected, double tolerance = 1e-12) {
  EXPECT_NEAR(actual.x, expected.x, tolerance);
  EXPECT_NEAR(actual.y, expected.y, tolerance);
}

TEST(NSAffineTransformTest, TheNewestStepIsAppliedFirst) {
  const auto identity = NSAffineTransform::transform();
  EXPECT_EQ(identity->transformPoint({3.5, -2}), CGPointMake(3.5, -2));
  EXPECT_NE(NSAffineTransform::transform(), identity);

  NSAffineTransform t;  // scaled first, then moved
  t.translateXByYBy(10, 0);
  t.scaleXByYBy(2, 3);
  EXPECT_EQ(t.transformPoint({1, 1}), CGPointMake(12, 3));
  NSAffineTransform u;  // moved first, then scaled
  u.scaleBy(2);
  u.translateXByYBy(10, 0);
  EXPECT_EQ(u.transformPoint({1, 1}), CGPointMake(22, 2));
  NSAffineTransform sizes;
  sizes.translateXByYBy(100, 200);
  sizes.scaleXByYBy(2, -1);
  EXPECT_EQ(sizes.transformSize({3, 4}), CGSizeMake(6, -4));  // sizes ignore the translation

  NSAffineTransform r;  // a quarter turn is counter-clockwise in the y-up plane
  r.rotateByDegrees(90);
  expectNear(r.transformPoint({1, 0}), {0, 1});
  NSAffineTransform q;
  q.rotateByRadians(-std::acos(0.0));
  expectNear(q.transformPoint({1, 0}), {0, -1});
  NSAffineTransform about;  // a turn about (5, 5)
  about.translateXByYBy(5, 5);
  about.rotateByDegrees(180);
  about.translateXByYBy(-5, -5);
  expectNear(about.transformPoint({6, 5}), {4, 5});

  NSAffineTransform scale;
  scale.scaleBy(2);
  NSAffineTransform appended, prepended;
  appended.translateXByYBy(5, 0);
  appended.appendTransform(scale);  // move, then scale
  EXPECT_EQ(appended.transformPoint({1, 0}), CGPointMake(12, 0));
  prepended.translateXByYBy(5, 0);
  prepended.prependTransform(scale);  // scale, then move
  EXPECT_EQ(prepended.transformPoint({1, 0}), CGPointMake(7, 0));
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
  EXPECT_TRUE(e.isEqualTo(identity));
  EXPECT_TRUE(e.isEqualTo(&identity));
  EXPECT_FALSE(e.isEqualTo(nullptr));
  e.rotateByDegrees(0);  // no turn, no scale, no move: still the identity
  e.scaleBy(1);
  e.translateXByYBy(-0.0, -0.0);
  EXPECT_TRUE(e.isEqualTo(identity));
  e.translateXByYBy(std::numeric_limits<double>::denorm_min(), 0);
  EXPECT_FALSE(e.isEqualTo(identity));
  NSAffineTransformStruct m;
  m.tX = std::numeric_limits<double>::quiet_NaN();
  const NSAffineTransform withNaN(m);
  EXPECT_FALSE(withNaN.isEqualTo(withNaN));
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
  expectNear(turned.origin, {-50, 0});
  expectNear({turned.size.width, turned.size.height}, {50, 100});
  EXPECT_TRUE(CGRectIsNull(CGRectApplyNSAffineTransform(CGRectNull, turn)));
  EXPECT_TRUE(CGRectIsInfinite(CGRectApplyNSAffineTransform(CGRectInfinite, turn)));
  NSAffineTransformStruct m;
  m.m11 = std::numeric_limits<double>::quiet_NaN();
  EXPECT_TRUE(CGRectIsNull(CGRectApplyNSAffineTransform(CGRectMake(0, 0, 1, 1), NSAffineTransform(m))));
}

}  // namespace
}  // namespace orvane
