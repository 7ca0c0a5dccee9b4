#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <variant>

#include "orvane/Export.h"
#include "orvane/Platform/AppKit/NSAffineTransform.h"
#include "orvane/Platform/CoreImage/CIImage.h"

namespace orvane {

/// Input keys, holding the platform's strings.
inline constexpr std::string_view kCIInputImageKey = "inputImage";
inline constexpr std::string_view kCIInputTransformKey = "inputTransform";

/// A value of a filter input: none, an image or a transform. The filter keeps
/// the object it is given (not a copy) and answers it from valueForKey; a
/// transform is read when outputImage is asked for.
using CIFilterValue = std::variant<std::monostate, std::shared_ptr<const CIImage>,
                                   std::shared_ptr<const NSAffineTransform>>;

/// A Core Image filter: named inputs and an output image made from them. The
/// one filter known here is "CIAffineTransform", which moves its input image
/// (kCIInputImageKey) by its transform (kCIInputTransformKey).
///
/// A filter is a mutable object: use it from one thread at a time.
class ORVANE_EXPORT CIFilter {
  struct Private {};

 public:
  /// A new filter with all inputs unset; null for a name it does not know.
  static std::shared_ptr<CIFilter> filterWithName(std::string_view name);

  const std::string& name() const noexcept { return name_; }

  /// Sets every input that has a default to it: the transform to a new
  /// identity transform. The image has no default and is left alone.
  void setDefaults();

  /// Sets the input `key`: an image under kCIInputImageKey, a transform under
  /// kCIInputTransformKey, or none (unset) under either. Answers false and
  /// changes nothing for another key or a value of the wrong kind.
  bool setValueForKey(CIFilterValue value, std::string_view key);
  /// The value last set under `key`; none when unset or for another key.
  CIFilterValue valueForKey(std::string_view key) const;

  /// The input image moved by the input transform (read now), lazily; null
  /// when the image or the transform is unset.
  std::shared_ptr<const CIImage> outputImage() const;

  CIFilter(Private, std::string name) : name_(std::move(name)) {}

 private:
  std::string name_;
  std::shared_ptr<const CIImage> image_;
  std::shared_ptr<const NSAffineTransform> transform_;
};

}  // namespace orvane
