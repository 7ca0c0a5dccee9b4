#pragma once

#include <chrono>
#include <memory>

#include "orvane/Export.h"
#include "orvane/Platform/AppKit/NSAppearance.h"

namespace orvane {

/// The user's light or dark preference as the Linux desktop publishes it:
/// the "color-scheme" key of the "org.freedesktop.appearance" namespace,
/// read from the settings portal (org.freedesktop.portal.Desktop) on the
/// session bus.
///
/// A host sets its application's appearance from the desktop in one line:
///
///   NSApplication::sharedApplication().setAppearance(
///       DesktopAppearance::preferredAppearance());
struct ORVANE_EXPORT DesktopAppearance {
  DesktopAppearance() = delete;

  /// The appearance matching the desktop's preference: NSAppearanceNameDarkAqua
  /// when it prefers dark (color-scheme 1), NSAppearanceNameAqua for no
  /// preference, for prefer light and for values the portal may add later.
  /// None when no session bus can be reached, no portal answers within
  /// `timeout`, or the portal answers with an error or a value that is not
  /// an unsigned 32-bit number.
  ///
  /// The session bus is the one DBUS_SESSION_BUS_ADDRESS names, else
  /// $XDG_RUNTIME_DIR/bus. Each call opens a connection of its own and closes
  /// it before answering, so any thread may call it; the call blocks for at
  /// most about `timeout`.
  static std::shared_ptr<const NSAppearance> preferredAppearance(
      std::chrono::milliseconds timeout = std::chrono::milliseconds(500));
};

}  // namespace orvane
