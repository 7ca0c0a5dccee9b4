#include <gtest/gtest.h>

#include <stdlib.h>

#include <limits>
#include <map>
#include <string>

#include "Platform/AppKit/NSScreenInternal.h"
#include "Platform/Foundation/EnvironmentOverrides.h"
#include "orvane/Platform/AppKit/NSScreen.h"

namespace orvane {
namespace {

// Overrides that set the main screen alone.
EnvironmentOverrides screenOverride(MainScreenOverride screen) {
  EnvironmentOverrides overrides;
  overrides.mainScreen = screen;
  return overrides;
}

TEST(NSScreenTest, DesktopSessionGivesAScreenScaledByTheToolkitVariables) {
  struct Case {
    std::map<std::string, std::string> variables;
    bool present;
    double scale;
  };
  const Case cases[] = {
      {{}, false, 0},
      {{{"DISPLAY", ""}}, false, 0},
      {{{"GDK_SCALE", "2"}}, false, 0},
      {{{"DISPLAY", ":0"}}, true, 1},
      {{{"WAYLAND_DISPLAY", "wayland-0"}, {"GDK_SCALE", "2"}}, true, 2},
      {{{"DISPLAY", ":1"}, {"QT_SCALE_FACTOR", "1.5"}}, true, 1.5},
      {{{"DISPLAY", ":1"}, {"GDK_SCALE", "3"}, {"QT_SCALE_FACTOR", "1.5"}}, true, 3},
      // A value that is not a positive finite number, whole, does not count.
      {{{"DISPLAY", ":1"}, {"GDK_SCALE", "2x"}, {"QT_SCALE_FACTOR", "1.25"}}, true, 1.25},
      {{{"DISPLAY", ":1"}, {"GDK_SCALE", "0"}}, true, 1},
      {{{"DISPLAY", ":1"}, {"QT_SCALE_FACTOR", "inf"}}, true, 1},
  };
  for (const Case& c : cases) {
    const auto screen = sessionScreen([&](const char* name) -> const char* {
      auto it = c.variables.find(name);
      return it == c.variables.end() ? nullptr : it->second.c_str();
    });
    SCOPED_TRACE(testing::PrintToString(c.variables));
    ASSERT_EQ(screen != nullptr, c.present);
    if (!screen) continue;
    EXPECT_EQ(screen->backingScaleFactor(), c.scale);
    EXPECT_EQ(screen->resolution(), (CGSize{72 * c.scale, 72 * c.scale}));
  }
}

class MainScreenTest : public testing::Test {
 protected:
  void TearDown() override { NSScreen::resetMainScreen(); }
};

TEST_F(MainScreenTest, HostDeclarationWinsOverTheSessionAndTestOverrideOverBoth) {
  setenv("DISPLAY", ":7", 1);
  unsetenv("GDK_SCALE");
  unsetenv("QT_SCALE_FACTOR");
  ASSERT_NE(NSScreen::mainScreen(), nullptr);
  EXPECT_EQ(NSScreen::mainScreen()->backingScaleFactor(), 1.0);

  NSScreen::setNoMainScreen();
  EXPECT_EQ(NSScreen::mainScreen(), nullptr) << "a headless host in a desktop session";

  ASSERT_TRUE(NSScreen::setMainScreen({144, 150}, 2));
  auto screen = NSScreen::mainScreen();
  ASSERT_NE(screen, nullptr);
  EXPECT_EQ(screen->resolution(), (CGSize{144, 150}));
  EXPECT_EQ(screen->backingScaleFactor(), 2.0);
  const NSDictionary description = screen->deviceDescription();  // a value: keep it alive
  const NSPropertyValue* resolution = description.objectForKey("NSDeviceResolution");
  ASSERT_NE(resolution, nullptr);
  EXPECT_EQ(resolution->sizeValue(), (CGSize{144, 150}));

  EXPECT_FALSE(NSScreen::setMainScreen({0, 72}, 1));
  EXPECT_FALSE(NSScreen::setMainScreen({72, 72}, std::numeric_limits<double>::quiet_NaN()));
  EXPECT_EQ(NSScreen::mainScreen()->backingScaleFactor(), 2.0) << "refused: kept";

  {
    ScopedEnvironmentOverrides none(screenOverride(MainScreenOverride{}));
    EXPECT_EQ(NSScreen::mainScreen(), nullptr);
  }
  {
    ScopedEnvironmentOverrides retina(screenOverride(MainScreenOverride{true, {220, 220}, 3}));
    ASSERT_NE(NSScreen::mainScreen(), nullptr);
    EXPECT_EQ(NSScreen::mainScreen()->backingScaleFactor(), 3.0);
    EXPECT_EQ(NSScreen::mainScreen()->resolution(), (CGSize{220, 220}));
  }
  EXPECT_EQ(NSScreen::mainScreen()->backingScaleFactor(), 2.0);

  NSScreen::resetMainScreen();
  unsetenv("DISPLAY");
  unsetenv("WAYLAND_DISPLAY");
  EXPECT_EQ(NSScreen::mainScreen(), nullptr) << "no session, nothing declared";
}

}  // namespace
}  // namespace orvane
