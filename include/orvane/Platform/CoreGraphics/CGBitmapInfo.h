#pragma once

#include <cstdint>

namespace orvane {

/// How the pixels of an image or bitmap are laid out: the alpha information in
/// the low five bits, the byte order in bits 12 to 14. Values are the
/// platform's.
using CGBitmapInfo = std::uint32_t;
/// Where alpha is and whether colours are premultiplied by it.
using CGImageAlphaInfo = std::uint32_t;

inline constexpr CGImageAlphaInfo kCGImageAlphaNone = 0;                ///< no alpha
inline constexpr CGImageAlphaInfo kCGImageAlphaPremultipliedLast = 1;   ///< R G B A, premultiplied
inline constexpr CGImageAlphaInfo kCGImageAlphaPremultipliedFirst = 2;  ///< A R G B, premultiplied
inline constexpr CGImageAlphaInfo kCGImageAlphaLast = 3;                ///< R G B A, not premultiplied
inline constexpr CGImageAlphaInfo kCGImageAlphaFirst = 4;               ///< A R G B, not premultiplied
inline constexpr CGImageAlphaInfo kCGImageAlphaNoneSkipLast = 5;        ///< R G B x, x ignored
inline constexpr CGImageAlphaInfo kCGImageAlphaNoneSkipFirst = 6;       ///< x R G B, x ignored
inline constexpr CGImageAlphaInfo kCGImageAlphaOnly = 7;                ///< alpha alone

inline constexpr CGBitmapInfo kCGBitmapAlphaInfoMask = 0x1F;
inline constexpr CGBitmapInfo kCGBitmapByteOrderMask = 0x7000;
/// Components in the order the alpha information names; 16-bit components
/// are big-endian.
inline constexpr CGBitmapInfo kCGBitmapByteOrderDefault = 0;
/// 16-bit units stored little-endian (host order on Linux).
inline constexpr CGBitmapInfo kCGBitmapByteOrder16Little = 1u << 12;
/// 32-bit pixels stored little-endian: premultiplied-first is bytes B G R A.
inline constexpr CGBitmapInfo kCGBitmapByteOrder32Little = 2u << 12;
inline constexpr CGBitmapInfo kCGBitmapByteOrder16Big = 3u << 12;
inline constexpr CGBitmapInfo kCGBitmapByteOrder32Big = 4u << 12;

/// How colours are mapped between colour spaces. Every value here draws with
/// relative colorimetric matching, the platform's default.
using CGColorRenderingIntent = std::uint32_t;
inline constexpr CGColorRenderingIntent kCGRenderingIntentDefault = 0;
inline constexpr CGColorRenderingIntent kCGRenderingIntentAbsoluteColorimetric = 1;
inline constexpr CGColorRenderingIntent kCGRenderingIntentRelativeColorimetric = 2;
inline constexpr CGColorRenderingIntent kCGRenderingIntentPerceptual = 3;
inline constexpr CGColorRenderingIntent kCGRenderingIntentSaturation = 4;

}  // namespace orvane
