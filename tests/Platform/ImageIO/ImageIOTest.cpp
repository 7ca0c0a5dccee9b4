// The codecs against Pillow: pillow_corpus.py writes files and their readings, and reads back ours.
// Then the public calls: layouts handed to encoders, lazy decoding, thumbnails.

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <fstream>

#include "Image/ImageTestSupport.h"
#include "Platform/CoreGraphics/ImageInternal.h"
#include "Platform/ImageIO/ImageCodec.h"
#include "orvane/Platform/ImageIO/CGImageDestination.h"
#include "orvane/Platform/ImageIO/CGImageSource.h"
#include "support/TempDir.h"

namespace orvane {
namespace {

using namespace testing;
using namespace imageio;

namespace fs = std::filesystem;

int runScript(const std::string& command, const fs::path& dir) {
  return std::system(("/usr/bin/python3 '" ORVANE_IMAGEIO_SCRIPT "' " + command + " '" + dir.string() + "'").c_str());
}

struct Case {
  std::string name, file;
  int format = 0;
  unsigned channels = 0, bits = 8, tolerance = 0, orientation = 1;
  double dpi = 0;
  std::size_t icc = 0;
  std::uint32_t reducedWidth = 0, reducedHeight = 0;
  std::string reducedFile;
};

// Made once per test program (a second or two), with a line per case in manifest.txt.
struct Corpus {
  static const Corpus& get() {
    static const Corpus corpus;
    return corpus;
  }
  Data read(const std::string& file) const { return readFile(dir.path() / file); }
  testing::TempDir dir;
  std::vector<Case> cases;

 private:
  Corpus() {
    std::ifstream manifest(runScript("make", dir.path()) == 0 ? dir.path() / "manifest.txt" : fs::path());
    for (Case c; manifest >> c.name >> c.file >> c.format >> c.channels >> c.bits >> c.tolerance >> c.orientation >> c.dpi >>
                 c.icc >> c.reducedWidth >> c.reducedHeight >> c.reducedFile;)
      cases.push_back(c);
  }
};

// Largest difference between decoded pixels and a reference (16-bit samples in host order).
unsigned maxDifference(const Pixels& p, const Data& want, unsigned bits) {
  if (p.byteCount() != want.size()) return 1u << 16;
  unsigned worst = 0;
  for (std::size_t i = 0; i + bits / 8 <= want.size(); i += bits / 8) {
    std::uint16_t x = p.storage[i], y = want[i];
    if (bits == 16) std::memcpy(&x, &p.storage[i], 2), std::memcpy(&y, &want[i], 2);
    worst = std::max<unsigned>(worst, unsigned(std::abs(int{x} - int{y})));
  }
  return worst;
}

struct RowCollector final : RowSink {
  bool begin(const ImageInfo& i) override { return info = i, bytes.clear(), true; }
  void row(std::uint32_t y, const std::uint8_t* row) override {
    EXPECT_EQ(y, rows++);
    bytes.insert(bytes.end(), row, row + std::size_t{info.width} * info.bytesPerPixel());
  }
  ImageInfo info;
  Data bytes;
  std::uint32_t rows = 0;
};

TEST(ImageCodec, DecodesEveryCorpusFileAsPillowDoesAndRefusesOversizedOnes) {
  const Corpus& corpus = Corpus::get();
  ASSERT_GT(corpus.cases.size(), 80u) << "the corpus script failed";
  int refused = 0;
  for (const Case& c : corpus.cases) {
    SCOPED_TRACE(c.name);
    const Data file = corpus.read(c.file);
    const ImageCodec* codec = sniffCodec(file);
    ASSERT_EQ(codec, &codecFor(ImageFormat(c.format)));
    const auto info = codec->readInfo(file);
    const auto pixels = codec->decode(file);
    if (c.channels == 0) {  // sizes beyond the limits, inks other than CMYK; too many scans, found while decoding
      EXPECT_FALSE(pixels || (info && c.format != int(ImageFormat::JPEG)));
      ++refused;
      continue;
    }
    ASSERT_TRUE(info && pixels);
    EXPECT_EQ(std::tuple(info->channels + 0u, info->bitsPerComponent + 0u, info->orientation + 0u, info->iccProfile.size()),
              std::tuple(c.channels, c.bits, c.orientation, c.icc));
    EXPECT_NEAR(info->dpiWidth, c.dpi, 0.5);
    EXPECT_EQ(info->imageCount, c.name == "gif_two_frames" ? 2u : 1u);
    EXPECT_LE(maxDifference(*pixels, corpus.read(c.name + ".raw"), c.bits), c.tolerance);
    RowCollector rows;
    ASSERT_TRUE(codec->decodeRows(file, rows));
    EXPECT_EQ(rows.rows, info->height);
    EXPECT_EQ(rows.bytes, Data(pixels->storage.begin(), pixels->storage.begin() + std::ptrdiff_t(pixels->byteCount())));

    if (c.reducedWidth) {
      const auto reduced = codec->decodeReduced(file, c.reducedWidth, c.reducedHeight);
      ASSERT_TRUE(reduced);
      EXPECT_EQ(std::pair(reduced->info.width, reduced->info.height), std::pair(c.reducedWidth, c.reducedHeight));
      EXPECT_LE(maxDifference(*reduced, corpus.read(c.reducedFile), c.bits), c.tolerance);
      if (const auto promised = codec->reducedInfo(file, c.reducedWidth, c.reducedHeight)) {
        EXPECT_EQ(promised->width, c.reducedWidth);
        RowCollector reducedRows;
        ASSERT_TRUE(codec->decodeReducedRows(file, c.reducedWidth, c.reducedHeight, reducedRows));
        EXPECT_EQ(reducedRows.bytes, reduced->storage);
      }
      EXPECT_FALSE(codec->decodeReduced(file, info->width + 1, 1)) << "more than the full size";
    } else if (codec->format() != ImageFormat::JPEG && codec->format() != ImageFormat::JPEG2000) {
      EXPECT_FALSE(codec->decodeReduced(file, 1, 1)) << "only JPEG and JPEG 2000 reduce";
    }
  }
  EXPECT_EQ(refused, 5);
  // The limits themselves are inclusive.
  EXPECT_TRUE(sizeWithinLimits(65535, 1) && sizeWithinLimits(1 << 14, 1 << 14));
  EXPECT_FALSE(sizeWithinLimits(65536, 1) || sizeWithinLimits(1 << 14, (1 << 14) + 1));
}

TEST(ImageCodec, SniffingKnowsTheFormatsAndNothingElse) {
  // BMP is told by its header size: the sizes of the known headers only.
  for (std::uint32_t size : {0u, 11u, 12u, 13u, 39u, 40u, 41u, 52u, 56u, 64u, 100u, 108u, 124u, 125u}) {
    Data header = dataOf("BM");
    header.resize(14);
    header.insert(header.end(), {std::uint8_t(size), 0, 0, 0});
    const bool known = size == 12 || size == 40 || size == 52 || size == 56 || size == 64 || size == 108 || size == 124;
    EXPECT_EQ(codecFor(ImageFormat::BMP).sniff(header), known) << size;
  }
  EXPECT_EQ(sniffCodec(bytesOf(std::string("IM*\0\b\0\0\0", 8))), nullptr) << "a TIFF starts II or MM";
  EXPECT_EQ(sniffCodec(bytesOf(std::string("MM\0*\0\0\0\b", 8))), &tiffCodec()) << "big-endian";
  // A 4 x 2 RLE8 bitmap: "end of bitmap" alone is a whole picture of index 0; half a code gives nothing.
  Data rle = dataOf("BM");
  for (std::uint32_t v : {64u, 0u, 62u, 40u, 4u, 2u, 0x80001u, 1u, 2u, 0u, 0u, 2u, 0u, 0u, 0xFFFFFFu, 0x100u})
    for (int i = 0; i < 4; ++i) rle.push_back(std::uint8_t(v >> (8 * i)));
  EXPECT_TRUE(bmpCodec().decode(ByteView(rle).first(64)));
  EXPECT_FALSE(bmpCodec().decode(ByteView(rle).first(63)));
  for (const std::string text : {"", "GIF8", "BM", "\x89PNG\r\n", "II*", "\xFF\xD8", "hello world, no image"}) {
    EXPECT_EQ(sniffCodec(bytesOf(text)), nullptr) << text;
    for (int f = 0; f <= 5; ++f) EXPECT_FALSE(codecFor(ImageFormat(f)).decode(bytesOf(text)));
  }
}

TEST(ImageCodec, TruncatedFilesGiveTheirRowsOrNothing) {
  int partial = 0;
  for (const Case& c : Corpus::get().cases) {
    if (c.channels == 0) continue;
    SCOPED_TRACE(c.name);
    const Data file = Corpus::get().read(c.file);
    const ImageCodec& codec = codecFor(ImageFormat(c.format));
    const auto full = codec.decode(file);
    ASSERT_TRUE(full);
    // Rows are final in file order for these: the cut keeps a prefix of them.
    const bool sequential = (c.name.rfind("png_", 0) == 0 && c.name.find("_i") == std::string::npos) ||
                            c.name == "gif_pal" || c.name == "gif_transparent" || c.name == "bmp_24_topdown";
    for (const double fraction : {0.1, 0.5, 0.9}) {
      SCOPED_TRACE(fraction);
      const Data cut(file.begin(), file.begin() + std::ptrdiff_t(file.size() * fraction));
      const auto pixels = codec.decode(cut);
      Data longer = cut;  // a decoder reads its own bytes only
      longer.insert(longer.end(), {2, 0x11, 2, 0x22, 2, 0x33, 2, 0x44});
      const auto other = codec.decode(ByteView(longer).first(cut.size()));
      ASSERT_EQ(other.has_value(), pixels.has_value());
      if (pixels) { EXPECT_EQ(other->storage, pixels->storage) << "read past the end"; }
      RowCollector rows;
      EXPECT_EQ(codec.decodeRows(cut, rows), pixels.has_value());
      if (!pixels) continue;
      ASSERT_EQ(std::pair(pixels->info.width, pixels->info.height), std::pair(full->info.width, full->info.height));
      EXPECT_EQ(rows.rows, pixels->info.height);
      // BMP and sequential PNG stream the rows the decoder keeps, a last whole row before the cut included.
      if (codec.format() == ImageFormat::BMP || (codec.format() == ImageFormat::PNG && sequential)) {
        EXPECT_EQ(maxDifference(*pixels, rows.bytes, 8), 0u) << "streamed rows differ";
      }
      for (std::uint32_t y = 0; sequential && y < pixels->info.height; ++y) {  // the full row or, past the cut, zero
        const std::uint8_t* row = pixels->row(y);
        const bool same = std::memcmp(row, full->row(y), pixels->bytesPerRow) == 0;
        ASSERT_TRUE(same || std::all_of(row, row + pixels->bytesPerRow, [](std::uint8_t v) { return v == 0; })) << y;
        partial += !same;
      }
    }
  }
  EXPECT_GT(partial, 0);
}

struct Layout {
  std::uint8_t channels, bits;
};

PixelsView viewOf(const Data& d, Layout l, std::uint32_t w, std::uint32_t h) {
  PixelsView v;
  v.width = w, v.height = h, v.channels = l.channels, v.bitsPerComponent = l.bits, v.data = d.data();
  v.bytesPerRow = std::size_t{w} * l.channels * (l.bits / 8);
  return v;
}

double psnr(const Data& a, const Data& b) {
  double sum = 0;
  for (std::size_t i = 0; i < a.size(); ++i) sum += (double(a[i]) - b[i]) * (double(a[i]) - b[i]);
  return sum == 0 ? 99 : 10 * std::log10(255.0 * 255.0 * double(a.size()) / sum);
}

TEST(ImageCodec, WrittenFilesReadBackInPillow) {
  struct WriteCase {
    ImageFormat format;
    Layout in, pillow;  // what we hand in; what Pillow must read back
    double minPsnr;     // 0: exact
  };
  const Layout g8{1, 8}, ga8{2, 8}, rgb8{3, 8}, rgba8{4, 8}, g16{1, 16}, rgb16{3, 16}, rgba16{4, 16};
  using F = ImageFormat;
  const WriteCase table[] = {
      {F::PNG, g8, g8, 0},        {F::PNG, ga8, ga8, 0},     {F::PNG, rgb8, rgb8, 0},     {F::PNG, rgba8, rgba8, 0},
      {F::PNG, g16, g16, 0},      {F::PNG, rgb16, rgb8, 0},  {F::TIFF, g8, g8, 0},        {F::TIFF, ga8, ga8, 0},
      {F::TIFF, rgb8, rgb8, 0},   {F::TIFF, rgba8, rgba8, 0}, {F::TIFF, g16, g16, 0},     {F::BMP, g8, g8, 0},
      {F::BMP, rgb8, rgb8, 0},    {F::BMP, rgba8, rgba8, 0}, {F::BMP, ga8, g8, 0},        {F::BMP, rgba16, rgba8, 40},
      {F::GIF, rgb8, rgb8, 0},    {F::GIF, g8, rgb8, 0},     {F::JPEG2000, g8, g8, 0},    {F::JPEG2000, rgb8, rgb8, 0},
      {F::JPEG2000, rgba8, rgba8, 0}, {F::JPEG2000, g16, g16, 0}, {F::JPEG, rgb8, rgb8, 30}, {F::JPEG, g8, g8, 30},
      {F::JPEG, rgba16, rgb8, 30}, {F::JPEG, rgb16, rgb8, 30},
  };
  const std::uint32_t w = 37, h = 23;
  auto value = [&](const WriteCase& t, std::size_t p, unsigned c) -> unsigned {  // sample c of pixel p handed in
    const std::size_t x = p % w, y = p / w;
    const auto v = unsigned(t.format == ImageFormat::GIF    ? (x / 4 + y / 3 + c * 2) % 6 * 51  // few colours
                            : t.format == ImageFormat::JPEG ? x * 3 + y * 2 + c * 30            // smooth
                                                            : (x * 7 + y * 13 + c * 71) % 256);
    return t.in.bits == 16 ? std::uint16_t(v * 257 + (x + c) % 200) : std::uint8_t(v);
  };
  testing::TempDir dir;
  std::ofstream written(dir / "written.txt");  // for Pillow's reading of each, as "name channels bits"
  for (const WriteCase& t : table) {
    SCOPED_TRACE("case " + std::to_string(&t - table));
    Data src;  // samples in host order
    for (std::size_t i = 0; i < std::size_t{w} * h * t.in.channels; ++i) {
      const auto s = std::uint16_t(value(t, i / t.in.channels, unsigned(i % t.in.channels)));
      src.insert(src.end(), reinterpret_cast<const std::uint8_t*>(&s), reinterpret_cast<const std::uint8_t*>(&s) + t.in.bits / 8);
    }
    const Data before = src;
    Data file;
    EncodeOptions options;
    if (t.format == ImageFormat::JPEG) options.quality = 0.9;  // JPEG 2000 without a quality is lossless
    ASSERT_TRUE(codecFor(t.format).encode(viewOf(src, t.in, w, h), options, file));
    EXPECT_EQ(src, before) << "an encoder changed the caller's pixels";
    ASSERT_TRUE(codecFor(t.format).decode(file));
    if (t.format == ImageFormat::JPEG2000) {  // other readers take alpha from the channel definition box only
      EXPECT_EQ(std::search(file.begin(), file.end(), "cdef", "cdef" + 4) != file.end(), t.in.channels % 2 == 0);
    }
    writeFile(dir / ("w" + std::to_string(&t - table)), file);
    written << 'w' << (&t - table) << ' ' << int{t.pillow.channels} << ' ' << int{t.pillow.bits} << '\n';
  }
  written.close();
  ASSERT_EQ(runScript("read", dir.path()), 0);
  for (std::size_t i = 0; i < std::size(table); ++i) {
    SCOPED_TRACE("case " + std::to_string(i));
    const WriteCase& t = table[i];
    // What Pillow must read, worked out apart from the library: gray replicated, alpha kept or
    // dropped, 16-bit samples narrowed to their high byte where Pillow keeps 8 bits (little-endian).
    const unsigned pc = t.pillow.channels, pb = pc == 1 ? t.pillow.bits : 8;
    const bool gray = t.in.channels <= 2, alpha = t.in.channels % 2 == 0;
    Data expected;
    for (std::size_t p = 0; p < std::size_t{w} * h; ++p)
      for (unsigned c = 0; c < pc; ++c) {
        unsigned v = c < pc - (pc % 2 == 0) ? value(t, p, gray ? 0 : c) : alpha ? value(t, p, t.in.channels - 1u) : (1u << t.in.bits) - 1;
        if (t.in.bits == 16 && pb == 8) v >>= 8;
        expected.push_back(std::uint8_t(v));
        if (pb == 16) expected.push_back(std::uint8_t(v >> 8));
      }
    const Data pillow = readFile(dir / ("w" + std::to_string(i) + ".pillow"));
    ASSERT_EQ(pillow.size(), expected.size());
    EXPECT_GE(psnr(pillow, expected), t.minPsnr ? t.minPsnr : 99) << "0: exact";
  }
}

TEST(ImageCodec, PalettesKeepPhotosCloseAndOrientationsAndProfilesAreWritten) {
  const std::uint32_t w = 160, h = 120;  // a smooth picture with thousands of colours
  Data src;
  for (std::uint32_t y = 0; y < h; ++y)
    for (std::uint32_t x = 0; x < w; ++x)
      src.insert(src.end(), {std::uint8_t(x * 255 / (w - 1)), std::uint8_t(y * 255 / (h - 1)),
                             std::uint8_t(128 + 100 * std::sin(x * 0.05) * std::cos(y * 0.07))});
  const PixelsView view = viewOf(src, {3, 8}, w, h);
  // Many colours with alpha at the threshold: 128 stays, 127 goes; the colours that stay keep close.
  Data rgba;
  for (std::size_t i = 0; i < src.size(); i += 3)
    rgba.insert(rgba.end(), {src[i], src[i + 1], src[i + 2], std::uint8_t((i / 3) % w < 10 ? 127 : 128)});
  Data gif;
  ASSERT_TRUE(gifCodec().encode(viewOf(rgba, {4, 8}, w, h), {}, gif));
  const auto back = gifCodec().decode(gif);
  ASSERT_TRUE(back && back->info.channels == 4);
  Data kept, wanted;
  for (std::size_t i = 0; i < std::size_t{w} * h; ++i) {
    const std::uint8_t* p = back->storage.data() + i * 4;
    ASSERT_EQ(p[3], i % w < 10 ? 0 : 255) << i;
    if (i % w >= 10) kept.insert(kept.end(), p, p + 3), wanted.insert(wanted.end(), &src[i * 3], &src[i * 3] + 3);
  }
  EXPECT_GE(psnr(kept, wanted), 30.0);
  // 256 colours fill a palette; a transparent pixel beside them needs one entry more.
  Data full;
  for (unsigned i = 0; i < 257; ++i) full.insert(full.end(), {std::uint8_t(i), std::uint8_t(i / 2), 7, std::uint8_t(i < 256 ? 255 : 0)});
  ASSERT_TRUE(gifCodec().encode(viewOf(full, {4, 8}, 257, 1), {}, gif = {}));
  const auto some = gifCodec().decode(gif);
  ASSERT_TRUE(some);
  for (unsigned i = 0; i < 257; ++i) ASSERT_EQ(some->storage[i * 4 + 3], i < 256 ? 255 : 0) << i;

  // JPEG, TIFF and PNG carry orientations 2 to 8; 1 and anything else write none. Profiles go with JPEG 2000 too.
  const auto p3 = CGColorSpaceCopyICCData(CGColorSpaceCreateWithName(kCGColorSpaceDisplayP3));
  for (const ImageCodec* codec : {&jpegCodec(), &tiffCodec(), &pngCodec(), &jpeg2000Codec()})
    for (std::uint16_t orientation = 1; orientation <= 9; ++orientation) {
      PixelsView turned = view;
      turned.orientation = orientation;
      if (orientation == 5) turned.iccProfile = *p3;
      Data file;
      ASSERT_TRUE(codec->encode(turned, {}, file));
      const auto info = codec->readInfo(file);
      EXPECT_EQ(info->orientation, orientation >= 2 && orientation <= 8 && codec != &jpeg2000Codec() ? orientation : 1);
      EXPECT_EQ(info->iccProfile, orientation == 5 ? *p3 : Data());
    }
}

constexpr std::size_t kW = 48, kH = 20;

std::shared_ptr<Data> write(const CGImageRef& image, std::string_view type) {
  auto data = std::make_shared<Data>();
  auto destination = CGImageDestinationCreateWithData(data, type, 1);
  EXPECT_TRUE(destination);
  CGImageDestinationAddImage(destination, image);
  EXPECT_TRUE(CGImageDestinationFinalize(destination));
  EXPECT_FALSE(CGImageDestinationFinalize(destination)) << "a destination writes once";
  return data;
}

CGImageRef readBack(const CGImageRef& image, std::string_view type) {
  return CGImageSourceCreateImageAtIndex(CGImageSourceCreateWithData(*write(image, type)), 0);
}

TEST(ImageSource, EveryLayoutIsWrittenStraightAndReadsBack) {
  Data rgba;  // straight RGBA with a few distinct colours and alphas
  for (std::size_t i = 0; i < kW * kH; ++i) {
    const std::size_t x = i % kW, y = i / kW;
    rgba.insert(rgba.end(), {std::uint8_t(x / 8 * 51), std::uint8_t(y / 5 * 85), std::uint8_t((x + y) / 6 % 3 * 127),
                             std::uint8_t(x / 16 == 1 ? 128 : 255)});
  }
  // Every layout an image can have: encoders take the pixels straightened.
  auto premultiply = [](unsigned c, unsigned a) { return std::uint8_t((c * a + 127) / 255); };
  Data premultipliedFirstLittle, skipFirst, rgb16big, argb16little;
  for (std::size_t i = 0; i < rgba.size(); i += 4) {
    const std::uint8_t *p = &rgba[i], a = p[3], r = premultiply(p[0], a), g = premultiply(p[1], a), b = premultiply(p[2], a);
    premultipliedFirstLittle.insert(premultipliedFirstLittle.end(), {b, g, r, a});  // cairo's layout
    skipFirst.insert(skipFirst.end(), {0x5A, p[0], p[1], p[2]});
    rgb16big.insert(rgb16big.end(), {p[0], 0x80, p[1], 0x80, p[2], 0x80});
    argb16little.insert(argb16little.end(), {0x80, a, 0x80, p[0], 0x80, p[1], 0x80, p[2]});
  }
  const struct {
    Data bytes;
    std::size_t bpc, bpp;
    CGBitmapInfo info;
    bool alpha;          // the written file keeps alpha
    unsigned tolerance;  // premultiplying loses precision where alpha is small
  } layouts[] = {
      {rgba, 8, 32, kCGImageAlphaLast, true, 0},
      {premultipliedFirstLittle, 8, 32, kCGImageAlphaPremultipliedFirst | kCGBitmapByteOrder32Little, true, 1},
      {skipFirst, 8, 32, kCGImageAlphaNoneSkipFirst, false, 0}, {rgb16big, 16, 48, kCGImageAlphaNone, false, 0},
      {argb16little, 16, 64, kCGImageAlphaFirst | kCGBitmapByteOrder16Little, true, 0},
  };
  for (const auto& l : layouts) {
    SCOPED_TRACE(&l - layouts);
    const CGImageRef img = image(kW, kH, l.bpc, l.bpp, l.info, l.bytes);
    const Data got = pixelBytes(readBack(img, kUTTypePNG));
    const std::size_t channels = l.alpha ? 4 : 3, sample = l.bpc / 8;
    ASSERT_EQ(got.size(), kW * kH * channels * sample);
    for (std::size_t i = 0; i < kW * kH * channels; ++i) {  // 16-bit samples come back little-endian: the high byte second
      ASSERT_NEAR(got[i * sample + sample - 1], rgba[i / channels * 4 + i % channels], l.tolerance) << i;
      if (sample == 2) { ASSERT_EQ(got[i * 2], 0x80) << i; }
    }
    EXPECT_EQ(pixelBytes(img), l.bytes) << "the caller's pixels changed";
  }
}

TEST(ImageSource, ThumbnailsTurnEveryExifOrientationUpright) {
  constexpr std::uint32_t W = 3, H = 2;  // 3 x 2 stored pixels of distinct colours
  Data stored;
  for (std::uint32_t i = 0; i < W * H; ++i)
    stored.insert(stored.end(), {std::uint8_t(40 * i), std::uint8_t(250 - 40 * i), std::uint8_t(i % 2 ? 230 : 20)});
  for (int orientation = 1; orientation <= 8; ++orientation) {
    SCOPED_TRACE("orientation " + std::to_string(orientation));
    // As EXIF defines the tags, stored pixel (u, v) (from the top left) appears upright at (x, y):
    // mirrored across (2, 3, 7, 8), mirrored down (3, 4, 6, 7), then transposed (5 to 8).
    auto upright = [o = orientation](std::uint32_t u, std::uint32_t v) {
      u = o == 2 || o == 3 || o == 7 || o == 8 ? W - 1 - u : u, v = o == 3 || o == 4 || o == 6 || o == 7 ? H - 1 - v : v;
      return o >= 5 ? std::pair(v, u) : std::pair(u, v);
    };
    PixelsView view = viewOf(stored, {3, 8}, W, H);
    view.orientation = std::uint16_t(orientation);
    Data png;
    ASSERT_TRUE(pngCodec().encode(view, {}, png));
    const auto source = CGImageSourceCreateWithData(png);
    EXPECT_EQ(CGImageSourceCopyPropertiesAtIndex(source, 0)->doubleForKey(kCGImagePropertyOrientation), orientation);
    const NSDictionary options{{kCGImageSourceCreateThumbnailWithTransform, true},
                               {kCGImageSourceCreateThumbnailFromImageAlways, true}};
    const CGImageRef thumb = CGImageSourceCreateThumbnailAtIndex(source, 0, &options);
    ASSERT_EQ(dims(thumb), orientation >= 5 ? (Dims{H, W}) : (Dims{W, H}));
    const Data got = pixelBytes(thumb);
    for (std::uint32_t i = 0; i < W * H * 3; ++i) {
      const auto [x, y] = upright(i / 3 % W, i / 3 / W);
      EXPECT_NEAR(got[y * CGImageGetBytesPerRow(thumb) + x * 4 + i % 3], stored[i], 2) << i;
    }
    // Without the transform the stored layout comes back.
    const NSDictionary plain{{kCGImageSourceCreateThumbnailFromImageAlways, true}};
    EXPECT_EQ(dims(CGImageSourceCreateThumbnailAtIndex(source, 0, &plain)), (Dims{W, H}));
  }
  // Gray with alpha has no bitmap context in its own space: its thumbnail is drawn in sRGB.
  Data png;
  ASSERT_TRUE(pngCodec().encode(viewOf(Data{255, 255, 0, 128}, {2, 8}, 2, 1), {}, png));
  const NSDictionary always{{kCGImageSourceCreateThumbnailFromImageAlways, true}};
  EXPECT_EQ(pixelBytes(CGImageSourceCreateThumbnailAtIndex(CGImageSourceCreateWithData(png), 0, &always)),
            (Data{255, 255, 255, 255, 0, 0, 0, 128}));
}

TEST(ImageSource, DecodesLazilyAndThumbnailsKeepWithinTheMaximumSide) {
  Data gray(400 * 200);
  for (std::size_t i = 0; i < gray.size(); ++i) gray[i] = std::uint8_t(i % 400 * 255 / 399);
  const CGImageRef wide = image8(400, 200, 1, kCGImageAlphaNone, gray, CGColorSpaceCreateWithName(kCGColorSpaceGenericGrayGamma2_2));
  for (const std::string_view type : {kUTTypeJPEG, kUTTypePNG, kUTTypeJPEG2000}) {
    SCOPED_TRACE(std::string(type));
    const auto source = CGImageSourceCreateWithData(*write(wide, type));
    const auto properties = CGImageSourceCopyPropertiesAtIndex(source, 0);
    ASSERT_TRUE(properties && CGImageSourceGetCount(source) == 1 && !CGImageSourceCreateImageAtIndex(source, 1));
    EXPECT_EQ(std::tuple(properties->doubleForKey(kCGImagePropertyPixelWidth), properties->doubleForKey(kCGImagePropertyPixelHeight),
                         properties->boolForKey(kCGImagePropertyHasAlpha)), std::tuple(400.0, 200.0, false));
    EXPECT_EQ(*properties->objectForKey(kCGImagePropertyColorModel)->stringValue(), "Gray");
    EXPECT_EQ(properties->objectForKey(kCGImagePropertyDPIWidth), nullptr) << "no resolution in the file";
    // Images decode lazily; drawing may ask JPEG and JPEG 2000 for reduced decodes, PNG for rows.
    const CGImageRef full = CGImageSourceCreateImageAtIndex(source, 0);
    const CGDataProvider& provider = *CGImageGetDataProvider(full);
    ASSERT_TRUE(provider.decoder() && !provider.ready()) << "made without decoding";
    EXPECT_EQ(provider.decoder()->canStreamRows(), type == kUTTypePNG);
    EXPECT_EQ(dims(provider.decoder()->decodeReduced(100, 50)), type == kUTTypePNG ? (Dims{0, 0}) : (Dims{100, 50}));
    EXPECT_FALSE(provider.decoder()->decodeReduced(400, 200)) << "no smaller decode";
    EXPECT_EQ(pixelBytes(full).size(), gray.size());
    EXPECT_TRUE(provider.ready());
    const NSDictionary noAlways{{kCGImageSourceThumbnailMaxPixelSize, 100}};
    EXPECT_FALSE(CGImageSourceCreateThumbnailAtIndex(source, 0, &noAlways)) << "no embedded thumbnail";
    const NSDictionary options{{kCGImageSourceThumbnailMaxPixelSize, 100}, {kCGImageSourceCreateThumbnailFromImageAlways, true}};
    const CGImageRef thumb = CGImageSourceCreateThumbnailAtIndex(source, 0, &options);
    ASSERT_EQ(dims(thumb), (Dims{100, 50}));
    // A horizontal ramp: each thumbnail pixel averages four source columns.
    const Data got = pixelBytes(thumb);
    for (std::size_t x = 0; x < 100; x += 33) EXPECT_NEAR(got[25 * CGImageGetBytesPerRow(thumb) + x], (4 * x + 1.5) * 255.0 / 399.0, 3.0) << x;
    const NSDictionary large{{kCGImageSourceThumbnailMaxPixelSize, 1000.0}, {kCGImageSourceCreateThumbnailFromImageAlways, true}};
    EXPECT_EQ(dims(CGImageSourceCreateThumbnailAtIndex(source, 0, &large)), (Dims{400, 200})) << "never enlarged";
  }
}

TEST(ImageSource, AnswersNothingForBadArguments) {
  EXPECT_FALSE(CGImageSourceCreateWithData(std::shared_ptr<const Data>()) || CGImageSourceCreateWithData(bytesOf("not an image")));
  EXPECT_FALSE(CGImageSourceGetCount(nullptr) || CGImageSourceGetType(nullptr) || CGImageSourceCreateImageAtIndex(nullptr, 0) ||
               CGImageSourceCopyPropertiesAtIndex(nullptr, 0) || CGImageSourceCreateThumbnailAtIndex(nullptr, 0, nullptr));
  auto data = std::make_shared<Data>();
  EXPECT_FALSE(CGImageDestinationCreateWithData(data, "public.webp", 1) || CGImageDestinationCreateWithData(data, kUTTypePNG, 0) ||
               CGImageDestinationCreateWithData(nullptr, kUTTypePNG, 1));
  EXPECT_FALSE(CGImageDestinationFinalize(CGImageDestinationCreateWithData(data, kUTTypePNG, 1))) << "no image";
  EXPECT_TRUE(data->empty());
  EXPECT_EQ(CGImageSourceCopyTypeIdentifiers().size() + CGImageDestinationCopyTypeIdentifiers().size(), 12u);
}

}  // namespace
}  // namespace orvane
