#pragma once

// The classes behind CGDataProvider and CGImage, shared by the image, context
// and drawing code of this folder.

#include <atomic>
#include <memory>
#include <mutex>

#include "Platform/CoreGraphics/ImageDecoder.h"
#include "Platform/CoreGraphics/PixelFormat.h"
#include "orvane/Platform/CoreGraphics/CGImage.h"

namespace orvane {

class CGDataProvider {
 public:
  explicit CGDataProvider(std::shared_ptr<const Data> bytes) : bytes_(std::move(bytes)) {
    ready_.store(true, std::memory_order_release);
  }
  CGDataProvider(std::shared_ptr<const ImageDecoder> decoder, std::size_t minimumBytes)
      : decoder_(std::move(decoder)), minimumBytes_(minimumBytes) {}

  /// The bytes; the first call of a decoder-backed provider decodes. Null
  /// when decoding failed.
  std::shared_ptr<const Data> bytes() const;
  /// The decoder, or null for plain bytes.
  const ImageDecoder* decoder() const noexcept { return decoder_.get(); }
  /// True once the bytes are at hand (plain, or decoded already).
  bool ready() const noexcept { return ready_.load(std::memory_order_acquire); }

 private:
  mutable std::once_flag once_;
  mutable std::shared_ptr<const Data> bytes_;
  mutable std::atomic<bool> ready_{false};
  std::shared_ptr<const ImageDecoder> decoder_;
  std::size_t minimumBytes_ = 0;
};

class CGImage {
 public:
  CGImage(const ImagePixelLayout& layout, const PixelFormat& format, CGColorSpaceRef space,
          CGDataProviderRef provider, bool shouldInterpolate, CGColorRenderingIntent intent)
      : layout_(layout),
        format_(format),
        space_(std::move(space)),
        provider_(std::move(provider)),
        shouldInterpolate_(shouldInterpolate),
        intent_(intent) {}

  const ImagePixelLayout& layout() const noexcept { return layout_; }
  const PixelFormat& format() const noexcept { return format_; }
  const CGColorSpaceRef& space() const noexcept { return space_; }
  const CGDataProviderRef& provider() const noexcept { return provider_; }
  bool shouldInterpolate() const noexcept { return shouldInterpolate_; }
  CGColorRenderingIntent intent() const noexcept { return intent_; }

 private:
  ImagePixelLayout layout_;
  PixelFormat format_;
  CGColorSpaceRef space_;
  CGDataProviderRef provider_;
  bool shouldInterpolate_;
  CGColorRenderingIntent intent_;
};

}  // namespace orvane
