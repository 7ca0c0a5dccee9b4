#include "orvane/Image/CIImageTransform.h"

#include "orvane/Math/HXMathUtility.h"
#include "orvane/Platform/CoreImage/CIFilter.h"

namespace orvane {

std::shared_ptr<const CIImage> CIImageTransform::translateXByYBy(
    const std::shared_ptr<const CIImage>& image, double dx, double dy) {
  auto transform = NSAffineTransform::transform();
  transform->translateXByYBy(dx, dy);
  return imageByApplyingNSTransform(image, transform);
}

std::shared_ptr<const CIImage> CIImageTransform::translatePoint(
    const std::shared_ptr<const CIImage>& image, CGPoint point) {
  return translateXByYBy(image, point.x, point.y);
}

std::shared_ptr<const CIImage> CIImageTransform::scaleXByYBy(
    const std::shared_ptr<const CIImage>& image, double sx, double sy) {
  auto transform = NSAffineTransform::transform();
  transform->scaleXByYBy(sx, sy);
  return imageByApplyingNSTransform(image, transform);
}

std::shared_ptr<const CIImage> CIImageTransform::rotateDegreeWithCenter(
    const std::shared_ptr<const CIImage>& image, double degrees, CGPoint center) {
  return imageByApplyingNSTransform(image, HXMathUtility::rotateDegreeWithCenter(degrees, center));
}

std::shared_ptr<const CIImage> CIImageTransform::imageByApplyingNSTransform(
    const std::shared_ptr<const CIImage>& image,
    const std::shared_ptr<const NSAffineTransform>& transform) {
  // An absent transform never equals the identity: it goes to the filter.
  if (NSAffineTransform::transform()->isEqualTo(transform.get())) return image;
  const auto filter = CIFilter::filterWithName("CIAffineTransform");
  if (!filter) return nullptr;
  filter->setDefaults();
  filter->setValueForKey(image, kCIInputImageKey);
  filter->setValueForKey(transform, kCIInputTransformKey);
  return filter->outputImage();
}

}  // namespace orvane
