// The oval-arc path for a 4000 x 3000 rectangle, a full turn (about 22 000
// segments), beside bare loops that step the same angles and compute the same
// points with sin, cos and sqrt. Compare the per_segment column (CPU time per
// segment): BM_OvalArc_BareLoop is the arithmetic alone, BareLoopStored adds
// storing the points in reused memory, BareLoopFreshVector in new memory (page
// faults included), and BM_OvalArc_Orvane is the whole path operation.
#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

#include "orvane/Math/HXMathUtility.h"
#include "orvane/Math/NSBezierPathOvalArc.h"

namespace {

using orvane::CGPoint;
using orvane::CGRect;

const CGRect kRect = orvane::CGRectMake(0, 0, 4000, 3000);
const double kStart = 0.0;
const double kEnd = orvane::HXMathUtility::pi() + orvane::HXMathUtility::pi();

// The point of the inscribed ellipse at `angle`, written out.
inline CGPoint ovalPoint(const CGRect& r, double angle) {
  const double s = std::sin(angle), k = std::cos(angle);
  const double a = r.size.width * 0.5 < 1.0 ? 1.0 : r.size.width * 0.5;
  const double b = r.size.height * 0.5 < 1.0 ? 1.0 : r.size.height * 0.5;
  const double radius = (a * b) / std::sqrt(s * (a * (s * a)) + k * (b * (k * b)));
  return {(r.origin.x + r.size.width * 0.5) + k * radius,
          (r.origin.y + r.size.height * 0.5) + s * radius};
}

void setSegmentCounters(benchmark::State& state, double segments) {
  state.counters["segments"] = segments;
  state.counters["per_segment"] = benchmark::Counter(
      segments, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void BM_OvalArc_Orvane(benchmark::State& state) {
  std::size_t segments = 0;
  for (auto _ : state) {
    auto path = orvane::NSBezierPathOvalArc::bezierPathWithOvalArcInRectStartAngleEndAngle(
        kRect, kStart, kEnd);
    segments = path->elementCount() - 1;
    benchmark::DoNotOptimize(path);
  }
  setSegmentCounters(state, static_cast<double>(segments));
}

// The same points into a vector that keeps its capacity between iterations.
void BM_OvalArc_BareLoopStored(benchmark::State& state) {
  const double step = std::asin(2.0 / (kRect.size.width + kRect.size.height));
  std::vector<CGPoint> points;
  for (auto _ : state) {
    points.clear();
    for (double a = kStart; a <= kEnd; a += step) points.push_back(ovalPoint(kRect, a));
    benchmark::DoNotOptimize(points.data());
    benchmark::ClobberMemory();
  }
  setSegmentCounters(state, static_cast<double>(points.size()));
}

// The same points into a new vector each time, sized in advance as the path
// sizes its own: the cost of fresh memory for every result.
void BM_OvalArc_BareLoopFreshVector(benchmark::State& state) {
  const double step = std::asin(2.0 / (kRect.size.width + kRect.size.height));
  std::size_t count = 0;
  for (auto _ : state) {
    std::vector<CGPoint> points;
    points.reserve(static_cast<std::size_t>((kEnd - kStart) / step) + 2);
    for (double a = kStart; a <= kEnd; a += step) points.push_back(ovalPoint(kRect, a));
    count = points.size();
    benchmark::DoNotOptimize(points.data());
    benchmark::ClobberMemory();
  }
  setSegmentCounters(state, static_cast<double>(count));
}

// The same points, only summed: the arithmetic alone.
void BM_OvalArc_BareLoop(benchmark::State& state) {
  const double step = std::asin(2.0 / (kRect.size.width + kRect.size.height));
  std::size_t count = 0;
  for (auto _ : state) {
    double sum = 0.0;
    count = 0;
    for (double a = kStart; a <= kEnd; a += step) {
      const CGPoint p = ovalPoint(kRect, a);
      sum += p.x + p.y;
      ++count;
    }
    benchmark::DoNotOptimize(sum);
  }
  setSegmentCounters(state, static_cast<double>(count));
}

BENCHMARK(BM_OvalArc_Orvane);
BENCHMARK(BM_OvalArc_BareLoopFreshVector);
BENCHMARK(BM_OvalArc_BareLoopStored);
BENCHMARK(BM_OvalArc_BareLoop);

}  // namespace

BENCHMARK_MAIN();
