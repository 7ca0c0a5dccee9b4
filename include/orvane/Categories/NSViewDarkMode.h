#pragma once

#include "orvane/Export.h"
#include "orvane/Platform/AppKit/NSView.h"

namespace orvane {

/// Whether a view is shown dark.
struct ORVANE_EXPORT NSViewDarkMode {
  NSViewDarkMode() = delete;

  /// The view's window's NSWindowDarkmode::darkMode when the view is in a
  /// window, else the dark test of the application's effective appearance.
  /// The view's own appearance (and its superviews') is not consulted.
  static bool darkMode(const NSView& view);
};

}  // namespace orvane
