#pragma once

// A private session bus with a stand-in for the desktop's settings portal, for
// tests of the desktop appearance query. Needs libsystemd (sd-bus).

#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <thread>

extern char** environ;

namespace orvane::testing {

inline std::optional<std::string> findProgram(const std::string& name) {
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

}  // namespace orvane::testing
