#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "orvane/Export.h"
#include "orvane/Platform/Foundation/Data.h"

namespace orvane {

/// An immutable colour space: RGB or gray, described by an ICC profile.
/// Colour spaces are shared and may be used from any thread.
class CGColorSpace;
using CGColorSpaceRef = std::shared_ptr<const CGColorSpace>;

/// Names of the spaces CGColorSpaceCreateWithName knows (the platform's strings).
inline constexpr std::string_view kCGColorSpaceSRGB = "kCGColorSpaceSRGB";
inline constexpr std::string_view kCGColorSpaceLinearSRGB = "kCGColorSpaceLinearSRGB";
inline constexpr std::string_view kCGColorSpaceDisplayP3 = "kCGColorSpaceDisplayP3";
inline constexpr std::string_view kCGColorSpaceAdobeRGB1998 = "kCGColorSpaceAdobeRGB1998";
inline constexpr std::string_view kCGColorSpaceGenericGrayGamma2_2 =
    "kCGColorSpaceGenericGrayGamma2_2";
/// The names the device spaces answer to CGColorSpaceCopyName.
inline constexpr std::string_view kCGColorSpaceDeviceRGB = "kCGColorSpaceDeviceRGB";
inline constexpr std::string_view kCGColorSpaceDeviceGray = "kCGColorSpaceDeviceGray";

/// The colour model of a space (the platform's values).
using CGColorSpaceModel = std::int32_t;
inline constexpr CGColorSpaceModel kCGColorSpaceModelUnknown = -1;
inline constexpr CGColorSpaceModel kCGColorSpaceModelMonochrome = 0;
inline constexpr CGColorSpaceModel kCGColorSpaceModelRGB = 1;

/// The named space: sRGB, linear sRGB (sRGB primaries, linear transfer),
/// Display P3 (P3 primaries, D65, sRGB transfer), Adobe RGB (1998) or gray
/// with gamma 2.2. Null for any other name. Every call with one name answers
/// the same shared object.
ORVANE_EXPORT CGColorSpaceRef CGColorSpaceCreateWithName(std::string_view name);
/// Device RGB: on this platform the same colours as sRGB.
ORVANE_EXPORT CGColorSpaceRef CGColorSpaceCreateDeviceRGB();
/// Device gray: on this platform the same colours as gray gamma 2.2.
ORVANE_EXPORT CGColorSpaceRef CGColorSpaceCreateDeviceGray();
/// The space of an ICC profile of an RGB or gray colour space. Null when the
/// bytes are not such a profile (another colour model included).
ORVANE_EXPORT CGColorSpaceRef CGColorSpaceCreateWithICCData(ByteView icc);

/// The name of a named or device space; nothing for a space made from ICC
/// data and for null.
ORVANE_EXPORT std::optional<std::string> CGColorSpaceCopyName(const CGColorSpaceRef& space);
/// 3 for RGB, 1 for gray, 0 for null.
ORVANE_EXPORT std::size_t CGColorSpaceGetNumberOfComponents(const CGColorSpaceRef& space);
/// The colour model; kCGColorSpaceModelUnknown for null.
ORVANE_EXPORT CGColorSpaceModel CGColorSpaceGetModel(const CGColorSpaceRef& space);
/// An ICC profile of the space (the bytes it was made from, for a space made
/// from ICC data); null for null.
ORVANE_EXPORT std::shared_ptr<const Data> CGColorSpaceCopyICCData(const CGColorSpaceRef& space);
/// True when drawing from one space into the other needs no colour matching:
/// the same object, the same name (device RGB counts as sRGB and device gray
/// as gray gamma 2.2), or identical ICC bytes. False when either is null.
ORVANE_EXPORT bool CGColorSpaceEqualToColorSpace(const CGColorSpaceRef& a,
                                                 const CGColorSpaceRef& b);

}  // namespace orvane
