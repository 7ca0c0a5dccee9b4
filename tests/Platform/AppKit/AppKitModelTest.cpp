#include <gtest/gtest.h>
#include <stdlib.h>

#include <array>
#include <cmath>
#include <functional>
#include <limits>
#include <map>
#include <stdexcept>

#include "Platform/AppKit/NSScreenInternal.h"
#include "orvane/Platform/AppKit/NSAffineTransform.h"
#include "orvane/Platform/AppKit/NSApplication.h"
#include "orvane/Platform/AppKit/NSBezierPath.h"
#include "orvane/Platform/AppKit/NSColor.h"
#include "orvane/Platform/AppKit/NSScreen.h"
#include "orvane/Platform/AppKit/NSView.h"
#include "orvane/Platform/AppKit/NSWindow.h"

namespace orvane {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

void expectNear(CGPoint actual, CGPoint expected, double tolerance) {
  EXPECT_NEAR(actual.x, expected.x, tolerance);
  EXPECT_NEAR(actual.y, expected.y, tolerance);
}

TEST(NSAffineTransformTest, TheNewestStepIsAppliedFirst) {
  NSAffineTransform scale;
  scale.scaleBy(2);
  const struct {
    std::function<void(NSAffineTransform&)> build;
    CGPoint in, out;
    double tolerance;
  } cases[] = {
      {[](auto& t) { t.translateXByYBy(10, 0), t.scaleXByYBy(2, 3); }, {1, 1}, {12, 3}, 0},
      {[](auto& t) { t.scaleBy(2), t.translateXByYBy(10, 0); }, {1, 1}, {22, 2}, 0},
      {[&](auto& t) { t.translateXByYBy(5, 0), t.appendTransform(scale); }, {1, 0}, {12, 0}, 0},
      {[&](auto& t) { t.translateXByYBy(5, 0), t.prependTransform(scale); }, {1, 0}, {7, 0}, 0},
      // A quarter turn is counter-clockwise in the y-up plane.
      {[](auto& t) { t.rotateByDegrees(90); }, {1, 0}, {0, 1}, 1e-12},
      {[](auto& t) { t.rotateByRadians(-std::acos(0.0)); }, {1, 0}, {0, -1}, 1e-12},
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

TEST(NSAffineTransformTest, InvertEqualityAndRectangles) {
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
  EXPECT_TRUE(singular.isEqualTo(before));  // a refused inversion leaves the matrix
  const NSAffineTransform identity;
  EXPECT_TRUE(NSAffineTransform().isEqualTo(&identity));
  EXPECT_FALSE(identity.isEqualTo(nullptr));
  EXPECT_FALSE(identity.isEqualTo(before));
  // Rectangles map to the bounding box of their corners.
  NSAffineTransform move, turn;
  move.translateXByYBy(10, -5);
  turn.rotateByDegrees(90);
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
  EXPECT_THROW(empty->currentPoint(), std::logic_error);
  EXPECT_THROW(empty->lineToPoint({1, 1}), std::logic_error);
  EXPECT_THROW(empty->curveToPointControlPoint1ControlPoint2({1, 1}, {0, 1}, {1, 0}), std::logic_error);
  empty->closePath();  // nothing to close
  EXPECT_THROW(empty->elementAtIndex(0), std::out_of_range);

  NSBezierPath path;
  path.moveToPoint({1, 2});
  path.lineToPoint({3, 4});
  path.curveToPointControlPoint1ControlPoint2({9, 10}, {5, 6}, {7, 8});
  EXPECT_EQ(path.currentPoint(), CGPointMake(9, 10));
  path.closePath();
  ASSERT_EQ(path.elementCount(), 4u);
  std::array<CGPoint, 3> points{};
  EXPECT_EQ(path.elementAtIndexAssociatedPoints(2, points), NSCurveToBezierPathElement);
  EXPECT_EQ(points, (std::array<CGPoint, 3>{{{5, 6}, {7, 8}, {9, 10}}}));
  EXPECT_EQ(path.elementAtIndex(3), NSClosePathBezierPathElement);
  EXPECT_TRUE(path.associatedPointsAtIndex(3).empty());
  EXPECT_THROW(path.associatedPointsAtIndex(4), std::out_of_range);
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
  NSBezierPath path, lines;
  path.moveToPoint({0, 0});
  path.curveToPointControlPoint1ControlPoint2({10, 0}, {0, 10}, {10, 10});
  EXPECT_EQ(path.bounds(), CGRectMake(0, 0, 10, 7.5));  // the peak at t = 0.5: 3/4 of the height
  EXPECT_EQ(path.controlPointBounds(), CGRectMake(0, 0, 10, 10));
  lines.moveToPoint({3, -1});
  lines.lineToPoint({-2, 4});
  lines.lineToPoint({5, 0});
  EXPECT_EQ(lines.bounds(), CGRectMake(-2, -1, 7, 5));
  EXPECT_EQ(lines.bounds(), lines.controlPointBounds());
}

void expectColor(const std::shared_ptr<const NSColor>& c, std::array<double, 4> rgba) {
  ASSERT_NE(c, nullptr);
  EXPECT_DOUBLE_EQ(c->redComponent(), rgba[0]);
  EXPECT_DOUBLE_EQ(c->greenComponent(), rgba[1]);
  EXPECT_DOUBLE_EQ(c->blueComponent(), rgba[2]);
  EXPECT_EQ(c->alphaComponent(), rgba[3]);
}

TEST(NSColorTest, ComponentsClampHighlightBlendsTowardWhiteDisabledHalvesAlpha) {
  expectColor(NSColor::colorWithSRGBRedGreenBlueAlpha(-0.5, 1.5, kNaN, 2.0), {0, 1, 0, 1});
  auto color = NSColor::colorWithSRGBRedGreenBlueAlpha(0.2, 0.6, 0.0, 0.4);
  // A quarter, and levels clamped to 0 and 1.
  for (const auto& [level, r, g, b] : std::initializer_list<std::array<double, 4>>{
           {0.25, 0.4, 0.7, 0.25}, {-3.0, 0.2, 0.6, 0.0}, {7.0, 1.0, 1.0, 1.0}})
    expectColor(color->highlightWithLevel(level), {r, g, b, 0.4});
  EXPECT_EQ(color->highlightWithLevel(kNaN), nullptr);
  expectColor(color->colorWithSystemEffect(NSColorSystemEffectDisabled), {0.2, 0.6, 0.0, 0.2});
  for (auto effect : {NSColorSystemEffectNone, NSColorSystemEffectPressed, NSColorSystemEffectDeepPressed,
                      NSColorSystemEffectRollover})
    expectColor(color->colorWithSystemEffect(effect), {0.2, 0.6, 0.0, 0.4});
  EXPECT_EQ(color->colorWithSystemEffect(static_cast<NSColorSystemEffect>(42)), nullptr);
  expectColor(color, {0.2, 0.6, 0.0, 0.4});  // the receiver never changes
}

class ViewTreeTest : public ::testing::Test {
 protected:
  void TearDown() override { NSApplication::sharedApplication().setAppearance(nullptr); }
};

TEST_F(ViewTreeTest, ViewsFindTheirWindowThroughTheirSuperviewsAndRefuseCycles) {
  auto window = NSWindow::init(), other = NSWindow::init();
  auto root = NSView::init(), child = NSView::init(), grandchild = NSView::init();
  child->addSubview(grandchild);
  root->addSubview(child);
  window->setContentView(root);
  EXPECT_EQ(grandchild->window(), window);
  grandchild->removeFromSuperview();
  EXPECT_EQ(grandchild->window(), nullptr);
  other->setContentView(root);  // the content view moves and leaves the first window
  EXPECT_EQ(window->contentView(), nullptr);
  EXPECT_EQ(child->window(), other);
  grandchild->addSubview(root);  // a content view added as a subview leaves its window
  EXPECT_EQ(other->contentView(), nullptr);
  root->removeFromSuperview();
  EXPECT_TRUE(grandchild->subviews().empty());

  auto a = NSView::init(), b = NSView::init();
  a->addSubview(b);
  b->addSubview(a);  // a is b's superview
  a->addSubview(a);
  b->addSubview(nullptr);
  EXPECT_EQ(a->superview(), nullptr);
  EXPECT_EQ(a->subviews().size(), 1u);
  EXPECT_TRUE(b->subviews().empty());
  window->setContentView(a);
  window.reset();
  EXPECT_EQ(b->window(), nullptr) << "a gone window is no window";
}

TEST_F(ViewTreeTest, EffectiveAppearanceFallsBackOwnSuperviewWindowApplication) {
  auto aqua = NSAppearance::appearanceNamed(NSAppearanceNameAqua);
  auto dark = NSAppearance::appearanceNamed(NSAppearanceNameDarkAqua);
  auto vibrant = NSAppearance::appearanceNamed(NSAppearanceNameVibrantDark);
  auto sepia = std::make_shared<const NSAppearance>("com.example.Sepia");
  NSApplication& app = NSApplication::sharedApplication();
  auto window = NSWindow::init();
  auto root = NSView::init(), child = NSView::init();
  root->addSubview(child);
  window->setContentView(root);
  app.setAppearance(dark);
  EXPECT_EQ(child->effectiveAppearance(), dark);
  window->setAppearance(vibrant);
  EXPECT_EQ(child->effectiveAppearance(), vibrant);
  root->setAppearance(sepia);
  EXPECT_EQ(child->effectiveAppearance(), sepia);
  EXPECT_EQ(window->effectiveAppearance(), vibrant);
}

TEST(NSScreenTest, DesktopSessionGivesAScreenScaledByTheToolkitVariables) {
  // Scale 0: no screen. A value that is not a positive finite number, whole, does not count.
  const std::pair<std::map<std::string, std::string>, double> cases[] = {
      {{{"DISPLAY", ""}}, 0}, {{{"GDK_SCALE", "2"}}, 0}, {{{"DISPLAY", ":0"}}, 1},
      {{{"WAYLAND_DISPLAY", "wayland-0"}, {"GDK_SCALE", "2"}}, 2},
      {{{"DISPLAY", ":1"}, {"GDK_SCALE", "3"}, {"QT_SCALE_FACTOR", "1.5"}}, 3},
      {{{"DISPLAY", ":1"}, {"GDK_SCALE", "2x"}, {"QT_SCALE_FACTOR", "1.25"}}, 1.25},
      {{{"DISPLAY", ":1"}, {"GDK_SCALE", "0"}, {"QT_SCALE_FACTOR", "inf"}}, 1},
  };
  for (const auto& [variables, scale] : cases) {
    const auto screen = sessionScreen([&](const char* name) -> const char* {
      auto it = variables.find(name);
      return it == variables.end() ? nullptr : it->second.c_str();
    });
    SCOPED_TRACE(::testing::PrintToString(variables));
    ASSERT_EQ(screen != nullptr, scale != 0);
    if (!screen) continue;
    EXPECT_EQ(screen->resolution(), (CGSize{72 * scale, 72 * scale}));
    EXPECT_EQ(screen->backingScaleFactor(), scale);
  }
}

TEST(NSScreenTest, HostDeclarationWinsOverTheSession) {
  setenv("DISPLAY", ":7", 1);
  unsetenv("GDK_SCALE");
  unsetenv("QT_SCALE_FACTOR");
  ASSERT_NE(NSScreen::mainScreen(), nullptr);
  NSScreen::setNoMainScreen();
  EXPECT_EQ(NSScreen::mainScreen(), nullptr) << "a headless host in a desktop session";
  ASSERT_TRUE(NSScreen::setMainScreen({144, 150}, 2));
  EXPECT_FALSE(NSScreen::setMainScreen({0, 72}, 1));
  EXPECT_FALSE(NSScreen::setMainScreen({72, 72}, kNaN));
  const NSDictionary description = NSScreen::mainScreen()->deviceDescription();  // keep it alive
  const NSPropertyValue* resolution = description.objectForKey("NSDeviceResolution");
  ASSERT_NE(resolution, nullptr);
  EXPECT_EQ(resolution->sizeValue(), (CGSize{144, 150})) << "refused declarations change nothing";
  EXPECT_EQ(NSScreen::mainScreen()->backingScaleFactor(), 2.0);
  NSScreen::resetMainScreen();
  unsetenv("DISPLAY");
  unsetenv("WAYLAND_DISPLAY");
  EXPECT_EQ(NSScreen::mainScreen(), nullptr) << "no session, nothing declared";
}

}  // namespace
}  // namespace orvane
