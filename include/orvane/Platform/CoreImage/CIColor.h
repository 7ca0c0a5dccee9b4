#pragma once

#include <memory>

#include "orvane/Export.h"

namespace orvane {

/// An immutable Core Image colour: red, green and blue in sRGB and an alpha,
/// not premultiplied. Safe to share between threads.
class ORVANE_EXPORT CIColor {
 public:
  CIColor(double red, double green, double blue, double alpha)
      : red_(red), green_(green), blue_(blue), alpha_(alpha) {}

  /// A colour from its components, kept as given; drawing clamps them to
  /// 0...1.
  static std::shared_ptr<const CIColor> colorWithRedGreenBlueAlpha(double red, double green,
                                                                   double blue, double alpha);
  /// An opaque colour.
  static std::shared_ptr<const CIColor> colorWithRedGreenBlue(double red, double green,
                                                              double blue);

  double red() const noexcept { return red_; }
  double green() const noexcept { return green_; }
  double blue() const noexcept { return blue_; }
  double alpha() const noexcept { return alpha_; }

 private:
  double red_, green_, blue_, alpha_;
};

}  // namespace orvane
