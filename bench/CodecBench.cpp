// The image codecs beside their libraries called directly, on the same
// 5120 x 2880 RGB picture in the same run: libjpeg-turbo, libpng, libtiff,
// giflib and OpenJPEG; for BMP, a plain memcpy of the pixels is the limit.
//
// Each row alternates this library and the direct call, iteration after
// iteration (after one untimed call of each), in CPU time of the thread (page
// faults included), so load from elsewhere on the machine falls on both alike. The direct calls use the same
// settings as ours (JPEG quality 80 with 4:2:0; PNG zlib level 1 with the Sub
// filter; TIFF uncompressed; GIF median cut to 256 colours; JPEG 2000
// lossless) and decode into the same layout (interleaved 8-bit RGB).
// Counters: Orvane and Library in megapixels per second, ratio = Orvane / Library.
#include <benchmark/benchmark.h>
#include <gif_lib.h>
#include <jpeglib.h>
#include <openjpeg.h>
#include <png.h>
#include <tiffio.h>
#include <time.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Platform/ImageIO/ImageCodec.h"
#include "support/DirectCodecs.h"

namespace {

using orvane::ByteView;
using orvane::Data;
using namespace orvane::imageio;
using namespace bench;

constexpr std::uint32_t kWidth = 5120, kHeight = 2880;
constexpr std::size_t kRowBytes = std::size_t{kWidth} * 3;

/// A photograph stand-in: smooth shapes with a little grain, so that the
/// compressors see neither flat colour nor noise.
const Data& picture() {
  static const Data pixels = [] {
    Data d(kRowBytes * kHeight);
    std::uint32_t seed = 12345;
    for (std::uint32_t y = 0; y < kHeight; ++y) {
      for (std::uint32_t x = 0; x < kWidth; ++x) {
        seed = seed * 1664525u + 1013904223u;
        const int grain = static_cast<int>((seed >> 24) % 9) - 4;
        const double fx = x / 640.0, fy = y / 480.0;
        const double v[3] = {128 + 90 * std::sin(fx) * std::cos(fy * 0.7), 128 + 80 * std::cos(fx * 0.5 + fy),
                             110 + 70 * std::sin(fx * 0.3 - fy * 0.9)};
        for (int c = 0; c < 3; ++c) {
          d[(std::size_t{y} * kWidth + x) * 3 + c] = static_cast<std::uint8_t>(std::clamp(int(v[c]) + grain, 0, 255));
        }
      }
    }
    return d;
  }();
  return pixels;
}

PixelsView view() {
  PixelsView v;
  v.width = kWidth;
  v.height = kHeight;
  v.channels = 3;
  v.bitsPerComponent = 8;
  v.bytesPerRow = kRowBytes;
  v.data = picture().data();
  return v;
}

/// Encoded by our codec once, on first use.
const Data& encoded(ImageFormat format) {
  static std::map<ImageFormat, Data> cache;
  auto it = cache.find(format);
  if (it == cache.end()) {
    Data out;
    EncodeOptions options;
    if (format == ImageFormat::JPEG) options.quality = 0.8;
    codecFor(format).encode(view(), options, out);
    it = cache.emplace(format, std::move(out)).first;
  }
  return it->second;
}

// ---- libjpeg-turbo

void jpegEncodeDirect() {
  jpeg_compress_struct c{};
  jpeg_error_mgr err{};
  c.err = jpeg_std_error(&err);
  jpeg_create_compress(&c);
  unsigned char* mem = nullptr;
  unsigned long size = 0;
  jpeg_mem_dest(&c, &mem, &size);
  c.image_width = kWidth;
  c.image_height = kHeight;
  c.input_components = 3;
  c.in_color_space = JCS_RGB;
  jpeg_set_defaults(&c);
  jpeg_set_quality(&c, 80, TRUE);
  jpeg_start_compress(&c, TRUE);
  while (c.next_scanline < c.image_height) {
    JSAMPROW row = const_cast<JSAMPROW>(picture().data() + std::size_t{c.next_scanline} * kRowBytes);
    jpeg_write_scanlines(&c, &row, 1);
  }
  jpeg_finish_compress(&c);
  jpeg_destroy_compress(&c);
  benchmark::DoNotOptimize(mem);
  std::free(mem);
}

// ---- libpng

void pngEncodeDirect() {
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png_create_info_struct(png);
  Data out;
  png_set_write_fn(
      png, &out,
      [](png_structp p, png_bytep b, png_size_t n) {
        auto* o = static_cast<Data*>(png_get_io_ptr(p));
        o->insert(o->end(), b, b + n);
      },
      [](png_structp) {});
  png_set_IHDR(png, info, kWidth, kHeight, 8, PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
               PNG_FILTER_TYPE_DEFAULT);
  png_set_compression_level(png, 1);
  png_set_filter(png, PNG_FILTER_TYPE_BASE, PNG_FILTER_SUB);
  png_write_info(png, info);
  for (std::uint32_t y = 0; y < kHeight; ++y) png_write_row(png, picture().data() + std::size_t{y} * kRowBytes);
  png_write_end(png, nullptr);
  png_destroy_write_struct(&png, &info);
  benchmark::DoNotOptimize(out.data());
}

void tiffEncodeDirect() {
  TiffMemory m;
  m.writing = true;
  TIFF* tif = openTiff(m, "w");
  TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, kWidth);
  TIFFSetField(tif, TIFFTAG_IMAGELENGTH, kHeight);
  TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, 8);
  TIFFSetField(tif, TIFFTAG_SAMPLESPERPIXEL, 3);
  TIFFSetField(tif, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
  TIFFSetField(tif, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB);
  TIFFSetField(tif, TIFFTAG_COMPRESSION, COMPRESSION_NONE);
  TIFFSetField(tif, TIFFTAG_ROWSPERSTRIP, TIFFDefaultStripSize(tif, 0));
  for (std::uint32_t y = 0; y < kHeight; ++y) {
    TIFFWriteScanline(tif, const_cast<std::uint8_t*>(picture().data() + std::size_t{y} * kRowBytes), y, 0);
  }
  TIFFClose(tif);
  benchmark::DoNotOptimize(m.bytes.data());
}

// ---- giflib

void gifEncodeDirect() {
  const std::size_t n = std::size_t{kWidth} * kHeight;
  std::vector<GifByteType> r(n), g(n), b(n), indices(n);
  const Data& p = picture();
  for (std::size_t i = 0; i < n; ++i) r[i] = p[i * 3], g[i] = p[i * 3 + 1], b[i] = p[i * 3 + 2];
  int size = 256;
  GifColorType colours[256];
  GifQuantizeBuffer(kWidth, kHeight, &size, r.data(), g.data(), b.data(), indices.data(), colours);
  Data out;
  int error = 0;
  GifFileType* gif = EGifOpen(&out, [](GifFileType* f, const GifByteType* bytes, int len) {
    auto* o = static_cast<Data*>(f->UserData);
    o->insert(o->end(), bytes, bytes + len);
    return len;
  }, &error);
  ColorMapObject* map = GifMakeMapObject(256, colours);
  EGifPutScreenDesc(gif, kWidth, kHeight, 8, 0, map);
  EGifPutImageDesc(gif, 0, 0, kWidth, kHeight, false, nullptr);
  for (std::uint32_t y = 0; y < kHeight; ++y) EGifPutLine(gif, indices.data() + std::size_t{y} * kWidth, kWidth);
  EGifCloseFile(gif, &error);
  GifFreeMapObject(map);
  benchmark::DoNotOptimize(out.data());
}

// ---- OpenJPEG

void jp2EncodeDirect() {
  opj_image_cmptparm_t params[3];
  std::memset(params, 0, sizeof params);
  for (auto& p : params) p.dx = p.dy = 1, p.w = kWidth, p.h = kHeight, p.prec = 8;
  opj_image_t* image = opj_image_create(3, params, OPJ_CLRSPC_SRGB);
  image->x1 = kWidth;
  image->y1 = kHeight;
  const Data& px = picture();
  for (std::size_t i = 0; i < std::size_t{kWidth} * kHeight; ++i) {
    for (int c = 0; c < 3; ++c) image->comps[c].data[i] = px[i * 3 + c];
  }
  opj_cparameters_t p;
  opj_set_default_encoder_parameters(&p);
  p.tcp_numlayers = 1;
  p.cp_disto_alloc = 1;
  p.tcp_rates[0] = 0;
  p.tcp_mct = 1;
  Data out;
  OpjMemory m{{}, &out};
  opj_stream_t* s = opjStream(m, false);
  opj_codec_t* codec = opj_create_compress(OPJ_CODEC_JP2);
  opj_setup_encoder(codec, &p, image);
  opj_start_compress(codec, image, s);
  opj_encode(codec, s);
  opj_end_compress(codec, s);
  opj_destroy_codec(codec);
  opj_stream_destroy(s);
  opj_image_destroy(image);
  benchmark::DoNotOptimize(out.data());
}

// ---- pairing

double threadSeconds() {
  timespec t{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
}

using Call = std::function<void()>;

/// `prepare` runs before timing (encoding the input of a decode row once).
void pair(const std::string& name, bool slow, Call prepare, Call ours, Call library) {
  auto* b = benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
    prepare();
    // One untimed call of each first: the first call of either would pay for
    // cold caches and the allocator's first large blocks.
    ours();
    library();
    double oursTime = 0, libraryTime = 0;
    bool oursFirst = true;
    for (auto _ : state) {
      const double t0 = threadSeconds();
      (oursFirst ? ours : library)();
      const double t1 = threadSeconds();
      (oursFirst ? library : ours)();
      const double t2 = threadSeconds();
      (oursFirst ? oursTime : libraryTime) += t1 - t0;
      (oursFirst ? libraryTime : oursTime) += t2 - t1;
      oursFirst = !oursFirst;
    }
    const double pixels = double(kWidth) * kHeight * static_cast<double>(state.iterations()) / 1e6;
    state.counters["Orvane_MPps"] = pixels / oursTime;
    state.counters["Library_MPps"] = pixels / libraryTime;
    state.counters["Orvane_ms"] = oursTime * 1e3 / static_cast<double>(state.iterations());
    state.counters["Library_ms"] = libraryTime * 1e3 / static_cast<double>(state.iterations());
    state.counters["ratio"] = libraryTime / oursTime;
  });
  b->Unit(benchmark::kMillisecond)->UseRealTime();
  // An even count, so that each side goes first equally often.
  b->Iterations(slow ? 2 : 6);
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  struct Row {
    const char* name;
    ImageFormat format;
    std::function<void(ByteView)> decodeDirect;
    std::function<void()> encodeDirect;
    bool slow;
  };
  const auto copy = [](ByteView) {
    auto out = buffer(kRowBytes * kHeight);
    std::memcpy(out.get(), picture().data(), kRowBytes * kHeight);
    benchmark::DoNotOptimize(out.get());
  };
  const Row rows[] = {
      {"JPEG_q80", ImageFormat::JPEG, [](ByteView in) { jpegDecode(in); }, jpegEncodeDirect, false},
      {"PNG_level1", ImageFormat::PNG, pngDecode, pngEncodeDirect, false},
      {"TIFF_uncompressed", ImageFormat::TIFF, tiffDecode, tiffEncodeDirect, false},
      {"BMP_vs_memcpy", ImageFormat::BMP, copy, [&] { copy({}); }, false},
      {"GIF_median_cut", ImageFormat::GIF, gifDecode, gifEncodeDirect, false},
      {"JPEG2000_lossless", ImageFormat::JPEG2000, [](ByteView in) { jp2Decode(in); }, jp2EncodeDirect, true},
  };
  for (const Row& row : rows) {
    const ImageFormat format = row.format;
    const auto decodeDirect = row.decodeDirect;
    pair(std::string("Decode/") + row.name, row.slow, [format] { encoded(format); },
         [format] {
           auto pixels = codecFor(format).decode(encoded(format));
           benchmark::DoNotOptimize(pixels->storage.data());
         },
         [format, decodeDirect] { decodeDirect(encoded(format)); });
    pair(std::string("Encode/") + row.name, row.slow, [] {},
         [format] {
           Data out;
           EncodeOptions options;
           if (format == ImageFormat::JPEG) options.quality = 0.8;
           codecFor(format).encode(view(), options, out);
           benchmark::DoNotOptimize(out.data());
         },
         row.encodeDirect);
  }
  picture();
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
}
