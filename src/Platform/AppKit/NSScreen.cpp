#include "orvane/Platform/AppKit/NSScreen.h"

#include <cmath>
#include <cstdlib>
#include <mutex>

#include "Platform/AppKit/NSScreenInternal.h"
#include "Platform/Foundation/EnvironmentOverrides.h"

namespace orvane {

namespace {

constexpr double kPointsPerInch = 72.0;

bool positiveFinite(double v) { return std::isfinite(v) && v > 0.0; }

// A scale factor from a variable: the whole text must be a positive finite
// number, else the variable does not count.
bool parseScale(const char* text, double& scale) {
  if (!text || !*text) return false;
  char* end = nullptr;
  const double value = std::strtod(text, &end);
  if (*end != '\0' || !positiveFinite(value)) return false;
  scale = value;
  return true;
}

std::shared_ptr<const NSScreen> screenOf(const MainScreenOverride& o) {
  if (!o.present) return nullptr;
  return std::make_shared<const NSScreen>(o.resolution, o.backingScaleFactor);
}

struct HostDeclaration {
  std::mutex mutex;
  bool declared = false;
  std::shared_ptr<const NSScreen> screen;  // null: declared headless
};

HostDeclaration& host() {
  static HostDeclaration h;
  return h;
}

}  // namespace

std::shared_ptr<const NSScreen> sessionScreen(const EnvironmentLookup& lookup) {
  const auto set = [&](const char* name) {
    const char* v = lookup(name);
    return v && *v;
  };
  if (!set("WAYLAND_DISPLAY") && !set("DISPLAY")) return nullptr;
  double scale = 1.0;
  if (!parseScale(lookup("GDK_SCALE"), scale)) parseScale(lookup("QT_SCALE_FACTOR"), scale);
  return std::make_shared<const NSScreen>(
      CGSize{kPointsPerInch * scale, kPointsPerInch * scale}, scale);
}

std::shared_ptr<const NSScreen> NSScreen::mainScreen() {
  if (auto o = environmentOverrides().mainScreen) return screenOf(*o);
  {
    HostDeclaration& h = host();
    std::lock_guard<std::mutex> lock(h.mutex);
    if (h.declared) return h.screen;
  }
  return sessionScreen([](const char* name) { return std::getenv(name); });
}

bool NSScreen::setMainScreen(CGSize resolution, double backingScaleFactor) {
  if (!positiveFinite(resolution.width) || !positiveFinite(resolution.height) ||
      !positiveFinite(backingScaleFactor))
    return false;
  HostDeclaration& h = host();
  std::lock_guard<std::mutex> lock(h.mutex);
  h.declared = true;
  h.screen = std::make_shared<const NSScreen>(resolution, backingScaleFactor);
  return true;
}

void NSScreen::setNoMainScreen() {
  HostDeclaration& h = host();
  std::lock_guard<std::mutex> lock(h.mutex);
  h.declared = true;
  h.screen = nullptr;
}

NSDictionary NSScreen::deviceDescription() const {
  return NSDictionary{{std::string(NSDeviceResolution), NSPropertyValue(resolution_)}};
}

void NSScreen::resetMainScreen() {
  HostDeclaration& h = host();
  std::lock_guard<std::mutex> lock(h.mutex);
  h.declared = false;
  h.screen = nullptr;
}

}  // namespace orvane
