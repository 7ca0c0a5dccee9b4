// The codecs against an independent reader: pillow_corpus.py writes small
// files across colour types, depths and layouts, with Pillow's decoding of
// each (or the generator's own values where Pillow cannot read the depth);
// files the codecs write are read back by Pillow.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include <jpeglib.h>

#include "Platform/ImageIO/ImageCodec.h"
#include "support/TempDir.h"

namespace orvane::imageio {
namespace {

namespace fs = std::filesystem;

Data readFile(const fs::path& p) {
  std::ifstream in(p, std::ios::binary);
  return Data(std::istreambuf_iterator<char>(in), {});
}

void writeFile(const fs::path& p, ByteView bytes) {
  std::ofstream out(p, std::ios::binary);
  out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

int runScript(const std::string& command, const fs::path& dir) {
  const std::string line = "/usr/bin/python3 '" ORVANE_IMAGEIO_SCRIPT "' " + command + " '" + dir.string() + "'";
  return std::system(line.c_str());
}

struct Case {
  std::string name, file;
  unsigned channels = 0, bits = 8, tolerance = 0, orientation = 1;
  double dpi = 0;
  std::size_t icc = 0;
  std::uint32_t reducedWidth = 0, reducedHeight = 0;
  std::string reducedFile;
};

// Generated once per test program: the corpus takes a second or two.
class Corpus {
 public:
  static const Corpus& get() {
    static const Corpus corpus;
    return corpus;
  }
  const fs::path& dir() const { return dir_.path(); }
  std::vector<Case> cases;

 private:
  Corpus() {
    if (runScript("make", dir_.path()) != 0) return;
    std::ifstream manifest(dir_.path() / "manifest.txt");
    Case c;
    while (manifest >> c.name >> c.file >> c.channels >> c.bits >> c.tolerance >> c.orientation >> c.dpi >> c.icc >>
           c.reducedWidth >> c.reducedHeight >> c.reducedFile) {
      cases.push_back(c);
    }
  }
  testing::TempDir dir_;
};

const std::map<std::string, ImageFormat> kExtensions = {
    {"png", ImageFormat::PNG}, {"jpg", ImageFormat::JPEG}, {"tif", ImageFormat::TIFF},
    {"bmp", ImageFormat::BMP}, {"gif", ImageFormat::GIF},  {"jp2", ImageFormat::JPEG2000},
    {"j2k", ImageFormat::JPEG2000}};

ImageFormat formatOf(const Case& c) { return kExtensions.at(fs::path(c.file).extension().string().substr(1)); }

// Largest difference between two sample arrays of the given depth; SIZE_MAX when the sizes differ.
unsigned maxDifference(const std::uint8_t* a, const std::uint8_t* b, std::size_t bytes, unsigned bits) {
  unsigned worst = 0;
  if (bits == 16) {
    for (std::size_t i = 0; i + 1 < bytes; i += 2) {
      std::uint16_t x, y;
      std::memcpy(&x, a + i, 2);
      std::memcpy(&y, b + i, 2);
      worst = std::max<unsigned>(worst, static_cast<unsigned>(std::abs(int{x} - int{y})));
    }
  } else {
    for (std::size_t i = 0; i < bytes; ++i) worst = std::max<unsigned>(worst, static_cast<unsigned>(std::abs(a[i] - b[i])));
  }
  return worst;
}

class RowCollector final : public RowSink {
 public:
  bool begin(const ImageInfo& info) override {
    info_ = info;
    bytes.clear();
    return true;
  }
  void row(std::uint32_t y, const std::uint8_t* row) override {
    EXPECT_EQ(y, rows++);
    bytes.insert(bytes.end(), row, row + std::size_t{info_.width} * info_.bytesPerPixel());
  }
  Data bytes;
  std::uint32_t rows = 0;

 private:
  ImageInfo info_;
};

TEST(ImageCodec, DecodesEveryCorpusFileAsPillowDoes) {
  const Corpus& corpus = Corpus::get();
  ASSERT_GT(corpus.cases.size(), 80u) << "the corpus script failed";
  for (const Case& c : corpus.cases) {
    if (c.channels == 0) continue;
    SCOPED_TRACE(c.name);
    const Data file = readFile(corpus.dir() / c.file);
    const ImageCodec* codec = sniffCodec(file);
    ASSERT_NE(codec, nullptr);
    EXPECT_EQ(codec->format(), formatOf(c));
    const auto info = codec->readInfo(file);
    ASSERT_TRUE(info);
    EXPECT_EQ(info->channels, c.channels);
    EXPECT_EQ(info->bitsPerComponent, c.bits);
    EXPECT_EQ(info->orientation, c.orientation);
    EXPECT_NEAR(info->dpiWidth, c.dpi, 0.5);
    EXPECT_EQ(info->iccProfile.size(), c.icc);
    EXPECT_EQ(info->imageCount, c.name == "gif_two_frames" ? 2u : 1u);

    const auto pixels = codec->decode(file);
    ASSERT_TRUE(pixels);
    const Data expected = readFile(corpus.dir() / (c.name + ".raw"));
    ASSERT_EQ(pixels->byteCount(), expected.size());
    EXPECT_EQ(pixels->info.width * pixels->info.height * pixels->info.bytesPerPixel(), expected.size());
    EXPECT_LE(maxDifference(pixels->storage.data(), expected.data(), expected.size(), c.bits), c.tolerance);

    RowCollector rows;
    ASSERT_TRUE(codec->decodeRows(file, rows));
    EXPECT_EQ(rows.rows, info->height);
    EXPECT_TRUE(rows.bytes.size() == pixels->byteCount() &&
                std::memcmp(rows.bytes.data(), pixels->storage.data(), rows.bytes.size()) == 0);

    if (c.reducedWidth) {
      const auto reduced = codec->decodeReduced(file, c.reducedWidth, c.reducedHeight);
      ASSERT_TRUE(reduced);
      EXPECT_EQ(reduced->info.width, c.reducedWidth);
      EXPECT_EQ(reduced->info.height, c.reducedHeight);
      const Data small = readFile(corpus.dir() / c.reducedFile);
      ASSERT_EQ(reduced->byteCount(), small.size());
      EXPECT_LE(maxDifference(reduced->storage.data(), small.data(), small.size(), c.bits), c.tolerance);
      if (const auto promised = codec->reducedInfo(file, c.reducedWidth, c.reducedHeight)) {
        EXPECT_EQ(promised->width, c.reducedWidth);
        RowCollector reducedRows;
        ASSERT_TRUE(codec->decodeReducedRows(file, c.reducedWidth, c.reducedHeight, reducedRows));
        EXPECT_EQ(reducedRows.bytes, reduced->storage);
      }
      // Asking for more than the full size leaves nothing to reduce.
      EXPECT_FALSE(codec->decodeReduced(file, info->width + 1, 1));
    } else if (codec->format() != ImageFormat::JPEG && codec->format() != ImageFormat::JPEG2000) {
      EXPECT_FALSE(codec->decodeReduced(file, 1, 1)) << "only JPEG and JPEG 2000 reduce";
    }
  }
}

TEST(ImageCodec, RefusesOversizedAndForeignBytes) {
  const Corpus& corpus = Corpus::get();
  int refused = 0;
  for (const Case& c : corpus.cases) {
    if (c.channels != 0) continue;
    SCOPED_TRACE(c.name);
    const Data file = readFile(corpus.dir() / c.file);
    const ImageCodec& codec = codecFor(formatOf(c));
    EXPECT_TRUE(codec.sniff(file));
    EXPECT_FALSE(codec.readInfo(file));
    EXPECT_FALSE(codec.decode(file));
    ++refused;
  }
  EXPECT_EQ(refused, 4);
  // BMP is told by its header size: the sizes of the known headers only.
  for (std::uint32_t size : {0u, 11u, 12u, 13u, 39u, 40u, 41u, 52u, 56u, 64u, 100u, 108u, 124u, 125u}) {
    Data header = dataOf("BM");
    header.resize(14);
    for (int i = 0; i < 4; ++i) header.push_back(static_cast<std::uint8_t>(size >> (8 * i)));
    const bool known = size == 12 || size == 40 || size == 52 || size == 56 || size == 64 || size == 108 || size == 124;
    EXPECT_EQ(codecFor(ImageFormat::BMP).sniff(header), known) << size;
  }
  const std::vector<std::string> foreign = {"", "GIF8", "BM", "\x89PNG\r\n", "II*", "\xFF\xD8", "hello world, no image"};
  for (const std::string& text : foreign) {
    EXPECT_EQ(sniffCodec(bytesOf(text)), nullptr) << text;
    for (int f = 0; f <= 5; ++f) {
      EXPECT_FALSE(codecFor(static_cast<ImageFormat>(f)).decode(bytesOf(text)));
    }
  }
}

TEST(ImageCodec, TruncatedFilesGiveTheirRowsOrNothing) {
  const Corpus& corpus = Corpus::get();
  int partial = 0;
  for (const Case& c : corpus.cases) {
    if (c.channels == 0) continue;
    SCOPED_TRACE(c.name);
    const Data file = readFile(corpus.dir() / c.file);
    const ImageCodec& codec = codecFor(formatOf(c));
    const auto full = codec.decode(file);
    ASSERT_TRUE(full);
    // Rows are final in file order for these: the cut keeps a prefix of them.
    const bool sequential = (c.name.rfind("png_", 0) == 0 && c.name.find("_i") == std::string::npos) ||
                            c.name == "gif_pal" || c.name == "gif_transparent" || c.name == "bmp_24_topdown";
    for (const double fraction : {0.1, 0.5, 0.9}) {
      const Data cut(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(file.size() * fraction));
      const auto pixels = codec.decode(cut);
      // A decoder reads its own bytes only, never what lies beyond them.
      Data beyondA = cut, beyondB = cut;
      for (int i = 0; i < 8; ++i) beyondA.push_back(i % 2 ? 0x11 : 2), beyondB.push_back(i % 2 ? 0x22 : 2);
      const auto a = codec.decode(ByteView(beyondA).first(cut.size())), b = codec.decode(ByteView(beyondB).first(cut.size()));
      ASSERT_EQ(a.has_value(), pixels.has_value());
      ASSERT_EQ(b.has_value(), pixels.has_value());
      if (pixels) {
        EXPECT_EQ(a->storage, pixels->storage) << "read past the end at " << fraction;
        EXPECT_EQ(b->storage, pixels->storage) << "read past the end at " << fraction;
      }
      RowCollector rows;
      const bool streamed = codec.decodeRows(cut, rows);
      EXPECT_EQ(streamed, pixels.has_value());
      if (!pixels) continue;
      ASSERT_EQ(pixels->info.width, full->info.width);
      ASSERT_EQ(pixels->info.height, full->info.height);
      EXPECT_EQ(rows.rows, pixels->info.height);
      // BMP streams through the decoder itself: rows past the cut are zero there too.
      if (codec.format() == ImageFormat::BMP) {
        EXPECT_TRUE(rows.bytes.size() == pixels->byteCount() &&
                    std::memcmp(rows.bytes.data(), pixels->storage.data(), rows.bytes.size()) == 0)
            << "streamed rows differ from the decode at " << fraction;
      }
      if (!sequential) continue;
      // Each row is the full decode's row or, past the cut, zero.
      for (std::uint32_t y = 0; y < pixels->info.height; ++y) {
        const std::uint8_t* row = pixels->row(y);
        const bool same = std::memcmp(row, full->row(y), pixels->bytesPerRow) == 0;
        const bool zero = std::all_of(row, row + pixels->bytesPerRow, [](std::uint8_t v) { return v == 0; });
        ASSERT_TRUE(same || zero) << "row " << y << " at " << fraction;
        if (!same) ++partial;
      }
    }
  }
  EXPECT_GT(partial, 0);
}

// ---- writing

struct Layout {
  std::uint8_t channels, bits;
};

enum class Pattern { Busy, FewColours, Smooth };

Data synthetic(Layout l, std::uint32_t w, std::uint32_t h, Pattern pattern) {
  Data out(std::size_t{w} * h * l.channels * (l.bits / 8));
  std::size_t i = 0;
  for (std::uint32_t y = 0; y < h; ++y)
    for (std::uint32_t x = 0; x < w; ++x)
      for (unsigned c = 0; c < l.channels; ++c) {
        unsigned v = pattern == Pattern::FewColours ? ((x / 4 + y / 3 + c * 2) % 6) * 51
                     : pattern == Pattern::Smooth     ? x * 3 + y * 2 + c * 30
                                                      : (x * 7 + y * 13 + c * 71) % 256;
        if (l.bits == 16) {
          const auto s = static_cast<std::uint16_t>(v * 257 + (x + c) % 200);
          std::memcpy(&out[i], &s, 2);
          i += 2;
        } else {
          out[i++] = static_cast<std::uint8_t>(v);
        }
      }
  return out;
}

PixelsView viewOf(const Data& d, Layout l, std::uint32_t w, std::uint32_t h) {
  PixelsView v;
  v.width = w;
  v.height = h;
  v.channels = l.channels;
  v.bitsPerComponent = l.bits;
  v.bytesPerRow = std::size_t{w} * l.channels * (l.bits / 8);
  v.data = d.data();
  return v;
}

// What Pillow must read from a written file, worked out apart from the
// library: gray replicated, alpha kept or dropped, 16-bit samples narrowed to
// their high byte where Pillow keeps 8 bits; 16-bit output little-endian.
Data expectedFor(const Data& src, Layout from, unsigned pc, unsigned pb, std::size_t pixels) {
  auto sample = [&](std::size_t i, unsigned c) -> unsigned {
    if (from.bits == 8) return src[i * from.channels + c];
    std::uint16_t s;
    std::memcpy(&s, &src[(i * from.channels + c) * 2], 2);
    return s;
  };
  const bool gray = from.channels <= 2, alpha = from.channels % 2 == 0;
  const unsigned colours = pc % 2 == 0 ? pc - 1 : pc;
  Data out;
  for (std::size_t i = 0; i < pixels; ++i)
    for (unsigned c = 0; c < pc; ++c) {
      unsigned v = c < colours ? sample(i, gray ? 0 : c)
                   : alpha     ? sample(i, from.channels - 1u)
                               : (1u << from.bits) - 1;
      if (from.bits == 16 && pb == 8) v >>= 8;
      out.push_back(static_cast<std::uint8_t>(v));
      if (pb == 16) out.push_back(static_cast<std::uint8_t>(v >> 8));
    }
  return out;
}

double psnr(const Data& a, const Data& b) {
  double sum = 0;
  for (std::size_t i = 0; i < a.size(); ++i) sum += (double(a[i]) - b[i]) * (double(a[i]) - b[i]);
  if (sum == 0) return 99;
  return 10 * std::log10(255.0 * 255.0 * a.size() / sum);
}

TEST(ImageCodec, WrittenFilesReadBackInPillow) {
  struct WriteCase {
    ImageFormat format;
    Layout in, pillow;   // what we hand in; what Pillow must read back
    double minPsnr;      // 0: exact
    Pattern pattern;
  };
  const Pattern busy = Pattern::Busy, few = Pattern::FewColours, smooth = Pattern::Smooth;
  const Layout g8{1, 8}, ga8{2, 8}, rgb8{3, 8}, rgba8{4, 8}, g16{1, 16}, rgb16{3, 16}, rgba16{4, 16};
  const std::vector<WriteCase> table = {
      {ImageFormat::PNG, g8, g8, 0, busy},      {ImageFormat::PNG, ga8, ga8, 0, busy},
      {ImageFormat::PNG, rgb8, rgb8, 0, busy},  {ImageFormat::PNG, rgba8, rgba8, 0, busy},
      {ImageFormat::PNG, g16, g16, 0, busy},    {ImageFormat::PNG, rgb16, rgb8, 0, busy},
      {ImageFormat::TIFF, g8, g8, 0, busy},     {ImageFormat::TIFF, ga8, ga8, 0, busy},
      {ImageFormat::TIFF, rgb8, rgb8, 0, busy}, {ImageFormat::TIFF, rgba8, rgba8, 0, busy},
      {ImageFormat::TIFF, g16, g16, 0, busy},   {ImageFormat::BMP, g8, g8, 0, busy},
      {ImageFormat::BMP, rgb8, rgb8, 0, busy},  {ImageFormat::BMP, rgba8, rgba8, 0, busy},
      {ImageFormat::BMP, ga8, g8, 0, busy},
      {ImageFormat::BMP, rgba16, rgba8, 40, busy},     {ImageFormat::GIF, rgb8, rgb8, 0, few},
      {ImageFormat::GIF, g8, rgb8, 0, few},     {ImageFormat::JPEG2000, g8, g8, 0, busy},
      {ImageFormat::JPEG2000, rgb8, rgb8, 0, busy}, {ImageFormat::JPEG2000, rgba8, rgba8, 0, busy},
      {ImageFormat::JPEG2000, g16, g16, 0, busy},
      {ImageFormat::JPEG, rgb8, rgb8, 30, smooth}, {ImageFormat::JPEG, g8, g8, 30, smooth},
      {ImageFormat::JPEG, rgba16, rgb8, 30, smooth}, {ImageFormat::JPEG, rgb16, rgb8, 30, smooth},
  };
  testing::TempDir dir;
  const std::uint32_t w = 37, h = 23;
  std::ofstream listing(dir / "written.txt");
  std::vector<std::pair<std::string, Data>> sources;
  for (std::size_t i = 0; i < table.size(); ++i) {
    const WriteCase& t = table[i];
    const Data src = synthetic(t.in, w, h, t.pattern);
    const Data before = src;
    Data file;
    EncodeOptions options;
    if (t.format == ImageFormat::JPEG) options.quality = 0.9;  // JPEG 2000 without a quality is lossless
    ASSERT_TRUE(codecFor(t.format).encode(viewOf(src, t.in, w, h), options, file)) << i;
    EXPECT_EQ(src, before) << "an encoder changed the caller's pixels";
    EXPECT_EQ(sniffCodec(file), &codecFor(t.format)) << i;
    // Our own reader agrees with what went in, wherever the format keeps the layout.
    const auto back = codecFor(t.format).decode(file);
    ASSERT_TRUE(back) << i;
    const std::string name = "w" + std::to_string(i);
    writeFile(dir / name, file);
    listing << name << ' ' << int{t.pillow.channels} << ' ' << int{t.pillow.bits} << '\n';
    sources.emplace_back(name, src);
  }
  listing.close();
  ASSERT_EQ(runScript("read", dir.path()), 0);
  for (std::size_t i = 0; i < table.size(); ++i) {
    const WriteCase& t = table[i];
    SCOPED_TRACE("case " + std::to_string(i));
    std::ifstream in(dir / (sources[i].first + ".pillow"), std::ios::binary);
    std::uint32_t pw = 0, ph = 0;
    unsigned pc = 0, pb = 0;
    in >> pw >> ph >> pc >> pb;
    in.get();
    const Data pillow(std::istreambuf_iterator<char>(in), {});
    ASSERT_EQ(pw, w);
    ASSERT_EQ(ph, h);
    const Data expected = expectedFor(sources[i].second, t.in, pc, pb, std::size_t{w} * h);
    ASSERT_EQ(pillow.size(), expected.size());
    if (t.minPsnr == 0) {
      EXPECT_EQ(pillow, expected);
    } else {
      EXPECT_GE(psnr(pillow, expected), t.minPsnr);
    }
  }
}

TEST(ImageCodec, QualityAndPaletteKeepPhotosClose) {
  // A smooth picture with thousands of colours.
  const std::uint32_t w = 160, h = 120;
  Data src(std::size_t{w} * h * 3);
  for (std::uint32_t y = 0; y < h; ++y)
    for (std::uint32_t x = 0; x < w; ++x) {
      std::uint8_t* p = &src[(std::size_t{y} * w + x) * 3];
      p[0] = static_cast<std::uint8_t>(x * 255 / (w - 1));
      p[1] = static_cast<std::uint8_t>(y * 255 / (h - 1));
      p[2] = static_cast<std::uint8_t>(128 + 100 * std::sin(x * 0.05) * std::cos(y * 0.07));
    }
  const PixelsView view = viewOf(src, {3, 8}, w, h);
  auto roundTrip = [&](ImageFormat f, std::optional<double> q, std::size_t* size) {
    Data file;
    EncodeOptions options;
    options.quality = q;
    EXPECT_TRUE(codecFor(f).encode(view, options, file));
    if (size) *size = file.size();
    auto back = codecFor(f).decode(file);
    EXPECT_TRUE(back);
    return back ? Data(back->storage.data(), back->storage.data() + back->byteCount()) : Data{};
  };
  EXPECT_GE(psnr(roundTrip(ImageFormat::GIF, std::nullopt, nullptr), src), 30.0);
  std::size_t small = 0, large = 0, lossless = 0;
  EXPECT_LT(psnr(roundTrip(ImageFormat::JPEG, 0.1, &small), src), psnr(roundTrip(ImageFormat::JPEG, 0.95, &large), src));
  EXPECT_LT(small, large);
  EXPECT_GE(psnr(roundTrip(ImageFormat::JPEG2000, 0.5, &small), src), 30.0);
  EXPECT_EQ(roundTrip(ImageFormat::JPEG2000, std::nullopt, &lossless), src);
  EXPECT_LT(small, lossless);

  // The same many colours with alpha at the threshold: 128 stays, 127 goes.
  Data rgba;
  for (std::size_t i = 0; i < src.size(); i += 3) {
    rgba.insert(rgba.end(), &src[i], &src[i] + 3);
    rgba.push_back((i / 3) % w < 10 ? 127 : 128);
  }
  Data gif;
  ASSERT_TRUE(gifCodec().encode(viewOf(rgba, {4, 8}, w, h), {}, gif));
  const auto back = gifCodec().decode(gif);
  ASSERT_TRUE(back && back->info.channels == 4);
  Data kept, wanted;  // the colours of the pixels that stay keep close
  for (std::uint32_t y = 0; y < h; ++y)
    for (std::uint32_t x = 0; x < w; ++x) {
      EXPECT_EQ(back->row(y)[x * 4 + 3], x < 10 ? 0 : 255) << x << "," << y;
      if (x < 10) continue;
      kept.insert(kept.end(), back->row(y) + x * 4, back->row(y) + x * 4 + 3);
      wanted.insert(wanted.end(), &src[(std::size_t{y} * w + x) * 3], &src[(std::size_t{y} * w + x) * 3] + 3);
    }
  EXPECT_GE(psnr(kept, wanted), 30.0);

  // JPEG carries orientations 2 to 8; 1 and anything else write none.
  for (std::uint16_t orientation = 1; orientation <= 9; ++orientation) {
    PixelsView turned = view;
    turned.orientation = orientation;
    Data file;
    ASSERT_TRUE(jpegCodec().encode(turned, {}, file));
    EXPECT_EQ(jpegCodec().readInfo(file)->orientation, orientation >= 2 && orientation <= 8 ? orientation : 1);
  }
}

// Adobe YCCK: CMYK stored as YCbCr + K, which Pillow cannot write; libjpeg
// writes it here and Pillow is the reference reader.
Data ycckJpeg(std::uint32_t w, std::uint32_t h) {
  jpeg_compress_struct c{};
  jpeg_error_mgr err{};
  c.err = jpeg_std_error(&err);
  jpeg_create_compress(&c);
  unsigned char* mem = nullptr;
  unsigned long size = 0;
  jpeg_mem_dest(&c, &mem, &size);
  c.image_width = w;
  c.image_height = h;
  c.input_components = 4;
  c.in_color_space = JCS_CMYK;
  jpeg_set_defaults(&c);
  jpeg_set_colorspace(&c, JCS_YCCK);
  jpeg_set_quality(&c, 95, TRUE);
  jpeg_start_compress(&c, TRUE);
  std::vector<std::uint8_t> row(std::size_t{w} * 4);
  while (c.next_scanline < h) {
    for (std::uint32_t x = 0; x < w; ++x) {
      const std::uint32_t y = c.next_scanline;
      row[x * 4] = static_cast<std::uint8_t>(x * 4), row[x * 4 + 1] = static_cast<std::uint8_t>(y * 5);
      row[x * 4 + 2] = static_cast<std::uint8_t>(200 - x), row[x * 4 + 3] = static_cast<std::uint8_t>(60 + y);
    }
    JSAMPROW r = row.data();
    jpeg_write_scanlines(&c, &r, 1);
  }
  jpeg_finish_compress(&c);
  jpeg_destroy_compress(&c);
  Data out(mem, mem + size);
  std::free(mem);
  return out;
}

TEST(ImageCodec, YcckJpegDecodesAsPillowDoes) {
  testing::TempDir dir;
  const Data file = ycckJpeg(40, 24);
  writeFile(dir / "ycck.jpg", file);
  std::ofstream(dir / "written.txt") << "ycck.jpg 3 8\n";
  ASSERT_EQ(runScript("read", dir.path()), 0);
  std::ifstream in(dir / "ycck.jpg.pillow", std::ios::binary);
  std::string header;
  std::getline(in, header);
  const Data pillow(std::istreambuf_iterator<char>(in), {});
  const auto ours = jpegCodec().decode(file);
  ASSERT_TRUE(ours);
  EXPECT_EQ(ours->info.channels, 3);
  ASSERT_EQ(ours->storage.size(), pillow.size());
  EXPECT_LE(maxDifference(ours->storage.data(), pillow.data(), pillow.size(), 8), 1u);
}

}  // namespace
}  // namespace orvane::imageio
