#include "orvane/Platform/AppKit/NSBezierPath.h"

#include <gtest/gtest.h>

#include <array>
#include <stdexcept>

namespace orvane {
namespace {

TEST(NSBezierPathTest, EmptyPathHasNoCurrentPoint) {
  auto path = NSBezierPath::bezierPath();
  EXPECT_TRUE(path->isEmpty());
  EXPECT_EQ(path->elementCount(), 0u);
  EXPECT_EQ(path->bounds(), CGRectZero);
  EXPECT_THROW(path->currentPoint(), std::logic_error);
  EXPECT_THROW(path->lineToPoint({1, 1}), std::logic_error);
  EXPECT_THROW(path->curveToPointControlPoint1ControlPoint2({1, 1}, {0, 1}, {1, 0}),
               std::logic_error);
  path->closePath();
  EXPECT_TRUE(path->isEmpty());
  EXPECT_THROW(path->elementAtIndex(0), std::out_of_range);
}

TEST(NSBezierPathTest, ElementsKeepTheirKindsAndPoints) {
  NSBezierPath path;
  path.moveToPoint({1, 2});
  path.lineToPoint({3, 4});
  path.curveToPointControlPoint1ControlPoint2({9, 10}, {5, 6}, {7, 8});
  EXPECT_EQ(path.currentPoint(), CGPointMake(9, 10));
  path.closePath();
  EXPECT_FALSE(path.isEmpty());
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
  EXPECT_EQ(path.currentPoint(), CGPointMake(0, 0));

  path.removeAllPoints();
  EXPECT_TRUE(path.isEmpty());
}

TEST(NSBezierPathTest, BoundsFollowTheCurveNotItsControlPoints) {
  NSBezierPath path;
  path.moveToPoint({0, 0});
  path.curveToPointControlPoint1ControlPoint2({10, 0}, {0, 10}, {10, 10});
  // The curve peaks at t = 0.5: 3/4 of the control height.
  EXPECT_EQ(path.bounds(), CGRectMake(0, 0, 10, 7.5));
  EXPECT_EQ(path.controlPointBounds(), CGRectMake(0, 0, 10, 10));

  // An S-curve overshooting on both sides horizontally.
  NSBezierPath s;
  s.moveToPoint({0, 0});
  s.curveToPointControlPoint1ControlPoint2({0, 9}, {12, 3}, {-12, 6});
  const CGRect b = s.bounds();
  EXPECT_GT(b.origin.x, -12);
  EXPECT_LT(b.origin.x, 0);
  EXPECT_GT(b.origin.x + b.size.width, 0);
  EXPECT_LT(b.origin.x + b.size.width, 12);
  EXPECT_NEAR(b.origin.x, -(b.origin.x + b.size.width), 1e-12);  // symmetric
  EXPECT_EQ(b.origin.y, 0);
  EXPECT_EQ(b.size.height, 9);

  NSBezierPath lines;
  lines.moveToPoint({3, -1});
  lines.lineToPoint({-2, 4});
  lines.lineToPoint({5, 0});
  EXPECT_EQ(lines.bounds(), CGRectMake(-2, -1, 7, 5));
  EXPECT_EQ(lines.bounds(), lines.controlPointBounds());
}

}  // namespace
}  // namespace orvane
