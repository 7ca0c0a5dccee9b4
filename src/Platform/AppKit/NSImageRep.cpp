#include "orvane/Platform/AppKit/NSImageRep.h"

#include "Platform/AppKit/UprightDrawing.h"
#include "orvane/Platform/AppKit/NSGraphicsContext.h"

namespace orvane {

NSImageRep::~NSImageRep() = default;

std::shared_ptr<NSCustomImageRep> NSCustomImageRep::initWithSizeFlippedDrawingHandler(
    CGSize size, bool flipped, NSCustomImageRepDrawingHandler handler) {
  if (!handler) return nullptr;
  return std::make_shared<NSCustomImageRep>(Private{}, size, flipped, std::move(handler));
}

bool NSCustomImageRep::drawInRect(CGRect rect) const {
  const auto current = NSGraphicsContext::currentContext();
  const CGSize points = size();
  if (!current || CGRectIsEmpty(rect) || !(points.width > 0) || !(points.height > 0))
    return false;
  const CGContextRef& cg = current->CGContext();
  NSGraphicsContext::saveGraphicsState();
  mirrorForFlippedContext(cg, rect, current->isFlipped());
  CGContextTranslateCTM(cg, rect.origin.x, rect.origin.y);
  CGContextScaleCTM(cg, rect.size.width / points.width, rect.size.height / points.height);
  if (flipped_) {
    CGContextTranslateCTM(cg, 0, points.height);
    CGContextScaleCTM(cg, 1, -1);
  }
  NSGraphicsContext::setCurrentContext(
      NSGraphicsContext::graphicsContextWithCGContextFlipped(cg, flipped_));
  const bool drew = handler_(CGRectMake(0, 0, points.width, points.height));
  NSGraphicsContext::restoreGraphicsState();
  return drew;
}

}  // namespace orvane
