#pragma once

// AppKit draws pictures upright whatever the context's orientation: in a
// flipped context (y down) the CTM is mirrored about the target rectangle
// first, so that the picture's top lands at the rectangle's top as seen.

#include "orvane/Platform/CoreGraphics/CGContext.h"

namespace orvane {

inline void mirrorForFlippedContext(const CGContextRef& context, const CGRect& rect,
                                    bool flipped) {
  if (!flipped) return;
  CGContextTranslateCTM(context, 0, 2 * rect.origin.y + rect.size.height);
  CGContextScaleCTM(context, 1, -1);
}

}  // namespace orvane
