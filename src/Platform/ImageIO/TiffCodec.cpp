// TIFF through libtiff: the first directory, in strips or tiles, contiguous or
// planar; 1- to 16-bit gray, 8- and 16-bit RGB(A), palette and 8-bit CMYK with
// the usual compressions. JPEG-in-TIFF comes out as RGB; other photometric
// interpretations libtiff knows go through its RGBA reader.

#include <algorithm>
#include <cstring>
#include <vector>

#include <tiffio.h>

#include "Platform/ImageIO/ImageCodec.h"

namespace orvane::imageio {
namespace {

// Writing default: no compression, as the platform's TIFF writer does. On a
// 5120 x 2880 photograph-like picture LZW with the horizontal predictor took
// 15 times as long (Deflate 29 times) for a file a third the size; PNG is the
// format for compact lossless files.
constexpr std::uint16_t kWriteCompression = COMPRESSION_NONE;

// One libtiff allocation may not exceed this (a strip or tile buffer).
constexpr tmsize_t kMaxSingleAllocation = tmsize_t{1} << 30;

struct MemoryFile {
  ByteView input;  // reading
  Data* output = nullptr;  // writing: the file occupies output[start...]
  std::size_t start = 0;
  std::uint64_t position = 0;

  std::uint64_t size() const { return output ? output->size() - start : input.size(); }
};

tmsize_t readProc(thandle_t h, void* buffer, tmsize_t size) {
  auto* f = static_cast<MemoryFile*>(h);
  const std::uint64_t total = f->size();
  if (size < 0 || f->position >= total) return 0;
  const std::size_t n = static_cast<std::size_t>(std::min<std::uint64_t>(static_cast<std::uint64_t>(size), total - f->position));
  const std::uint8_t* base = f->output ? f->output->data() + f->start : f->input.data();
  std::memcpy(buffer, base + f->position, n);
  f->position += n;
  return static_cast<tmsize_t>(n);
}

tmsize_t writeProc(thandle_t h, void* buffer, tmsize_t size) {
  auto* f = static_cast<MemoryFile*>(h);
  if (!f->output || size < 0) return -1;
  const std::size_t end = f->start + static_cast<std::size_t>(f->position) + static_cast<std::size_t>(size);
  if (end > f->output->size()) f->output->resize(end);
  std::memcpy(f->output->data() + f->start + f->position, buffer, static_cast<std::size_t>(size));
  f->position += static_cast<std::uint64_t>(size);
  return size;
}

toff_t seekProc(thandle_t h, toff_t offset, int whence) {
  auto* f = static_cast<MemoryFile*>(h);
  std::uint64_t base = 0;
  if (whence == SEEK_CUR) base = f->position;
  else if (whence == SEEK_END) base = f->size();
  const std::uint64_t target = base + offset;
  if (target < base || target > (std::uint64_t{1} << 40)) return static_cast<toff_t>(-1);
  f->position = target;
  return target;
}

int closeProc(thandle_t) { return 0; }
toff_t sizeProc(thandle_t h) { return static_cast<MemoryFile*>(h)->size(); }

int mapProc(thandle_t h, void** base, toff_t* size) {
  auto* f = static_cast<MemoryFile*>(h);
  if (f->output) return 0;
  // libtiff only reads through the map.
  *base = const_cast<std::uint8_t*>(f->input.data());
  *size = f->input.size();
  return 1;
}

void unmapProc(thandle_t, void*, toff_t) {}

int quietHandler(TIFF*, void*, const char*, const char*, va_list) { return 1; }

struct TiffCloser {
  void operator()(TIFF* tif) const noexcept { TIFFClose(tif); }
};
using TiffHandle = std::unique_ptr<TIFF, TiffCloser>;

TiffHandle openTiff(MemoryFile& file, const char* mode) {
  TIFFOpenOptions* options = TIFFOpenOptionsAlloc();
  if (!options) return nullptr;
  TIFFOpenOptionsSetMaxSingleMemAlloc(options, kMaxSingleAllocation);
  TIFFOpenOptionsSetErrorHandlerExtR(options, quietHandler, nullptr);
  TIFFOpenOptionsSetWarningHandlerExtR(options, quietHandler, nullptr);
  TiffHandle tif(TIFFClientOpenExt("memory", mode, &file, readProc, writeProc, seekProc, closeProc, sizeProc,
                                   mapProc, unmapProc, options));
  TIFFOpenOptionsFree(options);
  return tif;
}

// How the first directory's samples map to our pixels.
struct Layout {
  std::uint16_t photometric = 0;
  std::uint16_t bits = 0;
  std::uint16_t samples = 0;     // per pixel, in the file
  std::uint16_t planar = PLANARCONFIG_CONTIG;
  std::uint16_t sampleFormat = SAMPLEFORMAT_UINT;
  std::uint16_t inkSet = INKSET_CMYK;
  bool associatedAlpha = false;
  bool alpha = false;
  bool generic = false;  // through libtiff's RGBA reader
  bool tiled = false;
  std::uint32_t bandHeight = 0;  // rows per strip or tile height
  std::uint32_t tileWidth = 0;
  const std::uint16_t* colourMap[3] = {nullptr, nullptr, nullptr};
};

bool readLayout(TIFF* tif, ImageInfo& info, Layout& l) {
  std::uint32_t width = 0, height = 0;
  if (!TIFFGetField(tif, TIFFTAG_IMAGEWIDTH, &width) || !TIFFGetField(tif, TIFFTAG_IMAGELENGTH, &height)) return false;
  if (!sizeWithinLimits(width, height)) return false;
  info.width = width;
  info.height = height;
  TIFFGetFieldDefaulted(tif, TIFFTAG_BITSPERSAMPLE, &l.bits);
  TIFFGetFieldDefaulted(tif, TIFFTAG_SAMPLESPERPIXEL, &l.samples);
  TIFFGetFieldDefaulted(tif, TIFFTAG_PLANARCONFIG, &l.planar);
  TIFFGetFieldDefaulted(tif, TIFFTAG_SAMPLEFORMAT, &l.sampleFormat);
  std::uint16_t compression = COMPRESSION_NONE;
  TIFFGetFieldDefaulted(tif, TIFFTAG_COMPRESSION, &compression);
  if (!TIFFGetField(tif, TIFFTAG_PHOTOMETRIC, &l.photometric)) {
    l.photometric = l.samples >= 3 ? PHOTOMETRIC_RGB : PHOTOMETRIC_MINISBLACK;
  }
  std::uint16_t extraCount = 0;
  std::uint16_t* extra = nullptr;
  if (TIFFGetField(tif, TIFFTAG_EXTRASAMPLES, &extraCount, &extra) && extraCount > 0 && extra) {
    l.associatedAlpha = extra[0] == EXTRASAMPLE_ASSOCALPHA;
    l.alpha = true;
  }
  if (l.photometric == PHOTOMETRIC_YCBCR && compression == COMPRESSION_JPEG) {
    // libjpeg converts to RGB while reading.
    TIFFSetField(tif, TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
    l.photometric = PHOTOMETRIC_RGB;
  }
  TIFFGetFieldDefaulted(tif, TIFFTAG_INKSET, &l.inkSet);
  l.tiled = TIFFIsTiled(tif) != 0;
  if (l.tiled) {
    std::uint32_t tw = 0, th = 0;
    if (!TIFFGetField(tif, TIFFTAG_TILEWIDTH, &tw) || !TIFFGetField(tif, TIFFTAG_TILELENGTH, &th) || !tw || !th) {
      return false;
    }
    l.tileWidth = tw;
    l.bandHeight = th;
  } else {
    std::uint32_t rows = height;
    TIFFGetFieldDefaulted(tif, TIFFTAG_ROWSPERSTRIP, &rows);
    l.bandHeight = std::clamp<std::uint32_t>(rows, 1, height);
  }

  const bool uintSamples = l.sampleFormat == SAMPLEFORMAT_UINT;
  const std::uint16_t colour = static_cast<std::uint16_t>(l.samples - (l.alpha ? 1 : 0));
  bool known = uintSamples;
  switch (l.photometric) {
    case PHOTOMETRIC_MINISBLACK:
    case PHOTOMETRIC_MINISWHITE:
      known = known && (l.bits == 1 || l.bits == 2 || l.bits == 4 || l.bits == 8 || l.bits == 16) && colour >= 1;
      info.channels = l.alpha && l.samples >= 2 ? 2 : 1;
      l.alpha = info.channels == 2;
      info.bitsPerComponent = l.bits == 16 ? 16 : 8;
      break;
    case PHOTOMETRIC_RGB:
      known = known && (l.bits == 8 || l.bits == 16) && l.samples >= 3;
      l.alpha = l.alpha && l.samples >= 4;
      info.channels = l.alpha ? 4 : 3;
      info.bitsPerComponent = static_cast<std::uint8_t>(l.bits == 16 ? 16 : 8);
      break;
    case PHOTOMETRIC_PALETTE:
      known = known && (l.bits == 1 || l.bits == 2 || l.bits == 4 || l.bits == 8) &&
              TIFFGetField(tif, TIFFTAG_COLORMAP, &l.colourMap[0], &l.colourMap[1], &l.colourMap[2]);
      info.channels = 3;
      l.alpha = false;
      break;
    case PHOTOMETRIC_SEPARATED:
      known = known && l.bits == 8 && l.samples >= 4 && l.inkSet == INKSET_CMYK;
      info.channels = 3;
      l.alpha = false;
      break;
    default:
      known = false;
      break;
  }
  if (!known) {
    // Anything else libtiff can turn into 8-bit RGBA.
    char message[1024];
    if (!TIFFRGBAImageOK(tif, message)) return false;
    l.generic = true;
    info.channels = 4;
    info.bitsPerComponent = 8;
  }
  info.fileBitsPerSample = static_cast<std::uint8_t>(std::min<std::uint16_t>(l.bits, 255));

  std::uint32_t iccLength = 0;
  void* icc = nullptr;
  if (TIFFGetField(tif, TIFFTAG_ICCPROFILE, &iccLength, &icc) && icc && iccLength) {
    const auto* p = static_cast<const std::uint8_t*>(icc);
    if (l.photometric != PHOTOMETRIC_SEPARATED) info.iccProfile.assign(p, p + iccLength);
    else if (!l.generic) info.iccProfile.assign(p, p + iccLength);  // kept for the CMYK conversion only
  }
  std::uint16_t orientation = ORIENTATION_TOPLEFT;
  TIFFGetFieldDefaulted(tif, TIFFTAG_ORIENTATION, &orientation);
  info.orientation = orientation >= 1 && orientation <= 8 ? orientation : 1;
  float xres = 0, yres = 0;
  std::uint16_t unit = RESUNIT_INCH;
  TIFFGetFieldDefaulted(tif, TIFFTAG_RESOLUTIONUNIT, &unit);
  if (TIFFGetField(tif, TIFFTAG_XRESOLUTION, &xres) && TIFFGetField(tif, TIFFTAG_YRESOLUTION, &yres) && xres > 0 &&
      yres > 0 && unit != RESUNIT_NONE) {
    const double scale = unit == RESUNIT_CENTIMETER ? 2.54 : 1.0;
    info.dpiWidth = xres * scale;
    info.dpiHeight = yres * scale;
  }
  return true;
}

inline unsigned sampleAt(const std::uint8_t* row, std::size_t index, unsigned bits) {
  switch (bits) {
    case 16: {
      std::uint16_t v;
      std::memcpy(&v, row + index * 2, 2);
      return v;
    }
    case 8: return row[index];
    default: {
      const std::size_t bit = index * bits;
      return (row[bit / 8] >> (8 - bits - bit % 8)) & ((1u << bits) - 1);
    }
  }
}

// Turns one file row (one buffer per plane) into our layout.
class RowConverter {
 public:
  RowConverter(const ImageInfo& info, const Layout& l)
      : info_(info), l_(l), cmyk_(l.photometric == PHOTOMETRIC_SEPARATED ? info.iccProfile : ByteView(), false) {
    if (l.photometric == PHOTOMETRIC_SEPARATED) cmykRow_.resize(std::size_t{info.width} * 4);
  }

  // True when the file's row bytes are already our row bytes.
  static bool identical(const ImageInfo& info, const Layout& l) {
    return !l.generic && l.planar == PLANARCONFIG_CONTIG && !l.associatedAlpha &&
           (l.bits == 8 || l.bits == 16) && l.samples == info.channels &&
           (l.photometric == PHOTOMETRIC_MINISBLACK || l.photometric == PHOTOMETRIC_RGB);
  }

  void convert(const std::uint8_t* const* planes, std::uint8_t* out) {
    const std::uint32_t width = info_.width;
    const bool contig = l_.planar == PLANARCONFIG_CONTIG;
    auto sample = [&](std::uint32_t x, unsigned s) {
      return contig ? sampleAt(planes[0], std::size_t{x} * l_.samples + s, l_.bits) : sampleAt(planes[s], x, l_.bits);
    };
    const unsigned outChannels = info_.channels;
    switch (l_.photometric) {
      case PHOTOMETRIC_PALETTE:
        for (std::uint32_t x = 0; x < width; ++x) {
          const unsigned index = sample(x, 0);
          for (int c = 0; c < 3; ++c) out[x * 3 + c] = static_cast<std::uint8_t>(l_.colourMap[c][index] >> 8);
        }
        return;
      case PHOTOMETRIC_SEPARATED:
        for (std::uint32_t x = 0; x < width; ++x) {
          for (unsigned c = 0; c < 4; ++c) cmykRow_[x * 4 + c] = static_cast<std::uint8_t>(sample(x, c));
        }
        cmyk_.convert(cmykRow_.data(), out, width);
        return;
      default: break;
    }
    const unsigned maxValue = (1u << l_.bits) - 1;
    const bool white = l_.photometric == PHOTOMETRIC_MINISWHITE;
    const unsigned colours = outChannels == 2 || outChannels == 4 ? outChannels - 1 : outChannels;
    const unsigned alphaSample = l_.photometric == PHOTOMETRIC_RGB ? 3 : 1;
    for (std::uint32_t x = 0; x < width; ++x) {
      unsigned v[4];
      for (unsigned c = 0; c < colours; ++c) {
        unsigned s = sample(x, c);
        if (white) s = maxValue - s;
        if (l_.bits < 8) s = s * 255 / maxValue;
        v[c] = s;
      }
      if (colours < outChannels) {
        const unsigned a = sample(x, alphaSample);
        v[colours] = l_.bits < 8 ? a * 255 / maxValue : a;
        if (l_.associatedAlpha && a != 0 && a != maxValue) {
          for (unsigned c = 0; c < colours; ++c) v[c] = std::min(maxValue, v[c] * maxValue / a);
        }
      }
      for (unsigned c = 0; c < outChannels; ++c) {
        if (info_.bitsPerComponent == 16) {
          const auto s = static_cast<std::uint16_t>(v[c]);
          std::memcpy(out + (std::size_t{x} * outChannels + c) * 2, &s, 2);
        } else {
          out[std::size_t{x} * outChannels + c] = static_cast<std::uint8_t>(v[c]);
        }
      }
    }
  }

 private:
  const ImageInfo& info_;
  const Layout& l_;
  CmykConverter cmyk_;
  std::vector<std::uint8_t> cmykRow_;
};

// Writes finished rows to a buffer or a sink.
struct RowOutput {
  Pixels* pixels = nullptr;
  RowSink* sink = nullptr;
  std::vector<std::uint8_t> scratch;
  std::uint32_t rowsDone = 0;

  std::uint8_t* target(std::uint32_t y) { return pixels ? pixels->row(y) : scratch.data(); }
  void done(std::uint32_t y) {
    if (sink) sink->row(y, scratch.data());
    rowsDone = y + 1;
  }
  // A row whose file bytes are already ours: handed on without conversion.
  void take(std::uint32_t y, const std::uint8_t* row, std::size_t bytes) {
    if (sink) sink->row(y, row);
    else std::memcpy(pixels->row(y), row, bytes);
    rowsDone = y + 1;
  }
};

// Reads bands of rows (a strip, or a row of tiles) top to bottom. Stops at the
// first band libtiff cannot decode.
bool readBands(TIFF* tif, const ImageInfo& info, const Layout& l, RowOutput& out) {
  const unsigned planes = l.planar == PLANARCONFIG_SEPARATE ? l.samples : 1;
  const unsigned samplesPerPlane = l.planar == PLANARCONFIG_SEPARATE ? 1 : l.samples;
  const std::uint32_t bandWidth = l.tiled ? l.tileWidth : info.width;
  const std::size_t fileRowBytes = (std::size_t{info.width} * samplesPerPlane * l.bits + 7) / 8;
  const std::size_t unitRowBytes = (std::size_t{bandWidth} * samplesPerPlane * l.bits + 7) / 8;
  const bool asStored = planes == 1 && RowConverter::identical(info, l);
  const bool direct = out.pixels && !l.tiled && asStored;
  const std::size_t unitBytes = unitRowBytes * l.bandHeight;
  if (l.tiled ? TIFFTileSize64(tif) != unitBytes : TIFFStripSize64(tif) < unitRowBytes) return false;
  if (unitBytes > static_cast<std::uint64_t>(kMaxSingleAllocation)) return false;
  std::vector<std::uint8_t> unit;   // one strip or tile as libtiff returns it
  std::vector<std::uint8_t> band;   // tiles assembled into full rows, per plane
  if (!direct) unit.resize(unitBytes);
  if (l.tiled) band.resize(fileRowBytes * l.bandHeight * planes);
  RowConverter converter(info, l);
  std::vector<const std::uint8_t*> rowPlanes(planes);

  for (std::uint32_t y0 = 0; y0 < info.height; y0 += l.bandHeight) {
    const std::uint32_t rows = std::min(l.bandHeight, info.height - y0);
    if (direct) {
      const tstrip_t strip = TIFFComputeStrip(tif, y0, 0);
      if (TIFFReadEncodedStrip(tif, strip, out.pixels->row(y0), static_cast<tmsize_t>(out.pixels->bytesPerRow * rows)) < 0) {
        return false;
      }
      out.rowsDone = y0 + rows;
      continue;
    }
    for (unsigned p = 0; p < planes; ++p) {
      if (l.tiled) {
        for (std::uint32_t x0 = 0; x0 < info.width; x0 += l.tileWidth) {
          const ttile_t tile = TIFFComputeTile(tif, x0, y0, 0, static_cast<std::uint16_t>(p));
          if (TIFFReadEncodedTile(tif, tile, unit.data(), static_cast<tmsize_t>(unit.size())) < 0) return false;
          const std::size_t bitOffset = std::size_t{x0} * samplesPerPlane * l.bits;
          const std::uint32_t columns = std::min(l.tileWidth, info.width - x0);
          const std::size_t copyBits = std::size_t{columns} * samplesPerPlane * l.bits;
          if (bitOffset % 8 != 0) return false;  // sub-byte samples across tile edges: tile widths are multiples of 16
          for (std::uint32_t r = 0; r < rows; ++r) {
            std::memcpy(band.data() + (p * l.bandHeight + r) * fileRowBytes + bitOffset / 8, unit.data() + r * unitRowBytes,
                        (copyBits + 7) / 8);
          }
        }
      } else {
        const tstrip_t strip = TIFFComputeStrip(tif, y0, static_cast<std::uint16_t>(p));
        if (TIFFReadEncodedStrip(tif, strip, unit.data(), static_cast<tmsize_t>(unitRowBytes * rows)) < 0) return false;
        if (planes > 1) {
          if (band.size() < fileRowBytes * l.bandHeight * planes) band.resize(fileRowBytes * l.bandHeight * planes);
          std::memcpy(band.data() + p * l.bandHeight * fileRowBytes, unit.data(), unitRowBytes * rows);
        }
      }
    }
    const std::uint8_t* source = (l.tiled || planes > 1) ? band.data() : unit.data();
    for (std::uint32_t r = 0; r < rows; ++r) {
      if (asStored) {
        out.take(y0 + r, source + r * fileRowBytes, fileRowBytes);
        continue;
      }
      for (unsigned p = 0; p < planes; ++p) rowPlanes[p] = source + (p * l.bandHeight + r) * fileRowBytes;
      converter.convert(rowPlanes.data(), out.target(y0 + r));
      out.done(y0 + r);
    }
  }
  return true;
}

bool readGeneric(TIFF* tif, const ImageInfo& info, RowOutput& out) {
  std::vector<std::uint32_t> raster;
  std::uint32_t* target;
  if (out.pixels) {
    target = reinterpret_cast<std::uint32_t*>(out.pixels->storage.data());
  } else {
    raster.resize(std::size_t{info.width} * info.height);
    target = raster.data();
  }
  // ABGR words, which on a little-endian host are R, G, B, A bytes.
  const int ok = TIFFReadRGBAImageOriented(tif, info.width, info.height, target, ORIENTATION_TOPLEFT, 0);
  if (!ok) return false;
  if (out.sink) {
    for (std::uint32_t y = 0; y < info.height; ++y) {
      std::memcpy(out.scratch.data(), raster.data() + std::size_t{y} * info.width, std::size_t{info.width} * 4);
      out.done(y);
    }
  }
  out.rowsDone = info.height;
  return true;
}

bool littleEndianHost() {
  const std::uint16_t probe = 1;
  std::uint8_t first;
  std::memcpy(&first, &probe, 1);
  return first == 1;
}

// One directory of 8- or 16-bit gray or RGB with optional unassociated alpha.
// libtiff may rewrite the row it is handed (predictors work in place), so each
// row is copied first: the caller's pixels are never handed to it.
bool writeDirectory(TIFF* tif, const PixelsView& src) {
  const bool alpha = src.channels == 2 || src.channels == 4;
  const bool gray = src.channels <= 2;
  TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, src.width);
  TIFFSetField(tif, TIFFTAG_IMAGELENGTH, src.height);
  TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, static_cast<std::uint16_t>(src.bitsPerComponent));
  TIFFSetField(tif, TIFFTAG_SAMPLESPERPIXEL, static_cast<std::uint16_t>(src.channels));
  TIFFSetField(tif, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
  TIFFSetField(tif, TIFFTAG_PHOTOMETRIC, gray ? PHOTOMETRIC_MINISBLACK : PHOTOMETRIC_RGB);
  TIFFSetField(tif, TIFFTAG_COMPRESSION, kWriteCompression);
  if (alpha) {
    const std::uint16_t extra = EXTRASAMPLE_UNASSALPHA;
    TIFFSetField(tif, TIFFTAG_EXTRASAMPLES, 1, &extra);
  }
  TIFFSetField(tif, TIFFTAG_ROWSPERSTRIP, TIFFDefaultStripSize(tif, 0));
  if (!src.iccProfile.empty()) {
    TIFFSetField(tif, TIFFTAG_ICCPROFILE, static_cast<std::uint32_t>(src.iccProfile.size()), src.iccProfile.data());
  }
  if (src.dpiWidth > 0 && src.dpiHeight > 0) {
    TIFFSetField(tif, TIFFTAG_XRESOLUTION, static_cast<float>(src.dpiWidth));
    TIFFSetField(tif, TIFFTAG_YRESOLUTION, static_cast<float>(src.dpiHeight));
    TIFFSetField(tif, TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH);
  }
  if (src.orientation >= 2 && src.orientation <= 8) TIFFSetField(tif, TIFFTAG_ORIENTATION, src.orientation);
  const std::size_t rowBytes = std::size_t{src.width} * src.channels * (src.bitsPerComponent / 8);
  std::vector<std::uint8_t> row(rowBytes);
  for (std::uint32_t y = 0; y < src.height; ++y) {
    std::memcpy(row.data(), src.row(y), rowBytes);
    if (TIFFWriteScanline(tif, row.data(), y, 0) < 0) return false;
  }
  return TIFFWriteDirectory(tif) != 0;
}

class TiffCodec final : public ImageCodec {
 public:
  ImageFormat format() const noexcept override { return ImageFormat::TIFF; }

  bool sniff(ByteView b) const noexcept override {
    if (b.size() < 4) return false;
    const bool ii = b[0] == 'I' && b[1] == 'I' && (b[2] == 42 || b[2] == 43) && b[3] == 0;
    const bool mm = b[0] == 'M' && b[1] == 'M' && b[2] == 0 && (b[3] == 42 || b[3] == 43);
    return ii || mm;
  }

  std::optional<ImageInfo> readInfo(ByteView bytes) const override {
    if (!sniff(bytes)) return std::nullopt;
    MemoryFile file{bytes};
    TiffHandle tif = openTiff(file, "rm");
    if (!tif) return std::nullopt;
    ImageInfo info;
    Layout layout;
    if (!readLayout(tif.get(), info, layout)) return std::nullopt;
    if (layout.photometric == PHOTOMETRIC_SEPARATED) info.iccProfile.clear();
    info.imageCount = TIFFNumberOfDirectories(tif.get());
    return info;
  }

  std::optional<Pixels> decode(ByteView bytes) const override {
    std::optional<Pixels> pixels;
    RowOutput out;
    if (!run(bytes, out, &pixels, nullptr)) return std::nullopt;
    return pixels;
  }

  bool decodeRows(ByteView bytes, RowSink& sink) const override {
    RowOutput out;
    return run(bytes, out, nullptr, &sink);
  }

  bool encode(const PixelsView& src, const EncodeOptions& options, Data& out) const override;

 private:
  static bool run(ByteView bytes, RowOutput& out, std::optional<Pixels>* pixels, RowSink* sink) {
    if (!bytes.size() || bytes.size() < 8) return false;
    MemoryFile file{bytes};
    TiffHandle tif = openTiff(file, "rm");
    if (!tif) return false;
    ImageInfo info;
    Layout layout;
    if (!readLayout(tif.get(), info, layout)) return false;
    if (layout.generic && !littleEndianHost()) return false;
    ImageInfo shown = info;
    if (layout.photometric == PHOTOMETRIC_SEPARATED) shown.iccProfile.clear();
    if (pixels) {
      *pixels = allocatePixels(shown);
      if (!*pixels) return false;
      out.pixels = &**pixels;
    } else {
      if (!sizeWithinLimits(info.width, info.height) || !sink->begin(shown)) return false;
      out.sink = sink;
      out.scratch.assign(std::size_t{info.width} * info.bytesPerPixel(), 0);
    }
    const bool ok = layout.generic ? readGeneric(tif.get(), info, out) : readBands(tif.get(), info, layout, out);
    if (!ok && out.rowsDone == 0) return false;
    if (sink) {
      std::fill(out.scratch.begin(), out.scratch.end(), 0);
      for (std::uint32_t y = out.rowsDone; y < info.height; ++y) sink->row(y, out.scratch.data());
    }
    return true;
  }
};

bool TiffCodec::encode(const PixelsView& src, const EncodeOptions&, Data& out) const {
  if (!src.valid()) return false;
  const std::size_t start = out.size();
  bool ok = false;
  {
    MemoryFile file;
    file.output = &out;
    file.start = start;
    TiffHandle tif = openTiff(file, "w");
    if (tif) ok = writeDirectory(tif.get(), src);
    if (tif) ok = TIFFFlush(tif.get()) && ok;
  }
  if (!ok) out.resize(start);
  return ok;
}

}  // namespace

const ImageCodec& tiffCodec() noexcept {
  static const TiffCodec codec;
  return codec;
}

}  // namespace orvane::imageio
