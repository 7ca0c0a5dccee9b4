#include <gtest/gtest.h>

#include <limits>

#include "orvane/Platform/AppKit/NSApplication.h"
#include "orvane/Platform/AppKit/NSColor.h"
#include "orvane/Platform/AppKit/NSView.h"
#include "orvane/Platform/AppKit/NSWindow.h"

namespace orvane {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

TEST(NSAppearanceTest, PlatformNamesAreTheirOwnTextAndUnknownNamesHaveNoAppearance) {
#define NAME(n) {n, #n}
  const std::pair<std::string_view, const char*> names[] = {
      NAME(NSAppearanceNameAqua), NAME(NSAppearanceNameDarkAqua), NAME(NSAppearanceNameVibrantLight),
      NAME(NSAppearanceNameVibrantDark), NAME(NSAppearanceNameAccessibilityHighContrastAqua),
      NAME(NSAppearanceNameAccessibilityHighContrastDarkAqua),
      NAME(NSAppearanceNameAccessibilityHighContrastVibrantLight),
      NAME(NSAppearanceNameAccessibilityHighContrastVibrantDark)};
#undef NAME
  for (const auto& [constant, text] : names) {
    EXPECT_EQ(constant, text);
    auto appearance = NSAppearance::appearanceNamed(constant);
    ASSERT_NE(appearance, nullptr) << text;
    EXPECT_EQ(appearance->name(), text);
    EXPECT_EQ(NSAppearance::appearanceNamed(text), appearance) << "one object per name";
  }
  EXPECT_EQ(NSAppearance::appearanceNamed("NSAppearanceNameDarkAqua "), nullptr);
  EXPECT_EQ(NSAppearance::appearanceNamed(""), nullptr);
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
  expectColor(NSColor::highlightColor(), {1, 1, 1, 1});
  auto color = NSColor::colorWithSRGBRedGreenBlueAlpha(0.2, 0.6, 0.0, 0.4);
  // Halfway, a quarter, none, all, and levels clamped to 0 and 1.
  for (const auto& [level, r, g, b] : std::initializer_list<std::array<double, 4>>{
           {0.5, 0.6, 0.8, 0.5}, {0.25, 0.4, 0.7, 0.25}, {0, 0.2, 0.6, 0}, {1, 1, 1, 1},
           {-3.0, 0.2, 0.6, 0.0}, {7.0, 1.0, 1.0, 1.0}})
    expectColor(color->highlightWithLevel(level), {r, g, b, 0.4});
  EXPECT_EQ(color->highlightWithLevel(kNaN), nullptr);
  expectColor(color, {0.2, 0.6, 0.0, 0.4});  // the receiver never changes

  expectColor(color->colorWithSystemEffect(NSColorSystemEffectDisabled), {0.2, 0.6, 0.0, 0.2});
  for (auto effect : {NSColorSystemEffectNone, NSColorSystemEffectPressed,
                      NSColorSystemEffectDeepPressed, NSColorSystemEffectRollover})
    expectColor(color->colorWithSystemEffect(effect), {0.2, 0.6, 0.0, 0.4});
  EXPECT_EQ(color->colorWithSystemEffect(static_cast<NSColorSystemEffect>(42)), nullptr);
  EXPECT_NE(color->colorWithSystemEffect(NSColorSystemEffectNone), color) << "a new colour";
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
  EXPECT_EQ(grandchild->window(), nullptr);
  window->setContentView(root);
  EXPECT_EQ(grandchild->window(), window);
  grandchild->removeFromSuperview();
  EXPECT_EQ(grandchild->window(), nullptr);
  EXPECT_EQ(grandchild->superview(), nullptr);
  EXPECT_TRUE(child->subviews().empty());
  other->setContentView(root);  // the content view moves and leaves the first window
  EXPECT_EQ(window->contentView(), nullptr);
  EXPECT_EQ(child->window(), other);
  grandchild->addSubview(root);  // a content view added as a subview leaves its window
  EXPECT_EQ(other->contentView(), nullptr);
  EXPECT_EQ(child->window(), nullptr);
  root->removeFromSuperview();
  root->removeFromSuperview();  // already out: nothing happens
  EXPECT_TRUE(grandchild->subviews().empty());
  other->setContentView(root);
  root->removeFromSuperview();
  EXPECT_EQ(other->contentView(), nullptr);

  auto a = NSView::init(), b = NSView::init();
  a->addSubview(b);
  b->addSubview(a);  // a is b's superview
  a->addSubview(a);
  b->addSubview(nullptr);
  EXPECT_EQ(a->superview(), nullptr);
  EXPECT_EQ(a->subviews().size(), 1u);
  EXPECT_TRUE(b->subviews().empty());
  window->setContentView(a);
  EXPECT_EQ(b->window(), window);
  window.reset();
  EXPECT_EQ(b->window(), nullptr) << "a gone window is no window";
}

TEST_F(ViewTreeTest, EffectiveAppearanceFallsBackOwnSuperviewWindowApplication) {
  auto aqua = NSAppearance::appearanceNamed(NSAppearanceNameAqua);
  auto dark = NSAppearance::appearanceNamed(NSAppearanceNameDarkAqua);
  auto vibrant = NSAppearance::appearanceNamed(NSAppearanceNameVibrantDark);
  auto sepia = std::make_shared<const NSAppearance>("com.example.Sepia");
  NSApplication& app = NSApplication::sharedApplication();
  EXPECT_EQ(app.effectiveAppearance(), aqua);
  auto window = NSWindow::init();
  auto root = NSView::init(), child = NSView::init();
  root->addSubview(child);
  window->setContentView(root);
  EXPECT_EQ(child->effectiveAppearance(), aqua);
  app.setAppearance(dark);
  EXPECT_EQ(child->effectiveAppearance(), dark);
  window->setAppearance(vibrant);
  EXPECT_EQ(child->effectiveAppearance(), vibrant);
  root->setAppearance(sepia);
  EXPECT_EQ(child->effectiveAppearance(), sepia);
  EXPECT_EQ(window->effectiveAppearance(), vibrant);
  app.setAppearance(nullptr);
  EXPECT_EQ(app.effectiveAppearance(), aqua);
}

}  // namespace
}  // namespace orvane
