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

TEST(NSScreenTest, DesktopSessionGivesAScreenScaledByTheToolkitVariables) {
  // Scale 0: no screen. A value that is not a positive finite number, whole, does not count.
  const std::pair<std::map<std::string, std::string>, double> cases[] = {
      {{}, 0}, {{{"DISPLAY", ""}}, 0}, {{{"GDK_SCALE", "2"}}, 0}, {{{"DISPLAY", ":0"}}, 1},
      {{{"WAYLAND_DISPLAY", "wayland-0"}, {"GDK_SCALE", "2"}}, 2},
      {{{"DISPLAY", ":1"}, {"QT_SCALE_FACTOR", "1.5"}}, 1.5},
      {{{"DISPLAY", ":1"}, {"GDK_SCALE", "3"}, {"QT_SCALE_FACTOR", "1.5"}}, 3},
      {{{"DISPLAY", ":1"}, {"GDK_SCALE", "2x"}, {"QT_SCALE_FACTOR", "1.25"}}, 1.25},
      {{{"DISPLAY", ":1"}, {"GDK_SCALE", "0"}}, 1}, {{{"DISPLAY", ":1"}, {"QT_SCALE_FACTOR", "inf"}}, 1},
  };
  for (const auto& [variables, scale] : cases) {
    const auto screen = sessionScreen([&](const char* name) -> const char* {
      auto it = variables.find(name);
      return it == variables.end() ? nullptr : it->second.c_str();
    });
    SCOPED_TRACE(testing::PrintToString(variables));
    ASSERT_EQ(screen != nullptr, scale != 0);
    if (!screen) continue;
    EXPECT_EQ(screen->resolution(), (CGSize{72 * scale, 72 * scale}));
    EXPECT_EQ(screen->backingScaleFactor(), scale);
  }
}

TEST(NSScreenTest, HostDeclarationWinsOverTheSessionAndTestOverrideOverBoth) {
  setenv("DISPLAY", ":7", 1);
  unsetenv("GDK_SCALE");
  unsetenv("QT_SCALE_FACTOR");
  ASSERT_NE(NSScreen::mainScreen(), nullptr);
  EXPECT_EQ(NSScreen::mainScreen()->backingScaleFactor(), 1.0);
  NSScreen::setNoMainScreen();
  EXPECT_EQ(NSScreen::mainScreen(), nullptr) << "a headless host in a desktop session";
  ASSERT_TRUE(NSScreen::setMainScreen({144, 150}, 2));
  const NSDictionary description = NSScreen::mainScreen()->deviceDescription();  // keep it alive
  const NSPropertyValue* resolution = description.objectForKey("NSDeviceResolution");
  ASSERT_NE(resolution, nullptr);
  EXPECT_EQ(resolution->sizeValue(), (CGSize{144, 150}));
  EXPECT_FALSE(NSScreen::setMainScreen({0, 72}, 1));
  EXPECT_FALSE(NSScreen::setMainScreen({72, 72}, std::numeric_limits<double>::quiet_NaN()));
  EXPECT_EQ(NSScreen::mainScreen()->backingScaleFactor(), 2.0) << "refused: kept";
  for (const auto& [declared, scale] : {std::pair{MainScreenOverride{}, 0.0},
                                        std::pair{MainScreenOverride{true, {220, 220}, 3}, 3.0}}) {
    EnvironmentOverrides overrides;
    overrides.mainScreen = declared;
    ScopedEnvironmentOverrides scoped(overrides);
    const auto screen = NSScreen::mainScreen();
    ASSERT_EQ(screen != nullptr, scale != 0);
    if (!screen) continue;
    EXPECT_EQ(screen->resolution(), (CGSize{220, 220}));
    EXPECT_EQ(screen->backingScaleFactor(), 3.0);
  }
  EXPECT_EQ(NSScreen::mainScreen()->resolution(), (CGSize{144, 150}));
  NSScreen::resetMainScreen();
  unsetenv("DISPLAY");
  unsetenv("WAYLAND_DISPLAY");
  EXPECT_EQ(NSScreen::mainScreen(), nullptr) << "no session, nothing declared";
}

}  // namespace
}  // namespace orvane
