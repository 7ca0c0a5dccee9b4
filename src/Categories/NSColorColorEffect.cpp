#include "orvane/Categories/NSColorColorEffect.h"

#include "orvane/Platform/Foundation/Environment.h"

namespace orvane {

std::shared_ptr<const NSColor> NSColorColorEffect::disableColor(const NSColor& color) {
  // System colour effects exist from 10.14 on; older systems get the
  // traditional look of a colour washed halfway toward the highlight.
  if (Environment::isOperatingSystemAtLeastVersion({10, 14, 0}))
    return color.colorWithSystemEffect(NSColorSystemEffectDisabled);
  return color.highlightWithLevel(0.5);
}

}  // namespace orvane
