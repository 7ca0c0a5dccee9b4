// JPEG through libjpeg-turbo: baseline and progressive; gray, RGB, CMYK and
// YCCK (Adobe's inverted CMYK included), CMYK turned into RGB at decode (through
// the embedded profile when there is one). Reduced decodes use the scaled IDCT.

#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <algorithm>
#include <vector>

#include <jpeglib.h>

#include "Platform/ImageIO/ImageCodec.h"

namespace orvane::imageio {
namespace {

constexpr int kMaxScans = 1000;  // progressive files with more scans than this are hostile

struct ErrorManager {
  jpeg_error_mgr pub;  // first member: libjpeg hands back a pointer to it
  std::jmp_buf jump;
};

[[noreturn]] void onError(j_common_ptr cinfo) {
  std::longjmp(reinterpret_cast<ErrorManager*>(cinfo->err)->jump, 1);
}

void onMessage(j_common_ptr, int) {}  // warnings (corrupt data, early end) stay quiet

void onProgress(j_common_ptr cinfo) {
  if (cinfo->is_decompressor && reinterpret_cast<j_decompress_ptr>(cinfo)->input_scan_number > kMaxScans) {
    onError(cinfo);
  }
}

struct Decompressor {
  jpeg_decompress_struct cinfo{};
  ErrorManager err{};
  jpeg_progress_mgr progress{};
  bool created = false;
  bool cmyk = false;
  ~Decompressor() {
    if (created) jpeg_destroy_decompress(&cinfo);
  }
};

// Creates the decompressor and reads the headers. No object with a destructor
// lives in this frame: libjpeg's errors come back through longjmp.
bool readHeader(Decompressor& d, ByteView bytes) {
  d.cinfo.err = jpeg_std_error(&d.err.pub);
  d.err.pub.error_exit = onError;
  d.err.pub.emit_message = onMessage;
  if (setjmp(d.err.jump)) return false;
  jpeg_create_decompress(&d.cinfo);
  d.created = true;
  d.progress.progress_monitor = onProgress;
  d.cinfo.progress = &d.progress;
  jpeg_mem_src(&d.cinfo, bytes.data(), static_cast<unsigned long>(bytes.size()));
  if (jpeg_read_header(&d.cinfo, TRUE) != JPEG_HEADER_OK) return false;
  d.cmyk = d.cinfo.jpeg_color_space == JCS_CMYK || d.cinfo.jpeg_color_space == JCS_YCCK;
  return true;
}

// The EXIF orientation and the ICC profile, read straight from the marker
// segments before the first scan. libjpeg could keep those segments for us,
// but it copies them a byte at a time, on every header read: a camera's 64 KiB
// EXIF block then costs more than the rest of a thumbnail's bookkeeping.
struct Markers {
  std::uint16_t orientation = 1;
  Data icc;
};

Markers readMarkers(ByteView b) {
  Markers out;
  bool sawExif = false;
  // ICC chunks: "ICC_PROFILE\0", sequence number (1...count), count, data.
  std::vector<ByteView> chunks;
  bool iccBroken = false;
  std::size_t i = 2;
  while (i + 4 <= b.size()) {
    if (b[i] != 0xFF) {  // stray bytes between segments: skip to the next marker
      ++i;
      continue;
    }
    const std::uint8_t m = b[i + 1];
    if (m == 0xFF || m == 0x01 || (m >= 0xD0 && m <= 0xD8)) {  // fill byte or segment without length
      i += m == 0xFF ? 1 : 2;
      continue;
    }
    if (m == 0xDA || m == 0xD9) break;  // the first scan, or the end
    const std::size_t length = std::size_t{b[i + 2]} << 8 | b[i + 3];
    if (length < 2 || i + 2 + length > b.size()) break;
    const ByteView body = b.subspan(i + 4, length - 2);
    if (m == 0xE1 && !sawExif && body.size() > 6 && std::memcmp(body.data(), "Exif\0\0", 6) == 0) {
      sawExif = true;
      out.orientation = exifOrientation(body.subspan(6));
    } else if (m == 0xE2 && body.size() >= 14 && std::memcmp(body.data(), "ICC_PROFILE\0", 12) == 0) {
      const std::uint8_t seq = body[12], count = body[13];
      if (chunks.empty()) chunks.resize(count);
      if (count != chunks.size() || seq == 0 || seq > count || !chunks[seq - 1u].empty() ||
          body.size() == 14) {
        iccBroken = true;
      } else {
        chunks[seq - 1u] = body.subspan(14);
      }
    }
    i += 2 + length;
  }
  const bool complete =
      !chunks.empty() && std::none_of(chunks.begin(), chunks.end(), [](ByteView c) { return c.empty(); });
  if (complete && !iccBroken)
    for (ByteView c : chunks) out.icc.insert(out.icc.end(), c.begin(), c.end());
  return out;
}

std::optional<ImageInfo> infoOf(Decompressor& d, ByteView bytes) {
  if (!readHeader(d, bytes)) return std::nullopt;
  const auto& c = d.cinfo;
  if (!sizeWithinLimits(c.image_width, c.image_height)) return std::nullopt;
  ImageInfo info;
  info.width = c.image_width;
  info.height = c.image_height;
  info.channels = c.jpeg_color_space == JCS_GRAYSCALE ? 1 : 3;
  info.fileBitsPerSample = static_cast<std::uint8_t>(c.data_precision);
  if (c.saw_JFIF_marker && c.X_density > 0 && c.Y_density > 0 && c.density_unit != 0) {
    const double perInch = c.density_unit == 2 ? 2.54 : 1.0;
    info.dpiWidth = c.X_density * perInch;
    info.dpiHeight = c.Y_density * perInch;
  }
  Markers markers = readMarkers(bytes);
  info.orientation = markers.orientation;
  info.iccProfile = std::move(markers.icc);
  return info;
}

struct DecodeJob {
  std::uint32_t scaleDenom = 1;
  std::optional<Pixels>* pixels = nullptr;  // full or reduced decode into a buffer
  RowSink* sink = nullptr;                  // or stream rows
  ImageInfo info;
  std::vector<std::uint8_t> scratch;  // CMYK rows, or the sink's rows
  std::optional<CmykConverter> cmyk;
  std::uint32_t rowsDone = 0;
};

// Runs the decompression (libjpeg's errors return here through longjmp, so no
// object with a destructor is made in this frame).
bool runDecode(Decompressor& d, DecodeJob& job) {
  if (setjmp(d.err.jump)) return false;
  auto& c = d.cinfo;
  c.out_color_space = d.cmyk ? JCS_CMYK : (job.info.channels == 1 ? JCS_GRAYSCALE : JCS_RGB);
  c.scale_num = 1;
  c.scale_denom = job.scaleDenom;
  jpeg_start_decompress(&c);
  if (c.output_width != job.info.width || c.output_height != job.info.height) return false;
  const std::size_t outRow = std::size_t{job.info.width} * job.info.channels;
  const std::size_t fileRow = std::size_t{c.output_width} * static_cast<std::size_t>(c.output_components);
  constexpr unsigned kBatch = 16;
  const bool direct = job.pixels && !d.cmyk;
  if (!direct) job.scratch.resize(fileRow * kBatch + outRow);
  JSAMPROW rows[kBatch];
  while (c.output_scanline < c.output_height) {
    const std::uint32_t y = c.output_scanline;
    const unsigned want = std::min<unsigned>(kBatch, c.output_height - y);
    for (unsigned i = 0; i < want; ++i) {
      rows[i] = direct ? (*job.pixels)->row(y + i) : job.scratch.data() + i * fileRow;
    }
    const unsigned got = jpeg_read_scanlines(&c, rows, want);
    if (got == 0) break;
    if (!direct) {
      std::uint8_t* converted = job.scratch.data() + kBatch * fileRow;
      for (unsigned i = 0; i < got; ++i) {
        std::uint8_t* dst = job.pixels ? (*job.pixels)->row(y + i) : converted;
        if (d.cmyk) {
          job.cmyk->convert(rows[i], dst, c.output_width);
        } else {
          dst = rows[i];
        }
        if (job.sink) job.sink->row(y + i, dst);
      }
    }
    job.rowsDone = y + got;
  }
  jpeg_finish_decompress(&c);
  return true;
}

// Outputs the remaining rows of a stream cut short, zeroed.
void finishSink(DecodeJob& job) {
  std::vector<std::uint8_t> zero(std::size_t{job.info.width} * job.info.channels);
  for (std::uint32_t y = job.rowsDone; y < job.info.height; ++y) job.sink->row(y, zero.data());
}

std::uint32_t scaledSide(std::uint32_t side, std::uint32_t denom) { return (side + denom - 1) / denom; }

class JpegCodec final : public ImageCodec {
 public:
  ImageFormat format() const noexcept override { return ImageFormat::JPEG; }

  bool sniff(ByteView b) const noexcept override {
    return b.size() >= 3 && b[0] == 0xFF && b[1] == 0xD8 && b[2] == 0xFF;
  }

  std::optional<ImageInfo> readInfo(ByteView bytes) const override {
    if (!sniff(bytes)) return std::nullopt;
    Decompressor d;
    auto info = infoOf(d, bytes);
    if (info && d.cmyk) {
      // Decoding turns CMYK into RGB, so a CMYK profile does not describe the result.
      info->iccProfile.clear();
    }
    return info;
  }

  std::optional<Pixels> decode(ByteView bytes) const override { return decodeScaled(bytes, std::nullopt); }

  std::optional<Pixels> decodeReduced(ByteView bytes, std::uint32_t minWidth,
                                      std::uint32_t minHeight) const override {
    return decodeScaled(bytes, Least{minWidth, minHeight});
  }

  std::optional<ImageInfo> reducedInfo(ByteView bytes, std::uint32_t minWidth,
                                       std::uint32_t minHeight) const override {
    auto info = readInfo(bytes);
    if (!info) return std::nullopt;
    const std::uint32_t denom = reduction(*info, {minWidth, minHeight});
    if (denom == 1) return std::nullopt;
    info->width = scaledSide(info->width, denom);
    info->height = scaledSide(info->height, denom);
    return info;
  }

  bool decodeReducedRows(ByteView bytes, std::uint32_t minWidth, std::uint32_t minHeight,
                         RowSink& sink) const override {
    return streamScaled(bytes, Least{minWidth, minHeight}, sink);
  }

  bool decodeRows(ByteView bytes, RowSink& sink) const override { return streamScaled(bytes, std::nullopt, sink); }

  bool encode(const PixelsView& src, const EncodeOptions& options, Data& out) const override;

 private:
  // The size a reduced decode keeps at least.
  struct Least {
    std::uint32_t width, height;
  };

  // The most the scaled IDCT can reduce (1/8, 1/4, 1/2) keeping both sides
  // at least the least size; 1 when even 1/2 is too small.
  static std::uint32_t reduction(const ImageInfo& info, Least least) {
    for (std::uint32_t denom : {8u, 4u, 2u}) {
      if (scaledSide(info.width, denom) >= least.width && scaledSide(info.height, denom) >= least.height) {
        return denom;
      }
    }
    return 1;
  }

  // Reads the headers into a job that decodes at full size or, given a least
  // size, reduced as far as that allows; false when it allows no reduction.
  bool prepare(Decompressor& d, DecodeJob& job, ByteView bytes, std::optional<Least> least) const {
    if (!sniff(bytes)) return false;
    auto info = infoOf(d, bytes);
    if (!info) return false;
    const std::uint32_t denom = least ? reduction(*info, *least) : 1;
    if (least && denom == 1) return false;
    job.info = *info;
    if (d.cmyk) {
      job.cmyk.emplace(job.info.iccProfile, d.cinfo.saw_Adobe_marker);
      job.info.iccProfile.clear();
    }
    job.scaleDenom = denom;
    job.info.width = scaledSide(info->width, denom);
    job.info.height = scaledSide(info->height, denom);
    return true;
  }

  bool streamScaled(ByteView bytes, std::optional<Least> least, RowSink& sink) const {
    Decompressor d;
    DecodeJob job;
    if (!prepare(d, job, bytes, least) || !sink.begin(job.info)) return false;
    job.sink = &sink;
    const bool ok = runDecode(d, job);
    if (job.rowsDone == 0 && !ok) return false;
    finishSink(job);
    return true;
  }

  std::optional<Pixels> decodeScaled(ByteView bytes, std::optional<Least> least) const {
    Decompressor d;
    DecodeJob job;
    if (!prepare(d, job, bytes, least)) return std::nullopt;
    std::optional<Pixels> pixels = allocatePixels(job.info);
    if (!pixels) return std::nullopt;
    job.pixels = &pixels;
    const bool ok = runDecode(d, job);
    if (!ok && job.rowsDone == 0) return std::nullopt;
    return pixels;
  }
};

// ---- encoding

struct Compressor {
  jpeg_compress_struct cinfo{};
  ErrorManager err{};
  bool created = false;
  unsigned char* buffer = nullptr;
  unsigned long size = 0;
  ~Compressor() {
    if (created) jpeg_destroy_compress(&cinfo);
    std::free(buffer);
  }
};

// A minimal big-endian EXIF block carrying only the orientation.
std::vector<std::uint8_t> exifWithOrientation(std::uint16_t orientation) {
  return {'E', 'x', 'i', 'f', 0, 0, 'M', 'M', 0, 42, 0, 0, 0, 8, 0, 1, 0x01, 0x12, 0, 3, 0, 0, 0, 1,
          0, static_cast<std::uint8_t>(orientation), 0, 0, 0, 0, 0, 0};
}

bool runEncode(Compressor& e, const PixelsView& src, int quality, std::uint8_t* scratch,
               const std::uint8_t* exif, std::size_t exifSize) {
  e.cinfo.err = jpeg_std_error(&e.err.pub);
  e.err.pub.error_exit = onError;
  e.err.pub.emit_message = onMessage;
  if (setjmp(e.err.jump)) return false;
  jpeg_create_compress(&e.cinfo);
  e.created = true;
  jpeg_mem_dest(&e.cinfo, &e.buffer, &e.size);
  auto& c = e.cinfo;
  c.image_width = src.width;
  c.image_height = src.height;
  const bool gray = src.channels <= 2;
  // 8-bit RGBA goes in as is: libjpeg-turbo skips the fourth byte.
  const bool rgbx = src.channels == 4 && src.bitsPerComponent == 8;
  const bool direct = rgbx || (src.bitsPerComponent == 8 && (src.channels == 1 || src.channels == 3));
  c.input_components = gray ? 1 : (rgbx ? 4 : 3);
  c.in_color_space = gray ? JCS_GRAYSCALE : (rgbx ? JCS_EXT_RGBX : JCS_RGB);
  jpeg_set_defaults(&c);
  jpeg_set_quality(&c, quality, TRUE);
  if (src.dpiWidth > 0 && src.dpiHeight > 0 && src.dpiWidth < 65536 && src.dpiHeight < 65536) {
    c.density_unit = 1;
    c.X_density = static_cast<UINT16>(src.dpiWidth + 0.5);
    c.Y_density = static_cast<UINT16>(src.dpiHeight + 0.5);
  }
  jpeg_start_compress(&c, TRUE);
  if (exifSize) jpeg_write_marker(&c, JPEG_APP0 + 1, exif, static_cast<unsigned>(exifSize));
  if (!src.iccProfile.empty()) {
    jpeg_write_icc_profile(&c, src.iccProfile.data(), static_cast<unsigned>(src.iccProfile.size()));
  }
  while (c.next_scanline < c.image_height) {
    const std::uint32_t y = c.next_scanline;
    JSAMPROW row;
    if (direct) {
      // libjpeg reads the row only; its interface is not const-correct.
      row = const_cast<JSAMPROW>(src.row(y));
    } else {
      convertRow(src, y, gray ? 1 : 3, 8, scratch);
      row = scratch;
    }
    jpeg_write_scanlines(&c, &row, 1);
  }
  jpeg_finish_compress(&c);
  return true;
}

bool JpegCodec::encode(const PixelsView& src, const EncodeOptions& options, Data& out) const {
  if (!src.valid()) return false;
  const double q = std::clamp(options.quality.value_or(0.8), 0.0, 1.0);
  const int quality = std::max(1, static_cast<int>(q * 100.0 + 0.5));
  std::vector<std::uint8_t> scratch(std::size_t{src.width} * 3);
  std::vector<std::uint8_t> exif;
  if (src.orientation >= 2 && src.orientation <= 8) exif = exifWithOrientation(src.orientation);
  Compressor e;
  if (!runEncode(e, src, quality, scratch.data(), exif.data(), exif.size()) || !e.buffer) return false;
  out.insert(out.end(), e.buffer, e.buffer + e.size);
  return true;
}

}  // namespace

const ImageCodec& jpegCodec() noexcept {
  static const JpegCodec codec;
  return codec;
}

}  // namespace orvane::imageio
