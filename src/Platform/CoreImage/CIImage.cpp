#include "orvane/Platform/CoreImage/CIImage.h"

namespace orvane {

std::shared_ptr<const CIColor> CIColor::colorWithRedGreenBlueAlpha(double red, double green,
                                                                   double blue, double alpha) {
  return std::make_shared<const CIColor>(red, green, blue, alpha);
}

std::shared_ptr<const CIColor> CIColor::colorWithRedGreenBlue(double red, double green,
                                                              double blue) {
  return colorWithRedGreenBlueAlpha(red, green, blue, 1.0);
}

CIImage::CIImage(Private, Source source, CGImageRef image, std::shared_ptr<const CIColor> color,
                 CGAffineTransform transform, std::vector<Crop> crops, CGRect extent)
    : source_(source),
      image_(std::move(image)),
      color_(std::move(color)),
      transform_(transform),
      crops_(std::move(crops)),
      extent_(extent) {}

std::shared_ptr<const CIImage> CIImage::imageWithCGImage(const CGImageRef& image) {
  if (!image) return nullptr;
  const CGRect extent = CGRectMake(0, 0, static_cast<double>(CGImageGetWidth(image)),
                                   static_cast<double>(CGImageGetHeight(image)));
  return std::make_shared<const CIImage>(Private{}, Source::kImage, image, nullptr,
                                         CGAffineTransformIdentity, std::vector<Crop>{}, extent);
}

std::shared_ptr<const CIImage> CIImage::imageWithColor(const std::shared_ptr<const CIColor>& color) {
  if (!color) return nullptr;
  return std::make_shared<const CIImage>(Private{}, Source::kColor, nullptr, color,
                                         CGAffineTransformIdentity, std::vector<Crop>{},
                                         CGRectInfinite);
}

std::shared_ptr<const CIImage> CIImage::emptyImage() {
  static const auto empty =
      std::make_shared<const CIImage>(Private{}, Source::kNothing, nullptr, nullptr,
                                      CGAffineTransformIdentity, std::vector<Crop>{}, CGRectNull);
  return empty;
}

std::shared_ptr<const CIImage> CIImage::imageByApplyingTransform(
    const CGAffineTransform& transform) const {
  std::vector<Crop> crops = crops_;
  for (Crop& crop : crops) crop.toImage = CGAffineTransformConcat(crop.toImage, transform);
  return std::make_shared<const CIImage>(Private{}, source_, image_, color_,
                                         CGAffineTransformConcat(transform_, transform),
                                         std::move(crops),
                                         CGRectApplyAffineTransform(extent_, transform));
}

std::shared_ptr<const CIImage> CIImage::imageByCroppingToRect(CGRect rect) const {
  std::vector<Crop> crops = crops_;
  crops.push_back({rect, CGAffineTransformIdentity});
  return std::make_shared<const CIImage>(Private{}, source_, image_, color_, transform_,
                                         std::move(crops), CGRectIntersection(extent_, rect));
}

CGImageRef CIImage::CGImage() const {
  if (source_ != Source::kImage || !CGAffineTransformIsIdentity(transform_) || !crops_.empty())
    return nullptr;
  return image_;
}

}  // namespace orvane
