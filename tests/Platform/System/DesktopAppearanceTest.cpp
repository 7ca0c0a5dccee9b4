#include "orvane/Platform/System/DesktopAppearance.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <chrono>

#include "support/SettingsPortal.h"
#include "support/TempDir.h"

namespace orvane {
namespace {

using namespace std::chrono_literals;
using Portal = testing::StandInPortal;
using R = Portal::Reply;

TEST(DesktopAppearanceTest, PreferDarkIsDarkAquaEverythingElseAquaErrorsAndSilenceNothing) {
  if (access(testing::PrivateBus::kDaemon, X_OK) != 0)
    GTEST_SKIP() << "dbus-daemon is not installed (Debian package dbus-daemon, which "
                    "scripts/install-deps.sh installs): the settings portal query is untested";
  testing::TempDir dir;
  testing::PrivateBus bus(dir.path());
  ASSERT_TRUE(bus.ready) << "the private dbus-daemon did not start";
  setenv("DBUS_SESSION_BUS_ADDRESS", bus.address.c_str(), 1);
  const struct {
    R reply;
    std::uint32_t scheme;
    std::string_view expected;
  } cases[] = {
      {R::Value, 0, NSAppearanceNameAqua},  {R::Value, 1, NSAppearanceNameDarkAqua},
      {R::Value, 2, NSAppearanceNameAqua},  {R::Value, 7, NSAppearanceNameAqua},  // unknown: none
      {R::DoublyWrapped, 1, NSAppearanceNameDarkAqua}, {R::DoublyWrapped, 2, NSAppearanceNameAqua},
      {R::Error, 1, ""}, {R::Text, 1, ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(::testing::Message() << c.scheme << " reply " << static_cast<int>(c.reply));
    Portal portal(bus.address, c.reply, c.scheme);
    EXPECT_TRUE(portal.ready);
    EXPECT_EQ(DesktopAppearance::preferredAppearance(5s), NSAppearance::appearanceNamed(c.expected));
    EXPECT_EQ(portal.reads.load(), 1);
  }
  // No portal on the bus at all: the bus answers at once that nobody owns it.
  auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(DesktopAppearance::preferredAppearance(5s), nullptr);
  EXPECT_LT(std::chrono::steady_clock::now() - start, 4s);
  // A portal that never answers: nothing, near the timeout.
  Portal silent(bus.address, R::Silent);
  ASSERT_TRUE(silent.ready);
  start = std::chrono::steady_clock::now();
  EXPECT_EQ(DesktopAppearance::preferredAppearance(300ms), nullptr);
  EXPECT_GE(std::chrono::steady_clock::now() - start, 250ms);
  EXPECT_LT(std::chrono::steady_clock::now() - start, 5s);
  unsetenv("DBUS_SESSION_BUS_ADDRESS");
}

}  // namespace
}  // namespace orvane
