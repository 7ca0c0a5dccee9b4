#pragma once

#include <memory>

#include "orvane/Export.h"
#include "orvane/Platform/AppKit/NSAppearance.h"

namespace orvane {

class NSView;

/// A window: an optional appearance of its own and a content view, the root
/// of the views it shows. Like every interface object it belongs to the
/// thread that runs the user interface and has no lock.
class ORVANE_EXPORT NSWindow : public std::enable_shared_from_this<NSWindow> {
 public:
  /// A new window without content view or appearance.
  static std::shared_ptr<NSWindow> init();

  /// The window's own appearance, or none.
  const std::shared_ptr<const NSAppearance>& appearance() const noexcept { return appearance_; }
  void setAppearance(std::shared_ptr<const NSAppearance> appearance) {
    appearance_ = std::move(appearance);
  }
  /// The window's own appearance, else the application's effective one.
  std::shared_ptr<const NSAppearance> effectiveAppearance() const;

  /// The root view, or none.
  const std::shared_ptr<NSView>& contentView() const noexcept { return contentView_; }
  /// Makes `view` the root view, taking it out of its superview or its
  /// previous window first; the old root view leaves the window. None empties
  /// the window.
  void setContentView(std::shared_ptr<NSView> view);

  NSWindow(const NSWindow&) = delete;
  NSWindow& operator=(const NSWindow&) = delete;

 private:
  friend class NSView;
  struct Token {};

 public:
  explicit NSWindow(Token) {}

 private:
  std::shared_ptr<const NSAppearance> appearance_;
  std::shared_ptr<NSView> contentView_;
};

}  // namespace orvane
