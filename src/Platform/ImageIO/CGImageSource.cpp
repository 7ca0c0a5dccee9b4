#include "orvane/Platform/ImageIO/CGImageSource.h"

#include "Platform/ImageIO/CodecImage.h"
#include "Platform/ImageIO/ImageIOInternal.h"

namespace orvane {

class CGImageSource {
 public:
  CGImageSource(std::shared_ptr<const Data> data, const imageio::ImageCodec& codec, imageio::ImageInfo info)
      : data_(std::move(data)), codec_(codec), info_(std::move(info)) {}
  const std::shared_ptr<const Data>& data() const noexcept { return data_; }
  const imageio::ImageCodec& codec() const noexcept { return codec_; }
  const imageio::ImageInfo& info() const noexcept { return info_; }

 private:
  std::shared_ptr<const Data> data_;
  const imageio::ImageCodec& codec_;
  imageio::ImageInfo info_;
};

CGImageSourceRef CGImageSourceCreateWithData(std::shared_ptr<const Data> data) {
  if (!data) return nullptr;
  const imageio::ImageCodec* codec = imageio::sniffCodec(*data);
  if (!codec) return nullptr;
  auto info = codec->readInfo(*data);
  if (!info) return nullptr;
  return std::make_shared<CGImageSource>(std::move(data), *codec, std::move(*info));
}

CGImageSourceRef CGImageSourceCreateWithData(ByteView bytes) {
  return CGImageSourceCreateWithData(std::make_shared<const Data>(bytes.begin(), bytes.end()));
}

std::size_t CGImageSourceGetCount(const CGImageSourceRef& source) {
  return source ? source->info().imageCount : 0;
}

std::optional<std::string_view> CGImageSourceGetType(const CGImageSourceRef& source) {
  if (!source) return std::nullopt;
  return imageio::typeIdentifierOf(source->codec().format());
}

CGImageRef CGImageSourceCreateImageAtIndex(const CGImageSourceRef& source, std::size_t index) {
  if (!source || index != 0) return nullptr;
  return imageio::createCodecImage(source->data(), source->codec(), source->info());
}

std::vector<std::string_view> CGImageSourceCopyTypeIdentifiers() {
  return {kUTTypeJPEG, kUTTypePNG, kUTTypeTIFF, kUTTypeGIF, kUTTypeBMP, kUTTypeJPEG2000};
}

namespace imageio {

const ImageInfo* sourceImageInfo(const CGImageSourceRef& source, std::size_t index) {
  return source && index == 0 ? &source->info() : nullptr;
}

const ImageCodec* sourceCodec(const CGImageSourceRef& source) { return source ? &source->codec() : nullptr; }

std::shared_ptr<const Data> sourceData(const CGImageSourceRef& source) {
  return source ? source->data() : nullptr;
}

}  // namespace imageio
}  // namespace orvane
