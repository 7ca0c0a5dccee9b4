#include "orvane/Platform/System/DesktopAppearance.h"

#include <gtest/gtest.h>

#include <chrono>

#include "orvane/Categories/NSViewDarkMode.h"
#include "orvane/Platform/AppKit/NSApplication.h"
#include "support/SettingsPortal.h"
#include "support/TempDir.h"

namespace orvane {
namespace {

using namespace std::chrono_literals;
using testing::PrivateBus;
using testing::ScopedVariable;
using testing::StandInPortal;

class DesktopAppearanceTest : public ::testing::Test {
 protected:
  void SetUp() override {
    auto daemon = testing::findProgram("dbus-daemon");
    if (!daemon)
      GTEST_SKIP() << "dbus-daemon is not installed (Debian package dbus-daemon, which "
                      "scripts/install-deps.sh installs): the settings portal query is untested";
    bus_.emplace(*daemon, dir_.path());
    ASSERT_FALSE(bus_->address().empty()) << "the private dbus-daemon did not start";
    address_.emplace("DBUS_SESSION_BUS_ADDRESS", bus_->address());
  }
  void TearDown() override { NSApplication::sharedApplication().setAppearance(nullptr); }

  const std::string& address() const { return bus_->address(); }

  testing::TempDir dir_;
  std::optional<PrivateBus> bus_;
  std::optional<ScopedVariable> address_;
};

TEST_F(DesktopAppearanceTest, PreferDarkIsDarkAquaEverythingElseAqua) {
  struct Case {
    StandInPortal::Reply reply;
    std::uint32_t scheme;
    std::string_view expected;
  };
  using R = StandInPortal::Reply;
  const Case cases[] = {
      {R::Value, 0, NSAppearanceNameAqua},      // no preference
      {R::Value, 1, NSAppearanceNameDarkAqua},  // prefer dark
      {R::Value, 2, NSAppearanceNameAqua},      // prefer light
      {R::Value, 7, NSAppearanceNameAqua},      // unknown values count as none
      {R::DoublyWrapped, 1, NSAppearanceNameDarkAqua},
      {R::DoublyWrapped, 2, NSAppearanceNameAqua},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(::testing::Message()
                 << "scheme " << c.scheme << " reply " << static_cast<int>(c.reply));
    StandInPortal portal(address(), c.reply, c.scheme);
    ASSERT_TRUE(portal.ready());
    auto appearance = DesktopAppearance::preferredAppearance(5s);
    ASSERT_NE(appearance, nullptr);
    EXPECT_EQ(appearance->name(), c.expected);
    EXPECT_EQ(appearance, NSAppearance::appearanceNamed(c.expected));
    EXPECT_EQ(portal.reads(), 1);
  }
}

TEST_F(DesktopAppearanceTest, HostSetsTheApplicationFromTheDesktopInOneLine) {
  StandInPortal portal(address(), StandInPortal::Reply::Value, 1);
  ASSERT_TRUE(portal.ready());
  NSApplication::sharedApplication().setAppearance(DesktopAppearance::preferredAppearance());
  EXPECT_TRUE(NSViewDarkMode::darkMode(*NSView::init()));
}

TEST_F(DesktopAppearanceTest, ErrorsAndOtherValueTypesGiveNothing) {
  for (auto reply : {StandInPortal::Reply::Error, StandInPortal::Reply::Text}) {
    StandInPortal portal(address(), reply);
    ASSERT_TRUE(portal.ready());
    EXPECT_EQ(DesktopAppearance::preferredAppearance(5s), nullptr);
    EXPECT_EQ(portal.reads(), 1);
  }
  // No portal on the bus at all: the bus answers at once that nobody owns it.
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(DesktopAppearance::preferredAppearance(5s), nullptr);
  EXPECT_LT(std::chrono::steady_clock::now() - start, 4s);
}

TEST_F(DesktopAppearanceTest, PortalThatNeverAnswersGivesNothingAfterTheTimeout) {
  StandInPortal portal(address(), StandInPortal::Reply::Silent);
  ASSERT_TRUE(portal.ready());
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(DesktopAppearance::preferredAppearance(300ms), nullptr);
  const auto elapsed = std::chrono::steady_clock::now() - start;
  EXPECT_GE(elapsed, 250ms);
  EXPECT_LT(elapsed, 5s) << "the call must give up near its timeout";
}

}  // namespace
}  // namespace orvane
