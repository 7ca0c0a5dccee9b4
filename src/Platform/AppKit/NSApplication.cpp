#include "orvane/Platform/AppKit/NSApplication.h"

namespace orvane {

NSApplication& NSApplication::sharedApplication() {
  static NSApplication application;
  return application;
}

std::shared_ptr<const NSAppearance> NSApplication::appearance() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return appearance_;
}

void NSApplication::setAppearance(std::shared_ptr<const NSAppearance> appearance) {
  std::lock_guard<std::mutex> lock(mutex_);
  appearance_ = std::move(appearance);
}

std::shared_ptr<const NSAppearance> NSApplication::effectiveAppearance() const {
  if (auto own = appearance()) return own;
  return NSAppearance::appearanceNamed(NSAppearanceNameAqua);
}

}  // namespace orvane
