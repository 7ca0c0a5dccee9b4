#include "orvane/Platform/System/DesktopAppearance.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <thread>

#include "orvane/Categories/NSViewDarkMode.h"
#include "orvane/Platform/AppKit/NSApplication.h"
#include "support/TempDir.h"

extern char** environ;

namespace orvane {
namespace {

using namespace std::chrono_literals;

std::optional<std::string> findProgram(const std::string& name) {
  std::string path = getenv("PATH") ? getenv("PATH") : "";
  path += ":/usr/bin:/bin";
  std::stringstream dirs(path);
  for (std::string dir; std::getline(dirs, dir, ':');) {
    if (dir.empty()) continue;
    std::string candidate = dir + "/" + name;
    if (access(candidate.c_str(), X_OK) == 0) return candidate;
  }
  return std::nullopt;
}

// A private session bus: dbus-daemon on a socket in a temporary directory,
// with no service directories, so nothing on the machine is ever activated.
class PrivateBus {
 public:
  PrivateBus(const std::string& daemon, const std::filesystem::path& dir) : socket_(dir / "bus") {
    const auto config = dir / "session.conf";
    std::ofstream(config) << "<busconfig>\n"
                             "  <type>session</type>\n"
                             "  <listen>unix:path="
                          << socket_.string()
                          << "</listen>\n"
                             "  <auth>EXTERNAL</auth>\n"
                             "  <policy context=\"default\">\n"
                             "    <allow send_destination=\"*\" eavesdrop=\"true\"/>\n"
                             "    <allow eavesdrop=\"true\"/>\n"
                             "    <allow own=\"*\"/>\n"
                             "  </policy>\n"
                             "</busconfig>\n";
    int fds[2];
    if (pipe(fds) != 0) return;
    const std::string configArg = "--config-file=" + config.string();
    const std::string printArg = "--print-address=" + std::to_string(fds[1]);
    const char* argv[] = {daemon.c_str(), configArg.c_str(), "--nofork",
                          "--nopidfile",  printArg.c_str(),  nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addclose(&actions, fds[0]);
    if (posix_spawn(&pid_, daemon.c_str(), &actions, nullptr, const_cast<char**>(argv), environ) !=
        0)
      pid_ = -1;
    posix_spawn_file_actions_destroy(&actions);
    close(fds[1]);
    // The daemon prints its address once it listens.
    pollfd readable{fds[0], POLLIN, 0};
    std::string line;
    char buffer[512];
    while (pid_ > 0 && line.find('\n') == std::string::npos && poll(&readable, 1, 10000) > 0) {
      ssize_t n = read(fds[0], buffer, sizeof buffer);
      if (n <= 0) break;
      line.append(buffer, static_cast<std::size_t>(n));
    }
    close(fds[0]);
    if (auto end = line.find('\n'); end != std::string::npos) address_ = line.substr(0, end);
  }

  ~PrivateBus() {
    if (pid_ > 0) {
      kill(pid_, SIGTERM);
      waitpid(pid_, nullptr, 0);
    }
  }

  const std::string& address() const { return address_; }
  const std::filesystem::path& socket() const { return socket_; }

 private:
  std::filesystem::path socket_;
  pid_t pid_ = -1;
  std::string address_;
};

// A stand-in for the desktop's settings portal: owns the portal's name on the
// private bus and answers Read of the colour scheme the way it is told to.
class StandInPortal {
 public:
  enum class Reply { Value, DoublyWrapped, Text, Error, Silent };

  StandInPortal(const std::string& address, Reply reply, std::uint32_t value = 0)
      : reply_(reply), value_(value) {
    if (sd_bus_new(&bus_) < 0 || sd_bus_set_address(bus_, address.c_str()) < 0 ||
        sd_bus_set_bus_client(bus_, 1) < 0 || sd_bus_start(bus_) < 0 ||
        sd_bus_add_object(bus_, nullptr, "/org/freedesktop/portal/desktop", &StandInPortal::handle,
                          this) < 0 ||
        sd_bus_request_name(bus_, "org.freedesktop.portal.Desktop", 0) < 0)
      return;
    ready_ = true;
    // A silent portal owns the name but never reads its messages.
    if (reply_ != Reply::Silent) server_ = std::thread([this] { serve(); });
  }

  ~StandInPortal() {
    stop_ = true;
    if (server_.joinable()) server_.join();
    sd_bus_flush_close_unref(bus_);
  }

  bool ready() const { return ready_; }
  int reads() const { return reads_; }

 private:
  void serve() {
    while (!stop_) {
      int r = sd_bus_process(bus_, nullptr);
      if (r < 0) return;
      if (r == 0) sd_bus_wait(bus_, 20'000);
    }
  }

  static int handle(sd_bus_message* m, void* userdata, sd_bus_error*) {
    auto* self = static_cast<StandInPortal*>(userdata);
    if (!sd_bus_message_is_method_call(m, "org.freedesktop.portal.Settings", "Read")) return 0;
    const char* ns = nullptr;
    const char* key = nullptr;
    if (sd_bus_message_read(m, "ss", &ns, &key) < 0) return -EINVAL;
    ++self->reads_;
    if (std::string(ns) != "org.freedesktop.appearance" || std::string(key) != "color-scheme" ||
        self->reply_ == Reply::Error)
      return sd_bus_reply_method_errorf(m, "org.freedesktop.portal.Error.NotFound",
                                        "Requested setting not found");
    if (self->reply_ == Reply::Text) return sd_bus_reply_method_return(m, "v", "s", "dark");
    if (self->reply_ == Reply::Value) return sd_bus_reply_method_return(m, "v", "u", self->value_);
    // Portals before version 2 of the interface wrap the value twice.
    sd_bus_message* reply = nullptr;
    int r = sd_bus_message_new_method_return(m, &reply);
    if (r >= 0) r = sd_bus_message_append(reply, "v", "v", "u", self->value_);
    if (r >= 0) r = sd_bus_send(nullptr, reply, nullptr);
    sd_bus_message_unref(reply);
    return r;
  }

  sd_bus* bus_ = nullptr;
  Reply reply_;
  std::uint32_t value_;
  bool ready_ = false;
  std::atomic<bool> stop_{false};
  std::atomic<int> reads_{0};
  std::thread server_;
};

// Sets or unsets an environment variable for the object's lifetime.
class ScopedVariable {
 public:
  ScopedVariable(const char* name, std::optional<std::string> value) : name_(name) {
    if (const char* old = getenv(name)) previous_ = old;
    if (value)
      setenv(name, value->c_str(), 1);
    else
      unsetenv(name);
  }
  ~ScopedVariable() {
    if (previous_)
      setenv(name_, previous_->c_str(), 1);
    else
      unsetenv(name_);
  }

 private:
  const char* name_;
  std::optional<std::string> previous_;
};

class DesktopAppearanceTest : public ::testing::Test {
 protected:
  void SetUp() override {
    auto daemon = findProgram("dbus-daemon");
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

TEST_F(DesktopAppearanceTest, BusComesFromTheAddressElseTheRuntimeDirectory) {
  StandInPortal portal(address(), StandInPortal::Reply::Value, 1);
  ASSERT_TRUE(portal.ready());
  {
    // No address: $XDG_RUNTIME_DIR/bus, which is where the private bus listens.
    ScopedVariable noAddress("DBUS_SESSION_BUS_ADDRESS", std::nullopt);
    ScopedVariable runtime("XDG_RUNTIME_DIR", bus_->socket().parent_path().string());
    auto appearance = DesktopAppearance::preferredAppearance(5s);
    ASSERT_NE(appearance, nullptr);
    EXPECT_EQ(appearance->name(), NSAppearanceNameDarkAqua);
  }
  {
    ScopedVariable noAddress("DBUS_SESSION_BUS_ADDRESS", std::nullopt);
    ScopedVariable noRuntime("XDG_RUNTIME_DIR", std::nullopt);
    EXPECT_EQ(DesktopAppearance::preferredAppearance(5s), nullptr);
  }
  {
    ScopedVariable nowhere("DBUS_SESSION_BUS_ADDRESS",
                           "unix:path=" + (dir_.path() / "no-such-socket").string());
    EXPECT_EQ(DesktopAppearance::preferredAppearance(5s), nullptr);
  }
  EXPECT_EQ(portal.reads(), 1);
}

}  // namespace
}  // namespace orvane
