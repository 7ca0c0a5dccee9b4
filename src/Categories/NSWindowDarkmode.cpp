#include "orvane/Categories/NSWindowDarkmode.h"

#include <string_view>

#include "orvane/Platform/Foundation/Environment.h"

namespace orvane {

bool NSWindowDarkmode::darkModeAppearance(const std::shared_ptr<const NSAppearance>& appearance) {
  // The absent appearance is answered before the system is asked anything.
  if (!appearance) return false;
  if (!Environment::isOperatingSystemAtLeastVersion({10, 14, 0})) return false;
  static constexpr std::string_view darkNames[] = {
      NSAppearanceNameDarkAqua,
      NSAppearanceNameVibrantDark,
      NSAppearanceNameAccessibilityHighContrastDarkAqua,
      NSAppearanceNameAccessibilityHighContrastVibrantDark,
  };
  // Exact names only: a host-made or future dark variant is not recognised.
  for (std::string_view dark : darkNames)
    if (appearance->name() == dark) return true;
  return false;
}

bool NSWindowDarkmode::darkMode(const NSWindow& window) {
  return darkModeAppearance(window.effectiveAppearance());
}

}  // namespace orvane
