#include "orvane/Categories/NSViewDarkMode.h"

#include "orvane/Categories/NSWindowDarkmode.h"
#include "orvane/Platform/AppKit/NSApplication.h"

namespace orvane {

bool NSViewDarkMode::darkMode(const NSView& view) {
  if (auto window = view.window()) return NSWindowDarkmode::darkMode(*window);
  return NSWindowDarkmode::darkModeAppearance(
      NSApplication::sharedApplication().effectiveAppearance());
}

}  // namespace orvane
