#pragma once

#include <memory>

#include "orvane/Export.h"
#include "orvane/Platform/AppKit/NSAppearance.h"
#include "orvane/Platform/AppKit/NSWindow.h"

namespace orvane {

/// Whether a window, or an appearance, is dark.
struct ORVANE_EXPORT NSWindowDarkmode {
  NSWindowDarkmode() = delete;

  /// Yes when the appearance is one of the platform's four dark appearances,
  /// by exact name: NSAppearanceNameDarkAqua, NSAppearanceNameVibrantDark,
  /// NSAppearanceNameAccessibilityHighContrastDarkAqua,
  /// NSAppearanceNameAccessibilityHighContrastVibrantDark. No for no
  /// appearance, for any other name, and on systems older than 10.14.0, which
  /// have no dark appearances.
  static bool darkModeAppearance(const std::shared_ptr<const NSAppearance>& appearance);

  /// The test above applied to the window's effective appearance.
  static bool darkMode(const NSWindow& window);
};

}  // namespace orvane
