// GIF through giflib: the first frame drawn on a transparent canvas of the
// logical screen's size. Writing quantises to a palette of our own (exact when
// the image has few enough colours, else median cut on a 15-bit histogram).

#include <algorithm>
#include <array>
#include <cstring>
#include <unordered_map>
#include <vector>

#include <gif_lib.h>

#include "Platform/ImageIO/ImageCodec.h"

namespace orvane::imageio {
namespace {

struct Reader {
  ByteView bytes;
  std::size_t offset = 0;
};

int readFn(GifFileType* gif, GifByteType* out, int length) {
  auto* r = static_cast<Reader*>(gif->UserData);
  if (length <= 0) return 0;
  const std::size_t n = std::min<std::size_t>(static_cast<std::size_t>(length), r->bytes.size() - r->offset);
  std::memcpy(out, r->bytes.data() + r->offset, n);
  r->offset += n;
  return static_cast<int>(n);
}

struct GifCloser {
  void operator()(GifFileType* gif) const noexcept {
    int error = 0;
    DGifCloseFile(gif, &error);
  }
};
using GifReader = std::unique_ptr<GifFileType, GifCloser>;

// The file up to the first frame's pixel data.
struct FirstFrame {
  GifReader gif;
  Reader reader;
  ImageInfo info;
  int transparent = -1;
  GifImageDesc desc{};
  const ColorMapObject* colours = nullptr;
};

bool openFirstFrame(ByteView bytes, FirstFrame& f) {
  f.reader.bytes = bytes;
  int error = 0;
  f.gif.reset(DGifOpen(&f.reader, readFn, &error));
  if (!f.gif) return false;
  GifFileType* gif = f.gif.get();
  if (!sizeWithinLimits(static_cast<std::uint64_t>(std::max(gif->SWidth, 0)),
                        static_cast<std::uint64_t>(std::max(gif->SHeight, 0)))) {
    return false;
  }
  f.info.width = static_cast<std::uint32_t>(gif->SWidth);
  f.info.height = static_cast<std::uint32_t>(gif->SHeight);
  for (;;) {
    GifRecordType type;
    if (DGifGetRecordType(gif, &type) != GIF_OK) return false;
    if (type == TERMINATE_RECORD_TYPE) return false;
    if (type == EXTENSION_RECORD_TYPE) {
      int code = 0;
      GifByteType* block = nullptr;
      if (DGifGetExtension(gif, &code, &block) != GIF_OK) return false;
      if (code == GRAPHICS_EXT_FUNC_CODE && block && block[0] >= 4) {
        GraphicsControlBlock gcb;
        DGifExtensionToGCB(block[0], block + 1, &gcb);
        f.transparent = gcb.TransparentColor;
      }
      while (block) {
        if (DGifGetExtensionNext(gif, &block) != GIF_OK) return false;
      }
      continue;
    }
    if (type != IMAGE_DESC_RECORD_TYPE) continue;
    if (DGifGetImageDesc(gif) != GIF_OK) return false;
    f.desc = gif->Image;
    f.colours = f.desc.ColorMap ? f.desc.ColorMap : gif->SColorMap;
    if (!f.colours || f.desc.Width <= 0 || f.desc.Height <= 0) return false;
    f.info.fileBitsPerSample = static_cast<std::uint8_t>(f.colours->BitsPerPixel);
    const bool covers = f.desc.Left == 0 && f.desc.Top == 0 && f.desc.Width == gif->SWidth && f.desc.Height == gif->SHeight;
    f.info.channels = f.transparent >= 0 || !covers ? 4 : 3;
    return true;
  }
}

// Counts the image descriptors after the first (whose pixels are skipped).
std::uint32_t countFrames(GifFileType* gif) {
  std::uint32_t frames = 1;
  GifByteType* block = nullptr;
  int code = 0;
  if (DGifGetCode(gif, &code, &block) != GIF_OK) return frames;
  while (block) {
    if (DGifGetCodeNext(gif, &block) != GIF_OK) return frames;
  }
  for (;;) {
    GifRecordType type;
    if (DGifGetRecordType(gif, &type) != GIF_OK || type == TERMINATE_RECORD_TYPE) return frames;
    if (type == EXTENSION_RECORD_TYPE) {
      if (DGifGetExtension(gif, &code, &block) != GIF_OK) return frames;
      while (block) {
        if (DGifGetExtensionNext(gif, &block) != GIF_OK) return frames;
      }
    } else if (type == IMAGE_DESC_RECORD_TYPE) {
      if (DGifGetImageDesc(gif) != GIF_OK) return frames;
      ++frames;
      if (DGifGetCode(gif, &code, &block) != GIF_OK) return frames;
      while (block) {
        if (DGifGetCodeNext(gif, &block) != GIF_OK) return frames;
      }
    }
  }
}

// Decodes the first frame's indices and paints them. `target(y)` gives the
// zeroed canvas row y, `done(y)` reports it finished; only when the frame is
// not interlaced are rows final in order.
template <typename Target, typename Done>
std::uint32_t paintFrame(FirstFrame& f, Target target, Done done) {
  const GifImageDesc& d = f.desc;
  const std::uint32_t width = f.info.width, height = f.info.height, ch = f.info.channels;
  std::vector<GifPixelType> line(static_cast<std::size_t>(d.Width));
  std::uint32_t rowsDone = 0;
  auto paint = [&](int frameRow) {
    const std::int64_t y = std::int64_t{d.Top} + frameRow;
    if (y < 0 || y >= height) return;
    std::uint8_t* out = target(static_cast<std::uint32_t>(y));
    for (int i = 0; i < d.Width; ++i) {
      const std::int64_t x = std::int64_t{d.Left} + i;
      if (x < 0 || x >= width) continue;
      const unsigned index = line[static_cast<std::size_t>(i)];
      std::uint8_t* p = out + static_cast<std::size_t>(x) * ch;
      if (static_cast<int>(index) < f.colours->ColorCount) {
        const GifColorType& c = f.colours->Colors[index];
        p[0] = c.Red;
        p[1] = c.Green;
        p[2] = c.Blue;
      } else {
        p[0] = p[1] = p[2] = 0;
      }
      if (ch == 4) p[3] = static_cast<int>(index) == f.transparent ? 0 : 255;
    }
  };
  if (d.Interlace) {
    static constexpr int kStart[4] = {0, 4, 2, 1}, kStep[4] = {8, 8, 4, 2};
    for (int pass = 0; pass < 4; ++pass) {
      for (int r = kStart[pass]; r < d.Height; r += kStep[pass]) {
        if (DGifGetLine(f.gif.get(), line.data(), d.Width) != GIF_OK) return rowsDone;
        paint(r);
        rowsDone = std::max<std::uint32_t>(rowsDone, 1);
      }
    }
    return height;
  }
  // Canvas rows above the frame are complete (transparent) already.
  std::uint32_t next = 0;
  auto finishUpTo = [&](std::uint32_t end) {
    for (; next < end && next < height; ++next) {
      target(next);
      done(next);
    }
  };
  finishUpTo(static_cast<std::uint32_t>(std::max(d.Top, 0)));
  for (int r = 0; r < d.Height; ++r) {
    if (DGifGetLine(f.gif.get(), line.data(), d.Width) != GIF_OK) return next;
    const std::int64_t y = std::int64_t{d.Top} + r;
    if (y >= height) break;
    if (y < 0) continue;
    paint(r);
    done(static_cast<std::uint32_t>(y));
    next = static_cast<std::uint32_t>(y + 1);
  }
  finishUpTo(height);
  return height;
}

class GifCodec final : public ImageCodec {
 public:
  ImageFormat format() const noexcept override { return ImageFormat::GIF; }

  bool sniff(ByteView b) const noexcept override {
    return b.size() >= 6 && std::memcmp(b.data(), "GIF8", 4) == 0 && (b[4] == '7' || b[4] == '9') && b[5] == 'a';
  }

  std::optional<ImageInfo> readInfo(ByteView bytes) const override {
    FirstFrame f;
    if (!sniff(bytes) || !openFirstFrame(bytes, f)) return std::nullopt;
    f.info.imageCount = countFrames(f.gif.get());
    return f.info;
  }

  std::optional<Pixels> decode(ByteView bytes) const override {
    FirstFrame f;
    if (!sniff(bytes) || !openFirstFrame(bytes, f)) return std::nullopt;
    auto pixels = allocatePixels(f.info);
    if (!pixels) return std::nullopt;
    const std::uint32_t rows = paintFrame(f, [&](std::uint32_t y) { return pixels->row(y); }, [](std::uint32_t) {});
    if (rows == 0) return std::nullopt;
    return pixels;
  }

  bool decodeRows(ByteView bytes, RowSink& sink) const override {
    FirstFrame f;
    if (!sniff(bytes) || !openFirstFrame(bytes, f)) return false;
    if (f.desc.Interlace) return ImageCodec::decodeRows(bytes, sink);
    if (!sink.begin(f.info)) return false;
    std::vector<std::uint8_t> row(std::size_t{f.info.width} * f.info.channels);
    std::uint32_t current = UINT32_MAX;
    const std::uint32_t rows = paintFrame(
        f,
        [&](std::uint32_t y) {
          if (y != current) {
            std::fill(row.begin(), row.end(), 0);
            current = y;
          }
          return row.data();
        },
        [&](std::uint32_t y) { sink.row(y, row.data()); });
    if (rows == 0 && f.info.height > 0) {
      // Nothing decoded: the sink has had no rows; the frame is unreadable.
      return false;
    }
    std::fill(row.begin(), row.end(), 0);
    for (std::uint32_t y = rows; y < f.info.height; ++y) sink.row(y, row.data());
    return true;
  }

  bool encode(const PixelsView& src, const EncodeOptions& options, Data& out) const override;
};

// ---- palette of our own

struct Palette {
  std::vector<std::array<std::uint8_t, 3>> colours;
  int transparent = -1;
};

struct Box {
  std::array<int, 3> lo, hi;  // inclusive bin coordinates (5 bits each)
  std::uint64_t count = 0;
};

inline unsigned binOf(const std::uint8_t* rgb) { return (rgb[0] >> 3) << 10 | (rgb[1] >> 3) << 5 | (rgb[2] >> 3); }

// Median cut over a 32 x 32 x 32 histogram; answers the bin-to-index table.
std::vector<std::uint8_t> medianCut(const std::vector<std::uint32_t>& histogram, unsigned maxColours, Palette& palette) {
  auto shrink = [&](Box& b) {
    std::array<int, 3> lo{31, 31, 31}, hi{0, 0, 0};
    b.count = 0;
    for (int r = b.lo[0]; r <= b.hi[0]; ++r)
      for (int g = b.lo[1]; g <= b.hi[1]; ++g)
        for (int bl = b.lo[2]; bl <= b.hi[2]; ++bl) {
          const std::uint32_t n = histogram[static_cast<unsigned>(r << 10 | g << 5 | bl)];
          if (!n) continue;
          b.count += n;
          lo = {std::min(lo[0], r), std::min(lo[1], g), std::min(lo[2], bl)};
          hi = {std::max(hi[0], r), std::max(hi[1], g), std::max(hi[2], bl)};
        }
    if (b.count) {
      b.lo = lo;
      b.hi = hi;
    }
  };
  std::vector<Box> boxes{Box{{0, 0, 0}, {31, 31, 31}, 0}};
  shrink(boxes[0]);
  while (boxes.size() < maxColours) {
    // Split the box with the most pixels along its longest side, at the median.
    std::size_t pick = boxes.size();
    for (std::size_t i = 0; i < boxes.size(); ++i) {
      const Box& b = boxes[i];
      if (b.lo == b.hi) continue;
      if (pick == boxes.size() || b.count > boxes[pick].count) pick = i;
    }
    if (pick == boxes.size()) break;
    Box& b = boxes[pick];
    int axis = 0;
    for (int a = 1; a < 3; ++a) {
      if (b.hi[a] - b.lo[a] > b.hi[axis] - b.lo[axis]) axis = a;
    }
    std::vector<std::uint64_t> slab(32, 0);
    for (int r = b.lo[0]; r <= b.hi[0]; ++r)
      for (int g = b.lo[1]; g <= b.hi[1]; ++g)
        for (int bl = b.lo[2]; bl <= b.hi[2]; ++bl) {
          const int coord[3] = {r, g, bl};
          slab[static_cast<std::size_t>(coord[axis])] += histogram[static_cast<unsigned>(r << 10 | g << 5 | bl)];
        }
    std::uint64_t seen = 0;
    int cut = b.lo[axis];
    for (int v = b.lo[axis]; v < b.hi[axis]; ++v) {
      seen += slab[static_cast<std::size_t>(v)];
      cut = v;
      if (seen * 2 >= b.count) break;
    }
    Box upper = b;
    upper.lo[axis] = cut + 1;
    b.hi[axis] = cut;
    shrink(b);
    shrink(upper);
    boxes.push_back(upper);
  }
  // Each box's colour: the pixel-weighted mean of its bins' centres.
  std::vector<std::uint8_t> table(32768, 0);
  for (const Box& b : boxes) {
    std::uint64_t sum[3] = {0, 0, 0}, n = 0;
    for (int r = b.lo[0]; r <= b.hi[0]; ++r)
      for (int g = b.lo[1]; g <= b.hi[1]; ++g)
        for (int bl = b.lo[2]; bl <= b.hi[2]; ++bl) {
          const std::uint32_t c = histogram[static_cast<unsigned>(r << 10 | g << 5 | bl)];
          sum[0] += std::uint64_t{c} * (static_cast<unsigned>(r) * 8 + 4);
          sum[1] += std::uint64_t{c} * (static_cast<unsigned>(g) * 8 + 4);
          sum[2] += std::uint64_t{c} * (static_cast<unsigned>(bl) * 8 + 4);
          n += c;
        }
    if (!n) continue;
    palette.colours.push_back({static_cast<std::uint8_t>(sum[0] / n), static_cast<std::uint8_t>(sum[1] / n),
                               static_cast<std::uint8_t>(sum[2] / n)});
  }
  if (palette.colours.empty()) palette.colours.push_back({0, 0, 0});
  // Every bin in use maps to its nearest palette colour.
  for (unsigned bin = 0; bin < 32768; ++bin) {
    if (!histogram[bin]) continue;
    const int r = static_cast<int>((bin >> 10) * 8 + 4), g = static_cast<int>(((bin >> 5) & 31) * 8 + 4),
              bl = static_cast<int>((bin & 31) * 8 + 4);
    int best = 0, bestDistance = INT32_MAX;
    for (std::size_t i = 0; i < palette.colours.size(); ++i) {
      const auto& c = palette.colours[i];
      const int dr = r - c[0], dg = g - c[1], db = bl - c[2];
      const int distance = dr * dr + dg * dg + db * db;
      if (distance < bestDistance) {
        bestDistance = distance;
        best = static_cast<int>(i);
      }
    }
    table[bin] = static_cast<std::uint8_t>(best);
  }
  return table;
}

// Row y as 8-bit pixels of `step` bytes with colour first: 8-bit RGB and RGBA
// rows are read in place, other layouts converted to RGBA in `scratch`.
const std::uint8_t* colourRow(const PixelsView& src, std::uint32_t y, std::vector<std::uint8_t>& scratch,
                              unsigned& step) {
  if (src.bitsPerComponent == 8 && src.channels >= 3) {
    step = src.channels;
    return src.row(y);
  }
  convertRow(src, y, 4, 8, scratch.data());
  step = 4;
  return scratch.data();
}

// Builds the palette and the index image. Alpha below half becomes the
// transparent index.
bool quantise(const PixelsView& src, Palette& palette, std::vector<std::uint8_t>& indices) {
  const std::size_t count = std::size_t{src.width} * src.height;
  indices.resize(count);
  std::vector<std::uint8_t> rgba(std::size_t{src.width} * 4);
  bool anyTransparent = false;
  // Exact palette first: stop as soon as there are too many colours.
  std::unordered_map<std::uint32_t, std::uint8_t> exact;
  bool fits = true;
  unsigned step = 4;
  const bool hasAlpha = src.channels == 2 || src.channels == 4;
  for (std::uint32_t y = 0; y < src.height && fits; ++y) {
    const std::uint8_t* row = colourRow(src, y, rgba, step);
    for (std::uint32_t x = 0; x < src.width; ++x) {
      const std::uint8_t* p = row + std::size_t{x} * step;
      if (hasAlpha && p[3] < 128) {
        anyTransparent = true;
        continue;
      }
      const std::uint32_t key = std::uint32_t{p[0]} << 16 | std::uint32_t{p[1]} << 8 | p[2];
      if (exact.size() < 256 || exact.count(key)) {
        exact.try_emplace(key, static_cast<std::uint8_t>(exact.size()));
      } else {
        fits = false;
        break;
      }
    }
  }
  if (fits && exact.size() + (anyTransparent ? 1 : 0) > 256) fits = false;
  std::vector<std::uint8_t> table;
  if (fits) {
    palette.colours.resize(exact.size());
    for (const auto& [key, index] : exact) {
      palette.colours[index] = {static_cast<std::uint8_t>(key >> 16), static_cast<std::uint8_t>(key >> 8),
                                static_cast<std::uint8_t>(key)};
    }
  } else {
    std::vector<std::uint32_t> histogram(32768, 0);
    anyTransparent = false;
    for (std::uint32_t y = 0; y < src.height; ++y) {
      const std::uint8_t* row = colourRow(src, y, rgba, step);
      for (std::uint32_t x = 0; x < src.width; ++x) {
        const std::uint8_t* p = row + std::size_t{x} * step;
        if (hasAlpha && p[3] < 128) anyTransparent = true;
        else ++histogram[binOf(p)];
      }
    }
    table = medianCut(histogram, anyTransparent ? 255 : 256, palette);
  }
  if (anyTransparent) {
    palette.transparent = static_cast<int>(palette.colours.size());
    palette.colours.push_back({0, 0, 0});
  }
  for (std::uint32_t y = 0; y < src.height; ++y) {
    const std::uint8_t* row = colourRow(src, y, rgba, step);
    std::uint8_t* out = indices.data() + std::size_t{y} * src.width;
    for (std::uint32_t x = 0; x < src.width; ++x) {
      const std::uint8_t* p = row + std::size_t{x} * step;
      if (hasAlpha && p[3] < 128) {
        out[x] = static_cast<std::uint8_t>(palette.transparent);
      } else if (fits) {
        out[x] = exact.find(std::uint32_t{p[0]} << 16 | std::uint32_t{p[1]} << 8 | p[2])->second;
      } else {
        out[x] = table[binOf(p)];
      }
    }
  }
  return true;
}

int writeFn(GifFileType* gif, const GifByteType* bytes, int length) {
  auto* out = static_cast<Data*>(gif->UserData);
  out->insert(out->end(), bytes, bytes + length);
  return length;
}

bool writeGif(const PixelsView& src, const Palette& palette, std::vector<std::uint8_t>& indices, Data& out) {
  int bits = 1;
  while ((1 << bits) < static_cast<int>(palette.colours.size())) ++bits;
  std::vector<GifColorType> colours(std::size_t{1} << bits, GifColorType{0, 0, 0});
  for (std::size_t i = 0; i < palette.colours.size(); ++i) {
    colours[i] = {palette.colours[i][0], palette.colours[i][1], palette.colours[i][2]};
  }
  int error = 0;
  GifFileType* gif = EGifOpen(&out, writeFn, &error);
  if (!gif) return false;
  ColorMapObject* map = GifMakeMapObject(1 << bits, colours.data());
  bool ok = map != nullptr;
  if (palette.transparent >= 0) EGifSetGifVersion(gif, true);
  ok = ok && EGifPutScreenDesc(gif, static_cast<int>(src.width), static_cast<int>(src.height), bits, 0, map) == GIF_OK;
  if (ok && palette.transparent >= 0) {
    GraphicsControlBlock gcb{};
    gcb.DisposalMode = DISPOSAL_UNSPECIFIED;
    gcb.TransparentColor = palette.transparent;
    GifByteType block[4];
    EGifGCBToExtension(&gcb, block);
    ok = EGifPutExtension(gif, GRAPHICS_EXT_FUNC_CODE, 4, block) == GIF_OK;
  }
  ok = ok && EGifPutImageDesc(gif, 0, 0, static_cast<int>(src.width), static_cast<int>(src.height), false, nullptr) == GIF_OK;
  for (std::uint32_t y = 0; ok && y < src.height; ++y) {
    ok = EGifPutLine(gif, indices.data() + std::size_t{y} * src.width, static_cast<int>(src.width)) == GIF_OK;
  }
  if (map) GifFreeMapObject(map);
  ok = EGifCloseFile(gif, &error) == GIF_OK && ok;
  return ok;
}

bool GifCodec::encode(const PixelsView& src, const EncodeOptions&, Data& out) const {
  if (!src.valid()) return false;
  Palette palette;
  std::vector<std::uint8_t> indices;
  if (!quantise(src, palette, indices)) return false;
  const std::size_t start = out.size();
  if (!writeGif(src, palette, indices, out)) {
    out.resize(start);
    return false;
  }
  return true;
}

}  // namespace

const ImageCodec& gifCodec() noexcept {
  static const GifCodec codec;
  return codec;
}

}  // namespace orvane::imageio
