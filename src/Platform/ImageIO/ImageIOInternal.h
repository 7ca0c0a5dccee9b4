#pragma once

// What the dictionary-taking ImageIO calls build on: a source's first-image
// properties and a destination's quality, without dictionaries.

#include <optional>

#include "Platform/ImageIO/ImageCodec.h"
#include "orvane/Platform/ImageIO/CGImageDestination.h"
#include "orvane/Platform/ImageIO/CGImageSource.h"

namespace orvane::imageio {

/// The properties of the image at `index` as the headers give them (null for
/// a null source or an index other than 0), and the codec that reads it.
const ImageInfo* sourceImageInfo(const CGImageSourceRef& source, std::size_t index);
const ImageCodec* sourceCodec(const CGImageSourceRef& source);
std::shared_ptr<const Data> sourceData(const CGImageSourceRef& source);

}  // namespace orvane::imageio
