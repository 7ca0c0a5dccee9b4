#include "orvane/Platform/CoreImage/CIFilter.h"

namespace orvane {

namespace {

constexpr std::string_view kAffineTransformFilter = "CIAffineTransform";

CGAffineTransform cgTransform(const NSAffineTransform& t) {
  const NSAffineTransformStruct& m = t.transformStruct();
  return CGAffineTransformMake(m.m11, m.m12, m.m21, m.m22, m.tX, m.tY);
}

}  // namespace

std::shared_ptr<CIFilter> CIFilter::filterWithName(std::string_view name) {
  if (name != kAffineTransformFilter) return nullptr;
  return std::make_shared<CIFilter>(Private{}, std::string(name));
}

void CIFilter::setDefaults() { transform_ = NSAffineTransform::transform(); }

bool CIFilter::setValueForKey(CIFilterValue value, std::string_view key) {
  if (key == kCIInputImageKey) {
    if (std::holds_alternative<std::shared_ptr<const NSAffineTransform>>(value)) return false;
    auto* image = std::get_if<std::shared_ptr<const CIImage>>(&value);
    image_ = image ? std::move(*image) : nullptr;
    return true;
  }
  if (key == kCIInputTransformKey) {
    if (std::holds_alternative<std::shared_ptr<const CIImage>>(value)) return false;
    auto* transform = std::get_if<std::shared_ptr<const NSAffineTransform>>(&value);
    transform_ = transform ? std::move(*transform) : nullptr;
    return true;
  }
  return false;
}

CIFilterValue CIFilter::valueForKey(std::string_view key) const {
  if (key == kCIInputImageKey && image_) return image_;
  if (key == kCIInputTransformKey && transform_) return transform_;
  return std::monostate{};
}

std::shared_ptr<const CIImage> CIFilter::outputImage() const {
  if (!image_ || !transform_) return nullptr;
  return image_->imageByApplyingTransform(cgTransform(*transform_));
}

}  // namespace orvane
