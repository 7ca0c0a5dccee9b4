// Core Image rendering of a transform chain beside one Core Graphics draw of
// the same image with the chain's transforms composed by hand, in the same
// run. Rendering composes the chain and samples the source once, so the
// chain should cost hardly more than the single draw: the ratio column
// (chain time / single draw time) is the figure that matters, target <= 1.1.
// The two sides alternate within each iteration (which goes first alternates
// too) and are timed in thread CPU time, so load from other processes falls
// on both alike.
#include <benchmark/benchmark.h>

#include <time.h>

#include <cmath>
#include <cstdint>
#include <functional>
#include <numbers>
#include <vector>

#include "orvane/Platform/CoreGraphics/CGAffineTransform.h"
#include "orvane/Platform/CoreGraphics/CGContext.h"
#include "orvane/Platform/CoreImage/CIContext.h"

namespace {

using namespace orvane;

constexpr std::size_t kWidth = 2560, kHeight = 1600;

double threadSeconds() {
  timespec t{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
}

// A photo-sized opaque sRGB image with smooth gradients and fine detail.
CGImageRef photo() {
  Data bytes(kWidth * kHeight * 4);
  for (std::size_t y = 0; y < kHeight; ++y)
    for (std::size_t x = 0; x < kWidth; ++x) {
      std::uint8_t* p = &bytes[(y * kWidth + x) * 4];
      p[0] = static_cast<std::uint8_t>(x * 255 / kWidth);
      p[1] = static_cast<std::uint8_t>(y * 255 / kHeight);
      p[2] = static_cast<std::uint8_t>((x ^ y) & 0xFF);
      p[3] = 255;
    }
  return CGImageCreate(kWidth, kHeight, 8, 32, kWidth * 4,
                       CGColorSpaceCreateWithName(kCGColorSpaceSRGB),
                       kCGImageAlphaPremultipliedLast, CGDataProviderCreateWithData(bytes),
                       nullptr, false, kCGRenderingIntentDefault);
}

CGAffineTransform about(const CGAffineTransform& t, double cx, double cy) {
  return CGAffineTransformConcat(
      CGAffineTransformConcat(CGAffineTransformMakeTranslation(-cx, -cy), t),
      CGAffineTransformMakeTranslation(cx, cy));
}

// Ten steps: small turns, scalings and moves about the picture's centre.
std::vector<CGAffineTransform> chain(double finalScale) {
  const double cx = kWidth / 2.0, cy = kHeight / 2.0;
  const double perStep = std::pow(finalScale, 0.1);
  std::vector<CGAffineTransform> steps;
  for (int i = 0; i < 10; ++i) {
    const double turn = (i % 2 ? -1.5 : 2.0) * std::numbers::pi / 180;
    steps.push_back(about(CGAffineTransformConcat(CGAffineTransformMakeRotation(turn),
                                                  CGAffineTransformMakeScale(perStep, perStep)),
                          cx, cy));
    steps.back().tx += (i % 3) - 1.0;
  }
  return steps;
}

void pair(const char* name, double finalScale) {
  auto* b = benchmark::RegisterBenchmark(name, [finalScale](benchmark::State& state) {
    const CGImageRef source = photo();
    const CGColorSpaceRef srgb = CGColorSpaceCreateWithName(kCGColorSpaceSRGB);
    CGContextRef target = CGBitmapContextCreate(nullptr, kWidth, kHeight, 8, 0, srgb,
                                                kCGImageAlphaPremultipliedFirst);
    const auto steps = chain(finalScale);
    CGAffineTransform composed = CGAffineTransformIdentity;
    auto image = CIImage::imageWithCGImage(source);
    for (const auto& t : steps) {
      composed = CGAffineTransformConcat(composed, t);
      image = image->imageByApplyingTransform(t);
    }
    const auto ci = CIContext::contextWithCGContextOptions(target, nullptr);
    const CGRect frame = CGRectMake(0, 0, kWidth, kHeight);
    const std::function<void()> viaChain = [&] {
      CGContextClearRect(target, frame);
      ci->drawImageInRectFromRect(image, frame, frame);
    };
    const std::function<void()> single = [&] {
      CGContextClearRect(target, frame);
      CGContextSaveGState(target);
      CGContextConcatCTM(target, composed);
      CGContextDrawImage(target, frame, source);
      CGContextRestoreGState(target);
    };
    double chainTime = 0, singleTime = 0;
    bool chainFirst = true;
    for (auto _ : state) {
      const double t0 = threadSeconds();
      (chainFirst ? viaChain : single)();
      const double t1 = threadSeconds();
      (chainFirst ? single : viaChain)();
      const double t2 = threadSeconds();
      (chainFirst ? chainTime : singleTime) += t1 - t0;
      (chainFirst ? singleTime : chainTime) += t2 - t1;
      chainFirst = !chainFirst;
    }
    const double n = static_cast<double>(state.iterations());
    state.counters["chain_ms"] = chainTime / n * 1e3;
    state.counters["single_ms"] = singleTime / n * 1e3;
    state.counters["ratio"] = chainTime / singleTime;
  });
  b->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  // The chain keeps the size (turns only, net scale 1) and shrinks to half.
  pair("BM_CoreImage_TenStepChain_vs_OneDraw/turns", 1.0);
  pair("BM_CoreImage_TenStepChain_vs_OneDraw/turns_and_shrink", 0.5);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
