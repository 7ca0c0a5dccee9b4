#pragma once

// Images backed by an ImageIO codec: the encoded bytes stay with the image,
// which decodes them on first use (see Platform/CoreGraphics/ImageDecoder.h).

#include <memory>

#include "Platform/CoreGraphics/ImageDecoder.h"
#include "Platform/ImageIO/ImageCodec.h"

namespace orvane::imageio {

/// The image layout the codec's decoded pixels have.
ImagePixelLayout layoutOf(const ImageInfo& info);

/// The colour space of decoded pixels: the embedded profile when lcms2 takes
/// it and it fits the components, else sRGB for colour and gray gamma 2.2 for gray.
CGColorSpaceRef colorSpaceOf(const ImageInfo& info);

/// A lazily decoded image of the first image in `bytes`, whose properties
/// `info` are (as readInfo answered them). Null when the layout cannot be an image.
CGImageRef createCodecImage(std::shared_ptr<const Data> bytes, const ImageCodec& codec, const ImageInfo& info);

/// An image over decoded pixels (taking their storage).
CGImageRef createPixelImage(Pixels&& pixels);

/// An image's pixels in one of the codecs' layouts, with the bytes the view
/// points into.
struct ImagePixels {
  PixelsView view;
  std::shared_ptr<const Data> bytes;
  std::shared_ptr<const Data> iccProfile;
};

/// The pixels of any image in one of the codecs' layouts (alpha last and not
/// premultiplied, 16-bit samples in host order), read only: an image already
/// in such a layout is viewed without a copy. The view carries the colour
/// space's profile unless the space is sRGB or gray gamma 2.2, which readers
/// assume anyway. Nothing for a null image or pixels that cannot be had.
std::optional<ImagePixels> pixelsOfImage(const CGImageRef& image);

}  // namespace orvane::imageio
