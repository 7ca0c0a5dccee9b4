#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "orvane/Platform/CoreGraphics/CGAffineTransform.h"

namespace orvane {
namespace {

TEST(CGAffineTransform, ConcatAppliesTheFirstArgumentFirst) {
  const auto t = CGAffineTransformConcat(CGAffineTransformMakeScale(2, 3), CGAffineTransformMakeTranslation(10, 20));
  EXPECT_EQ(CGPointApplyAffineTransform({1, 1}, t), CGPointMake(12, 23));
  // Translate/Scale/Rotate put their step before the transform's own.
  const auto u = CGAffineTransformScale(CGAffineTransformMakeTranslation(10, 20), 2, 3);
  EXPECT_EQ(u, t);
  EXPECT_EQ(CGAffineTransformTranslate(CGAffineTransformMakeScale(2, 3), 1, 1), CGAffineTransformMake(2, 0, 0, 3, 2, 3));
  const auto r = CGAffineTransformRotate(CGAffineTransformIdentity, std::numbers::pi / 2);
  const CGPoint p = CGPointApplyAffineTransform({1, 0}, r);
  EXPECT_NEAR(p.x, 0, 1e-15);
  EXPECT_NEAR(p.y, 1, 1e-15);  // counter-clockwise
  EXPECT_EQ(CGSizeApplyAffineTransform({1, 2}, CGAffineTransformMake(1, 2, 3, 4, 5, 6)), CGSizeMake(7, 10));
  EXPECT_TRUE(CGAffineTransformIsIdentity(CGAffineTransformIdentity));
  EXPECT_FALSE(CGAffineTransformIsIdentity(CGAffineTransformMakeTranslation(0, 1e-300)));
}

TEST(CGAffineTransform, InvertUndoesAndLeavesSingularAlone) {
  const auto t = CGAffineTransformMake(2, 1, -1, 3, 5, -7);
  const auto i = CGAffineTransformInvert(t);
  const CGPoint p = CGPointApplyAffineTransform(CGPointApplyAffineTransform({3, 4}, t), i);
  EXPECT_NEAR(p.x, 3, 1e-12);
  EXPECT_NEAR(p.y, 4, 1e-12);
  const auto singular = CGAffineTransformMake(1, 2, 2, 4, 1, 1);
  EXPECT_EQ(CGAffineTransformInvert(singular), singular);
}

TEST(CGAffineTransform, RectApplyBoundsTheCorners) {
  const auto r = CGRectApplyAffineTransform(CGRectMake(1, 2, 3, 4), CGAffineTransformMake(-1, 0, 0, 2, 10, 0));
  EXPECT_EQ(r, CGRectMake(6, 4, 3, 8));
  const auto turned = CGRectApplyAffineTransform(CGRectMake(0, 0, 2, 1), CGAffineTransformMakeRotation(std::numbers::pi / 4));
  EXPECT_NEAR(turned.size.width, 1.5 * std::sqrt(2.0), 1e-12);
  EXPECT_TRUE(CGRectIsNull(CGRectApplyAffineTransform(CGRectNull, CGAffineTransformIdentity)));
  EXPECT_TRUE(CGRectIsInfinite(CGRectApplyAffineTransform(CGRectInfinite, CGAffineTransformMakeScale(2, 2))));
  EXPECT_TRUE(CGRectIsNull(CGRectApplyAffineTransform(CGRectMake(0, 0, 1, 1), CGAffineTransformMake(NAN, 0, 0, 1, 0, 0))));
}

}  // namespace
}  // namespace orvane
