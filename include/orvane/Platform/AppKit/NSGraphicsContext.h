#pragma once

#include <memory>

#include "orvane/Export.h"
#include "orvane/Platform/CoreGraphics/CGContext.h"

namespace orvane {

/// AppKit's wrapper of a Core Graphics context, and the per-thread current
/// context that AppKit drawing (NSImage::drawInRect, NSImageRep::drawInRect)
/// draws into.
///
/// Each thread has its own current context (null at first) and its own stack
/// of saved states; nothing is shared between threads. A context object
/// itself follows its CGContext's rule: one thread at a time.
class ORVANE_EXPORT NSGraphicsContext {
 public:
  /// A wrapper of `context`. `flipped` says that its user space has y growing
  /// downward (the host set the CTM so); AppKit drawing then keeps images
  /// upright. Null for a null context.
  static std::shared_ptr<NSGraphicsContext> graphicsContextWithCGContextFlipped(
      CGContextRef context, bool flipped);

  /// This thread's current context; null when none is set.
  static std::shared_ptr<NSGraphicsContext> currentContext();
  /// Makes `context` (null for none) this thread's current context.
  static void setCurrentContext(std::shared_ptr<NSGraphicsContext> context);

  /// Pushes this thread's current context onto its stack and saves that
  /// context's graphics state (CGContextSaveGState).
  static void saveGraphicsState();
  /// Pops the context pushed last, makes it current again and restores its
  /// graphics state. Does nothing when the stack is empty.
  static void restoreGraphicsState();

  const CGContextRef& CGContext() const noexcept { return context_; }
  bool isFlipped() const noexcept { return flipped_; }

  NSGraphicsContext(CGContextRef context, bool flipped)
      : context_(std::move(context)), flipped_(flipped) {}

 private:
  CGContextRef context_;
  bool flipped_;
};

}  // namespace orvane
