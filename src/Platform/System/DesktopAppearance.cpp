#include "orvane/Platform/System/DesktopAppearance.h"

#include <systemd/sd-bus.h>

#include <cstdint>
#include <optional>

namespace orvane {

namespace {

constexpr const char* kPortalService = "org.freedesktop.portal.Desktop";
constexpr const char* kPortalPath = "/org/freedesktop/portal/desktop";
constexpr const char* kSettingsInterface = "org.freedesktop.portal.Settings";
constexpr const char* kAppearanceNamespace = "org.freedesktop.appearance";
constexpr const char* kColorSchemeKey = "color-scheme";
constexpr std::uint32_t kPreferDark = 1;

struct BusCloser {
  void operator()(sd_bus* bus) const { sd_bus_flush_close_unref(bus); }
};
struct SlotUnref {
  void operator()(sd_bus_slot* slot) const { sd_bus_slot_unref(slot); }
};

struct PendingRead {
  bool answered = false;
  std::optional<std::uint32_t> value;
};

// Reads the setting's value from the reply. Read answers a variant; portals
// before version 2 of the interface wrap the value in a second variant, so
// variants are unwrapped (a few levels at most) down to the number.
std::optional<std::uint32_t> colorSchemeOf(sd_bus_message* reply) {
  for (int depth = 0; depth < 4; ++depth) {
    char type = 0;
    const char* contents = nullptr;
    if (sd_bus_message_peek_type(reply, &type, &contents) <= 0) return std::nullopt;
    if (type == SD_BUS_TYPE_UINT32) {
      std::uint32_t value = 0;
      if (sd_bus_message_read_basic(reply, SD_BUS_TYPE_UINT32, &value) <= 0) return std::nullopt;
      return value;
    }
    if (type != SD_BUS_TYPE_VARIANT ||
        sd_bus_message_enter_container(reply, SD_BUS_TYPE_VARIANT, contents) <= 0)
      return std::nullopt;
  }
  return std::nullopt;
}

int onReadReply(sd_bus_message* reply, void* userdata, sd_bus_error*) {
  auto* pending = static_cast<PendingRead*>(userdata);
  pending->answered = true;
  if (!sd_bus_message_is_method_error(reply, nullptr)) pending->value = colorSchemeOf(reply);
  return 0;
}

std::optional<std::uint32_t> readColorScheme(std::chrono::milliseconds timeout) {
  using Clock = std::chrono::steady_clock;
  const auto deadline = Clock::now() + timeout;

  sd_bus* raw = nullptr;
  if (sd_bus_open_user(&raw) < 0) return std::nullopt;
  std::unique_ptr<sd_bus, BusCloser> bus(raw);

  // The bus's own timeout ends the call too, so the reply handler always
  // runs; the loop below keeps to the deadline even while connecting.
  const auto usec = std::chrono::duration_cast<std::chrono::microseconds>(timeout).count();
  sd_bus_set_method_call_timeout(bus.get(), usec > 0 ? static_cast<std::uint64_t>(usec) : 1);

  PendingRead pending;
  sd_bus_slot* rawSlot = nullptr;
  if (sd_bus_call_method_async(bus.get(), &rawSlot, kPortalService, kPortalPath, kSettingsInterface,
                               "Read", onReadReply, &pending, "ss", kAppearanceNamespace,
                               kColorSchemeKey) < 0)
    return std::nullopt;
  std::unique_ptr<sd_bus_slot, SlotUnref> slot(rawSlot);

  while (!pending.answered) {
    int r = sd_bus_process(bus.get(), nullptr);
    if (r < 0) break;
    if (r > 0) continue;
    const auto left = deadline - Clock::now();
    if (left <= Clock::duration::zero()) break;
    const auto leftUsec = std::chrono::duration_cast<std::chrono::microseconds>(left).count() + 1;
    if (sd_bus_wait(bus.get(), static_cast<std::uint64_t>(leftUsec)) < 0) break;
  }
  // The slot goes before the bus, and before `pending` leaves scope.
  slot.reset();
  return pending.value;
}

}  // namespace

std::shared_ptr<const NSAppearance> DesktopAppearance::preferredAppearance(
    std::chrono::milliseconds timeout) {
  auto scheme = readColorScheme(timeout);
  if (!scheme) return nullptr;
  return NSAppearance::appearanceNamed(*scheme == kPreferDark ? NSAppearanceNameDarkAqua
                                                              : NSAppearanceNameAqua);
}

}  // namespace orvane
