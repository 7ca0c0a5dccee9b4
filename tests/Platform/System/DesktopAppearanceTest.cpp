#include "orvane/Platform/System/DesktopAppearance.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <chrono>

#include "orvane/Categories/NSViewDarkMode.h"
#include "orvane/Platform/AppKit/NSApplication.h"
#include "support/SettingsPortal.h"
#include "support/TempDir.h"

namespace orvane {
namespace {

using namespace std::chrono_literals;
using Portal = testing::StandInPortal;
using R = Portal::Reply;

class DesktopAppearanceTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (access(testing::PrivateBus::kDaemon, X_OK) != 0)
      GTEST_SKIP() << "dbus-daemon is not installed (Debian package dbus-daemon, which "
                      "scripts/install-deps.sh installs): the settings portal query is untested";
    bus_.emplace(dir_.path());
    ASSERT_TRUE(bus_->ready()) << "the private dbus-daemon did not start";
    setenv("DBUS_SESSION_BUS_ADDRESS", bus_->address().c_str(), 1);
  }
  void TearDown() override {
    unsetenv("DBUS_SESSION_BUS_ADDRESS");
    NSApplication::sharedApplication().setAppearance(nullptr);
  }
  // What the query answers from a portal replying `reply`; it is asked once.
  std::shared_ptr<const NSAppearance> ask(R reply, std::uint32_t scheme = 0) {
    Portal portal(bus_->address(), reply, scheme);
    EXPECT_TRUE(portal.ready());
    auto appearance = DesktopAppearance::preferredAppearance(5s);
    EXPECT_EQ(portal.reads(), 1);
    return appearance;
  }

  testing::TempDir dir_;
  std::optional<testing::PrivateBus> bus_;
};

TEST_F(DesktopAppearanceTest, PreferDarkIsDarkAquaEverythingElseAquaErrorsNothing) {
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
    EXPECT_EQ(ask(c.reply, c.scheme), NSAppearance::appearanceNamed(c.expected));
  }
  // No portal on the bus at all: the bus answers at once that nobody owns it.
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(DesktopAppearance::preferredAppearance(5s), nullptr);
  EXPECT_LT(std::chrono::steady_clock::now() - start, 4s);
  // The host sets the application from the desktop in one line.
  Portal portal(bus_->address(), R::Value, 1);
  NSApplication::sharedApplication().setAppearance(DesktopAppearance::preferredAppearance());
  EXPECT_TRUE(NSViewDarkMode::darkMode(*NSView::init()));
}

TEST_F(DesktopAppearanceTest, PortalThatNeverAnswersGivesNothingAfterTheTimeout) {
  Portal portal(bus_->address(), R::Silent);
  ASSERT_TRUE(portal.ready());
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(DesktopAppearance::preferredAppearance(300ms), nullptr);
  const auto elapsed = std::chrono::steady_clock::now() - start;
  EXPECT_GE(elapsed, 250ms);
  EXPECT_LT(elapsed, 5s) << "the call must give up near its timeout";
}

}  // namespace
}  // namespace orvane
