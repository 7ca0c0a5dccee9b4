#include "orvane/Platform/AppKit/NSView.h"

#include <algorithm>

#include "orvane/Platform/AppKit/NSApplication.h"
#include "orvane/Platform/AppKit/NSWindow.h"

namespace orvane {

std::shared_ptr<NSView> NSView::init() { return std::make_shared<NSView>(Token{}); }

std::shared_ptr<NSWindow> NSView::window() const {
  // Up to the root of the tree; `holder` keeps each step alive.
  const NSView* view = this;
  std::shared_ptr<NSView> holder;
  while (auto parent = view->superview_.lock()) {
    holder = std::move(parent);
    view = holder.get();
  }
  return view->contentOf_.lock();
}

bool NSView::isSelfOrSuperviewOf(const NSView& view) const {
  if (&view == this) return true;
  for (auto v = view.superview_.lock(); v; v = v->superview_.lock())
    if (v.get() == this) return true;
  return false;
}

void NSView::addSubview(std::shared_ptr<NSView> view) {
  if (!view || view->isSelfOrSuperviewOf(*this)) return;
  view->removeFromSuperview();
  view->superview_ = weak_from_this();
  subviews_.push_back(std::move(view));
}

void NSView::removeFromSuperview() {
  if (auto parent = superview_.lock()) {
    // Keep ourselves alive while the parent lets go of its reference.
    auto self = shared_from_this();
    auto& siblings = parent->subviews_;
    siblings.erase(std::remove(siblings.begin(), siblings.end(), self), siblings.end());
    superview_.reset();
    return;
  }
  superview_.reset();
  if (auto window = contentOf_.lock()) {
    auto self = shared_from_this();
    if (window->contentView_ == self) window->contentView_.reset();
  }
  contentOf_.reset();
}

std::shared_ptr<const NSAppearance> NSView::effectiveAppearance() const {
  if (appearance_) return appearance_;
  if (auto parent = superview_.lock()) return parent->effectiveAppearance();
  if (auto window = contentOf_.lock()) return window->effectiveAppearance();
  return NSApplication::sharedApplication().effectiveAppearance();
}

}  // namespace orvane
