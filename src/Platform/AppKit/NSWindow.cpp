#include "orvane/Platform/AppKit/NSWindow.h"

#include "orvane/Platform/AppKit/NSApplication.h"
#include "orvane/Platform/AppKit/NSView.h"

namespace orvane {

std::shared_ptr<NSWindow> NSWindow::init() { return std::make_shared<NSWindow>(Token{}); }

std::shared_ptr<const NSAppearance> NSWindow::effectiveAppearance() const {
  if (appearance_) return appearance_;
  return NSApplication::sharedApplication().effectiveAppearance();
}

void NSWindow::setContentView(std::shared_ptr<NSView> view) {
  if (view == contentView_) return;
  if (view) view->removeFromSuperview();
  if (contentView_) contentView_->contentOf_.reset();
  contentView_ = std::move(view);
  if (contentView_) contentView_->contentOf_ = weak_from_this();
}

}  // namespace orvane
