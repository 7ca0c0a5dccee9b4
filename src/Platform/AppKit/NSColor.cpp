#include "orvane/Platform/AppKit/NSColor.h"

#include <algorithm>
#include <cmath>

namespace orvane {

namespace {

double unitInterval(double value) {
  if (std::isnan(value)) return 0.0;
  return std::clamp(value, 0.0, 1.0);
}

}  // namespace

NSColor::NSColor(double red, double green, double blue, double alpha) noexcept
    : red_(unitInterval(red)),
      green_(unitInterval(green)),
      blue_(unitInterval(blue)),
      alpha_(unitInterval(alpha)) {}

std::shared_ptr<const NSColor> NSColor::colorWithSRGBRedGreenBlueAlpha(double red, double green,
                                                                       double blue, double alpha) {
  return std::make_shared<const NSColor>(red, green, blue, alpha);
}

std::shared_ptr<const NSColor> NSColor::highlightColor() {
  static const auto white = std::make_shared<const NSColor>(1.0, 1.0, 1.0, 1.0);
  return white;
}

std::shared_ptr<const NSColor> NSColor::highlightWithLevel(double level) const {
  if (std::isnan(level)) return nullptr;
  const double t = std::clamp(level, 0.0, 1.0);
  const NSColor& h = *highlightColor();
  // Written as a weighted sum rather than c + (h - c) * t so that the two
  // ends are exact: t = 0 gives c and t = 1 gives h with no rounding.
  auto blend = [t](double c, double target) { return c * (1.0 - t) + target * t; };
  return std::make_shared<const NSColor>(blend(red_, h.red_), blend(green_, h.green_),
                                         blend(blue_, h.blue_), alpha_);
}

std::shared_ptr<const NSColor> NSColor::colorWithSystemEffect(NSColorSystemEffect effect) const {
  switch (effect) {
    case NSColorSystemEffect::NSColorSystemEffectDisabled:
      return std::make_shared<const NSColor>(red_, green_, blue_, alpha_ * 0.5);
    case NSColorSystemEffect::NSColorSystemEffectNone:
    case NSColorSystemEffect::NSColorSystemEffectPressed:
    case NSColorSystemEffect::NSColorSystemEffectDeepPressed:
    case NSColorSystemEffect::NSColorSystemEffectRollover:
      return std::make_shared<const NSColor>(red_, green_, blue_, alpha_);
  }
  return nullptr;
}

}  // namespace orvane
