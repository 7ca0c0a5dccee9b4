#include "Platform/ImageIO/ImageCodec.h"

#include <array>
#include <cstring>
#include <new>

#include <lcms2.h>

namespace orvane::imageio {

std::optional<Pixels> allocatePixels(const ImageInfo& info) {
  if (!sizeWithinLimits(info.width, info.height)) return std::nullopt;
  if (info.channels < 1 || info.channels > 4) return std::nullopt;
  if (info.bitsPerComponent != 8 && info.bitsPerComponent != 16) return std::nullopt;
  Pixels pixels;
  pixels.info = info;
  pixels.bytesPerRow = std::size_t{info.width} * info.bytesPerPixel();
  try {
    pixels.storage.resize(pixels.byteCount());
  } catch (const std::bad_alloc&) {
    return std::nullopt;
  }
  return pixels;
}

bool PixelsView::valid() const noexcept {
  if (!data || !sizeWithinLimits(width, height)) return false;
  if (channels < 1 || channels > 4 || (bitsPerComponent != 8 && bitsPerComponent != 16)) return false;
  return bytesPerRow >= std::size_t{width} * channels * (bitsPerComponent / 8);
}

namespace {

// Reads channel c of pixel x as a value of `bits` bits.
inline unsigned fetch(const std::uint8_t* row, std::uint8_t srcBits, std::size_t index, std::uint8_t bits) noexcept {
  if (srcBits == 8) {
    unsigned v = row[index];
    return bits == 8 ? v : v * 257u;
  }
  std::uint16_t v;
  std::memcpy(&v, row + index * 2, 2);
  return bits == 16 ? v : (v * 255u + 32767u) / 65535u;
}

inline void store(std::uint8_t* out, std::size_t index, std::uint8_t bits, unsigned v) noexcept {
  if (bits == 8) {
    out[index] = static_cast<std::uint8_t>(v);
  } else {
    const auto s = static_cast<std::uint16_t>(v);
    std::memcpy(out + index * 2, &s, 2);
  }
}

}  // namespace

void convertRow(const PixelsView& src, std::uint32_t y, std::uint8_t channels, std::uint8_t bits,
                std::uint8_t* out) noexcept {
  const std::uint8_t* row = src.row(y);
  const unsigned sc = src.channels;
  if (sc == channels && src.bitsPerComponent == bits) {
    std::memcpy(out, row, std::size_t{src.width} * channels * (bits / 8));
    return;
  }
  const bool srcGray = sc <= 2, srcAlpha = sc == 2 || sc == 4;
  const bool dstAlpha = channels == 2 || channels == 4;
  const unsigned dstColour = dstAlpha ? channels - 1u : channels;
  const unsigned opaque = bits == 8 ? 255u : 65535u;
  for (std::size_t x = 0; x < src.width; ++x) {
    const std::size_t si = x * sc, di = x * channels;
    for (unsigned c = 0; c < dstColour; ++c) {
      store(out, di + c, bits, fetch(row, src.bitsPerComponent, si + (srcGray ? 0 : c), bits));
    }
    if (dstAlpha) {
      store(out, di + dstColour, bits, srcAlpha ? fetch(row, src.bitsPerComponent, si + sc - 1, bits) : opaque);
    }
  }
}

namespace {

std::uint16_t readU16(const std::uint8_t* p, bool little) noexcept {
  return little ? static_cast<std::uint16_t>(p[0] | p[1] << 8) : static_cast<std::uint16_t>(p[0] << 8 | p[1]);
}

std::uint32_t readU32(const std::uint8_t* p, bool little) noexcept {
  return little ? (std::uint32_t{p[0]} | std::uint32_t{p[1]} << 8 | std::uint32_t{p[2]} << 16 |
                   std::uint32_t{p[3]} << 24)
                : (std::uint32_t{p[0]} << 24 | std::uint32_t{p[1]} << 16 | std::uint32_t{p[2]} << 8 | p[3]);
}

}  // namespace

std::uint16_t exifOrientation(ByteView tiff) noexcept {
  const std::size_t size = tiff.size();
  if (size < 8) return 1;
  bool little;
  if (tiff[0] == 'I' && tiff[1] == 'I') little = true;
  else if (tiff[0] == 'M' && tiff[1] == 'M') little = false;
  else return 1;
  if (readU16(tiff.data() + 2, little) != 42) return 1;
  const std::uint32_t ifd = readU32(tiff.data() + 4, little);
  if (ifd < 8 || ifd > size - 2) return 1;
  const std::uint16_t count = readU16(tiff.data() + ifd, little);
  for (std::size_t i = 0; i < count; ++i) {
    const std::size_t entry = std::size_t{ifd} + 2 + i * 12;
    if (entry + 12 > size) break;
    // SHORT (type 3), one value: it sits in the first two bytes of the value field.
    if (readU16(tiff.data() + entry, little) == 0x0112 && readU16(tiff.data() + entry + 2, little) == 3) {
      const std::uint16_t value = readU16(tiff.data() + entry + 8, little);
      return value >= 1 && value <= 8 ? value : 1;
    }
  }
  return 1;
}

void CmykConverter::TransformCloser::operator()(void* transform) const noexcept {
  cmsDeleteTransform(transform);
}

CmykConverter::CmykConverter(ByteView icc, bool inverted) : inverted_(inverted) {
  if (icc.empty()) return;
  cmsHPROFILE in = cmsOpenProfileFromMem(icc.data(), static_cast<cmsUInt32Number>(icc.size()));
  if (!in) return;
  if (cmsGetColorSpace(in) == cmsSigCmykData) {
    cmsHPROFILE srgb = cmsCreate_sRGBProfile();
    transform_.reset(cmsCreateTransform(in, inverted ? TYPE_CMYK_8_REV : TYPE_CMYK_8, srgb, TYPE_RGB_8,
                                        INTENT_RELATIVE_COLORIMETRIC, 0));
    cmsCloseProfile(srgb);
  }
  cmsCloseProfile(in);
}

void CmykConverter::convert(const std::uint8_t* in, std::uint8_t* out, std::uint32_t width) const noexcept {
  if (transform_) {
    cmsDoTransform(transform_.get(), in, out, width);
    return;
  }
  for (std::uint32_t x = 0; x < width; ++x, in += 4, out += 3) {
    const unsigned k = inverted_ ? 255u - in[3] : in[3];
    const unsigned nk = 255 - k;
    for (int c = 0; c < 3; ++c) {
      const unsigned ink = inverted_ ? 255u - in[c] : in[c];
      const unsigned t = ink * nk + 128;  // ink * nk / 255, rounded
      out[c] = static_cast<std::uint8_t>(nk - (((t >> 8) + t) >> 8));
    }
  }
}

std::optional<Pixels> ImageCodec::decodeReduced(ByteView, std::uint32_t, std::uint32_t) const {
  return std::nullopt;
}

std::optional<ImageInfo> ImageCodec::reducedInfo(ByteView, std::uint32_t, std::uint32_t) const {
  return std::nullopt;
}

namespace {

// Hands decoded pixels to a sink row by row.
bool streamDecoded(const std::optional<Pixels>& pixels, RowSink& sink) {
  if (!pixels || !sink.begin(pixels->info)) return false;
  for (std::uint32_t y = 0; y < pixels->info.height; ++y) sink.row(y, pixels->row(y));
  return true;
}

}  // namespace

bool ImageCodec::decodeReducedRows(ByteView bytes, std::uint32_t minWidth, std::uint32_t minHeight,
                                   RowSink& sink) const {
  return streamDecoded(decodeReduced(bytes, minWidth, minHeight), sink);
}

bool ImageCodec::decodeRows(ByteView bytes, RowSink& sink) const { return streamDecoded(decode(bytes), sink); }

const ImageCodec& codecFor(ImageFormat format) noexcept {
  switch (format) {
    case ImageFormat::TIFF: return tiffCodec();
    case ImageFormat::BMP: return bmpCodec();
    case ImageFormat::GIF: return gifCodec();
    case ImageFormat::JPEG: return jpegCodec();
    case ImageFormat::PNG: return pngCodec();
    case ImageFormat::JPEG2000: break;
  }
  return jpeg2000Codec();
}

const ImageCodec* sniffCodec(ByteView bytes) noexcept {
  for (const ImageCodec* codec : {&jpegCodec(), &pngCodec(), &tiffCodec(), &gifCodec(), &bmpCodec(),
                                  &jpeg2000Codec()}) {
    if (codec->sniff(bytes)) return codec;
  }
  return nullptr;
}

namespace {
constexpr std::array<std::string_view, 6> kTypeIdentifiers = {
    "public.tiff", "com.microsoft.bmp", "com.compuserve.gif", "public.jpeg", "public.png", "public.jpeg-2000"};
}

std::string_view typeIdentifierOf(ImageFormat format) noexcept {
  return kTypeIdentifiers[static_cast<std::size_t>(format)];
}

std::optional<ImageFormat> formatOfTypeIdentifier(std::string_view identifier) noexcept {
  for (std::size_t i = 0; i < kTypeIdentifiers.size(); ++i) {
    if (kTypeIdentifiers[i] == identifier) return static_cast<ImageFormat>(i);
  }
  return std::nullopt;
}

}  // namespace orvane::imageio
