#pragma once

// The codecs behind ImageIO: one per file format, each behind the small
// interface below (sniff, read properties, decode at full or reduced scale,
// stream rows, encode). Everything here is private to the library.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string_view>

#include "orvane/Platform/Foundation/Data.h"

namespace orvane::imageio {

/// The six formats, numbered as the bitmap file types are (TIFF 0 ... JPEG 2000 5).
enum class ImageFormat : std::uint8_t { TIFF = 0, BMP = 1, GIF = 2, JPEG = 3, PNG = 4, JPEG2000 = 5 };

inline constexpr std::uint32_t kMaxImageSide = 65535;
inline constexpr std::uint64_t kMaxImagePixels = std::uint64_t{1} << 28;

/// True when a width x height image is within the limits every decoder keeps.
constexpr bool sizeWithinLimits(std::uint64_t width, std::uint64_t height) noexcept {
  return width > 0 && height > 0 && width <= kMaxImageSide && height <= kMaxImageSide &&
         width * height <= kMaxImagePixels;
}

/// What a file says about its first image, read without decoding pixels. The
/// layout fields describe the pixels decode() produces:
/// channels 1 gray, 2 gray + alpha, 3 RGB, 4 RGBA (alpha never premultiplied);
/// bitsPerComponent 8, or 16 with each sample in host byte order.
struct ImageInfo {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  std::uint8_t channels = 0;
  std::uint8_t bitsPerComponent = 8;
  std::uint8_t fileBitsPerSample = 8;  // depth as stored (1 for a bilevel TIFF, 4 for a 16-colour BMP)
  std::uint16_t orientation = 1;       // EXIF orientation 1..8
  double dpiWidth = 0.0;               // 0 when the file does not say
  double dpiHeight = 0.0;
  std::uint32_t imageCount = 1;        // GIF frames, TIFF directories
  Data iccProfile;                     // empty when none (or when decode converts colours, as for CMYK)

  bool hasAlpha() const noexcept { return channels == 2 || channels == 4; }
  bool isGray() const noexcept { return channels <= 2; }
  std::size_t bytesPerPixel() const noexcept { return std::size_t{channels} * (bitsPerComponent / 8); }
};

/// Decoded pixels: rows top to bottom, bytesPerRow = width * bytesPerPixel.
/// The storage starts zeroed, so rows a truncated file never reached read as
/// zero (transparent or black), never as stale memory. It is a Data so that an
/// image can take it over without a copy.
struct Pixels {
  ImageInfo info;
  std::size_t bytesPerRow = 0;
  Data storage;

  std::uint8_t* row(std::uint32_t y) noexcept { return storage.data() + std::size_t{y} * bytesPerRow; }
  const std::uint8_t* row(std::uint32_t y) const noexcept {
    return storage.data() + std::size_t{y} * bytesPerRow;
  }
  std::size_t byteCount() const noexcept { return bytesPerRow * info.height; }
};

/// Zeroed storage for an image of `info`'s size and layout; nothing when the
/// size is outside the limits or the memory cannot be had.
std::optional<Pixels> allocatePixels(const ImageInfo& info);

/// Caller-owned pixels handed to an encoder, read only. Same layouts as Pixels
/// (alpha not premultiplied).
struct PixelsView {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  std::uint8_t channels = 0;
  std::uint8_t bitsPerComponent = 8;
  std::size_t bytesPerRow = 0;
  const std::uint8_t* data = nullptr;
  ByteView iccProfile;
  double dpiWidth = 0.0;
  double dpiHeight = 0.0;
  std::uint16_t orientation = 1;

  const std::uint8_t* row(std::uint32_t y) const noexcept { return data + std::size_t{y} * bytesPerRow; }
  bool valid() const noexcept;
};

struct EncodeOptions {
  std::optional<double> quality;  // 0...1: JPEG and JPEG 2000 only
};

/// Receives full-size rows top to bottom, each once.
class RowSink {
 public:
  virtual ~RowSink() = default;
  /// Called once before the first row with the layout of the rows to come.
  virtual bool begin(const ImageInfo& info) = 0;
  virtual void row(std::uint32_t y, const std::uint8_t* bytes) = 0;
};

class ImageCodec {
 public:
  virtual ~ImageCodec() = default;
  virtual ImageFormat format() const noexcept = 0;
  /// True when the bytes start the way this format's files start.
  virtual bool sniff(ByteView bytes) const noexcept = 0;
  /// The first image's properties, from the headers only.
  virtual std::optional<ImageInfo> readInfo(ByteView bytes) const = 0;
  /// The first image at full size; nothing for a malformed file or a file
  /// that ends before its first row.
  virtual std::optional<Pixels> decode(ByteView bytes) const = 0;
  /// The smallest reduced decode whose sides are still at least minWidth x
  /// minHeight (JPEG's scaled IDCT, JPEG 2000's resolution levels). Nothing
  /// when the format cannot reduce or no reduction keeps enough pixels.
  virtual std::optional<Pixels> decodeReduced(ByteView bytes, std::uint32_t minWidth,
                                              std::uint32_t minHeight) const;
  /// What decodeReduced would give, read from the headers only, for codecs
  /// that can also stream their reduced rows (decodeReducedRows); nothing
  /// otherwise, or when there is no reduction.
  virtual std::optional<ImageInfo> reducedInfo(ByteView bytes, std::uint32_t minWidth,
                                               std::uint32_t minHeight) const;
  /// Streams the rows of decodeReduced into the sink without keeping them
  /// (the reduced counterpart of decodeRows). False when nothing could be decoded.
  virtual bool decodeReducedRows(ByteView bytes, std::uint32_t minWidth, std::uint32_t minHeight,
                                 RowSink& sink) const;
  /// Streams the full-size rows into the sink without a full-size buffer where
  /// the file's layout allows (otherwise decodes whole and then streams).
  /// Rows past a truncation arrive zeroed. False when nothing could be decoded.
  virtual bool decodeRows(ByteView bytes, RowSink& sink) const;
  /// Appends one encoded file to `out`; false (out unchanged) on failure.
  virtual bool encode(const PixelsView& pixels, const EncodeOptions& options, Data& out) const = 0;
};

const ImageCodec& jpegCodec() noexcept;
const ImageCodec& pngCodec() noexcept;
const ImageCodec& tiffCodec() noexcept;
const ImageCodec& bmpCodec() noexcept;
const ImageCodec& gifCodec() noexcept;
const ImageCodec& jpeg2000Codec() noexcept;

/// Converts row y of `src` to `channels` x `bits` samples in `out`: gray is
/// replicated into RGB, alpha added opaque or dropped, 16-bit samples rounded
/// to 8 bits or 8-bit ones widened (x 257). Colour never becomes gray.
void convertRow(const PixelsView& src, std::uint32_t y, std::uint8_t channels, std::uint8_t bits,
                std::uint8_t* out) noexcept;

/// Turns CMYK rows into RGB: through the embedded profile when it is a CMYK
/// profile lcms2 accepts (into sRGB, relative colorimetric), else by the plain
/// formula R = (255 - C)(255 - K) / 255. `inverted` is Adobe's convention of
/// storing 255 - ink.
class CmykConverter {
 public:
  CmykConverter(ByteView iccProfile, bool inverted);
  void convert(const std::uint8_t* cmyk, std::uint8_t* rgb, std::uint32_t width) const noexcept;

 private:
  struct TransformCloser {
    void operator()(void* transform) const noexcept;
  };
  std::unique_ptr<void, TransformCloser> transform_;
  bool inverted_;
};

/// The Orientation tag (0x0112) of the first directory of a TIFF-structured
/// EXIF block (the bytes after "Exif\0\0"); 1 when absent or out of range.
std::uint16_t exifOrientation(ByteView tiffStructure) noexcept;

/// The codec of each format, and the one whose sniff accepts the bytes.
const ImageCodec& codecFor(ImageFormat format) noexcept;
const ImageCodec* sniffCodec(ByteView bytes) noexcept;

/// Type identifier text of a format ("public.jpeg", ...), and back.
std::string_view typeIdentifierOf(ImageFormat format) noexcept;
std::optional<ImageFormat> formatOfTypeIdentifier(std::string_view identifier) noexcept;

}  // namespace orvane::imageio
