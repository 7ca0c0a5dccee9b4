#pragma once

#include <memory>
#include <mutex>

#include "orvane/Export.h"
#include "orvane/Platform/AppKit/NSAppearance.h"

namespace orvane {

/// The host application object, one per process. The host sets its
/// appearance (from its own settings, or from the desktop with
/// DesktopAppearance::preferredAppearance()); windows and views without an
/// appearance of their own take the application's effective appearance.
class ORVANE_EXPORT NSApplication {
 public:
  /// The process's application object, made on first use and kept until the
  /// process ends.
  static NSApplication& sharedApplication();

  /// The appearance the host set, or none.
  std::shared_ptr<const NSAppearance> appearance() const;
  /// Sets the application's appearance; none returns to the system's.
  void setAppearance(std::shared_ptr<const NSAppearance> appearance);
  /// The appearance the application is drawn with: the one the host set, else
  /// the system's light appearance (NSAppearanceNameAqua). Never none.
  std::shared_ptr<const NSAppearance> effectiveAppearance() const;

  NSApplication(const NSApplication&) = delete;
  NSApplication& operator=(const NSApplication&) = delete;

 private:
  NSApplication() = default;

  // The object is process-wide, so its one field is guarded even though
  // appearance work belongs on the interface thread.
  mutable std::mutex mutex_;
  std::shared_ptr<const NSAppearance> appearance_;
};

}  // namespace orvane
