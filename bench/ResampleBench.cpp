// Resampling beside its peers on the same pixels, in the same run: a
// 5120 x 2880 photo-like image shrunk to 256 x 144 (a thumbnail) and to
// 1280 x 720, against pixman's separable-convolution box filter and libvips'
// vips_resize on one thread; and a 2x enlargement of a 1280 x 720 image
// against pixman's bilinear filter.
//
// Orvane's rows time the whole thumbnail operation: a new premultiplied ARGB
// sRGB bitmap context, CGContextDrawImage with the identity CTM and
// CGBitmapContextCreateImage. Each row reports the mean time per operation;
// the peers' rows carry ratio = Orvane / peer. Times are CPU time of the
// whole process (counter ms, per operation).
#include <benchmark/benchmark.h>
#include <pixman.h>
#include <vips/vips.h>

#include <time.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "orvane/Platform/CoreGraphics/CGContext.h"
#include "orvane/Platform/CoreGraphics/CGImage.h"

namespace {

using namespace orvane;

// A smooth picture with some noise: gradients, rings and grain, premultiplied
// RGBA (opaque), so no filter gets an easy constant.
std::vector<std::uint8_t> picture(int w, int h) {
  std::vector<std::uint8_t> px(static_cast<std::size_t>(w) * h * 4);
  std::mt19937 rng(7);
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      std::uint8_t* p = &px[(static_cast<std::size_t>(y) * w + x) * 4];
      const double r = std::hypot(x - w / 2.0, y - h / 2.0);
      const int noise = static_cast<int>(rng() % 17) - 8;
      p[0] = static_cast<std::uint8_t>(std::clamp(255.0 * x / w + noise, 0.0, 255.0));
      p[1] = static_cast<std::uint8_t>(std::clamp(127.5 + 127.5 * std::sin(r / 40.0) + noise, 0.0, 255.0));
      p[2] = static_cast<std::uint8_t>(std::clamp(255.0 * y / h + noise, 0.0, 255.0));
      p[3] = 255;
    }
  return px;
}

struct Source {
  int width, height;
  std::vector<std::uint8_t> rgba;  // R G B A bytes
  std::vector<std::uint32_t> argb;  // pixman's a8r8g8b8 (host order)
  CGImageRef image;
};

const Source& source(int w, int h) {
  static std::map<std::pair<int, int>, Source> sources;
  auto it = sources.find({w, h});
  if (it != sources.end()) return it->second;
  Source s;
  s.width = w;
  s.height = h;
  s.rgba = picture(w, h);
  s.argb.resize(static_cast<std::size_t>(w) * h);
  for (std::size_t i = 0; i < s.argb.size(); ++i) {
    const std::uint8_t* p = &s.rgba[i * 4];
    s.argb[i] = (std::uint32_t{p[3]} << 24) | (std::uint32_t{p[0]} << 16) | (std::uint32_t{p[1]} << 8) | p[2];
  }
  s.image = CGImageCreate(static_cast<std::size_t>(w), static_cast<std::size_t>(h), 8, 32,
                          static_cast<std::size_t>(w) * 4, CGColorSpaceCreateWithName(kCGColorSpaceSRGB),
                          kCGImageAlphaPremultipliedLast, CGDataProviderCreateWithData(s.rgba), nullptr,
                          true, kCGRenderingIntentDefault);
  return sources.emplace(std::make_pair(w, h), std::move(s)).first->second;
}

// Per-row totals shared by the rows of one comparison, to report ratios.
std::map<std::string, double>& means() {
  static std::map<std::string, double> m;
  return m;
}

void report(benchmark::State& state, const std::string& key, const std::string& peerOf) {
  const double mean = state.iterations() ? 1e3 * state.counters["seconds"] / static_cast<double>(state.iterations()) : 0;
  state.counters.erase("seconds");
  state.counters["ms"] = mean;
  means()[key] = mean;
  if (!peerOf.empty() && means().count(peerOf) && mean > 0) state.counters["ratio"] = means()[peerOf] / mean;
}

// CPU time of the whole process: libvips works on a thread of its own, and
// the other processes on a shared machine do not count.
double now() {
  timespec ts{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
  return static_cast<double>(ts.tv_sec) + 1e-9 * static_cast<double>(ts.tv_nsec);
}

void Orvane(benchmark::State& state, int sw, int sh, int dw, int dh, const char* key) {
  const Source& s = source(sw, sh);
  const auto space = CGColorSpaceCreateWithName(kCGColorSpaceSRGB);
  double total = 0;
  for (auto _ : state) {
    const double t0 = now();
    auto ctx = CGBitmapContextCreate(nullptr, static_cast<std::size_t>(dw), static_cast<std::size_t>(dh), 8,
                                     static_cast<std::size_t>(dw) * 4, space, kCGImageAlphaPremultipliedFirst);
    CGContextDrawImage(ctx, CGRectMake(0, 0, dw, dh), s.image);
    CGContextFlush(ctx);
    auto out = CGBitmapContextCreateImage(ctx);
    benchmark::DoNotOptimize(out);
    total += now() - t0;
  }
  state.counters["seconds"] = total;
  report(state, key, "");
}

void Pixman(benchmark::State& state, int sw, int sh, int dw, int dh, bool box, const char* key,
            const char* orvaneKey) {
  const Source& s = source(sw, sh);
  pixman_image_t* src = pixman_image_create_bits(PIXMAN_a8r8g8b8, sw, sh,
                                                 const_cast<std::uint32_t*>(s.argb.data()), sw * 4);
  pixman_transform_t t;
  pixman_transform_init_scale(&t, pixman_double_to_fixed(double(sw) / dw), pixman_double_to_fixed(double(sh) / dh));
  pixman_image_set_transform(src, &t);
  if (box) {
    int n = 0;
    pixman_fixed_t* params = pixman_filter_create_separable_convolution(
        &n, pixman_double_to_fixed(double(sw) / dw), pixman_double_to_fixed(double(sh) / dh),
        PIXMAN_KERNEL_BOX, PIXMAN_KERNEL_BOX, PIXMAN_KERNEL_BOX, PIXMAN_KERNEL_BOX, 0, 0);
    pixman_image_set_filter(src, PIXMAN_FILTER_SEPARABLE_CONVOLUTION, params, n);
    free(params);
  } else {
    pixman_image_set_filter(src, PIXMAN_FILTER_BILINEAR, nullptr, 0);
  }
  pixman_image_set_repeat(src, PIXMAN_REPEAT_PAD);
  double total = 0;
  for (auto _ : state) {
    const double t0 = now();
    std::vector<std::uint32_t> out(static_cast<std::size_t>(dw) * dh);
    pixman_image_t* dst = pixman_image_create_bits(PIXMAN_a8r8g8b8, dw, dh, out.data(), dw * 4);
    pixman_image_composite32(PIXMAN_OP_OVER, src, nullptr, dst, 0, 0, 0, 0, 0, 0, dw, dh);
    pixman_image_unref(dst);
    benchmark::DoNotOptimize(out.data());
    total += now() - t0;
  }
  pixman_image_unref(src);
  state.counters["seconds"] = total;
  report(state, key, orvaneKey);
}

void Vips(benchmark::State& state, int sw, int sh, int dw, int dh, const char* key, const char* orvaneKey) {
  const Source& s = source(sw, sh);
  double total = 0;
  for (auto _ : state) {
    const double t0 = now();
    VipsImage* in = vips_image_new_from_memory(s.rgba.data(), s.rgba.size(), sw, sh, 4, VIPS_FORMAT_UCHAR);
    VipsImage* out = nullptr;
    if (vips_resize(in, &out, double(dw) / sw, "vscale", double(dh) / sh, nullptr) != 0) {
      state.SkipWithError(vips_error_buffer());
      g_object_unref(in);
      break;
    }
    std::size_t size = 0;
    void* mem = vips_image_write_to_memory(out, &size);
    benchmark::DoNotOptimize(mem);
    g_free(mem);
    g_object_unref(out);
    g_object_unref(in);
    total += now() - t0;
  }
  state.counters["seconds"] = total;
  report(state, key, orvaneKey);
}

void registerAll() {
  struct Case {
    int sw, sh, dw, dh;
    const char* name;
  };
  for (const Case& c : {Case{5120, 2880, 256, 144, "shrink_5120x2880_to_256x144"},
                        Case{5120, 2880, 1280, 720, "shrink_5120x2880_to_1280x720"}}) {
    const std::string o = std::string(c.name) + "/orvane";
    benchmark::RegisterBenchmark(o.c_str(), [c, o](benchmark::State& st) { Orvane(st, c.sw, c.sh, c.dw, c.dh, o.c_str()); })
        ->Unit(benchmark::kMillisecond)->MinTime(1.0);
    const std::string p = std::string(c.name) + "/pixman_box";
    benchmark::RegisterBenchmark(p.c_str(), [c, p, o](benchmark::State& st) { Pixman(st, c.sw, c.sh, c.dw, c.dh, true, p.c_str(), o.c_str()); })
        ->Unit(benchmark::kMillisecond)->MinTime(1.0);
    const std::string v = std::string(c.name) + "/vips_resize";
    benchmark::RegisterBenchmark(v.c_str(), [c, v, o](benchmark::State& st) { Vips(st, c.sw, c.sh, c.dw, c.dh, v.c_str(), o.c_str()); })
        ->Unit(benchmark::kMillisecond)->MinTime(1.0);
  }
  const std::string o = "enlarge2x_1280x720_to_2560x1440/orvane";
  benchmark::RegisterBenchmark(o.c_str(), [o](benchmark::State& st) { Orvane(st, 1280, 720, 2560, 1440, o.c_str()); })
      ->Unit(benchmark::kMillisecond)->MinTime(1.0);
  const std::string p = "enlarge2x_1280x720_to_2560x1440/pixman_bilinear";
  benchmark::RegisterBenchmark(p.c_str(), [p, o](benchmark::State& st) { Pixman(st, 1280, 720, 2560, 1440, false, p.c_str(), o.c_str()); })
      ->Unit(benchmark::kMillisecond)->MinTime(1.0);
}

}  // namespace

int main(int argc, char** argv) {
  if (VIPS_INIT(argv[0])) return 1;
  vips_concurrency_set(1);
  vips_cache_set_max(0);
  registerAll();
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  vips_shutdown();
  return 0;
}
