// A photo application's thumbnail: readImageFromData then
// createThumbnailFromImage into a 256 x 256 box, beside libvips'
// vips_thumbnail_buffer (one thread, the same box) and beside the bare library
// decode at the scale our draw picks, in the same run.
//
// The photographs are every JPEG under ORVANE_PHOTOS (default: the demo's
// photo package, /usr/share/backgrounds/mate). From the largest, cut to
// 5120 x 2880 where it is that large, libvips writes at start-up a baseline
// and a progressive JPEG, PNG RGB and RGBA, TIFF uncompressed and LZW, GIF and
// lossless JPEG 2000; our encoder writes the BMP.
//
// Each benchmark alternates the three calls iteration after iteration, in CPU
// time of the process (libvips works on threads of its own), after one
// untimed call of each. Counters per image: ours, vips and bare in ms,
// vips_ratio = ours / vips, bare_ratio = ours / bare, cold_ms (ours after
// the allocator gave its free memory back to the system), psnr_dB of our
// thumbnail against an exact area average of the full-size decode, and
// peak_MB, the rise of a fresh child process's peak resident memory over one
// thumbnail. The totals over the set follow the table.
#include <benchmark/benchmark.h>
#include <malloc.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>
#include <vips/vips.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "Platform/CoreGraphics/ImageDecoder.h"
#include "Platform/ImageIO/ImageCodec.h"
#include "orvane/Image/HXImageUtility.h"
#include "orvane/Platform/CoreGraphics/CGDataProvider.h"
#include "support/AreaAverage.h"
#include "support/DirectCodecs.h"

namespace {

using namespace orvane;
using imageio::ImageFormat;
namespace fs = std::filesystem;

constexpr double kBox = 256;

struct Photo {
  std::string name;
  ImageFormat format;
  std::shared_ptr<const Data> bytes;
};

struct Totals {
  double ours = 0, vips = 0, bare = 0;
};
std::map<std::string, Totals> totals;  // per image, for the summary

double processSeconds() {
  timespec t{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
}

CGImageRef ourThumbnail(const Photo& photo) {
  return HXImageUtility::createThumbnailFromImage(CGSizeMake(kBox, kBox),
                                                  HXImageUtility::readImageFromData(photo.bytes));
}

bool vipsThumbnail(const Photo& photo) {
  VipsImage* out = nullptr;
  if (vips_thumbnail_buffer(const_cast<std::uint8_t*>(photo.bytes->data()), photo.bytes->size(), &out,
                            static_cast<int>(kBox), "height", static_cast<int>(kBox), nullptr) != 0) {
    vips_error_clear();
    return false;
  }
  std::size_t size = 0;
  void* pixels = vips_image_write_to_memory(out, &size);
  g_object_unref(out);
  benchmark::DoNotOptimize(pixels);
  const bool made = pixels != nullptr;
  g_free(pixels);
  return made;
}

// The bare decode at the scale our draw asks for: the same margin over the
// thumbnail's size, the reduction the codec then picks.
std::function<void()> bareDecode(const Photo& photo, std::size_t thumbWidth, std::size_t thumbHeight) {
  const ImageFormat format = photo.format;
  const ByteView bytes = *photo.bytes;
  const auto info = imageio::codecFor(format).readInfo(bytes);
  unsigned factor = 1;
  if (auto reduced = imageio::codecFor(format).decodeReduced(
          bytes, static_cast<std::uint32_t>(thumbWidth * kReducedDecodeMargin),
          static_cast<std::uint32_t>(thumbHeight * kReducedDecodeMargin))) {
    factor = static_cast<unsigned>(std::lround(double(info->width) / reduced->info.width));
  }
  switch (format) {
    case ImageFormat::JPEG: return [bytes, factor] { bench::jpegDecode(bytes, factor); };
    case ImageFormat::JPEG2000:
      return [bytes, factor] { bench::jp2Decode(bytes, static_cast<unsigned>(std::log2(factor))); };
    case ImageFormat::PNG: return [bytes] { bench::pngDecode(bytes); };
    case ImageFormat::TIFF: return [bytes] { bench::tiffDecode(bytes); };
    case ImageFormat::GIF: return [bytes] { bench::gifDecode(bytes); };
    case ImageFormat::BMP:  // no library: copying the pixels is the limit
      return [bytes] {
        auto out = bench::buffer(bytes.size());
        std::memcpy(out.get(), bytes.data(), bytes.size());
        benchmark::DoNotOptimize(out.get());
      };
  }
  return [] {};
}

// ---- quality: an exact area average of the full-size decode

double psnrAgainstAreaAverage(const Photo& photo, const CGImageRef& thumb) {
  const auto full = imageio::codecFor(photo.format).decode(*photo.bytes);
  if (!full || !thumb) return 0;
  const auto thumbBytes = CGDataProviderCopyData(CGImageGetDataProvider(thumb));
  return testing::psnrAgainstAreaAverage({full->storage.data(), full->info.width, full->info.height,
                                          full->info.channels, full->bytesPerRow},
                                         thumbBytes->data(), CGImageGetWidth(thumb), CGImageGetHeight(thumb),
                                         CGImageGetBytesPerRow(thumb));
}

// ---- memory: the peak of one thumbnail in a fresh child process

long statusKiB(const char* field) {
  std::ifstream in("/proc/self/status");
  for (std::string line; std::getline(in, line);) {
    if (line.rfind(field, 0) == 0) return std::strtol(line.c_str() + std::strlen(field), nullptr, 10);
  }
  return -1;
}

double peakMegabytes(const std::function<void()>& call) {
  int fds[2];
  if (pipe(fds) != 0) return -1;
  const pid_t pid = fork();
  if (pid == 0) {
    close(fds[0]);
    std::ofstream("/proc/self/clear_refs") << "5";  // the peak starts again from now
    const long before = statusKiB("VmRSS:");
    call();
    const double rise = double(statusKiB("VmHWM:") - before) / 1024.0;
    (void)!write(fds[1], &rise, sizeof rise);
    _exit(0);
  }
  close(fds[1]);
  double rise = -1;
  if (read(fds[0], &rise, sizeof rise) != sizeof rise) rise = -1;
  close(fds[0]);
  waitpid(pid, nullptr, 0);
  return rise;
}

// ---- the set

std::shared_ptr<const Data> readFile(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return std::make_shared<const Data>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

std::shared_ptr<const Data> fromVips(void* buffer, std::size_t size) {
  auto data = std::make_shared<const Data>(static_cast<std::uint8_t*>(buffer), static_cast<std::uint8_t*>(buffer) + size);
  g_free(buffer);
  return data;
}

std::vector<Photo> photoSet() {
  const char* dir = std::getenv("ORVANE_PHOTOS");
  const fs::path root = dir && *dir ? dir : "/usr/share/backgrounds/mate";
  std::vector<Photo> photos;
  std::error_code error;
  for (auto it = fs::recursive_directory_iterator(root, error); !error && it != fs::recursive_directory_iterator();
       it.increment(error)) {
    std::string ext = it->path().extension().string();
    std::transform(ext.begin(), ext.end(), ext.begin(), ::tolower);
    if (ext == ".jpg" || ext == ".jpeg") photos.push_back({it->path().filename().string(), ImageFormat::JPEG, readFile(it->path())});
  }
  std::sort(photos.begin(), photos.end(), [](const Photo& a, const Photo& b) { return a.name < b.name; });
  if (photos.empty()) return photos;
  const auto largest = std::max_element(photos.begin(), photos.end(),
                                        [](const Photo& a, const Photo& b) { return a.bytes->size() < b.bytes->size(); });
  VipsImage* whole = vips_image_new_from_buffer(largest->bytes->data(), largest->bytes->size(), "", nullptr);
  if (!whole) return photos;
  VipsImage* rgb = nullptr;
  const int w = std::min(vips_image_get_width(whole), 5120), h = std::min(vips_image_get_height(whole), 2880);
  vips_crop(whole, &rgb, (vips_image_get_width(whole) - w) / 2, (vips_image_get_height(whole) - h) / 2, w, h, nullptr);
  VipsImage* rgba = nullptr;
  vips_bandjoin_const1(rgb, &rgba, 255, nullptr);
  const std::string base = std::to_string(w) + "x" + std::to_string(h);
  // Each writer answers vips' status; the buffer it filled becomes a photo.
  auto add = [&](const char* kind, ImageFormat format, const std::function<int(void**, std::size_t*)>& save) {
    void* buffer = nullptr;
    std::size_t size = 0;
    if (save(&buffer, &size) == 0) photos.push_back({base + "_" + kind, format, fromVips(buffer, size)});
    vips_error_clear();
  };
  using enum ImageFormat;
  add("JPEG_baseline", JPEG, [&](void** b, std::size_t* n) { return vips_jpegsave_buffer(rgb, b, n, "Q", 85, nullptr); });
  add("JPEG_progressive", JPEG,
      [&](void** b, std::size_t* n) { return vips_jpegsave_buffer(rgb, b, n, "Q", 85, "interlace", TRUE, nullptr); });
  add("PNG_RGB", PNG, [&](void** b, std::size_t* n) { return vips_pngsave_buffer(rgb, b, n, nullptr); });
  add("PNG_RGBA", PNG, [&](void** b, std::size_t* n) { return vips_pngsave_buffer(rgba, b, n, nullptr); });
  add("TIFF_uncompressed", TIFF, [&](void** b, std::size_t* n) { return vips_tiffsave_buffer(rgb, b, n, nullptr); });
  add("TIFF_LZW", TIFF, [&](void** b, std::size_t* n) {
    return vips_tiffsave_buffer(rgb, b, n, "compression", VIPS_FOREIGN_TIFF_COMPRESSION_LZW, nullptr);
  });
  add("GIF", GIF, [&](void** b, std::size_t* n) { return vips_gifsave_buffer(rgb, b, n, nullptr); });
  add("JPEG2000_lossless", JPEG2000,
      [&](void** b, std::size_t* n) { return vips_jp2ksave_buffer(rgb, b, n, "lossless", TRUE, nullptr); });
  if (const CGImageRef image = HXImageUtility::readImageFromData(photos.back().bytes)) {
    if (auto bmp = HXImageUtility::saveImageAsFormat(image, "com.microsoft.bmp")) {
      photos.push_back({base + "_BMP", ImageFormat::BMP, std::make_shared<const Data>(std::move(*bmp))});
    }
  }
  g_object_unref(rgba);
  g_object_unref(rgb);
  g_object_unref(whole);
  return photos;
}

void registerPhoto(const Photo& photo) {
  auto* b = benchmark::RegisterBenchmark(("Thumbnail/" + photo.name).c_str(), [photo](benchmark::State& state) {
    const CGImageRef thumb = ourThumbnail(photo);
    if (!thumb) {
      state.SkipWithError("no thumbnail");
      return;
    }
    const std::size_t tw = CGImageGetWidth(thumb), th = CGImageGetHeight(thumb);
    const auto bare = bareDecode(photo, tw, th);
    const bool vipsReads = vipsThumbnail(photo);
    bare();
    malloc_trim(0);
    double t0 = processSeconds();
    benchmark::DoNotOptimize(ourThumbnail(photo));
    const double cold = processSeconds() - t0;
    double ours = 0, vips = 0, bareTime = 0;
    for (auto _ : state) {
      t0 = processSeconds();
      benchmark::DoNotOptimize(ourThumbnail(photo));
      const double t1 = processSeconds();
      if (vipsReads) vipsThumbnail(photo);
      const double t2 = processSeconds();
      bare();
      const double t3 = processSeconds();
      ours += t1 - t0, vips += t2 - t1, bareTime += t3 - t2;
    }
    const double n = static_cast<double>(state.iterations());
    Totals& total = totals[photo.name];
    total = {ours * 1e3 / n, vipsReads ? vips * 1e3 / n : NAN, bareTime * 1e3 / n};
    state.counters["ours_ms"] = total.ours;
    state.counters["vips_ms"] = total.vips;
    state.counters["bare_ms"] = total.bare;
    state.counters["vips_ratio"] = total.ours / total.vips;
    state.counters["bare_ratio"] = total.ours / total.bare;
    state.counters["cold_ms"] = cold * 1e3;
    state.counters["psnr_dB"] = psnrAgainstAreaAverage(photo, thumb);
    state.counters["peak_MB"] = peakMegabytes([&] { benchmark::DoNotOptimize(ourThumbnail(photo)); });
  });
  b->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(photo.format == ImageFormat::JPEG ? 8 : 3);
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (VIPS_INIT(argv[0]) != 0) return 1;
  vips_concurrency_set(1);
  vips_cache_set_max(0);
  const std::vector<Photo> photos = photoSet();
  if (photos.empty()) {
    std::fprintf(stderr, "bench_thumbnail: no JPEG photographs found (set ORVANE_PHOTOS)\n");
    return 1;
  }
  for (const Photo& photo : photos) registerPhoto(photo);
  benchmark::RunSpecifiedBenchmarks();
  Totals sum;
  for (const auto& [name, t] : totals) {
    if (std::isnan(t.vips)) continue;  // an image libvips cannot read is left out of both sums
    sum.ours += t.ours, sum.vips += t.vips, sum.bare += t.bare;
  }
  std::printf("Total over %zu images libvips reads: ours %.1f ms, vips %.1f ms, ratio %.3f; bare decode %.1f ms, ratio %.3f\n",
              totals.size(), sum.ours, sum.vips, sum.ours / sum.vips, sum.bare, sum.ours / sum.bare);
  benchmark::Shutdown();
  vips_shutdown();
}
