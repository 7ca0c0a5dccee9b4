#pragma once

#include <string_view>

namespace orvane {

/// Uniform type identifiers of the six image formats (the platform's strings).
inline constexpr std::string_view kUTTypeTIFF = "public.tiff";
inline constexpr std::string_view kUTTypeBMP = "com.microsoft.bmp";
inline constexpr std::string_view kUTTypeGIF = "com.compuserve.gif";
inline constexpr std::string_view kUTTypeJPEG = "public.jpeg";
inline constexpr std::string_view kUTTypePNG = "public.png";
inline constexpr std::string_view kUTTypeJPEG2000 = "public.jpeg-2000";

}  // namespace orvane
