#pragma once

#include <cstdint>
#include <memory>

#include "orvane/Export.h"

namespace orvane {

/// The platform's system effects for colours, with the platform's values.
enum class NSColorSystemEffect : std::int64_t {
  NSColorSystemEffectNone = 0,
  NSColorSystemEffectPressed = 1,
  NSColorSystemEffectDeepPressed = 2,
  NSColorSystemEffectDisabled = 3,
  NSColorSystemEffectRollover = 4,
};
inline constexpr NSColorSystemEffect NSColorSystemEffectNone =
    NSColorSystemEffect::NSColorSystemEffectNone;
inline constexpr NSColorSystemEffect NSColorSystemEffectPressed =
    NSColorSystemEffect::NSColorSystemEffectPressed;
inline constexpr NSColorSystemEffect NSColorSystemEffectDeepPressed =
    NSColorSystemEffect::NSColorSystemEffectDeepPressed;
inline constexpr NSColorSystemEffect NSColorSystemEffectDisabled =
    NSColorSystemEffect::NSColorSystemEffectDisabled;
inline constexpr NSColorSystemEffect NSColorSystemEffectRollover =
    NSColorSystemEffect::NSColorSystemEffectRollover;

/// An immutable colour: red, green and blue in the sRGB colour space and an
/// alpha, each between 0 and 1. Operations that derive a colour answer a new
/// one and never change the receiver.
class ORVANE_EXPORT NSColor {
 public:
  /// A colour from sRGB components and alpha. Values below 0 count as 0,
  /// values above 1 as 1, and not-a-number as 0 (the platform clamps too).
  static std::shared_ptr<const NSColor> colorWithSRGBRedGreenBlueAlpha(double red, double green,
                                                                       double blue, double alpha);

  /// The colour that highlighting blends toward: opaque white.
  static std::shared_ptr<const NSColor> highlightColor();

  double redComponent() const noexcept { return red_; }
  double greenComponent() const noexcept { return green_; }
  double blueComponent() const noexcept { return blue_; }
  double alphaComponent() const noexcept { return alpha_; }

  /// This colour blended toward highlightColor() by `level`: each of red,
  /// green and blue becomes c * (1 - level) + h * level, so level 0 gives the
  /// colour itself and level 1 the highlight colour exactly. Alpha is kept.
  /// A level outside 0...1 is clamped; a level that is not a number yields no
  /// colour.
  std::shared_ptr<const NSColor> highlightWithLevel(double level) const;

  /// This colour with a system effect applied. The disabled effect
  /// (NSColorSystemEffectDisabled, the value 3) keeps the hue, saturation and
  /// brightness, i.e. the red, green and blue components, and halves the
  /// alpha: a disabled element shows the same colour at half strength over
  /// whatever lies beneath it, whatever the background. The other effects
  /// describe pointer interaction that this platform layer does not render;
  /// they answer the colour unchanged. A value outside the enumeration yields
  /// no colour.
  std::shared_ptr<const NSColor> colorWithSystemEffect(NSColorSystemEffect effect) const;

  NSColor(double red, double green, double blue, double alpha) noexcept;

 private:
  double red_;
  double green_;
  double blue_;
  double alpha_;
};

}  // namespace orvane
