#include "orvane/Platform/AppKit/NSAffineTransform.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

namespace orvane {
namespace {

void expectNear(CGPoint actual, CGPoint expected, double tolerance = 1e-12) {
  EXPECT_NEAR(actual.x, expected.x, tolerance);
  EXPECT_NEAR(actual.y, expected.y, tolerance);
}

TEST(NSAffineTransformTest, NewTransformIsTheIdentity) {
  const auto t = NSAffineTransform::transform();
  const NSAffineTransformStruct m = t->transformStruct();
  EXPECT_EQ(m.m11, 1.0);
  EXPECT_EQ(m.m12, 0.0);
  EXPECT_EQ(m.m21, 0.0);
  EXPECT_EQ(m.m22, 1.0);
  EXPECT_EQ(m.tX, 0.0);
  EXPECT_EQ(m.tY, 0.0);
  EXPECT_EQ(t->transformPoint({3.5, -2}), CGPointMake(3.5, -2));
  EXPECT_NE(NSAffineTransform::transform(), t);
}

TEST(NSAffineTransformTest, TheNewestStepIsAppliedFirst) {
  // translate then scale: a point is scaled first, then moved.
  NSAffineTransform t;
  t.translateXByYBy(10, 0);
  t.scaleXByYBy(2, 3);
  EXPECT_EQ(t.transformPoint({1, 1}), CGPointMake(12, 3));

  // scale then translate: moved first, then scaled.
  NSAffineTransform u;
  u.scaleBy(2);
  u.translateXByYBy(10, 0);
  EXPECT_EQ(u.transformPoint({1, 1}), CGPointMake(22, 2));

  // A quarter turn is counter-clockwise in the y-up plane.
  NSAffineTransform r;
  r.rotateByDegrees(90);
  expectNear(r.transformPoint({1, 0}), {0, 1});
  NSAffineTransform q;
  q.rotateByRadians(-std::acos(0.0));
  expectNear(q.transformPoint({1, 0}), {0, -1});

  // Translate, rotate, translate back: a turn about (5, 5).
  NSAffineTransform about;
  about.translateXByYBy(5, 5);
  about.rotateByDegrees(180);
  about.translateXByYBy(-5, -5);
  expectNear(about.transformPoint({6, 5}), {4, 5});
}

TEST(NSAffineTransformTest, AppendAndPrependComposeInOppositeOrders) {
  NSAffineTransform scale;
  scale.scaleBy(2);

  NSAffineTransform appended;
  appended.translateXByYBy(5, 0);
  appended.appendTransform(scale);  // move, then scale
  EXPECT_EQ(appended.transformPoint({1, 0}), CGPointMake(12, 0));

  NSAffineTransform prepended;
  prepended.translateXByYBy(5, 0);
  prepended.prependTransform(scale);  // scale, then move
  EXPECT_EQ(prepended.transformPoint({1, 0}), CGPointMake(7, 0));
}

TEST(NSAffineTransformTest, SizesIgnoreTheTranslation) {
  NSAffineTransform t;
  t.translateXByYBy(100, 200);
  t.scaleXByYBy(2, -1);
  EXPECT_EQ(t.transformSize({3, 4}), CGSizeMake(6, -4));
}

TEST(NSAffineTransformTest, InvertUndoesAndRefusesSingularTransforms) {
  std::mt19937_64 rng(5);
  std::uniform_real_distribution<double> value(-10, 10);
  for (int i = 0; i < 200; ++i) {
    NSAffineTransform t;
    t.translateXByYBy(value(rng), value(rng));
    t.rotateByDegrees(value(rng) * 30);
    t.scaleXByYBy(value(rng) + 20, value(rng) + 20);
    NSAffineTransform inverse(t.transformStruct());
    ASSERT_TRUE(inverse.invert());
    const CGPoint p{value(rng), value(rng)};
    expectNear(inverse.transformPoint(t.transformPoint(p)), p, 1e-9);
  }

  NSAffineTransform singular;
  singular.scaleXByYBy(0, 3);
  singular.translateXByYBy(1, 2);
  const NSAffineTransform before(singular.transformStruct());
  EXPECT_FALSE(singular.invert());
  EXPECT_TRUE(singular.isEqualTo(before));
}

TEST(NSAffineTransformTest, EqualityComparesTheSixNumbersExactly) {
  const NSAffineTransform identity;
  NSAffineTransform t;
  EXPECT_TRUE(t.isEqualTo(identity));
  EXPECT_TRUE(t.isEqualTo(&identity));
  EXPECT_FALSE(t.isEqualTo(nullptr));

  t.translateXByYBy(std::numeric_limits<double>::denorm_min(), 0);
  EXPECT_FALSE(t.isEqualTo(identity));

  // Rotating by nothing, scaling by one and moving by nothing keep the identity.
  NSAffineTransform unchanged;
  unchanged.rotateByDegrees(0);
  unchanged.scaleBy(1);
  unchanged.translateXByYBy(0, 0);
  unchanged.translateXByYBy(-0.0, -0.0);
  EXPECT_TRUE(unchanged.isEqualTo(identity));

  NSAffineTransformStruct m;
  m.tX = std::numeric_limits<double>::quiet_NaN();
  const NSAffineTransform withNaN(m);
  EXPECT_FALSE(withNaN.isEqualTo(withNaN));
}

TEST(NSAffineTransformTest, RectanglesMapToTheBoundingBoxOfTheirCorners) {
  NSAffineTransform move;
  move.translateXByYBy(10, -5);
  EXPECT_EQ(CGRectApplyNSAffineTransform(CGRectMake(0, 0, 100, 50), move),
            CGRectMake(10, -5, 100, 50));

  NSAffineTransform scale;
  scale.scaleXByYBy(2, 0.5);
  EXPECT_EQ(CGRectApplyNSAffineTransform(CGRectMake(0, 0, 100, 50), scale),
            CGRectMake(0, 0, 200, 25));
  NSAffineTransform mirror;
  mirror.scaleXByYBy(-1, 1);
  EXPECT_EQ(CGRectApplyNSAffineTransform(CGRectMake(10, 0, 100, 50), mirror),
            CGRectMake(-110, 0, 100, 50));
  // Negative sizes are standardised first.
  EXPECT_EQ(CGRectApplyNSAffineTransform(CGRectMake(100, 50, -100, -50), move),
            CGRectMake(10, -5, 100, 50));

  NSAffineTransform turn;
  turn.rotateByDegrees(90);
  const CGRect turned = CGRectApplyNSAffineTransform(CGRectMake(0, 0, 100, 50), turn);
  EXPECT_NEAR(turned.origin.x, -50, 1e-12);
  EXPECT_NEAR(turned.origin.y, 0, 1e-12);
  EXPECT_NEAR(turned.size.width, 50, 1e-12);
  EXPECT_NEAR(turned.size.height, 100, 1e-12);

  NSAffineTransform eighth;
  eighth.rotateByDegrees(45);
  const CGRect diamond = CGRectApplyNSAffineTransform(CGRectMake(-1, -1, 2, 2), eighth);
  EXPECT_NEAR(diamond.size.width, 2 * std::sqrt(2.0), 1e-12);

  EXPECT_TRUE(CGRectIsNull(CGRectApplyNSAffineTransform(CGRectNull, turn)));
  EXPECT_TRUE(CGRectIsInfinite(CGRectApplyNSAffineTransform(CGRectInfinite, turn)));
  NSAffineTransformStruct m;
  m.m11 = std::numeric_limits<double>::quiet_NaN();
  EXPECT_TRUE(
      CGRectIsNull(CGRectApplyNSAffineTransform(CGRectMake(0, 0, 1, 1), NSAffineTransform(m))));
}

}  // namespace
}  // namespace orvane
