#pragma once

#include <memory>
#include <vector>

#include "orvane/Export.h"
#include "orvane/Platform/AppKit/NSAppearance.h"

namespace orvane {

class NSWindow;

/// A view in a tree of views. A view is in a window when it is the window's
/// content view or below it; a superview owns its subviews, and a view refers
/// back to its superview and window without owning them. Belongs to the
/// thread that runs the user interface; no lock.
class ORVANE_EXPORT NSView : public std::enable_shared_from_this<NSView> {
 public:
  /// A new view outside any window.
  static std::shared_ptr<NSView> init();

  /// The window the view is shown in: the content view's window, found
  /// through the superviews. None when the view is in no window or the
  /// window is gone.
  std::shared_ptr<NSWindow> window() const;
  /// The view this one is a subview of, or none.
  std::shared_ptr<NSView> superview() const { return superview_.lock(); }
  const std::vector<std::shared_ptr<NSView>>& subviews() const noexcept { return subviews_; }

  /// Adds `view` as the last subview, taking it out of its old superview or
  /// window first. Refused (nothing changes) when `view` is none, this view
  /// itself or one of its superviews: a view tree never holds a cycle.
  void addSubview(std::shared_ptr<NSView> view);
  /// Takes the view out of its superview, or out of its window when it is a
  /// content view. Nothing happens when it is in neither.
  void removeFromSuperview();

  /// The view's own appearance, or none.
  const std::shared_ptr<const NSAppearance>& appearance() const noexcept { return appearance_; }
  void setAppearance(std::shared_ptr<const NSAppearance> appearance) {
    appearance_ = std::move(appearance);
  }
  /// The view's own appearance, else its superview's effective appearance,
  /// else its window's, else the application's.
  std::shared_ptr<const NSAppearance> effectiveAppearance() const;

  NSView(const NSView&) = delete;
  NSView& operator=(const NSView&) = delete;

 private:
  friend class NSWindow;
  struct Token {};

 public:
  explicit NSView(Token) {}

 private:
  bool isSelfOrSuperviewOf(const NSView& view) const;

  std::weak_ptr<NSView> superview_;
  std::weak_ptr<NSWindow> contentOf_;  // set only on a window's content view
  std::vector<std::shared_ptr<NSView>> subviews_;
  std::shared_ptr<const NSAppearance> appearance_;
};

}  // namespace orvane
