#pragma once

// A private session bus with a stand-in settings portal. Needs dbus-daemon and libsystemd (sd-bus).

#include <systemd/sd-bus.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include "support/ChildProcess.h"

namespace orvane::testing {

// dbus-daemon on a socket in `dir`, with no service directories, so nothing on
// the machine is ever activated. It prints its address once it listens.
struct PrivateBus {
  explicit PrivateBus(const std::filesystem::path& dir)
      : address("unix:path=" + (dir / "bus").string()),
        daemon([config = (dir / "session.conf").string(), this] {
          std::ofstream(config) << "<busconfig><type>session</type><listen>" << address
                                << "</listen><auth>EXTERNAL</auth><policy context=\"default\">"
                                   "<allow send_destination=\"*\" eavesdrop=\"true\"/>"
                                   "<allow eavesdrop=\"true\"/><allow own=\"*\"/>"
                                   "</policy></busconfig>\n";
          const std::string arg = "--config-file=" + config;
          execl(kDaemon, kDaemon, arg.c_str(), "--nofork", "--nopidfile", "--print-address=2",
                static_cast<char*>(nullptr));
          return 127;
        }),
        ready(daemon.waitForText(address)) {}
  static constexpr const char* kDaemon = "/usr/bin/dbus-daemon";

  const std::string address;
  ChildProcess daemon;  // killed and reaped when the bus goes
  const bool ready;
};

// Owns the portal's name on the bus and answers Read of the colour scheme the
// way it is told to; a silent portal owns the name but never reads a message.
struct StandInPortal {
  enum class Reply { Value, DoublyWrapped, Text, Error, Silent };

  StandInPortal(const std::string& address, Reply reply, std::uint32_t value = 0) : reply(reply), value(value) {
    ready = sd_bus_new(&bus) >= 0 && sd_bus_set_address(bus, address.c_str()) >= 0 &&
            sd_bus_set_bus_client(bus, 1) >= 0 && sd_bus_start(bus) >= 0 &&
            sd_bus_add_object(bus, nullptr, "/org/freedesktop/portal/desktop", &handle, this) >= 0 &&
            sd_bus_request_name(bus, "org.freedesktop.portal.Desktop", 0) >= 0;
    if (ready && reply != Reply::Silent)
      server = std::thread([this] {
        for (int r = 0; !stop && r >= 0;)
          if ((r = sd_bus_process(bus, nullptr)) == 0) sd_bus_wait(bus, 20'000);
      });
  }
  ~StandInPortal() {
    stop = true;
    if (server.joinable()) server.join();
    sd_bus_flush_close_unref(bus);
  }

  static int handle(sd_bus_message* m, void* userdata, sd_bus_error*) {
    auto* self = static_cast<StandInPortal*>(userdata);
    const char *ns = nullptr, *key = nullptr;
    if (!sd_bus_message_is_method_call(m, "org.freedesktop.portal.Settings", "Read")) return 0;
    if (sd_bus_message_read(m, "ss", &ns, &key) < 0) return -EINVAL;
    ++self->reads;
    if (std::string(ns) != "org.freedesktop.appearance" || std::string(key) != "color-scheme" ||
        self->reply == Reply::Error)
      return sd_bus_reply_method_errorf(m, "org.freedesktop.portal.Error.NotFound", "not found");
    if (self->reply == Reply::Text) return sd_bus_reply_method_return(m, "v", "s", "dark");
    if (self->reply == Reply::Value) return sd_bus_reply_method_return(m, "v", "u", self->value);
    // Portals before version 2 of the interface wrap the value twice.
    sd_bus_message* reply = nullptr;
    int r = sd_bus_message_new_method_return(m, &reply);
    if (r >= 0) r = sd_bus_message_append(reply, "v", "v", "u", self->value);
    if (r >= 0) r = sd_bus_send(nullptr, reply, nullptr);
    sd_bus_message_unref(reply);
    return r;
  }

  sd_bus* bus = nullptr;
  const Reply reply;
  const std::uint32_t value;
  bool ready = false;
  std::atomic<bool> stop{false};
  std::atomic<int> reads{0};
  std::thread server;
};

}  // namespace orvane::testing
