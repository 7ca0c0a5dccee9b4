#pragma once

#include <memory>

#include "orvane/Export.h"
#include "orvane/Platform/AppKit/NSColor.h"

namespace orvane {

/// Colours for disabled interface elements.
struct ORVANE_EXPORT NSColorColorEffect {
  NSColorColorEffect() = delete;

  /// The colour to paint a disabled element with. From 10.14.0 on: the colour
  /// with the system's disabled effect (same components, half the alpha).
  /// Before: the colour blended halfway toward the highlight colour (alpha
  /// kept). A new colour; none when the platform yields none.
  static std::shared_ptr<const NSColor> disableColor(const NSColor& color);
};

}  // namespace orvane
