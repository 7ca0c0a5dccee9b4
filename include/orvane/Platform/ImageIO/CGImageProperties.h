#pragma once

#include <string_view>

namespace orvane {

/// Keys of ImageIO's option and property dictionaries (the platform's strings).

/// Destination option or per-image property: lossy quality 0...1 for JPEG and
/// JPEG 2000 (JPEG 2000 is lossless at 1 and when no quality is given).
inline constexpr std::string_view kCGImageDestinationLossyCompressionQuality =
    "kCGImageDestinationLossyCompressionQuality";

/// Thumbnail options of an image source.
inline constexpr std::string_view kCGImageSourceThumbnailMaxPixelSize = "kCGImageSourceThumbnailMaxPixelSize";
inline constexpr std::string_view kCGImageSourceCreateThumbnailFromImageAlways =
    "kCGImageSourceCreateThumbnailFromImageAlways";
inline constexpr std::string_view kCGImageSourceCreateThumbnailWithTransform =
    "kCGImageSourceCreateThumbnailWithTransform";

/// Per-image properties an image source reports.
inline constexpr std::string_view kCGImagePropertyPixelWidth = "PixelWidth";
inline constexpr std::string_view kCGImagePropertyPixelHeight = "PixelHeight";
inline constexpr std::string_view kCGImagePropertyOrientation = "Orientation";
inline constexpr std::string_view kCGImagePropertyDPIWidth = "DPIWidth";
inline constexpr std::string_view kCGImagePropertyDPIHeight = "DPIHeight";
inline constexpr std::string_view kCGImagePropertyDepth = "Depth";
inline constexpr std::string_view kCGImagePropertyHasAlpha = "HasAlpha";
inline constexpr std::string_view kCGImagePropertyColorModel = "ColorModel";
inline constexpr std::string_view kCGImagePropertyColorModelRGB = "RGB";
inline constexpr std::string_view kCGImagePropertyColorModelGray = "Gray";

}  // namespace orvane
