#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "orvane/Export.h"
#include "orvane/Platform/CoreGraphics/CGGeometry.h"

namespace orvane {

/// One representation of an NSImage: something that can draw the picture,
/// with a size in points and, where it has them, pixel counts.
///
/// Representations are used from one thread at a time (AppKit's drawing
/// belongs to the user-interface thread).
class ORVANE_EXPORT NSImageRep {
 public:
  virtual ~NSImageRep();

  /// Pixel counts; 0 for a representation that has no pixels of its own.
  virtual std::int64_t pixelsWide() const = 0;
  virtual std::int64_t pixelsHigh() const = 0;

  /// The size in points.
  CGSize size() const noexcept { return size_; }
  void setSize(CGSize size) noexcept { size_ = size; }

  /// Draws the whole representation scaled to fill `rect` of the current
  /// graphics context (NSGraphicsContext::currentContext()), upright also in
  /// a flipped context, source-over, opaque. False when there is no current
  /// context, the rectangle is empty or nothing could be drawn.
  virtual bool drawInRect(CGRect rect) const = 0;

 protected:
  explicit NSImageRep(CGSize size) : size_(size) {}

 private:
  CGSize size_;
};

/// Draws the picture into the current graphics context, inside the rectangle
/// it is given (0, 0, size), and answers whether it drew.
using NSCustomImageRepDrawingHandler = std::function<bool(CGRect dstRect)>;

/// A representation that draws by calling a handler. It has no pixels of its
/// own: pixelsWide and pixelsHigh are 0.
class ORVANE_EXPORT NSCustomImageRep : public NSImageRep {
  struct Private {};

 public:
  /// A representation of `size` points drawn by `handler`. With `flipped`
  /// the handler draws in a y-down space (origin at the top left). Null for
  /// an empty handler.
  static std::shared_ptr<NSCustomImageRep> initWithSizeFlippedDrawingHandler(
      CGSize size, bool flipped, NSCustomImageRepDrawingHandler handler);

  std::int64_t pixelsWide() const override { return 0; }
  std::int64_t pixelsHigh() const override { return 0; }
  bool isFlipped() const noexcept { return flipped_; }

  /// Calls the handler with (0, 0, size) in a space mapped onto `rect`, under
  /// a current graphics context of the same CGContext whose isFlipped() is
  /// this representation's; the previous state is restored afterwards.
  /// False also for a size with a side that is not positive.
  bool drawInRect(CGRect rect) const override;

  NSCustomImageRep(Private, CGSize size, bool flipped, NSCustomImageRepDrawingHandler handler)
      : NSImageRep(size), flipped_(flipped), handler_(std::move(handler)) {}

 private:
  bool flipped_;
  NSCustomImageRepDrawingHandler handler_;
};

}  // namespace orvane
