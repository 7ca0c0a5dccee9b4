#include "orvane/Platform/AppKit/NSImage.h"

#include <algorithm>
#include <cmath>

#include "orvane/Platform/AppKit/NSScreen.h"

namespace orvane {

namespace {

constexpr double kMaxSide = 65535.0;

// The pixel count of a focus bitmap side: points times scale, rounded up; 0
// when that is not a usable size.
std::size_t focusPixels(double points, double scale) {
  const double pixels = std::ceil(points * scale);
  if (!(pixels >= 1.0) || pixels > kMaxSide) return 0;
  return static_cast<std::size_t>(pixels);
}

}  // namespace

std::shared_ptr<NSImage> NSImage::initWithSize(CGSize size) {
  return std::make_shared<NSImage>(Private{}, size);
}

std::shared_ptr<NSImage> NSImage::initWithData(ByteView data) {
  auto reps = NSBitmapImageRep::imageRepsWithData(data);
  if (reps.empty()) return nullptr;
  auto image = initWithSize(reps.front()->size());
  for (auto& rep : reps) image->addRepresentation(std::move(rep));
  return image;
}

std::shared_ptr<NSImage> NSImage::initWithCGImageSize(CGImageRef cgImage, CGSize size) {
  auto rep = NSBitmapImageRep::initWithCGImage(std::move(cgImage));
  if (!rep) return nullptr;
  if (size == CGSizeZero) size = rep->size();
  rep->setSize(size);
  auto image = initWithSize(size);
  image->addRepresentation(std::move(rep));
  return image;
}

std::shared_ptr<NSImage> NSImage::imageWithSizeFlippedDrawingHandler(
    CGSize size, bool flipped, NSCustomImageRepDrawingHandler handler) {
  auto rep = NSCustomImageRep::initWithSizeFlippedDrawingHandler(size, flipped, std::move(handler));
  if (!rep) return nullptr;
  auto image = initWithSize(size);
  image->addRepresentation(std::move(rep));
  return image;
}

void NSImage::addRepresentation(std::shared_ptr<NSImageRep> rep) {
  if (!rep || std::find(reps_.begin(), reps_.end(), rep) != reps_.end()) return;
  reps_.push_back(std::move(rep));
}

void NSImage::removeRepresentation(const std::shared_ptr<NSImageRep>& rep) {
  reps_.erase(std::remove(reps_.begin(), reps_.end(), rep), reps_.end());
}

Data NSImage::TIFFRepresentation() const {
  for (const auto& rep : reps_)
    if (const auto* bitmap = dynamic_cast<const NSBitmapImageRep*>(rep.get()))
      return bitmap->TIFFRepresentation().value_or(Data{});
  return {};
}

void NSImage::lockFocus() {
  const auto screen = NSScreen::mainScreen();
  const double scale = screen ? screen->backingScaleFactor() : 1.0;
  const std::size_t width = focusPixels(size_.width, scale);
  const std::size_t height = focusPixels(size_.height, scale);
  CGContextRef bitmap;
  if (width && height)
    bitmap = CGBitmapContextCreate(nullptr, width, height, 8, 0,
                                   CGColorSpaceCreateWithName(kCGColorSpaceSRGB),
                                   kCGImageAlphaPremultipliedFirst);
  NSGraphicsContext::saveGraphicsState();
  if (bitmap) {
    CGContextScaleCTM(bitmap, scale, scale);
    NSGraphicsContext::setCurrentContext(
        NSGraphicsContext::graphicsContextWithCGContextFlipped(bitmap, false));
    // Drawing adds to what the image shows already.
    if (!reps_.empty()) drawInRect(CGRectMake(0, 0, size_.width, size_.height));
  } else {
    NSGraphicsContext::setCurrentContext(nullptr);
  }
  focus_.push_back(std::move(bitmap));
}

void NSImage::unlockFocus() {
  if (focus_.empty()) return;
  CGContextRef bitmap = std::move(focus_.back());
  focus_.pop_back();
  NSGraphicsContext::restoreGraphicsState();
  if (!bitmap) return;
  auto rep = NSBitmapImageRep::initWithCGImage(CGBitmapContextCreateImage(bitmap));
  if (!rep) return;
  rep->setSize(size_);
  reps_.insert(reps_.begin(), std::move(rep));
}

void NSImage::drawInRect(CGRect rect) const {
  const auto current = NSGraphicsContext::currentContext();
  if (!current || reps_.empty()) return;
  // Device pixels the rectangle covers, along each axis.
  const CGAffineTransform ctm = CGContextGetCTM(current->CGContext());
  const double needWide = std::hypot(ctm.a, ctm.b) * std::fabs(rect.size.width);
  const double needHigh = std::hypot(ctm.c, ctm.d) * std::fabs(rect.size.height);
  const NSImageRep* best = nullptr;   // fewest pixels covering the need
  const NSImageRep* largest = nullptr;
  for (const auto& rep : reps_) {
    if (!dynamic_cast<const NSBitmapImageRep*>(rep.get())) continue;
    const double w = static_cast<double>(rep->pixelsWide());
    const double h = static_cast<double>(rep->pixelsHigh());
    if (!largest || w * h > static_cast<double>(largest->pixelsWide() * largest->pixelsHigh()))
      largest = rep.get();
    if (w >= needWide && h >= needHigh &&
        (!best || w * h < static_cast<double>(best->pixelsWide() * best->pixelsHigh())))
      best = rep.get();
  }
  if (!best) best = largest ? largest : reps_.front().get();
  best->drawInRect(rect);
}

}  // namespace orvane
