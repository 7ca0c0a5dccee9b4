#include "orvane/Platform/ImageIO/CGImageDestination.h"

#include "Platform/ImageIO/CodecImage.h"
#include "Platform/ImageIO/ImageIOInternal.h"

namespace orvane {

class CGImageDestination {
 public:
  CGImageDestination(std::shared_ptr<Data> data, const imageio::ImageCodec& codec, std::size_t count)
      : data(std::move(data)), codec(codec), capacity(count) {}

  std::shared_ptr<Data> data;
  const imageio::ImageCodec& codec;
  std::size_t capacity;
  std::vector<CGImageRef> images;
  imageio::EncodeOptions options;
  bool finalised = false;
};

CGImageDestinationRef CGImageDestinationCreateWithData(std::shared_ptr<Data> data, std::string_view type,
                                                       std::size_t count) {
  const auto format = imageio::formatOfTypeIdentifier(type);
  if (!data || !format || count == 0) return nullptr;
  return std::make_shared<CGImageDestination>(std::move(data), imageio::codecFor(*format), count);
}

void CGImageDestinationAddImage(const CGImageDestinationRef& destination, CGImageRef image) {
  if (!destination || !image || destination->images.size() >= destination->capacity) return;
  destination->images.push_back(std::move(image));
}

bool CGImageDestinationFinalize(const CGImageDestinationRef& destination) {
  if (!destination || destination->finalised || destination->images.empty()) return false;
  destination->finalised = true;
  const auto pixels = imageio::pixelsOfImage(destination->images.front());
  if (!pixels) return false;
  return destination->codec.encode(pixels->view, destination->options, *destination->data);
}

std::vector<std::string_view> CGImageDestinationCopyTypeIdentifiers() {
  return {kUTTypeJPEG, kUTTypePNG, kUTTypeTIFF, kUTTypeGIF, kUTTypeBMP, kUTTypeJPEG2000};
}

namespace imageio {

void setDestinationQuality(const CGImageDestinationRef& destination, double quality) {
  if (destination) destination->options.quality = quality;
}

}  // namespace imageio
}  // namespace orvane
