// JPEG 2000 through OpenJPEG: JP2 files and bare J2K codestreams. Reduced
// decodes skip resolution levels, so a thumbnail never makes the full size.
// Writing: lossless (reversible 5/3 wavelet) without a quality or at quality
// 1; below that the irreversible 9/7 wavelet at a rate the quality sets.

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include <openjpeg.h>

#include "Platform/ImageIO/ImageCodec.h"

namespace orvane::imageio {
namespace {

constexpr std::uint8_t kJp2Signature[12] = {0, 0, 0, 0x0C, 'j', 'P', ' ', ' ', 0x0D, 0x0A, 0x87, 0x0A};
constexpr std::uint8_t kJ2kSignature[4] = {0xFF, 0x4F, 0xFF, 0x51};

// More tiles than this are refused before OpenJPEG sees the header: it
// allocates a few kilobytes per tile up front (a 16384 x 16384 image in
// 256 x 256 tiles has 4096).
constexpr std::uint64_t kMaxTiles = 4096;

std::uint32_t be32(const std::uint8_t* p) {
  return std::uint32_t{p[0]} << 24 | std::uint32_t{p[1]} << 16 | std::uint32_t{p[2]} << 8 | p[3];
}

// The contents of the first box of `type` among the boxes that fill `b` (a
// file or a superbox's contents). A box cut short gives what is there.
std::optional<ByteView> findBox(ByteView b, const char (&type)[5]) {
  std::size_t at = 0;
  while (b.size() - at >= 8) {
    std::uint64_t length = be32(&b[at]);
    std::size_t header = 8;
    if (length == 1) {
      if (b.size() - at < 16) return std::nullopt;
      length = std::uint64_t{be32(&b[at + 8])} << 32 | be32(&b[at + 12]);
      header = 16;
    } else if (length == 0) {
      length = b.size() - at;
    }
    if (length < header || length > b.size() - at) length = b.size() - at;  // a cut file: what is there
    if (std::memcmp(&b[at + 4], type, 4) == 0) return b.subspan(at + header, static_cast<std::size_t>(length - header));
    at += static_cast<std::size_t>(length);
  }
  return std::nullopt;
}

// The codestream of a JP2 file (the 'jp2c' box) or the bytes themselves.
std::optional<ByteView> codestreamOf(ByteView b, bool jp2) { return jp2 ? findBox(b, "jp2c") : b; }

// The ICC profile of a JP2 file's colour box (method 2), read here because
// OpenJPEG 2.5.0 hands it over only after a full decode.
std::optional<ByteView> profileOf(ByteView jp2) {
  const auto header = findBox(jp2, "jp2h");
  const auto colr = header ? findBox(*header, "colr") : std::nullopt;
  if (!colr || colr->size() <= 3 || (*colr)[0] != 2) return std::nullopt;
  return colr->subspan(3);
}

// Puts `icc` into the colour box of the JP2 file written at `start`, in place
// of the enumerated sRGB or gray space. OpenJPEG 2.5.0 cannot write a profile
// itself: given one, it aborts the process in its colour box writer.
bool embedProfile(Data& out, std::size_t start, ByteView icc) {
  const auto header = findBox(ByteView(out).subspan(start), "jp2h");
  const auto colr = header ? findBox(*header, "colr") : std::nullopt;
  if (!colr || icc.size() > 0xFFFF0000u) return false;
  const auto headerAt = static_cast<std::size_t>(header->data() - out.data()) - 8;
  const auto colrAt = static_cast<std::size_t>(colr->data() - out.data()) - 8;
  const std::size_t oldLength = colr->size() + 8, headerLength = header->size() + 8;
  if (be32(&out[headerAt]) != headerLength || be32(&out[colrAt]) != oldLength) return false;  // 8-byte box headers
  Data box(11, 0);  // length, type, method 2 (a profile), precedence, approximation
  std::memcpy(&box[4], "colr", 4);
  box[8] = 2;
  box.insert(box.end(), icc.begin(), icc.end());
  auto put32 = [&out](std::size_t at, std::size_t v) {
    for (int i = 0; i < 4; ++i) out[at + i] = static_cast<std::uint8_t>(v >> (24 - 8 * i));
  };
  out.erase(out.begin() + std::ptrdiff_t(colrAt), out.begin() + std::ptrdiff_t(colrAt + oldLength));
  out.insert(out.begin() + std::ptrdiff_t(colrAt), box.begin(), box.end());
  put32(colrAt, box.size());
  put32(headerAt, headerLength - oldLength + box.size());
  return true;
}

// Checks the SIZ marker segment against our limits before OpenJPEG allocates
// anything for it.
bool plausibleSize(ByteView b, bool jp2) {
  const auto cs = codestreamOf(b, jp2);
  if (!cs || cs->size() < 4 + 2 + 38 || (*cs)[0] != 0xFF || (*cs)[1] != 0x4F || (*cs)[2] != 0xFF || (*cs)[3] != 0x51) {
    return false;
  }
  const std::uint8_t* siz = cs->data() + 6;  // after SOC, the SIZ marker and its length
  const std::uint64_t x1 = be32(siz + 2), y1 = be32(siz + 6), x0 = be32(siz + 10), y0 = be32(siz + 14);
  const std::uint64_t tileW = be32(siz + 18), tileH = be32(siz + 22), tileX0 = be32(siz + 26), tileY0 = be32(siz + 30);
  const unsigned components = static_cast<unsigned>(siz[34] << 8 | siz[35]);
  if (x1 <= x0 || y1 <= y0 || !sizeWithinLimits(x1 - x0, y1 - y0)) return false;
  if (components < 1 || components > 4 || tileW == 0 || tileH == 0 || tileX0 > x0 || tileY0 > y0) return false;
  const std::uint64_t tilesAcross = (x1 - tileX0 + tileW - 1) / tileW, tilesDown = (y1 - tileY0 + tileH - 1) / tileH;
  return tilesAcross * tilesDown <= kMaxTiles;
}

struct MemoryStream {
  ByteView input;
  Data* output = nullptr;
  std::size_t start = 0;
  std::uint64_t position = 0;
};

OPJ_SIZE_T readFn(void* buffer, OPJ_SIZE_T size, void* user) {
  auto* m = static_cast<MemoryStream*>(user);
  if (m->position >= m->input.size()) return static_cast<OPJ_SIZE_T>(-1);
  const std::size_t n = std::min<std::uint64_t>(size, m->input.size() - m->position);
  std::memcpy(buffer, m->input.data() + m->position, n);
  m->position += n;
  return n;
}

OPJ_SIZE_T writeFn(void* buffer, OPJ_SIZE_T size, void* user) {
  auto* m = static_cast<MemoryStream*>(user);
  const std::size_t end = m->start + m->position + size;
  if (end > m->output->size()) m->output->resize(end);
  std::memcpy(m->output->data() + m->start + m->position, buffer, size);
  m->position += size;
  return size;
}

std::uint64_t streamSize(const MemoryStream* m) {
  return m->output ? m->output->size() - m->start : m->input.size();
}

OPJ_OFF_T skipFn(OPJ_OFF_T offset, void* user) {
  auto* m = static_cast<MemoryStream*>(user);
  const std::int64_t target = static_cast<std::int64_t>(m->position) + offset;
  if (target < 0) return -1;
  const std::uint64_t limit = m->output ? UINT64_MAX : m->input.size();
  m->position = std::min<std::uint64_t>(static_cast<std::uint64_t>(target), limit);
  return offset;
}

OPJ_BOOL seekFn(OPJ_OFF_T offset, void* user) {
  auto* m = static_cast<MemoryStream*>(user);
  if (offset < 0 || (!m->output && static_cast<std::uint64_t>(offset) > streamSize(m))) return OPJ_FALSE;
  m->position = static_cast<std::uint64_t>(offset);
  return OPJ_TRUE;
}

void quiet(const char*, void*) {}

struct StreamCloser {
  void operator()(opj_stream_t* s) const noexcept { opj_stream_destroy(s); }
};
struct CodecCloser {
  void operator()(opj_codec_t* c) const noexcept { opj_destroy_codec(c); }
};
struct ImageCloser {
  void operator()(opj_image_t* i) const noexcept { opj_image_destroy(i); }
};
using Stream = std::unique_ptr<opj_stream_t, StreamCloser>;
using Codec = std::unique_ptr<opj_codec_t, CodecCloser>;
using Image = std::unique_ptr<opj_image_t, ImageCloser>;

Stream makeStream(MemoryStream& m, bool input) {
  Stream s(opj_stream_create(1 << 16, input ? OPJ_TRUE : OPJ_FALSE));
  if (!s) return s;
  opj_stream_set_user_data(s.get(), &m, nullptr);
  if (input) {
    opj_stream_set_user_data_length(s.get(), m.input.size());
    opj_stream_set_read_function(s.get(), readFn);
  } else {
    opj_stream_set_write_function(s.get(), writeFn);
  }
  opj_stream_set_skip_function(s.get(), skipFn);
  opj_stream_set_seek_function(s.get(), seekFn);
  return s;
}

void silence(opj_codec_t* codec) {
  opj_set_info_handler(codec, quiet, nullptr);
  opj_set_warning_handler(codec, quiet, nullptr);
  opj_set_error_handler(codec, quiet, nullptr);
}

struct Session {
  MemoryStream memory;
  Stream stream;
  Codec codec;
  Image image;
  std::uint32_t levels = 1;  // resolution levels every component has
};

std::uint32_t reducedSide(std::uint32_t x0, std::uint32_t x1, std::uint32_t factor) {
  const std::uint64_t d = std::uint64_t{1} << factor;
  return static_cast<std::uint32_t>((x1 + d - 1) / d - (x0 + d - 1) / d);
}

bool openHeader(ByteView bytes, bool jp2, Session& s, ImageInfo& info) {
  if (!plausibleSize(bytes, jp2)) return false;
  s.memory.input = bytes;
  s.stream = makeStream(s.memory, true);
  s.codec.reset(opj_create_decompress(jp2 ? OPJ_CODEC_JP2 : OPJ_CODEC_J2K));
  if (!s.stream || !s.codec) return false;
  silence(s.codec.get());
  opj_dparameters_t parameters;
  opj_set_default_decoder_parameters(&parameters);
  if (!opj_setup_decoder(s.codec.get(), &parameters)) return false;
  opj_image_t* image = nullptr;
  if (!opj_read_header(s.stream.get(), s.codec.get(), &image)) {
    opj_image_destroy(image);
    return false;
  }
  s.image.reset(image);
  const opj_image_t& im = *image;
  if (im.numcomps < 1 || im.numcomps > 4 || im.x1 <= im.x0 || im.y1 <= im.y0) return false;
  if (!sizeWithinLimits(im.x1 - im.x0, im.y1 - im.y0)) return false;
  unsigned precision = 0;
  for (unsigned c = 0; c < im.numcomps; ++c) {
    const opj_image_comp_t& comp = im.comps[c];
    if (comp.prec < 1 || comp.prec > 16 || comp.dx < 1 || comp.dy < 1) return false;
    precision = std::max<unsigned>(precision, comp.prec);
  }
  info.width = im.x1 - im.x0;
  info.height = im.y1 - im.y0;
  info.channels = static_cast<std::uint8_t>(im.numcomps == 4 && im.color_space == OPJ_CLRSPC_CMYK ? 3 : im.numcomps);
  info.bitsPerComponent = precision > 8 ? 16 : 8;
  info.fileBitsPerSample = static_cast<std::uint8_t>(precision);
  const auto icc = jp2 ? profileOf(bytes) : std::nullopt;
  if (icc && im.color_space != OPJ_CLRSPC_CMYK) info.iccProfile.assign(icc->begin(), icc->end());
  if (opj_codestream_info_v2_t* cs = opj_get_cstr_info(s.codec.get())) {
    s.levels = cs->m_default_tile_info.tccp_info ? cs->m_default_tile_info.tccp_info[0].numresolutions : 1;
    for (unsigned c = 1; cs->m_default_tile_info.tccp_info && c < cs->nbcomps; ++c) {
      s.levels = std::min(s.levels, cs->m_default_tile_info.tccp_info[c].numresolutions);
    }
    opj_destroy_cstr_info(&cs);
  }
  s.levels = std::max<std::uint32_t>(s.levels, 1);
  return true;
}

// Sample k of a level reduced by 2^f is the wavelet's low-pass centred on
// full-size pixel 2^f k, while the pixel it becomes stands for the full-size
// pixels 2^f k to 2^f (k + 1) - 1, whose centre lies (2^f - 1) / 2 further on.
// Moving every sample that far toward its next neighbour (linearly, the last
// one repeated) puts it back over the area it is drawn on, so that averaging
// down from a reduced level matches averaging the full-size pixels.
void recentre(opj_image_t& im, std::uint32_t factor) {
  const std::uint32_t step = 1u << factor;
  if (factor == 0 || im.x0 % step != 0 || im.y0 % step != 0) return;
  const std::int64_t weight = step - 1, half = step, shift = factor + 1;  // t = (2^f - 1) / 2^(f+1)
  auto mix = [&](OPJ_INT32 a, OPJ_INT32 b) {
    return static_cast<OPJ_INT32>(a + (((std::int64_t{b} - a) * weight + half) >> shift));
  };
  for (unsigned c = 0; c < im.numcomps; ++c) {
    opj_image_comp_t& comp = im.comps[c];
    if (!comp.data || comp.dx != 1 || comp.dy != 1 || comp.w == 0 || comp.h == 0) continue;
    const std::size_t w = comp.w, h = comp.h;
    for (std::size_t y = 0; y < h; ++y) {
      OPJ_INT32* row = comp.data + y * w;
      for (std::size_t x = 0; x + 1 < w; ++x) row[x] = mix(row[x], row[x + 1]);
    }
    for (std::size_t y = 0; y + 1 < h; ++y) {
      OPJ_INT32* row = comp.data + y * w;
      const OPJ_INT32* next = row + w;
      for (std::size_t x = 0; x < w; ++x) row[x] = mix(row[x], next[x]);
    }
  }
}

// Places the decoded components into our layout: subsampled components are
// repeated, precision below 8 (or between 9 and 15) is shifted up, signed
// samples offset, sYCC turned into RGB and CMYK into RGB.
void fillPixels(const opj_image_t& im, Pixels& px) {
  const ImageInfo& info = px.info;
  const unsigned comps = im.numcomps;
  // The usual case: full-resolution unsigned components of the output depth,
  // interleaved as they are.
  bool plain = im.color_space != OPJ_CLRSPC_SYCC && im.color_space != OPJ_CLRSPC_CMYK && comps == info.channels;
  for (unsigned c = 0; plain && c < comps; ++c) {
    const opj_image_comp_t& comp = im.comps[c];
    plain = comp.data && !comp.sgnd && comp.w == info.width && comp.h == info.height &&
            comp.prec == info.bitsPerComponent;
  }
  if (plain) {
    const std::size_t count = std::size_t{info.width} * info.height;
    if (info.bitsPerComponent == 8) {
      std::uint8_t* out = px.storage.data();
      const OPJ_INT32* in[4] = {};
      for (unsigned c = 0; c < comps; ++c) in[c] = im.comps[c].data;
      for (std::size_t i = 0; i < count; ++i, out += comps) {
        for (unsigned c = 0; c < comps; ++c) out[c] = static_cast<std::uint8_t>(std::clamp(in[c][i], 0, 255));
      }
    } else {
      for (unsigned c = 0; c < comps; ++c) {
        const OPJ_INT32* in = im.comps[c].data;
        for (std::size_t i = 0; i < count; ++i) {
          const auto v = static_cast<std::uint16_t>(std::clamp(in[i], 0, 65535));
          std::memcpy(px.storage.data() + (i * comps + c) * 2, &v, 2);
        }
      }
    }
    return;
  }
  const bool cmyk = comps == 4 && im.color_space == OPJ_CLRSPC_CMYK;
  const bool sycc = comps >= 3 && im.color_space == OPJ_CLRSPC_SYCC;
  const unsigned outBits = info.bitsPerComponent;
  std::vector<std::uint8_t> cmykRow(cmyk ? std::size_t{info.width} * 4 : 0);
  const CmykConverter cmykConverter(ByteView(), false);
  std::vector<std::uint32_t> columnOf[4];
  for (unsigned c = 0; c < comps; ++c) {
    const opj_image_comp_t& comp = im.comps[c];
    columnOf[c].resize(info.width);
    for (std::uint32_t x = 0; x < info.width; ++x) {
      const std::uint64_t cx = comp.w ? std::uint64_t{x} * comp.w / info.width : 0;
      columnOf[c][x] = static_cast<std::uint32_t>(std::min<std::uint64_t>(cx, comp.w ? comp.w - 1 : 0));
    }
  }
  for (std::uint32_t y = 0; y < info.height; ++y) {
    std::uint8_t* out = px.row(y);
    for (std::uint32_t x = 0; x < info.width; ++x) {
      int v[4] = {0, 0, 0, 0};
      for (unsigned c = 0; c < comps; ++c) {
        const opj_image_comp_t& comp = im.comps[c];
        if (!comp.data || !comp.w || !comp.h) continue;
        const std::uint64_t cy = std::min<std::uint64_t>(std::uint64_t{y} * comp.h / info.height, comp.h - 1);
        int s = comp.data[cy * comp.w + columnOf[c][x]];
        if (comp.sgnd) s += 1 << (comp.prec - 1);
        const int maxValue = (1 << comp.prec) - 1;
        s = std::clamp(s, 0, maxValue);
        const int target = static_cast<int>(outBits);
        v[c] = target >= static_cast<int>(comp.prec) ? s << (target - static_cast<int>(comp.prec))
                                                     : s >> (static_cast<int>(comp.prec) - target);
      }
      if (sycc && outBits == 8) {
        const double Y = v[0], cb = v[1] - 128.0, cr = v[2] - 128.0;
        v[0] = std::clamp(static_cast<int>(std::lround(Y + 1.402 * cr)), 0, 255);
        v[1] = std::clamp(static_cast<int>(std::lround(Y - 0.344136 * cb - 0.714136 * cr)), 0, 255);
        v[2] = std::clamp(static_cast<int>(std::lround(Y + 1.772 * cb)), 0, 255);
      }
      if (cmyk) {
        for (unsigned c = 0; c < 4; ++c) {
          cmykRow[x * 4 + c] = static_cast<std::uint8_t>(outBits == 16 ? v[c] >> 8 : v[c]);
        }
        continue;
      }
      for (unsigned c = 0; c < info.channels; ++c) {
        if (outBits == 16) {
          const auto s = static_cast<std::uint16_t>(v[c]);
          std::memcpy(out + (std::size_t{x} * info.channels + c) * 2, &s, 2);
        } else {
          out[std::size_t{x} * info.channels + c] = static_cast<std::uint8_t>(v[c]);
        }
      }
    }
    if (cmyk) cmykConverter.convert(cmykRow.data(), out, info.width);
  }
}

bool isJp2(ByteView b) { return b.size() >= 12 && std::memcmp(b.data(), kJp2Signature, 12) == 0; }
bool isJ2k(ByteView b) { return b.size() >= 4 && std::memcmp(b.data(), kJ2kSignature, 4) == 0; }

class Jpeg2000Codec final : public ImageCodec {
 public:
  ImageFormat format() const noexcept override { return ImageFormat::JPEG2000; }

  bool sniff(ByteView b) const noexcept override { return isJp2(b) || isJ2k(b); }

  std::optional<ImageInfo> readInfo(ByteView bytes) const override {
    if (!sniff(bytes)) return std::nullopt;
    Session s;
    ImageInfo info;
    if (!openHeader(bytes, isJp2(bytes), s, info)) return std::nullopt;
    return info;
  }

  std::optional<Pixels> decode(ByteView bytes) const override { return decodeAt(bytes, 0, 0); }

  std::optional<Pixels> decodeReduced(ByteView bytes, std::uint32_t minWidth,
                                      std::uint32_t minHeight) const override {
    return decodeAt(bytes, minWidth, minHeight);
  }

  bool encode(const PixelsView& src, const EncodeOptions& options, Data& out) const override;

 private:
  // minWidth == 0: full size. Otherwise the most reduced level that keeps at
  // least minWidth x minHeight, or nothing when that is the full size.
  static std::optional<Pixels> decodeAt(ByteView bytes, std::uint32_t minWidth, std::uint32_t minHeight) {
    if (!isJp2(bytes) && !isJ2k(bytes)) return std::nullopt;
    Session s;
    ImageInfo info;
    if (!openHeader(bytes, isJp2(bytes), s, info)) return std::nullopt;
    const opj_image_t& header = *s.image;
    std::uint32_t factor = 0;
    if (minWidth > 0 || minHeight > 0) {
      for (std::uint32_t f = s.levels - 1; f > 0; --f) {
        if (reducedSide(header.x0, header.x1, f) >= minWidth && reducedSide(header.y0, header.y1, f) >= minHeight) {
          factor = f;
          break;
        }
      }
      if (factor == 0) return std::nullopt;
      if (!opj_set_decoded_resolution_factor(s.codec.get(), factor)) return std::nullopt;
    }
    if (!opj_decode(s.codec.get(), s.stream.get(), s.image.get())) return std::nullopt;
    opj_end_decompress(s.codec.get(), s.stream.get());
    const opj_image_t& im = *s.image;
    info.width = reducedSide(im.x0, im.x1, factor);
    info.height = reducedSide(im.y0, im.y1, factor);
    if (factor == 0) {
      info.width = im.x1 - im.x0;
      info.height = im.y1 - im.y0;
    }
    auto pixels = allocatePixels(info);
    if (!pixels) return std::nullopt;
    recentre(*s.image, factor);
    fillPixels(im, *pixels);
    return pixels;
  }
};

bool Jpeg2000Codec::encode(const PixelsView& src, const EncodeOptions& options, Data& out) const {
  if (!src.valid()) return false;
  const unsigned comps = src.channels;
  const unsigned bits = src.bitsPerComponent;
  std::vector<opj_image_cmptparm_t> params(comps);
  for (auto& p : params) {
    std::memset(&p, 0, sizeof p);
    p.dx = p.dy = 1;
    p.w = src.width;
    p.h = src.height;
    p.prec = bits;
    p.sgnd = 0;
  }
  Image image(opj_image_create(comps, params.data(), comps <= 2 ? OPJ_CLRSPC_GRAY : OPJ_CLRSPC_SRGB));
  if (!image) return false;
  image->x0 = image->y0 = 0;
  image->x1 = src.width;
  image->y1 = src.height;
  if (comps == 2 || comps == 4) image->comps[comps - 1].alpha = 1;
  for (std::uint32_t y = 0; y < src.height; ++y) {
    const std::uint8_t* row = src.row(y);
    for (std::uint32_t x = 0; x < src.width; ++x) {
      for (unsigned c = 0; c < comps; ++c) {
        const std::size_t i = std::size_t{x} * comps + c;
        int v;
        if (bits == 8) {
          v = row[i];
        } else {
          std::uint16_t s;
          std::memcpy(&s, row + i * 2, 2);
          v = s;
        }
        image->comps[c].data[std::size_t{y} * src.width + x] = v;
      }
    }
  }
  opj_cparameters_t parameters;
  opj_set_default_encoder_parameters(&parameters);
  parameters.tcp_numlayers = 1;
  parameters.cp_disto_alloc = 1;
  const double quality = std::clamp(options.quality.value_or(1.0), 0.0, 1.0);
  if (quality >= 1.0) {
    parameters.irreversible = 0;
    parameters.tcp_rates[0] = 0;  // lossless
  } else {
    parameters.irreversible = 1;
    // Compression ratio 2^((1 - q) * 8): 0.8 about 3:1, 0.5 16:1, 0 256:1.
    parameters.tcp_rates[0] = static_cast<float>(std::exp2((1.0 - quality) * 8.0));
  }
  parameters.tcp_mct = comps >= 3 ? 1 : 0;
  const std::uint32_t smaller = std::min(src.width, src.height);
  while (parameters.numresolution > 1 && (smaller >> (parameters.numresolution - 1)) == 0) --parameters.numresolution;

  const std::size_t start = out.size();
  bool ok = false;
  {
    MemoryStream memory;
    memory.output = &out;
    memory.start = start;
    Codec codec(opj_create_compress(OPJ_CODEC_JP2));
    Stream stream = makeStream(memory, false);
    if (codec && stream) {
      silence(codec.get());
      ok = opj_setup_encoder(codec.get(), &parameters, image.get()) &&
           opj_start_compress(codec.get(), image.get(), stream.get()) && opj_encode(codec.get(), stream.get()) &&
           opj_end_compress(codec.get(), stream.get());
    }
  }
  if (ok && !src.iccProfile.empty()) ok = embedProfile(out, start, src.iccProfile);
  if (!ok) out.resize(start);
  return ok;
}

}  // namespace

const ImageCodec& jpeg2000Codec() noexcept {
  static const Jpeg2000Codec codec;
  return codec;
}

}  // namespace orvane::imageio
