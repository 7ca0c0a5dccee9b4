#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "orvane/Export.h"

namespace orvane {

// The platform's appearance names. Each value is the constant's own name as
// text, as the platform spells them.
inline constexpr std::string_view NSAppearanceNameAqua = "NSAppearanceNameAqua";
inline constexpr std::string_view NSAppearanceNameDarkAqua = "NSAppearanceNameDarkAqua";
inline constexpr std::string_view NSAppearanceNameVibrantLight = "NSAppearanceNameVibrantLight";
inline constexpr std::string_view NSAppearanceNameVibrantDark = "NSAppearanceNameVibrantDark";
inline constexpr std::string_view NSAppearanceNameAccessibilityHighContrastAqua =
    "NSAppearanceNameAccessibilityHighContrastAqua";
inline constexpr std::string_view NSAppearanceNameAccessibilityHighContrastDarkAqua =
    "NSAppearanceNameAccessibilityHighContrastDarkAqua";
inline constexpr std::string_view NSAppearanceNameAccessibilityHighContrastVibrantLight =
    "NSAppearanceNameAccessibilityHighContrastVibrantLight";
inline constexpr std::string_view NSAppearanceNameAccessibilityHighContrastVibrantDark =
    "NSAppearanceNameAccessibilityHighContrastVibrantDark";

/// An appearance: the look that windows and views are drawn with, known by its
/// name. Immutable; shared as std::shared_ptr<const NSAppearance>.
class ORVANE_EXPORT NSAppearance {
 public:
  /// An appearance of the host's own making, under any name.
  explicit NSAppearance(std::string name) : name_(std::move(name)) {}

  /// One of the eight platform appearances above by name, or none for any
  /// other name. Repeated calls with one name answer the same object.
  static std::shared_ptr<const NSAppearance> appearanceNamed(std::string_view name);

  const std::string& name() const noexcept { return name_; }

 private:
  std::string name_;
};

}  // namespace orvane
