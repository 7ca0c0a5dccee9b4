#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "orvane/Platform/CoreGraphics/CGAffineTransform.h"

namespace orvane {
namespace {

TEST(CGGeometry, SpecialAndNegativeRectangles) {
  EXPECT_TRUE(CGRectIsNull(CGRectNull) && CGRectIsEmpty(CGRectNull) && !CGRectIsInfinite(CGRectNull));
  EXPECT_TRUE(CGRectIsInfinite(CGRectInfinite) && !CGRectIsNull(CGRectInfinite) && !CGRectIsEmpty(CGRectInfinite));
  EXPECT_EQ(CGRectInfinite.origin.x, -std::numeric_limits<double>::max() / 2);
  EXPECT_EQ(CGRectInfinite.size.width, std::numeric_limits<double>::max());
  EXPECT_TRUE(CGRectIsEmpty(CGRectMake(1, 2, 0, 5)) && CGRectIsEmpty(CGRectMake(1, 2, 5, 0)));
  EXPECT_FALSE(CGRectIsEmpty(CGRectMake(1, 2, -5, 3)) || CGRectIsNull(CGRectMake(1, 2, 3, 4)));
  const CGRect r = CGRectMake(10, 20, -4, -6);  // negative sizes are standardized
  EXPECT_EQ(CGRectStandardize(r), CGRectMake(6, 14, 4, 6));
  EXPECT_EQ((std::array{CGRectGetMinX(r), CGRectGetMaxY(r), CGRectGetMidX(r), CGRectGetWidth(r)}),
            (std::array{6.0, 20.0, 8.0, 4.0}));
}

TEST(CGAffineTransform, ConcatAppliesTheFirstArgumentFirst) {
  const auto t = CGAffineTransformConcat(CGAffineTransformMakeScale(2, 3), CGAffineTransformMakeTranslation(10, 20));
  EXPECT_EQ(CGPointApplyAffineTransform({1, 1}, t), CGPointMake(12, 23));
  // Translate/Scale/Rotate put their step before the transform's own.
  EXPECT_EQ(CGAffineTransformScale(CGAffineTransformMakeTranslation(10, 20), 2, 3), t);
  EXPECT_EQ(CGAffineTransformTranslate(CGAffineTransformMakeScale(2, 3), 1, 1), CGAffineTransformMake(2, 0, 0, 3, 2, 3));
  const CGPoint p = CGPointApplyAffineTransform({1, 0}, CGAffineTransformRotate(CGAffineTransformIdentity, std::numbers::pi / 2));
  EXPECT_NEAR(p.x, 0, 1e-15);
  EXPECT_NEAR(p.y, 1, 1e-15);  // counter-clockwise
  EXPECT_EQ(CGSizeApplyAffineTransform({1, 2}, CGAffineTransformMake(1, 2, 3, 4, 5, 6)), CGSizeMake(7, 10));
  EXPECT_TRUE(CGAffineTransformIsIdentity(CGAffineTransformIdentity));
  EXPECT_FALSE(CGAffineTransformIsIdentity(CGAffineTransformMakeTranslation(0, 1e-300)));
  // Invert undoes a transform and leaves a singular one alone.
  const auto u = CGAffineTransformMake(2, 1, -1, 3, 5, -7);
  const CGPoint back = CGPointApplyAffineTransform(CGPointApplyAffineTransform({3, 4}, u), CGAffineTransformInvert(u));
  EXPECT_NEAR(back.x, 3, 1e-12);
  EXPECT_NEAR(back.y, 4, 1e-12);
  EXPECT_EQ(CGAffineTransformInvert(CGAffineTransformMake(1, 2, 2, 4, 1, 1)), CGAffineTransformMake(1, 2, 2, 4, 1, 1));
}

TEST(CGAffineTransform, RectApplyBoundsTheCorners) {
  EXPECT_EQ(CGRectApplyAffineTransform(CGRectMake(1, 2, 3, 4), CGAffineTransformMake(-1, 0, 0, 2, 10, 0)),
            CGRectMake(6, 4, 3, 8));
  const auto turned = CGRectApplyAffineTransform(CGRectMake(0, 0, 2, 1), CGAffineTransformMakeRotation(std::numbers::pi / 4));
  EXPECT_NEAR(turned.size.width, 1.5 * std::sqrt(2.0), 1e-12);
  EXPECT_TRUE(CGRectIsNull(CGRectApplyAffineTransform(CGRectNull, CGAffineTransformIdentity)));
  EXPECT_TRUE(CGRectIsInfinite(CGRectApplyAffineTransform(CGRectInfinite, CGAffineTransformMakeScale(2, 2))));
  EXPECT_TRUE(CGRectIsNull(CGRectApplyAffineTransform(CGRectMake(0, 0, 1, 1), CGAffineTransformMake(NAN, 0, 0, 1, 0, 0))));
}

}  // namespace
}  // namespace orvane
