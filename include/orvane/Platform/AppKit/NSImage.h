#pragma once

#include <memory>
#include <vector>

#include "orvane/Export.h"
#include "orvane/Platform/AppKit/NSBitmapImageRep.h"
#include "orvane/Platform/AppKit/NSGraphicsContext.h"
#include "orvane/Platform/AppKit/NSImageRep.h"
#include "orvane/Platform/CoreGraphics/CGImage.h"
#include "orvane/Platform/Foundation/Data.h"

namespace orvane {

/// An AppKit image: a size in points and an ordered list of representations
/// of the same picture.
///
/// An image is mutable (size, representations, focus): use it from one
/// thread at a time, as AppKit's drawing belongs to the user-interface
/// thread.
class ORVANE_EXPORT NSImage {
  struct Private {};

 public:
  /// An image of `size` points without representations.
  static std::shared_ptr<NSImage> initWithSize(CGSize size);
  /// An image of encoded `data`: one bitmap representation per image in it,
  /// its size the first one's. Null when nothing in it decodes.
  static std::shared_ptr<NSImage> initWithData(ByteView data);
  /// An image holding a bitmap representation of `image`, of `size` points
  /// (CGSizeZero: its pixel size). Null for a null image.
  static std::shared_ptr<NSImage> initWithCGImageSize(CGImageRef image, CGSize size);
  /// An image of `size` points whose one representation is an
  /// NSCustomImageRep calling `handler` (0 x 0 pixels). Null for an empty
  /// handler.
  static std::shared_ptr<NSImage> imageWithSizeFlippedDrawingHandler(
      CGSize size, bool flipped, NSCustomImageRepDrawingHandler handler);

  CGSize size() const noexcept { return size_; }
  void setSize(CGSize size) noexcept { size_ = size; }

  const std::vector<std::shared_ptr<NSImageRep>>& representations() const noexcept {
    return reps_;
  }
  /// Appends `rep` (null is ignored; the same object may appear once).
  void addRepresentation(std::shared_ptr<NSImageRep> rep);
  /// Removes `rep` when it is there.
  void removeRepresentation(const std::shared_ptr<NSImageRep>& rep);

  /// A TIFF file of the image's first bitmap representation (ImageIO's TIFF
  /// destination holds one image); empty data when the image has none
  /// (other representations are not rasterised) or encoding fails.
  Data TIFFRepresentation() const;

  /// Makes drawing go into a new bitmap of the image: the size in points
  /// times the main screen's backing scale factor (1 without a screen),
  /// rounded up, 8-bit sRGB with premultiplied alpha, transparent, its user
  /// space in points (0, 0, size). The bitmap becomes this thread's current
  /// graphics context (the previous state is saved). Without pixels (a side
  /// rounds to 0) there is no current context until unlockFocus.
  void lockFocus();
  /// Ends the drawing lockFocus began: the bitmap becomes the image's first
  /// representation (size in points = the image's size) and the graphics
  /// state before lockFocus comes back. Does nothing without a lockFocus.
  void unlockFocus();

  /// Draws the image's best representation scaled into `rect` of the
  /// current graphics context, source-over, opaque: the bitmap with the
  /// fewest pixels that still covers the destination's pixels, else the
  /// largest bitmap, else the first representation. Does nothing without a
  /// current context or representations.
  void drawInRect(CGRect rect) const;

  NSImage(Private, CGSize size) : size_(size) {}

 private:
  CGSize size_;
  std::vector<std::shared_ptr<NSImageRep>> reps_;
  std::vector<CGContextRef> focus_;  // bitmaps of nested lockFocus calls
};

}  // namespace orvane
