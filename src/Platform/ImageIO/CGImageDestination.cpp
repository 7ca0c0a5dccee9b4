#include "orvane/Platform/ImageIO/CGImageDestination.h"

#include "Platform/ImageIO/CodecImage.h"
#include "Platform/ImageIO/ImageIOInternal.h"

#include <algorithm>
#include <cmath>

namespace orvane {

class CGImageDestination {
 public:
  CGImageDestination(std::shared_ptr<Data> data, const imageio::ImageCodec& codec, std::size_t count)
      : data(std::move(data)), codec(codec), capacity(count) {}

  std::shared_ptr<Data> data;
  const imageio::ImageCodec& codec;
  std::size_t capacity;
  std::vector<CGImageRef> images;
  imageio::EncodeOptions options;     // from the creation options
  std::optional<double> imageQuality;  // from the first image's properties: wins
  bool finalised = false;
};

namespace {

// The lossy quality a dictionary asks for, clamped to 0...1; nothing when it
// has none or it is not a number.
std::optional<double> qualityIn(const NSDictionary* dictionary) {
  if (!dictionary) return std::nullopt;
  const auto quality = dictionary->doubleForKey(kCGImageDestinationLossyCompressionQuality);
  if (!quality || std::isnan(*quality)) return std::nullopt;
  return std::clamp(*quality, 0.0, 1.0);
}

}  // namespace

CGImageDestinationRef CGImageDestinationCreateWithData(std::shared_ptr<Data> data, std::string_view type,
                                                       std::size_t count, const NSDictionary* options) {
  const auto format = imageio::formatOfTypeIdentifier(type);
  if (!data || !format || count == 0) return nullptr;
  auto destination = std::make_shared<CGImageDestination>(std::move(data), imageio::codecFor(*format), count);
  destination->options.quality = qualityIn(options);
  return destination;
}

void CGImageDestinationAddImage(const CGImageDestinationRef& destination, CGImageRef image,
                                const NSDictionary* properties) {
  if (!destination || !image || destination->images.size() >= destination->capacity) return;
  if (destination->images.empty()) destination->imageQuality = qualityIn(properties);
  destination->images.push_back(std::move(image));
}

bool CGImageDestinationFinalize(const CGImageDestinationRef& destination) {
  if (!destination || destination->finalised || destination->images.empty()) return false;
  destination->finalised = true;
  const auto pixels = imageio::pixelsOfImage(destination->images.front());
  if (!pixels) return false;
  imageio::EncodeOptions options = destination->options;
  if (destination->imageQuality) options.quality = destination->imageQuality;
  return destination->codec.encode(pixels->view, options, *destination->data);
}

std::vector<std::string_view> CGImageDestinationCopyTypeIdentifiers() {
  return {kUTTypeJPEG, kUTTypePNG, kUTTypeTIFF, kUTTypeGIF, kUTTypeBMP, kUTTypeJPEG2000};
}

}  // namespace orvane
