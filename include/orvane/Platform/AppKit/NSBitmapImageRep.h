#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "orvane/Export.h"
#include "orvane/Platform/AppKit/NSImageRep.h"
#include "orvane/Platform/CoreGraphics/CGImage.h"
#include "orvane/Platform/Foundation/Data.h"
#include "orvane/Platform/Foundation/NSDictionary.h"

namespace orvane {

/// Bitmap file types, with the platform's values.
using NSBitmapImageFileType = std::uint64_t;
inline constexpr NSBitmapImageFileType NSBitmapImageFileTypeTIFF = 0;
inline constexpr NSBitmapImageFileType NSBitmapImageFileTypeBMP = 1;
inline constexpr NSBitmapImageFileType NSBitmapImageFileTypeGIF = 2;
inline constexpr NSBitmapImageFileType NSBitmapImageFileTypeJPEG = 3;
inline constexpr NSBitmapImageFileType NSBitmapImageFileTypePNG = 4;
inline constexpr NSBitmapImageFileType NSBitmapImageFileTypeJPEG2000 = 5;

/// Property key of representationUsingTypeProperties: a number from 0 (most
/// compression) to 1 (least loss) setting the JPEG and JPEG 2000 quality.
inline constexpr std::string_view NSImageCompressionFactor = "NSImageCompressionFactor";

/// A representation holding pixels: a CGImage, which it can encode in the
/// bitmap file types.
///
/// One thread at a time: bitmapData() hands out writable pixels.
class ORVANE_EXPORT NSBitmapImageRep : public NSImageRep {
  struct Private {};

 public:
  /// The first image of encoded `data` (any format ImageIO reads), one point
  /// per pixel. Null when ImageIO does not recognise the data. The pixels
  /// decode on first use; pixels that do not decode draw nothing and encode
  /// to no data.
  static std::shared_ptr<NSBitmapImageRep> imageRepWithData(ByteView data);
  static std::shared_ptr<NSBitmapImageRep> initWithData(ByteView data);
  /// One representation per image ImageIO finds in encoded `data`; empty
  /// when ImageIO does not recognise the data.
  static std::vector<std::shared_ptr<NSBitmapImageRep>> imageRepsWithData(ByteView data);
  /// A representation of `image`, one point per pixel. The image is shared,
  /// never changed. Null for null.
  static std::shared_ptr<NSBitmapImageRep> initWithCGImage(CGImageRef image);

  std::int64_t pixelsWide() const override;
  std::int64_t pixelsHigh() const override;

  /// The pixels as an image. After bitmapData() was asked for, a new image of
  /// the pixels as they are now.
  CGImageRef CGImage() const;

  /// The pixels in the image's layout (CGImageGetBitmapInfo of CGImage()),
  /// rows of bytesPerRow() bytes from the top, writable. The representation
  /// makes its own copy on the first call, so images handed out earlier never
  /// change. Null when the image cannot be decoded.
  std::uint8_t* bitmapData();
  std::int64_t bytesPerRow() const;
  std::int64_t bitsPerPixel() const;
  std::int64_t bitsPerSample() const;

  /// The pixels encoded as a file of `type`. NSImageCompressionFactor in
  /// `properties` (a number, 0...1) sets the quality for JPEG and JPEG 2000;
  /// other types and other entries ignore it, and without it ImageIO's
  /// defaults apply. No data for a type outside the six or when encoding
  /// fails (pixels that do not decode among the reasons).
  std::optional<Data> representationUsingTypeProperties(NSBitmapImageFileType type,
                                                        const NSDictionary& properties) const;
  /// The pixels as a TIFF file; no data when they cannot be encoded.
  std::optional<Data> TIFFRepresentation() const;
  bool drawInRect(CGRect rect) const override;

  NSBitmapImageRep(Private, CGImageRef image);

 private:
  CGImageRef image_;
  Data pixels_;  // the writable copy, once bitmapData() was asked for
  bool ownPixels_ = false;
};

}  // namespace orvane
