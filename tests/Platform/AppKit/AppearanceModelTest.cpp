#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "orvane/Platform/AppKit/NSAppearance.h"
#include "orvane/Platform/AppKit/NSApplication.h"
#include "orvane/Platform/AppKit/NSColor.h"
#include "orvane/Platform/AppKit/NSView.h"
#include "orvane/Platform/AppKit/NSWindow.h"

namespace orvane {
namespace {

TEST(NSAppearanceTest, PlatformNamesAreTheirOwnTextAndUnknownNamesHaveNoAppearance) {
  const std::pair<std::string_view, const char*> names[] = {
#define NAME(n) {n, #n}
      NAME(NSAppearanceNameAqua), NAME(NSAppearanceNameDarkAqua), NAME(NSAppearanceNameVibrantLight),
      NAME(NSAppearanceNameVibrantDark), NAME(NSAppearanceNameAccessibilityHighContrastAqua),
      NAME(NSAppearanceNameAccessibilityHighContrastDarkAqua),
      NAME(NSAppearanceNameAccessibilityHighContrastVibrantLight),
      NAME(NSAppearanceNameAccessibilityHighContrastVibrantDark),
#undef NAME
  };
  for (const auto& [constant, text] : names) {
    EXPECT_EQ(constant, text);
    auto appearance = NSAppearance::appearanceNamed(constant);
    ASSERT_NE(appearance, nullptr) << text;
    EXPECT_EQ(appearance->name(), text);
    EXPECT_EQ(NSAppearance::appearanceNamed(text), appearance) << "one object per name";
  }
  EXPECT_EQ(NSAppearance::appearanceNamed("NSAppearanceNameDarkAqua "), nullptr);
  EXPECT_EQ(NSAppearance::appearanceNamed(""), nullptr);
  EXPECT_EQ(NSAppearance("com.example.Sepia").name(), "com.example.Sepia");
}

void expectColor(const std::shared_ptr<const NSColor>& c, double r, double g, double b, double a) {
  ASSERT_NE(c, nullptr);
  EXPECT_EQ(c->redComponent(), r);
  EXPECT_EQ(c->greenComponent(), g);
  EXPECT_EQ(c->blueComponent(), b);
  EXPECT_EQ(c->alphaComponent(), a);
}

TEST(NSColorTest, ComponentsAreClampedToTheUnitInterval) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  expectColor(NSColor::colorWithSRGBRedGreenBlueAlpha(0.2, 0.4, 0.6, 0.8), 0.2, 0.4, 0.6, 0.8);
  expectColor(NSColor::colorWithSRGBRedGreenBlueAlpha(-0.5, 1.5, nan, 2.0), 0.0, 1.0, 0.0, 1.0);
  expectColor(NSColor::highlightColor(), 1.0, 1.0, 1.0, 1.0);
}

TEST(NSColorTest, HighlightBlendsTowardWhiteAndKeepsAlpha) {
  auto color = NSColor::colorWithSRGBRedGreenBlueAlpha(0.2, 0.6, 0.0, 0.4);
  struct Case {
    double level, r, g, b;
  };
  // Halfway, a quarter, clamped to 0 and 1.
  const Case cases[] = {{0.5, 0.6, 0.8, 0.5}, {0.25, 0.4, 0.7, 0.25}, {-3.0, 0.2, 0.6, 0.0}, {7.0, 1.0, 1.0, 1.0}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.level);
    auto blended = color->highlightWithLevel(c.level);
    ASSERT_NE(blended, nullptr);
    EXPECT_DOUBLE_EQ(blended->redComponent(), c.r);
    EXPECT_DOUBLE_EQ(blended->greenComponent(), c.g);
    EXPECT_DOUBLE_EQ(blended->blueComponent(), c.b);
    EXPECT_EQ(blended->alphaComponent(), 0.4);
  }
  expectColor(color->highlightWithLevel(0.0), 0.2, 0.6, 0.0, 0.4);  // exactly
  expectColor(color->highlightWithLevel(1.0), 1.0, 1.0, 1.0, 0.4);
  EXPECT_EQ(color->highlightWithLevel(std::numeric_limits<double>::quiet_NaN()), nullptr);
  expectColor(color, 0.2, 0.6, 0.0, 0.4);  // the receiver never changes
}

TEST(NSColorTest, DisabledEffectHalvesAlphaOnlyOtherEffectsKeepTheColour) {
  auto color = NSColor::colorWithSRGBRedGreenBlueAlpha(0.1, 0.5, 0.9, 0.8);
  EXPECT_EQ(static_cast<int>(NSColorSystemEffectDisabled), 3);
  expectColor(color->colorWithSystemEffect(NSColorSystemEffectDisabled), 0.1, 0.5, 0.9, 0.4);
  for (auto effect : {NSColorSystemEffectNone, NSColorSystemEffectPressed,
                      NSColorSystemEffectDeepPressed, NSColorSystemEffectRollover})
    expectColor(color->colorWithSystemEffect(effect), 0.1, 0.5, 0.9, 0.8);
  EXPECT_EQ(color->colorWithSystemEffect(static_cast<NSColorSystemEffect>(42)), nullptr);
  EXPECT_NE(color->colorWithSystemEffect(NSColorSystemEffectNone), color) << "a new colour";
}

class ViewTreeTest : public ::testing::Test {
 protected:
  void TearDown() override { NSApplication::sharedApplication().setAppearance(nullptr); }
};

TEST_F(ViewTreeTest, ViewsFindTheirWindowThroughTheirSuperviews) {
  auto window = NSWindow::init();
  auto root = NSView::init();
  auto child = NSView::init();
  auto grandchild = NSView::init();
  child->addSubview(grandchild);
  root->addSubview(child);
  EXPECT_EQ(grandchild->window(), nullptr);

  window->setContentView(root);
  EXPECT_EQ(window->contentView(), root);
  EXPECT_EQ(grandchild->window(), window);
  EXPECT_EQ(grandchild->superview(), child);

  grandchild->removeFromSuperview();
  EXPECT_EQ(grandchild->window(), nullptr);
  EXPECT_EQ(grandchild->superview(), nullptr);
  EXPECT_TRUE(child->subviews().empty());

  // The content view moves to another window and leaves the first.
  auto other = NSWindow::init();
  other->setContentView(root);
  EXPECT_EQ(window->contentView(), nullptr);
  EXPECT_EQ(child->window(), other);

  // A content view added as a subview elsewhere leaves its window.
  grandchild->addSubview(root);
  EXPECT_EQ(other->contentView(), nullptr);
  EXPECT_EQ(child->window(), nullptr);

  root->removeFromSuperview();
  root->removeFromSuperview();  // already out: nothing happens
  EXPECT_TRUE(grandchild->subviews().empty());
  other->setContentView(root);
  root->removeFromSuperview();
  EXPECT_EQ(other->contentView(), nullptr);
  EXPECT_EQ(root->window(), nullptr);
}

TEST_F(ViewTreeTest, CyclesAreRefusedAndAGoneWindowIsNoWindow) {
  auto a = NSView::init();
  auto b = NSView::init();
  a->addSubview(b);
  b->addSubview(a);  // a is b's superview
  a->addSubview(a);
  b->addSubview(nullptr);
  EXPECT_EQ(a->superview(), nullptr);
  EXPECT_EQ(a->subviews().size(), 1u);
  EXPECT_TRUE(b->subviews().empty());

  auto window = NSWindow::init();
  window->setContentView(a);
  EXPECT_EQ(b->window(), window);
  window.reset();
  EXPECT_EQ(b->window(), nullptr);
  EXPECT_EQ(a->superview(), nullptr);  // and the views are still usable
}

TEST_F(ViewTreeTest, EffectiveAppearanceFallsBackOwnSuperviewWindowApplication) {
  auto aqua = NSAppearance::appearanceNamed(NSAppearanceNameAqua);
  auto dark = NSAppearance::appearanceNamed(NSAppearanceNameDarkAqua);
  auto vibrant = NSAppearance::appearanceNamed(NSAppearanceNameVibrantDark);
  auto sepia = std::make_shared<const NSAppearance>("com.example.Sepia");
  NSApplication& app = NSApplication::sharedApplication();

  EXPECT_EQ(app.appearance(), nullptr);
  EXPECT_EQ(app.effectiveAppearance(), aqua);
  auto window = NSWindow::init();
  auto root = NSView::init();
  auto child = NSView::init();
  root->addSubview(child);
  window->setContentView(root);
  EXPECT_EQ(child->effectiveAppearance(), aqua);

  app.setAppearance(dark);
  EXPECT_EQ(window->effectiveAppearance(), dark);
  EXPECT_EQ(child->effectiveAppearance(), dark);
  window->setAppearance(vibrant);
  EXPECT_EQ(window->effectiveAppearance(), vibrant);
  EXPECT_EQ(child->effectiveAppearance(), vibrant);
  root->setAppearance(sepia);
  EXPECT_EQ(child->effectiveAppearance(), sepia);
  EXPECT_EQ(window->effectiveAppearance(), vibrant);
  app.setAppearance(nullptr);
  EXPECT_EQ(app.effectiveAppearance(), aqua);
}

}  // namespace
}  // namespace orvane
