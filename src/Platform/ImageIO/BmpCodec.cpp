// BMP, our own code: 1, 4, 8, 16, 24 and 32 bits; uncompressed, RLE4, RLE8
// and bit fields; bottom-up and top-down; OS/2 core headers and the V4/V5
// headers (with an embedded ICC profile). Every read is bounds-checked.

#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

#include "Platform/ImageIO/ImageCodec.h"

namespace orvane::imageio {
namespace {

constexpr std::uint32_t kRgb = 0, kRle8 = 1, kRle4 = 2, kBitFields = 3, kAlphaBitFields = 6;

std::uint16_t u16(const std::uint8_t* p) { return static_cast<std::uint16_t>(p[0] | p[1] << 8); }
std::uint32_t u32(const std::uint8_t* p) {
  return std::uint32_t{p[0]} | std::uint32_t{p[1]} << 8 | std::uint32_t{p[2]} << 16 | std::uint32_t{p[3]} << 24;
}

struct Mask {
  std::uint32_t mask = 0;
  unsigned shift = 0;
  std::uint32_t max = 0;

  void set(std::uint32_t m) {
    mask = m;
    shift = 0;
    max = 0;
    if (!m) return;
    while (!((m >> shift) & 1)) ++shift;
    max = m >> shift;
  }
  // Scaled to 0...255, truncating as the common readers do.
  std::uint8_t scale(std::uint32_t v) const {
    if (!max) return 0;
    return static_cast<std::uint8_t>(std::uint64_t{(v & mask) >> shift} * 255 / max);
  }
};

struct Header {
  ImageInfo info;
  std::uint32_t pixelOffset = 0;
  std::uint32_t headerSize = 0;
  std::uint16_t bits = 0;
  std::uint32_t compression = kRgb;
  bool topDown = false;
  std::vector<std::array<std::uint8_t, 3>> palette;  // RGB
  std::array<Mask, 4> masks;  // R, G, B, A
  std::size_t stride = 0;
  bool byteChannels = false;  // every channel is one whole byte of the pixel
};

bool parse(ByteView b, Header& h) {
  if (b.size() < 26 || b[0] != 'B' || b[1] != 'M') return false;
  h.pixelOffset = u32(&b[10]);
  h.headerSize = u32(&b[14]);
  if (h.headerSize < 12 || h.headerSize > b.size() - 14) return false;
  const std::uint8_t* d = &b[14];
  std::int64_t width, height;
  if (h.headerSize == 12) {
    width = u16(d + 4);
    height = static_cast<std::int16_t>(u16(d + 6));
    h.bits = u16(d + 10);
  } else {
    if (h.headerSize < 40) return false;
    width = static_cast<std::int32_t>(u32(d + 4));
    height = static_cast<std::int32_t>(u32(d + 8));
    h.bits = u16(d + 14);
    h.compression = u32(d + 16);
    const std::uint32_t xppm = u32(d + 24), yppm = u32(d + 28);
    if (xppm && yppm) {
      h.info.dpiWidth = xppm * 0.0254;
      h.info.dpiHeight = yppm * 0.0254;
    }
  }
  h.topDown = height < 0;
  height = height < 0 ? -height : height;
  if (!sizeWithinLimits(static_cast<std::uint64_t>(std::max<std::int64_t>(width, 0)), static_cast<std::uint64_t>(height))) {
    return false;
  }
  h.info.width = static_cast<std::uint32_t>(width);
  h.info.height = static_cast<std::uint32_t>(height);
  h.info.fileBitsPerSample = static_cast<std::uint8_t>(std::min<std::uint16_t>(h.bits, 255));
  switch (h.bits) {
    case 1: case 4: case 8: case 16: case 24: case 32: break;
    default: return false;
  }
  const bool fields = h.compression == kBitFields || h.compression == kAlphaBitFields;
  if (h.compression == kRle8 && h.bits != 8) return false;
  if (h.compression == kRle4 && h.bits != 4) return false;
  if (fields && h.bits != 16 && h.bits != 32) return false;
  if (h.compression != kRgb && h.compression != kRle8 && h.compression != kRle4 && !fields) return false;
  if ((h.compression == kRle8 || h.compression == kRle4) && h.topDown) return false;

  // Colour masks: in the header from V2 on, else after a 40-byte header.
  std::size_t afterHeader = 14 + std::size_t{h.headerSize};
  if (fields) {
    const unsigned count = h.compression == kAlphaBitFields ? 4 : 3;
    const std::uint8_t* m = nullptr;
    if (h.headerSize >= 52) {
      m = d + 40;
    } else {
      if (b.size() < afterHeader + count * 4) return false;
      m = &b[afterHeader];
      afterHeader += count * 4;
    }
    for (unsigned i = 0; i < 3; ++i) h.masks[i].set(u32(m + i * 4));
    if (count == 4 || h.headerSize >= 56) h.masks[3].set(u32(m + 12));
  } else if (h.bits == 16) {
    h.masks[0].set(0x7C00);
    h.masks[1].set(0x03E0);
    h.masks[2].set(0x001F);
  } else if (h.bits >= 24) {
    h.masks[0].set(0xFF0000);
    h.masks[1].set(0xFF00);
    h.masks[2].set(0xFF);
  }
  if (h.bits <= 8) {
    const std::uint32_t declared = h.headerSize == 12 ? 0 : u32(d + 32);
    const std::uint32_t full = 1u << h.bits;
    const std::uint32_t count = declared == 0 || declared > full ? full : declared;
    const std::size_t entry = h.headerSize == 12 ? 3 : 4;
    const std::size_t available = b.size() > afterHeader ? (b.size() - afterHeader) / entry : 0;
    const std::size_t usable = std::min<std::size_t>(count, available);
    if (usable == 0) return false;
    h.palette.assign(full, {0, 0, 0});
    for (std::size_t i = 0; i < usable; ++i) {
      const std::uint8_t* p = &b[afterHeader + i * entry];
      h.palette[i] = {p[2], p[1], p[0]};
    }
  }
  h.info.channels = h.masks[3].mask ? 4 : 3;
  h.byteChannels = h.bits >= 24;
  for (unsigned c = 0; c < h.info.channels; ++c) {
    const Mask& m = h.masks[c];
    h.byteChannels = h.byteChannels && m.max == 255 && m.shift % 8 == 0 && m.shift / 8 < h.bits / 8u;
  }
  h.stride = ((std::size_t{h.info.width} * h.bits + 31) / 32) * 4;
  // An embedded profile (V5 header, colour space 'MBED').
  if (h.headerSize >= 124 && u32(d + 56) == 0x4D424544) {
    const std::uint64_t offset = 14 + std::uint64_t{u32(d + 112)};
    const std::uint64_t size = u32(d + 116);
    if (size > 0 && offset + size <= b.size()) h.info.iccProfile.assign(&b[offset], &b[offset] + size);
  }
  return h.pixelOffset < b.size();
}

// Converts one whole file row into RGB(A).
void convertFileRow(const Header& h, const std::uint8_t* src, std::uint8_t* out) {
  const std::uint32_t width = h.info.width, columns = width;
  const unsigned ch = h.info.channels;
  switch (h.bits) {
    case 1: case 4: case 8: {
      const unsigned perByte = 8 / h.bits, mask = (1u << h.bits) - 1;
      for (std::uint32_t x = 0; x < columns; ++x) {
        const unsigned index = (src[x / perByte] >> (8 - h.bits * (x % perByte + 1))) & mask;
        std::memcpy(out + x * 3, h.palette[index].data(), 3);
      }
      break;
    }
    case 16: case 24: case 32: {
      const unsigned bytes = h.bits / 8;
      // Byte-aligned 8-bit channels (the usual BGR and BGRA): copy bytes.
      if (h.byteChannels) {
        unsigned at[4] = {0, 0, 0, 0};
        for (unsigned c = 0; c < ch; ++c) at[c] = h.masks[c].shift / 8;
        if (bytes == 3 && ch == 3 && at[0] == 2 && at[1] == 1 && at[2] == 0) {
          for (std::uint32_t x = 0; x < columns; ++x, src += 3, out += 3) {
            out[0] = src[2];
            out[1] = src[1];
            out[2] = src[0];
          }
          break;
        }
        for (std::uint32_t x = 0; x < columns; ++x) {
          const std::uint8_t* p = src + std::size_t{x} * bytes;
          std::uint8_t* o = out + std::size_t{x} * ch;
          for (unsigned c = 0; c < ch; ++c) o[c] = p[at[c]];
        }
        break;
      }
      for (std::uint32_t x = 0; x < columns; ++x) {
        const std::uint8_t* p = src + std::size_t{x} * bytes;
        const std::uint32_t v = bytes == 2 ? u16(p) : bytes == 3 ? (p[0] | p[1] << 8 | p[2] << 16) : u32(p);
        std::uint8_t* o = out + std::size_t{x} * ch;
        for (unsigned c = 0; c < ch; ++c) o[c] = h.masks[c].scale(v);
      }
      break;
    }
    default: break;
  }
}

// Expands RLE8/RLE4 into palette indices (rows bottom-up as in the file,
// untouched pixels index 0). Answers false when nothing could be read.
bool decodeRle(ByteView b, const Header& h, std::vector<std::uint8_t>& indices, std::uint32_t& rowsTouched) {
  const std::uint32_t w = h.info.width, height = h.info.height;
  indices.assign(std::size_t{w} * height, 0);
  std::size_t p = h.pixelOffset;
  std::uint32_t x = 0, y = 0;  // y counts rows from the bottom
  const bool four = h.compression == kRle4;
  auto put = [&](unsigned index) {
    if (x < w && y < height) indices[std::size_t{y} * w + x] = static_cast<std::uint8_t>(index);
    ++x;
  };
  rowsTouched = 0;
  while (p + 1 < b.size() && y < height) {
    const unsigned count = b[p], value = b[p + 1];
    p += 2;
    if (count > 0) {
      for (unsigned i = 0; i < count; ++i) put(four ? (i % 2 ? value & 15 : value >> 4) : value);
    } else if (value == 0) {
      x = 0;
      ++y;
    } else if (value == 1) {
      rowsTouched = height;
      return true;
    } else if (value == 2) {
      if (p + 1 >= b.size()) break;
      x += b[p];
      y += b[p + 1];
      p += 2;
    } else {
      const std::size_t bytes = four ? (value + 1) / 2 : value;
      const std::size_t padded = (bytes + 1) & ~std::size_t{1};
      if (p + bytes > b.size()) break;
      for (unsigned i = 0; i < value; ++i) put(four ? (i % 2 ? b[p + i / 2] & 15 : b[p + i / 2] >> 4) : b[p + i]);
      p += padded;
    }
    rowsTouched = std::max(rowsTouched, std::min(y + 1, height));
  }
  return rowsTouched > 0;
}

class BmpCodec final : public ImageCodec {
 public:
  ImageFormat format() const noexcept override { return ImageFormat::BMP; }

  bool sniff(ByteView b) const noexcept override {
    if (b.size() < 18 || b[0] != 'B' || b[1] != 'M') return false;
    const std::uint32_t header = u32(&b[14]);
    return header == 12 || header == 40 || header == 52 || header == 56 || header == 64 || header == 108 ||
           header == 124;
  }

  std::optional<ImageInfo> readInfo(ByteView bytes) const override {
    Header h;
    if (!sniff(bytes) || !parse(bytes, h)) return std::nullopt;
    return h.info;
  }

  std::optional<Pixels> decode(ByteView bytes) const override {
    Header h;
    if (!sniff(bytes) || !parse(bytes, h)) return std::nullopt;
    auto pixels = allocatePixels(h.info);
    if (!pixels) return std::nullopt;
    if (!run(bytes, h, [&](std::uint32_t y) { return pixels->row(y); }, [](std::uint32_t) {})) return std::nullopt;
    return pixels;
  }

  bool decodeRows(ByteView bytes, RowSink& sink) const override {
    Header h;
    if (!sniff(bytes) || !parse(bytes, h)) return false;
    if (h.compression == kRle4 || h.compression == kRle8) return ImageCodec::decodeRows(bytes, sink);
    if (!sink.begin(h.info)) return false;
    std::vector<std::uint8_t> row(std::size_t{h.info.width} * h.info.channels);
    return run(bytes, h, [&](std::uint32_t) {
      std::fill(row.begin(), row.end(), 0);
      return row.data();
    }, [&](std::uint32_t y) { sink.row(y, row.data()); });
  }

  bool encode(const PixelsView& src, const EncodeOptions& options, Data& out) const override;

 private:
  // Produces rows top to bottom: target(y) gives the row's storage (zeroed),
  // done(y) says it is complete. False when the file has no pixel rows at all.
  template <typename Target, typename Done>
  static bool run(ByteView b, const Header& h, Target target, Done done) {
    const std::uint32_t height = h.info.height;
    if (h.compression == kRle4 || h.compression == kRle8) {
      std::vector<std::uint8_t> indices;
      std::uint32_t rows = 0;
      if (!decodeRle(b, h, indices, rows)) return false;
      for (std::uint32_t y = 0; y < height; ++y) {
        std::uint8_t* out = target(y);
        const std::uint8_t* in = indices.data() + std::size_t{height - 1 - y} * h.info.width;
        for (std::uint32_t x = 0; x < h.info.width; ++x) std::memcpy(out + x * 3, h.palette[in[x]].data(), 3);
        done(y);
      }
      return true;
    }
    const std::size_t available = b.size() - h.pixelOffset;
    const std::size_t needed = (std::size_t{h.info.width} * h.bits + 7) / 8;  // a row without its padding
    if (available < needed) return false;
    for (std::uint32_t y = 0; y < height; ++y) {
      const std::uint32_t fileRow = h.topDown ? y : height - 1 - y;
      const std::size_t start = std::size_t{fileRow} * h.stride;
      std::uint8_t* out = target(y);
      if (start + needed <= available) convertFileRow(h, &b[h.pixelOffset + start], out);  // whole rows only
      done(y);
    }
    return true;
  }
};

void put16(Data& out, unsigned v) {
  out.push_back(static_cast<std::uint8_t>(v));
  out.push_back(static_cast<std::uint8_t>(v >> 8));
}
void put32(Data& out, std::uint32_t v) {
  put16(out, v & 0xFFFF);
  put16(out, v >> 16);
}

// Gray as 8-bit with a gray palette, RGB as 24-bit, RGBA as 32-bit bit fields
// with a V4 header; always bottom-up.
bool BmpCodec::encode(const PixelsView& src, const EncodeOptions&, Data& out) const {
  if (!src.valid()) return false;
  const bool gray = src.channels <= 2;
  const bool alpha = src.channels == 4;
  const unsigned bits = gray ? 8 : alpha ? 32 : 24;
  const std::uint32_t header = alpha ? 108 : 40;
  const std::uint32_t paletteBytes = gray ? 256 * 4 : 0;
  const std::size_t stride = ((std::size_t{src.width} * bits + 31) / 32) * 4;
  const std::uint64_t imageBytes = std::uint64_t{stride} * src.height;
  const std::uint64_t offset = 14 + header + paletteBytes;
  if (offset + imageBytes > 0xFFFFFFFFu) return false;
  const std::uint32_t ppmX = src.dpiWidth > 0 ? static_cast<std::uint32_t>(src.dpiWidth / 0.0254 + 0.5) : 2835;
  const std::uint32_t ppmY = src.dpiHeight > 0 ? static_cast<std::uint32_t>(src.dpiHeight / 0.0254 + 0.5) : 2835;
  const std::size_t start = out.size();
  out.reserve(start + offset + imageBytes);
  out.push_back('B');
  out.push_back('M');
  put32(out, static_cast<std::uint32_t>(offset + imageBytes));
  put32(out, 0);
  put32(out, static_cast<std::uint32_t>(offset));
  put32(out, header);
  put32(out, src.width);
  put32(out, src.height);
  put16(out, 1);
  put16(out, bits);
  put32(out, alpha ? kBitFields : kRgb);
  put32(out, static_cast<std::uint32_t>(imageBytes));
  put32(out, ppmX);
  put32(out, ppmY);
  put32(out, gray ? 256 : 0);
  put32(out, 0);
  if (alpha) {
    put32(out, 0x00FF0000);
    put32(out, 0x0000FF00);
    put32(out, 0x000000FF);
    put32(out, 0xFF000000);
    put32(out, 0x73524742);  // 'sRGB'
    out.insert(out.end(), 36 + 12, 0);  // endpoints and gamma, unused for sRGB
  }
  for (unsigned i = 0; gray && i < 256; ++i) {
    const auto v = static_cast<std::uint8_t>(i);
    out.insert(out.end(), {v, v, v, 0});
  }
  const std::size_t pixelStart = out.size();
  out.resize(pixelStart + imageBytes, 0);
  const std::uint8_t channels = gray ? 1 : alpha ? 4 : 3;
  std::vector<std::uint8_t> row(std::size_t{src.width} * channels);
  for (std::uint32_t y = 0; y < src.height; ++y) {
    convertRow(src, y, channels, 8, row.data());
    std::uint8_t* dst = out.data() + pixelStart + std::size_t{src.height - 1 - y} * stride;
    if (gray) {
      std::memcpy(dst, row.data(), src.width);
      continue;
    }
    for (std::uint32_t x = 0; x < src.width; ++x) {
      const std::uint8_t* p = row.data() + std::size_t{x} * channels;
      std::uint8_t* q = dst + std::size_t{x} * channels;
      q[0] = p[2];
      q[1] = p[1];
      q[2] = p[0];
      if (alpha) q[3] = p[3];
    }
  }
  return true;
}

}  // namespace

const ImageCodec& bmpCodec() noexcept {
  static const BmpCodec codec;
  return codec;
}

}  // namespace orvane::imageio
