#pragma once

#include <memory>
#include <vector>

#include "Platform/CoreGraphics/Draw.h"
#include "orvane/Platform/CoreGraphics/CGContext.h"

namespace orvane {

struct GraphicsState {
  CGAffineTransform ctm;
  DeviceClip clip;
  float fill[4] = {0, 0, 0, 1};  // sRGB, not premultiplied
  double alpha = 1.0;
  CGInterpolationQuality quality = kCGInterpolationDefault;
};

class CGContext {
 public:
  CGContext(DrawTarget target, std::size_t bitsPerComponent, CGBitmapInfo info,
            std::shared_ptr<Data> owned)
      : target_(std::move(target)), bitsPerComponent_(bitsPerComponent), info_(info),
        owned_(std::move(owned)) {
    state_.clip = {0, 0, double(target_.width), double(target_.height)};
  }

  /// The target, ready to be written: storage shared with an image made
  /// earlier is copied first.
  const DrawTarget& writable();
  const DrawTarget& target() const noexcept { return target_; }
  std::size_t bitsPerComponent() const noexcept { return bitsPerComponent_; }
  CGBitmapInfo bitmapInfo() const noexcept { return info_; }
  GraphicsState& state() noexcept { return state_; }
  std::vector<GraphicsState>& stack() noexcept { return stack_; }
  /// The storage as it is now, for an image: shared when the context owns it.
  CGImageRef makeImage() const;

 private:
  DrawTarget target_;
  std::size_t bitsPerComponent_;
  CGBitmapInfo info_;
  std::shared_ptr<Data> owned_;
  GraphicsState state_;
  std::vector<GraphicsState> stack_;
};

}  // namespace orvane
