#pragma once

// The seam between images and the codecs that read them. A codec of
// Platform/ImageIO implements ImageDecoder for one encoded image and hands it
// to CGImageCreateWithDecoder; the image then decodes on first use, once, and
// drawing may ask the decoder for cheaper ways to get the pixels it needs.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>

#include "orvane/Platform/CoreGraphics/CGBitmapInfo.h"
#include "orvane/Platform/CoreGraphics/CGColorSpace.h"
#include "orvane/Platform/CoreGraphics/CGImage.h"
#include "orvane/Platform/Foundation/Data.h"

namespace orvane {

/// How many times the pixels a shrinking draw covers a reduced decode keeps at
/// least, per side. A scaled IDCT or a wavelet level is not quite the area
/// average at its own size (clipped colours, the wavelet's filter); averaging
/// down from three times the drawn size keeps thumbnails of photographs within
/// 40 dB of the exact average of the full-size pixels, where twice did not.
inline constexpr std::size_t kReducedDecodeMargin = 3;

/// The layout of an image's pixels: the same numbers CGImageCreate takes.
/// Layouts a decoder may produce: 8-bit gray (8 bits per pixel,
/// kCGImageAlphaNone); 8-bit gray + alpha (16, kCGImageAlphaLast); 8-bit RGB
/// (24, kCGImageAlphaNone); 8-bit RGBA (32, kCGImageAlphaLast or
/// kCGImageAlphaPremultipliedLast); and the same with 16-bit components
/// (kCGBitmapByteOrder16Little for host order; the default order with 16-bit
/// components is big-endian).
struct ImagePixelLayout {
  std::size_t width = 0;
  std::size_t height = 0;
  std::size_t bitsPerComponent = 8;
  std::size_t bitsPerPixel = 32;
  std::size_t bytesPerRow = 0;
  CGBitmapInfo bitmapInfo = kCGImageAlphaPremultipliedLast;

  /// The bytes of `height` rows: the last row needs only its pixels.
  std::size_t minimumByteCount() const noexcept {
    if (width == 0 || height == 0) return 0;
    return bytesPerRow * (height - 1) + (width * bitsPerPixel + 7) / 8;
  }
};

/// Receives full-size rows, top row first, from ImageDecoder::streamRows.
class ImageRowSink {
 public:
  virtual ~ImageRowSink() = default;
  /// The next row: the image's width in pixels in the image's layout (at
  /// least (width * bitsPerPixel + 7) / 8 bytes), valid only during the call.
  /// Answers false to stop the decoder early (it then answers true).
  virtual bool consumeRow(const std::uint8_t* row) = 0;
};

/// One encoded image, ready to decode. All three calls may run at the same
/// time on different threads (for example a decode on one and a thumbnail
/// draw on another), so each works from the encoded bytes with state of its
/// own. None of them may call back into the image.
class ImageDecoder {
 public:
  virtual ~ImageDecoder() = default;

  /// Every pixel at full size: height rows of bytesPerRow bytes in the
  /// layout the image was made with (at least minimumByteCount() bytes;
  /// a shorter answer is padded with zero bytes). Nothing when the bytes do
  /// not decode at all. A file that ends early gives the rows it has and
  /// fills the others. Called at most once per image.
  virtual std::optional<Data> decode() const = 0;

  /// A smaller decode whose sides are at least `minWidth` x `minHeight`
  /// pixels (and smaller than the full size), in the image's colour space,
  /// e.g. JPEG's scaled IDCT at 1/2, 1/4 or 1/8 or a JPEG 2000 resolution
  /// level. Null when the codec cannot decode smaller or no smaller decode
  /// has that many pixels; the caller then uses the full size.
  virtual CGImageRef decodeReduced(std::size_t minWidth, std::size_t minHeight) const {
    (void)minWidth;
    (void)minHeight;
    return nullptr;
  }

  /// Whether streamRows can deliver rows (a codec that decodes top to bottom
  /// anyway: PNG, TIFF, BMP, GIF).
  virtual bool canStreamRows() const { return false; }

  /// Delivers the full-size rows that decode() would produce, top to bottom,
  /// to `sink`, without keeping a full-size buffer. Answers true when every
  /// row was delivered or the sink stopped; false when it could not deliver
  /// them all, in which case the caller discards what it got and uses
  /// decode() instead.
  virtual bool streamRows(ImageRowSink& sink) const {
    (void)sink;
    return false;
  }
};

/// A new image whose pixels come from `decoder`, in `layout` and `space`
/// (RGB or gray, matching the layout's components). The image decodes on
/// first use of its pixels, once, thread-safely, and keeps them. Null when
/// the layout is not one an image can have, `space` or `decoder` is null,
/// or the pixel count exceeds 2^28 or a side 65535.
CGImageRef CGImageCreateWithDecoder(const ImagePixelLayout& layout, CGColorSpaceRef space,
                                    std::shared_ptr<const ImageDecoder> decoder);

}  // namespace orvane
