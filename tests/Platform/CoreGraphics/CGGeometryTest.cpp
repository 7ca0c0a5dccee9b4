#include "orvane/Platform/CoreGraphics/CGGeometry.h"

#include <gtest/gtest.h>

namespace orvane {
namespace {

TEST(CGGeometryTest, SpecialRectanglesAndPredicates) {
  EXPECT_TRUE(CGRectIsNull(CGRectNull));
  EXPECT_TRUE(CGRectIsEmpty(CGRectNull));
  EXPECT_FALSE(CGRectIsInfinite(CGRectNull));

  EXPECT_TRUE(CGRectIsInfinite(CGRectInfinite));
  EXPECT_FALSE(CGRectIsNull(CGRectInfinite));
  EXPECT_FALSE(CGRectIsEmpty(CGRectInfinite));
  EXPECT_EQ(CGRectInfinite.origin.x, -std::numeric_limits<double>::max() / 2);
  EXPECT_EQ(CGRectInfinite.size.width, std::numeric_limits<double>::max());

  EXPECT_TRUE(CGRectIsEmpty(CGRectMake(1, 2, 0, 5)));
  EXPECT_TRUE(CGRectIsEmpty(CGRectMake(1, 2, 5, 0)));
  EXPECT_FALSE(CGRectIsEmpty(CGRectMake(1, 2, -5, 3)));
  EXPECT_FALSE(CGRectIsNull(CGRectMake(1, 2, 3, 4)));
}

TEST(CGGeometryTest, NegativeSizesAreStandardized) {
  const CGRect r = CGRectMake(10, 20, -4, -6);
  EXPECT_EQ(CGRectStandardize(r), CGRectMake(6, 14, 4, 6));
  EXPECT_EQ(CGRectGetMinX(r), 6.0);
  EXPECT_EQ(CGRectGetMaxY(r), 20.0);
  EXPECT_EQ(CGRectGetMidX(r), 8.0);
  EXPECT_EQ(CGRectGetWidth(r), 4.0);
}

}  // namespace
}  // namespace orvane
