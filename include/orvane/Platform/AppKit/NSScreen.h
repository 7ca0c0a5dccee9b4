#pragma once

#include <memory>
#include <string_view>

#include "orvane/Export.h"
#include "orvane/Platform/CoreGraphics/CGGeometry.h"
#include "orvane/Platform/Foundation/NSDictionary.h"

namespace orvane {

/// Key of a screen's device description: its resolution in dots per inch,
/// a CGSize.
inline constexpr std::string_view NSDeviceResolution = "NSDeviceResolution";

/// A display: its resolution in dots per inch and its backing scale factor
/// (device pixels per point). Immutable; safe to share between threads.
///
/// The main screen is, in this order:
///   1. the one the host declares with setMainScreen (or none, declared with
///      setNoMainScreen);
///   2. when the host declared nothing and the process runs in a desktop
///      session ($WAYLAND_DISPLAY or $DISPLAY set and not empty), a screen
///      whose scale is $GDK_SCALE, else $QT_SCALE_FACTOR (each used only when
///      it holds a positive finite number), else 1, and whose resolution is
///      72 x scale dots per inch on both axes;
///   3. otherwise none.
class ORVANE_EXPORT NSScreen {
 public:
  NSScreen(CGSize resolution, double backingScaleFactor)
      : resolution_(resolution), backingScaleFactor_(backingScaleFactor) {}

  /// The main screen as described above; null when there is none. Thread-safe.
  static std::shared_ptr<const NSScreen> mainScreen();

  /// The host declares its main screen. Answers false and changes nothing
  /// when a resolution side or the scale is not a positive finite number.
  static bool setMainScreen(CGSize resolution, double backingScaleFactor);
  /// The host declares that there is no screen (a headless process).
  static void setNoMainScreen();
  /// Forgets the host's declaration: the desktop session decides again.
  static void resetMainScreen();

  /// Dots per inch, horizontally and vertically: the value the platform's
  /// device description holds under NSDeviceResolution.
  CGSize resolution() const noexcept { return resolution_; }
  double backingScaleFactor() const noexcept { return backingScaleFactor_; }
  /// The platform's description of the device: NSDeviceResolution holds
  /// resolution() as a CGSize.
  NSDictionary deviceDescription() const;

 private:
  CGSize resolution_;
  double backingScaleFactor_;
};

}  // namespace orvane
