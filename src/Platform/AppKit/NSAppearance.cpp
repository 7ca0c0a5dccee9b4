#include "orvane/Platform/AppKit/NSAppearance.h"

#include <array>

namespace orvane {

std::shared_ptr<const NSAppearance> NSAppearance::appearanceNamed(std::string_view name) {
  // One shared object per platform appearance, made once.
  static const auto known = [] {
    std::array<std::shared_ptr<const NSAppearance>, 8> all;
    const std::string_view names[] = {NSAppearanceNameAqua,
                                      NSAppearanceNameDarkAqua,
                                      NSAppearanceNameVibrantLight,
                                      NSAppearanceNameVibrantDark,
                                      NSAppearanceNameAccessibilityHighContrastAqua,
                                      NSAppearanceNameAccessibilityHighContrastDarkAqua,
                                      NSAppearanceNameAccessibilityHighContrastVibrantLight,
                                      NSAppearanceNameAccessibilityHighContrastVibrantDark};
    for (std::size_t i = 0; i < all.size(); ++i)
      all[i] = std::make_shared<const NSAppearance>(std::string(names[i]));
    return all;
  }();
  for (const auto& appearance : known)
    if (appearance->name() == name) return appearance;
  return nullptr;
}

}  // namespace orvane
