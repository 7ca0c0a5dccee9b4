#include <gtest/gtest.h>

#include "Platform/Foundation/EnvironmentOverrides.h"
#include "orvane/Categories/NSColorColorEffect.h"
#include "orvane/Categories/NSViewDarkMode.h"
#include "orvane/Categories/NSWindowDarkmode.h"
#include "orvane/Platform/AppKit/NSApplication.h"

namespace orvane {
namespace {

std::shared_ptr<const NSAppearance> named(std::string_view name) {
  return std::make_shared<const NSAppearance>(std::string(name));
}

ScopedEnvironmentOverrides runningAs(OperatingSystemVersion version) {
  EnvironmentOverrides o;
  o.systemVersion = version;
  return ScopedEnvironmentOverrides(o);
}

class DarkModeTest : public ::testing::Test {
 protected:
  void TearDown() override { NSApplication::sharedApplication().setAppearance(nullptr); }
};

TEST_F(DarkModeTest, OnlyTheFourDarkNamesAreDarkAndOnlyFrom10_14) {
  // Exact equality: no prefix, case or closest-match tricks.
  const std::pair<std::string_view, bool> cases[] = {
      {NSAppearanceNameDarkAqua, true}, {NSAppearanceNameVibrantDark, true},
      {NSAppearanceNameAccessibilityHighContrastDarkAqua, true},
      {NSAppearanceNameAccessibilityHighContrastVibrantDark, true}, {NSAppearanceNameAqua, false},
      {NSAppearanceNameVibrantLight, false}, {NSAppearanceNameAccessibilityHighContrastAqua, false},
      {NSAppearanceNameAccessibilityHighContrastVibrantLight, false},
      {"NSAppearanceNameDarkAqua ", false}, {"nsappearancenamedarkaqua", false},
      {"NSAppearanceNameDarkAquaCustom", false}, {"NSAppearanceNameDark", false}, {"", false},
  };
  for (const OperatingSystemVersion version :
       {OperatingSystemVersion{10, 14, 0}, {10, 15, 7}, {11, 0, 0}, {10, 13, 6}, {10, 9, 0}}) {
    auto scoped = runningAs(version);
    const bool hasDarkMode = version >= OperatingSystemVersion{10, 14, 0};
    for (const auto& [name, dark] : cases)
      EXPECT_EQ(NSWindowDarkmode::darkModeAppearance(named(name)), dark && hasDarkMode)
          << version.majorVersion << "." << version.minorVersion << " " << name;
    EXPECT_FALSE(NSWindowDarkmode::darkModeAppearance(nullptr));
    // The shared platform objects answer as their names do.
    EXPECT_EQ(NSWindowDarkmode::darkModeAppearance(
                  NSAppearance::appearanceNamed(NSAppearanceNameVibrantDark)), hasDarkMode);
  }
}

TEST_F(DarkModeTest, WindowAnswersFromItsOwnAppearanceElseTheApplication) {
  NSApplication& app = NSApplication::sharedApplication();
  auto window = NSWindow::init();
  EXPECT_FALSE(NSWindowDarkmode::darkMode(*window));  // the system's light default
  app.setAppearance(named(NSAppearanceNameDarkAqua));
  EXPECT_TRUE(NSWindowDarkmode::darkMode(*window));
  window->setAppearance(named(NSAppearanceNameAqua));
  EXPECT_FALSE(NSWindowDarkmode::darkMode(*window));
  app.setAppearance(nullptr);
  window->setAppearance(named(NSAppearanceNameAccessibilityHighContrastVibrantDark));
  EXPECT_TRUE(NSWindowDarkmode::darkMode(*window));
  auto scoped = runningAs({10, 13, 6});
  EXPECT_FALSE(NSWindowDarkmode::darkMode(*window));
}

TEST_F(DarkModeTest, ViewAsksItsWindowElseTheApplicationNeverItself) {
  NSApplication& app = NSApplication::sharedApplication();
  app.setAppearance(named(NSAppearanceNameDarkAqua));
  auto view = NSView::init(), root = NSView::init();
  auto window = NSWindow::init();
  view->setAppearance(named(NSAppearanceNameAqua));  // ignored by the dark test
  EXPECT_TRUE(NSViewDarkMode::darkMode(*view));
  window->setAppearance(named(NSAppearanceNameAqua));
  window->setContentView(root);
  root->addSubview(view);
  EXPECT_FALSE(NSViewDarkMode::darkMode(*view));
  view->setAppearance(named(NSAppearanceNameVibrantDark));
  root->setAppearance(named(NSAppearanceNameVibrantDark));
  EXPECT_FALSE(NSViewDarkMode::darkMode(*view)) << "own and superview appearances are ignored";
  window->setAppearance(nullptr);  // the window now follows the dark application
  EXPECT_TRUE(NSViewDarkMode::darkMode(*view));
  window->setAppearance(named(NSAppearanceNameAqua));
  view->removeFromSuperview();
  EXPECT_TRUE(NSViewDarkMode::darkMode(*view)) << "out of the window: the application again";
  app.setAppearance(named(NSAppearanceNameVibrantLight));
  EXPECT_FALSE(NSViewDarkMode::darkMode(*view));
}

TEST_F(DarkModeTest, DisableColorHalvesAlphaFrom10_14AndWashesTowardWhiteBefore) {
  auto color = NSColor::colorWithSRGBRedGreenBlueAlpha(0.2, 0.4, 0.0, 0.8);
  for (const auto& [version, r, g, b, a] : std::initializer_list<
           std::tuple<OperatingSystemVersion, double, double, double, double>>{
           {{10, 14, 0}, 0.2, 0.4, 0.0, 0.4}, {{10, 13, 6}, 0.6, 0.7, 0.5, 0.8}}) {
    auto scoped = runningAs(version);
    auto disabled = NSColorColorEffect::disableColor(*color);
    ASSERT_NE(disabled, nullptr);
    EXPECT_DOUBLE_EQ(disabled->redComponent(), r);
    EXPECT_DOUBLE_EQ(disabled->greenComponent(), g);
    EXPECT_DOUBLE_EQ(disabled->blueComponent(), b);
    EXPECT_EQ(disabled->alphaComponent(), a);
  }
  EXPECT_EQ(color->alphaComponent(), 0.8);  // the receiver is untouched
}

}  // namespace
}  // namespace orvane
