// The rasteriser. Images are resampled separably when the CTM keeps the axes
// upright (scales, flips, translations): shrinking axes average areas,
// enlarging axes interpolate. Shrinking vertically streams the source rows
// once, top to bottom: rows that lie wholly inside one device row are summed
// as integers (vectorised), and each device row is reduced horizontally once.
// Other transforms sample each device pixel through the inverse transform,
// after an upright area-averaging pass when they shrink.

#include "Platform/CoreGraphics/Draw.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <type_traits>
#include <vector>

#include "Platform/CoreGraphics/ColorSpaceInternal.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

// Hot loops are compiled twice, for AVX2 and for any x86-64, and the loader
// picks one through an ifunc resolver. Under ThreadSanitizer that resolver is
// instrumented and runs before the sanitizer's runtime is up, so those builds
// keep the plain version.
#if defined(__SANITIZE_THREAD__)
#define ORVANE_AVX2_CLONES
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define ORVANE_AVX2_CLONES
#endif
#endif
#ifndef ORVANE_AVX2_CLONES
#define ORVANE_AVX2_CLONES __attribute__((target_clones("avx2", "default")))
#endif

namespace orvane {

namespace {

// ---------------------------------------------------------------------------
// Scratch memory, kept per thread between draws: fresh pages cost far more
// than the arithmetic of a thumbnail.

struct Scratch {
  std::vector<float> accumulate[2];
  std::vector<float> horizontal;
  std::vector<float> canonical;
  std::vector<float> matched;
  std::vector<float> unmatched;
  std::vector<float> converted;
  std::vector<std::uint16_t> sum16;
  std::vector<std::uint32_t> sum32;
  std::vector<float> cache;
  std::vector<std::uint8_t> bytes;
};

Scratch& scratch() {
  thread_local Scratch s;
  return s;
}

template <class T>
T* sized(std::vector<T>& v, std::size_t n) {
  if (v.size() < n) v.resize(n);
  return v.data();
}

// Not-a-number clamps to 0.
inline float clamp01(float v) { return v > 0.f ? (v < 1.f ? v : 1.f) : 0.f; }
inline double clamp01d(double v) { return v > 0.0 ? (v < 1.0 ? v : 1.0) : 0.0; }

bool finite(const CGAffineTransform& t) {
  return std::isfinite(t.a) && std::isfinite(t.b) && std::isfinite(t.c) && std::isfinite(t.d) &&
         std::isfinite(t.tx) && std::isfinite(t.ty);
}

// ---------------------------------------------------------------------------
// One axis of an upright draw: for each device pixel along it, the source
// pixels that contribute and their weights. Weights include the share of the
// device pixel that the image (and the clip) covers, so they sum to it.

enum class Filter { box, nearest, linear, cubic };

struct Axis {
  int d0 = 0, d1 = 0;  // device pixels [d0, d1)
  Filter filter = Filter::box;
  float unit = 0;      // box: the weight of a source pixel wholly inside
  std::vector<int> first, count, offset;
  std::vector<float> weights, coverage;
  int maxTaps = 0;
  int size() const { return d1 - d0; }
};

// Device coordinate = off + scale * source coordinate; the device span is
// limited to [lo, hi).
Axis makeAxis(double off, double scale, int n, double lo, double hi, Filter filter) {
  Axis ax;
  ax.filter = filter;
  ax.unit = static_cast<float>(std::fabs(scale));
  const double e0 = off, e1 = off + scale * n;
  lo = std::max(lo, std::min(e0, e1));
  hi = std::min(hi, std::max(e0, e1));
  if (!(hi > lo)) return ax;
  ax.d0 = static_cast<int>(std::floor(lo));
  ax.d1 = static_cast<int>(std::ceil(hi));
  const int m = ax.size();
  ax.first.resize(m);
  ax.count.resize(m);
  ax.offset.resize(m);
  ax.coverage.resize(m);
  ax.weights.reserve(static_cast<std::size_t>(m) * 4);
  const double nmax = n;
  for (int j = 0; j < m; ++j) {
    const double p = std::max<double>(ax.d0 + j, lo), q = std::min<double>(ax.d0 + j + 1, hi);
    const double cov = std::max(0.0, q - p);
    ax.coverage[j] = static_cast<float>(cov);
    ax.offset[j] = static_cast<int>(ax.weights.size());
    int f = 0, c = 0;
    if (cov > 0) {
      if (filter == Filter::box) {
        double u0 = (p - off) / scale, u1 = (q - off) / scale;
        if (u0 > u1) std::swap(u0, u1);
        u0 = std::clamp(u0, 0.0, nmax);
        u1 = std::clamp(u1, 0.0, nmax);
        f = std::min(static_cast<int>(std::floor(u0)), n - 1);
        const int l = std::clamp(static_cast<int>(std::ceil(u1)) - 1, f, n - 1);
        c = l - f + 1;
        for (int k = f; k <= l; ++k) {
          const double ov = std::min<double>(k + 1, u1) - std::max<double>(k, u0);
          ax.weights.push_back(static_cast<float>(std::max(0.0, ov) * ax.unit));
        }
      } else {
        const double centre = (p + q) / 2;
        const double u = (centre - off) / scale;
        if (filter == Filter::nearest) {
          f = static_cast<int>(std::clamp(std::floor(u), 0.0, nmax - 1));
          c = 1;
          ax.weights.push_back(static_cast<float>(cov));
        } else if (filter == Filter::linear) {
          const double s = std::clamp(u - 0.5, 0.0, nmax - 1);
          f = std::min(static_cast<int>(s), n - 1);
          const double t = s - f;
          if (f + 1 < n) {
            c = 2;
            ax.weights.push_back(static_cast<float>((1 - t) * cov));
            ax.weights.push_back(static_cast<float>(t * cov));
          } else {
            c = 1;
            ax.weights.push_back(static_cast<float>(cov));
          }
        } else {
          // Catmull-Rom; taps outside the image fold onto its edge pixels.
          const double s = std::clamp(u - 0.5, -2.0, nmax + 1);
          const int i0 = static_cast<int>(std::floor(s));
          const double t = s - i0;
          const double w[4] = {(-t * t * t + 2 * t * t - t) / 2, (3 * t * t * t - 5 * t * t + 2) / 2,
                               (-3 * t * t * t + 4 * t * t + t) / 2, (t * t * t - t * t) / 2};
          f = std::clamp(i0 - 1, 0, n - 1);
          const int l = std::clamp(i0 + 2, 0, n - 1);
          c = l - f + 1;
          const std::size_t base = ax.weights.size();
          ax.weights.resize(base + static_cast<std::size_t>(c), 0.f);
          for (int k = 0; k < 4; ++k) {
            const int idx = std::clamp(i0 - 1 + k, 0, n - 1);
            ax.weights[base + static_cast<std::size_t>(idx - f)] += static_cast<float>(w[k] * cov);
          }
        }
      }
    }
    ax.first[j] = f;
    ax.count[j] = c;
    ax.maxTaps = std::max(ax.maxTaps, c);
  }
  return ax;
}

// ---------------------------------------------------------------------------
// Horizontal reduction of one row of C-channel pixels to the device columns
// of an axis: out[j] += mul * sum_k w[j][k] * row[first[j] + k]. A box axis
// sums whole source pixels (integers as integers) and weighs only its two end
// pixels.

template <class T>
using WideSum = std::conditional_t<std::is_floating_point_v<T>, float,
                                   std::conditional_t<(sizeof(T) >= 4), std::uint64_t, std::uint32_t>>;

template <class T, int C>
void reduceRow(const T* row, const Axis& ax, float* out, float mul) {
  const int m = ax.size();
  const float* weights = ax.weights.data();
  if (ax.filter == Filter::box) {
    const float unit = ax.unit * mul;
    for (int j = 0; j < m; ++j) {
      const int n = ax.count[j];
      if (n == 0) continue;
      const T* p = row + static_cast<std::ptrdiff_t>(ax.first[j]) * C;
      const float* w = weights + ax.offset[j];
      float* o = out + static_cast<std::ptrdiff_t>(j) * C;
      if (n == 1) {
        for (int c = 0; c < C; ++c) o[c] += mul * w[0] * static_cast<float>(p[c]);
        continue;
      }
      WideSum<T> inner[C] = {};
      for (int k = 1; k < n - 1; ++k)
        for (int c = 0; c < C; ++c) inner[c] += p[k * C + c];
      const T* last = p + (n - 1) * C;
      for (int c = 0; c < C; ++c)
        o[c] += mul * (w[0] * static_cast<float>(p[c]) + w[n - 1] * static_cast<float>(last[c])) +
                unit * static_cast<float>(inner[c]);
    }
    return;
  }
  for (int j = 0; j < m; ++j) {
    const int n = ax.count[j];
    const T* p = row + static_cast<std::ptrdiff_t>(ax.first[j]) * C;
    const float* w = weights + ax.offset[j];
    float* o = out + static_cast<std::ptrdiff_t>(j) * C;
    float s[C] = {};
    for (int k = 0; k < n; ++k)
      for (int c = 0; c < C; ++c) s[c] += w[k] * static_cast<float>(p[k * C + c]);
    for (int c = 0; c < C; ++c) o[c] += mul * s[c];
  }
}

// Sums of whole rows: the inner loop of a shrinking draw, one add per source
// byte. `start` makes the row the first of a new sum instead (no clearing pass).
// Built for AVX2 too, chosen at load time.
template <class A, class S>
inline void addRowLoop(A* __restrict acc, const S* __restrict row, std::size_t n, bool start) {
  if (start) {
    for (std::size_t i = 0; i < n; ++i) acc[i] = row[i];
  } else {
    for (std::size_t i = 0; i < n; ++i) acc[i] = static_cast<A>(acc[i] + row[i]);
  }
}
ORVANE_AVX2_CLONES void addRow(std::uint16_t* acc, const std::uint8_t* row, std::size_t n, bool start) {
  addRowLoop(acc, row, n, start);
}
ORVANE_AVX2_CLONES void addRow(std::uint32_t* acc, const std::uint16_t* row, std::size_t n, bool start) {
  addRowLoop(acc, row, n, start);
}

// out += w * in, over whole rows of samples or sums; out = w * in with `start`.
template <class S>
inline void addWeightedLoop(float* __restrict out, const S* __restrict in, float w, std::size_t n, bool start) {
  if (start) {
    for (std::size_t i = 0; i < n; ++i) out[i] = w * static_cast<float>(in[i]);
  } else {
    for (std::size_t i = 0; i < n; ++i) out[i] += w * static_cast<float>(in[i]);
  }
}
ORVANE_AVX2_CLONES void addScaled(float* out, const float* in, float w, std::size_t n, bool start = false) {
  addWeightedLoop(out, in, w, n, start);
}
ORVANE_AVX2_CLONES void addScaled(float* out, const std::uint8_t* in, float w, std::size_t n, bool start) {
  addWeightedLoop(out, in, w, n, start);
}
ORVANE_AVX2_CLONES void addScaled(float* out, const std::uint16_t* in, float w, std::size_t n, bool start) {
  addWeightedLoop(out, in, w, n, start);
}
ORVANE_AVX2_CLONES void addScaled(float* out, const std::uint32_t* in, float w, std::size_t n, bool start) {
  addWeightedLoop(out, in, w, n, start);
}

// ---------------------------------------------------------------------------
// Source rows in a form that can be averaged as stored: premultiplied (or
// opaque) components in host order. Other layouts are converted row by row.

template <class T>
void convertRow(const std::uint8_t* in, T* out, int width, const PixelFormat& f) {
  const int C = f.channels;
  const std::size_t n = static_cast<std::size_t>(width) * static_cast<std::size_t>(C);
  if constexpr (sizeof(T) == 2) {
    for (std::size_t i = 0; i < n; ++i) {
      std::uint16_t v;
      std::memcpy(&v, in + 2 * i, 2);
      out[i] = f.bigEndian16 ? static_cast<std::uint16_t>((v >> 8) | (v << 8)) : v;
    }
  } else {
    std::memcpy(out, in, n);
  }
  if (f.premultiplied || f.alpha < 0) return;
  constexpr std::uint32_t kMax = sizeof(T) == 1 ? 255u : 65535u;
  for (int x = 0; x < width; ++x) {
    T* p = out + static_cast<std::ptrdiff_t>(x) * C;
    const std::uint32_t a = p[f.alpha];
    for (int c = 0; c < C; ++c)
      if (c != f.alpha) p[c] = static_cast<T>((p[c] * a + kMax / 2) / kMax);
  }
}

// ---------------------------------------------------------------------------
// The last stage: premultiplied source values of one device row (C channels
// in the source's layout, already weighted by coverage) become colours of
// the target's space and are composited source-over into the bitmap.

// A colour value 0...1 as a byte, rounded; not-a-number gives 0.
inline std::uint8_t toByte(float v) { return static_cast<std::uint8_t>(clamp01(v) * 255.f + 0.5f); }

// out[i] = toByte(in[i] * scale), sixteen at a time where SSE2 is (the same
// operations in the same order, so the same bytes).
void toBytes(const float* in, float scale, std::uint8_t* out, std::size_t n) {
  std::size_t i = 0;
#if defined(__x86_64__)
  const __m128 s = _mm_set1_ps(scale), zero = _mm_setzero_ps(), one = _mm_set1_ps(1.f);
  const __m128 full = _mm_set1_ps(255.f), half = _mm_set1_ps(0.5f);
  auto lane = [&](std::size_t k) {
    // max(x, 0) answers 0 for not-a-number, as clamp01 does.
    const __m128 x = _mm_min_ps(_mm_max_ps(_mm_mul_ps(_mm_loadu_ps(in + k), s), zero), one);
    return _mm_cvttps_epi32(_mm_add_ps(_mm_mul_ps(x, full), half));
  };
  for (; i + 16 <= n; i += 16) {
    const __m128i lo = _mm_packs_epi32(lane(i), lane(i + 4)), hi = _mm_packs_epi32(lane(i + 8), lane(i + 12));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), _mm_packus_epi16(lo, hi));
  }
#endif
  for (; i < n; ++i) out[i] = toByte(in[i] * scale);
}

class Emitter {
 public:
  Emitter(const DrawTarget& target, const PixelFormat& source, const CGColorSpaceRef& sourceSpace,
          float maxValue, float alpha)
      : target_(target), src_(source), inv_(1.f / maxValue), alpha_(alpha) {
    match_ = ColorMatch::between(sourceSpace, target.space);
    targetColors_ = target.format.colors;
    opaqueRGB_ = !match_ && source.alpha < 0 && source.colors == 3 && targetColors_ == 3 && alpha == 1.f;
  }

  // vals: n pixels of C floats; coverage: n per-pixel coverage (used as
  // alpha by sources without alpha), times coverageScale.
  void emit(int row, int x0, int n, const float* vals, const float* coverage, float coverageScale) {
    if (n <= 0 || row < 0 || row >= target_.height) return;
    if (!opaqueRGB_ || coverageScale < 1.f) return blend(row, x0, n, vals, coverage, coverageScale);
    // An opaque RGB source in the target's space replaces the pixels it
    // wholly covers; only partly covered edge pixels are blended.
    const int C = src_.channels;
    for (int i = 0; i < n;) {
      int j = i;
      while (j < n && coverage[j] >= 1.f) ++j;
      store(row, x0 + i, j - i, vals + static_cast<std::ptrdiff_t>(i) * C);
      if (j < n) blend(row, x0 + j, 1, vals + static_cast<std::ptrdiff_t>(j) * C, coverage + j, coverageScale);
      i = j + 1;
    }
  }

 private:
  void store(int row, int x0, int n, const float* vals) const {
    const int C = src_.channels;
    std::uint8_t* q = sized(scratch().bytes, static_cast<std::size_t>(n) * C);
    toBytes(vals, inv_, q, static_cast<std::size_t>(n) * C);
    std::uint8_t* d = target_.data + static_cast<std::size_t>(row) * target_.bytesPerRow +
                      static_cast<std::ptrdiff_t>(x0) * 4;
    // Locals throughout: every byte stored could otherwise alias a member.
    const PixelFormat& f = target_.format;
    const int R = f.red, G = f.green, B = f.blue, opaque = f.alpha >= 0 ? f.alpha : f.skip;
    const int r = src_.red, g = src_.green, b = src_.blue;
    for (int i = 0; i < n; ++i, q += C, d += 4) {
      d[R] = q[r];
      d[G] = q[g];
      d[B] = q[b];
      if (opaque >= 0) d[opaque] = 255;
    }
  }

  void blend(int row, int x0, int n, const float* vals, const float* coverage, float coverageScale) {
    Scratch& s = scratch();
    const int K = targetColors_ + 1;
    float* canon = sized(s.canonical, static_cast<std::size_t>(n) * 4);
    const int C = src_.channels;
    const bool gray = src_.colors == 1;
    const int inColors = gray ? 1 : 3;
    const int IK = inColors + 1;
    for (int i = 0; i < n; ++i) {
      const float* v = vals + static_cast<std::ptrdiff_t>(i) * C;
      float* o = canon + static_cast<std::ptrdiff_t>(i) * IK;
      const float a = src_.alpha >= 0 ? v[src_.alpha] * inv_ : coverage[i] * coverageScale;
      if (gray) {
        o[0] = v[src_.red] * inv_;
      } else {
        o[0] = v[src_.red] * inv_;
        o[1] = v[src_.green] * inv_;
        o[2] = v[src_.blue] * inv_;
      }
      o[inColors] = a;
    }
    const float* colors = canon;
    if (match_ || inColors != targetColors_) {
      float* in = sized(s.unmatched, static_cast<std::size_t>(n) * 3);
      float* out = sized(s.matched, static_cast<std::size_t>(n) * 4);
      for (int i = 0; i < n; ++i) {
        const float* o = canon + static_cast<std::ptrdiff_t>(i) * IK;
        const float a = o[inColors];
        const float r = a > 0 ? 1.f / a : 0.f;
        for (int c = 0; c < inColors; ++c) in[i * inColors + c] = clamp01(o[c] * r);
      }
      float* converted = sized(s.converted, static_cast<std::size_t>(n) * 3);
      if (match_) {
        match_->apply(in, converted, static_cast<std::size_t>(n));
      } else if (inColors == 1) {
        for (int i = 0; i < n; ++i)
          converted[3 * i] = converted[3 * i + 1] = converted[3 * i + 2] = in[i];
      } else {
        for (int i = 0; i < n; ++i)
          converted[i] = 0.2126f * in[3 * i] + 0.7152f * in[3 * i + 1] + 0.0722f * in[3 * i + 2];
      }
      for (int i = 0; i < n; ++i) {
        const float a = canon[i * IK + inColors];
        for (int c = 0; c < targetColors_; ++c)
          out[i * K + c] = clamp01(converted[i * targetColors_ + c]) * a;
        out[i * K + targetColors_] = a;
      }
      colors = out;
    }
    composite(target_, row, x0, n, colors, alpha_);
  }

 public:
  // Source-over of n premultiplied pixels (target colours + alpha, 0...1).
  static void composite(const DrawTarget& t, int row, int x0, int n, const float* px, float alpha) {
    std::uint8_t* d = t.data + static_cast<std::size_t>(row) * t.bytesPerRow;
    const PixelFormat& f = t.format;
    if (f.colors == 1) {
      for (int i = 0; i < n; ++i) {
        const float sa = px[2 * i + 1] * alpha;
        std::uint8_t* p = d + x0 + i;
        const float g = px[2 * i] * alpha + (1.f - sa) * (*p * (1.f / 255.f));
        *p = toByte(g);
      }
      return;
    }
    const int R = f.red, G = f.green, B = f.blue, A = f.alpha, S = f.skip;
    for (int i = 0; i < n; ++i) {
      const float* s = px + 4 * i;
      std::uint8_t* p = d + static_cast<std::ptrdiff_t>(x0 + i) * 4;
      const float sa = s[3] * alpha;
      if (sa >= 1.f) {
        p[R] = toByte(s[0] * alpha);
        p[G] = toByte(s[1] * alpha);
        p[B] = toByte(s[2] * alpha);
        if (A >= 0) p[A] = 255;
      } else {
        const float k = (1.f - sa) * (1.f / 255.f);
        p[R] = toByte(s[0] * alpha + k * p[R]);
        p[G] = toByte(s[1] * alpha + k * p[G]);
        p[B] = toByte(s[2] * alpha + k * p[B]);
        if (A >= 0) p[A] = toByte(sa + k * p[A]);
      }
      if (S >= 0) p[S] = 255;
    }
  }

 private:
  const DrawTarget& target_;
  const PixelFormat& src_;
  float inv_;
  float alpha_;
  int targetColors_;
  bool opaqueRGB_;
  std::shared_ptr<const ColorMatch> match_;
};

// ---------------------------------------------------------------------------
// Vertical area averaging, fed one source row at a time, top to bottom.

template <class T, int C>
class BoxRows {
 public:
  using Sum = std::conditional_t<sizeof(T) == 1, std::uint16_t, std::uint32_t>;
  // Rows that fit the integer sums before they must be folded into floats.
  static constexpr int kLimit = sizeof(T) == 1 ? 257 : 65537;

  BoxRows(const Axis& ax, const Axis& ay, int sourceWidth, Emitter& emitter)
      : ax_(ax), ay_(ay), width_(sourceWidth), emitter_(emitter) {
    const int m = ay.size();
    order_.resize(static_cast<std::size_t>(m));
    for (int i = 0; i < m; ++i) order_[static_cast<std::size_t>(i)] = i;
    // Device rows in the order their source rows come.
    if (m > 1 && ay.first[0] > ay.first[static_cast<std::size_t>(m - 1)])
      std::reverse(order_.begin(), order_.end());
    order_.erase(std::remove_if(order_.begin(), order_.end(),
                                [&](int i) { return ay.count[static_cast<std::size_t>(i)] == 0; }),
                 order_.end());
    Scratch& s = scratch();
    const std::size_t n = static_cast<std::size_t>(width_) * C;
    if constexpr (sizeof(T) == 1) sums_ = sized(s.sum16, n);
    else sums_ = reinterpret_cast<Sum*>(sized(s.sum32, n));
    const std::size_t dn = static_cast<std::size_t>(ax.size()) * C;
    current_ = sized(s.accumulate[0], dn);
    std::fill(current_, current_ + dn, 0.f);
    vertical_ = sized(s.horizontal, n);
  }

  bool done() const { return pos_ >= order_.size(); }
  int firstRow() const { return done() ? 0 : ay_.first[static_cast<std::size_t>(order_[pos_])]; }

  // Answers false once every device row is finished.
  bool consume(int r, const T* row) {
    const std::size_t n = static_cast<std::size_t>(width_) * C;
    while (!done()) {
      const int i = order_[pos_];
      const int f = ay_.first[static_cast<std::size_t>(i)];
      const int l = f + ay_.count[static_cast<std::size_t>(i)] - 1;
      if (r < f) return true;
      if (r <= l) {
        const float w = ay_.weights[static_cast<std::size_t>(ay_.offset[static_cast<std::size_t>(i)] + r - f)];
        if (w == ay_.unit) {
          addRow(sums_, row, n, summed_ == 0);
          if (++summed_ == kLimit) foldSums();
        } else if (w > 0) {
          addScaled(vertical_, row, w, n, verticalEmpty_);
          verticalEmpty_ = false;
        }
        if (r < l) return true;
      }
      finishRow();
    }
    return false;
  }

  void finishAll() {
    while (!done()) finishRow();
  }

 private:
  void foldSums() {
    const std::size_t n = static_cast<std::size_t>(width_) * C;
    addScaled(vertical_, sums_, ay_.unit, n, verticalEmpty_);
    verticalEmpty_ = false;
    summed_ = 0;
  }

  // The device row's source rows, summed vertically, reduced across once.
  void finishRow() {
    if (summed_ > 0) foldSums();
    if (verticalEmpty_) std::fill(vertical_, vertical_ + static_cast<std::size_t>(width_) * C, 0.f);
    reduceRow<float, C>(vertical_, ax_, current_, 1.f);
    verticalEmpty_ = true;
    const int i = order_[pos_];
    emitter_.emit(ay_.d0 + i, ax_.d0, ax_.size(), current_, ax_.coverage.data(),
                  ay_.coverage[static_cast<std::size_t>(i)]);
    std::fill(current_, current_ + static_cast<std::size_t>(ax_.size()) * C, 0.f);
    ++pos_;
  }

  const Axis& ax_;
  const Axis& ay_;
  int width_;
  Emitter& emitter_;
  std::vector<int> order_;
  std::size_t pos_ = 0;
  Sum* sums_ = nullptr;
  int summed_ = 0;  // rows in sums_; none means it holds nothing to keep
  float* current_ = nullptr;
  float* vertical_ = nullptr;  // weighted source rows of the device row, full width
  bool verticalEmpty_ = true;  // vertical_ holds nothing to keep
};

// Vertical interpolation (or nearest): each needed source row is reduced
// horizontally once and kept while device rows use it.
template <class T, int C, class RowAt>
void interpolateRows(const Axis& ax, const Axis& ay, RowAt rowAt, Emitter& emitter) {
  Scratch& s = scratch();
  const std::size_t dn = static_cast<std::size_t>(ax.size()) * C;
  const int slots = std::max(1, ay.maxTaps);
  float* cache = sized(s.cache, dn * static_cast<std::size_t>(slots));
  std::vector<int> held(static_cast<std::size_t>(slots), -1);
  float* out = sized(s.accumulate[1], dn);
  const int m = ay.size();
  for (int i = 0; i < m; ++i) {
    const int f = ay.first[static_cast<std::size_t>(i)], n = ay.count[static_cast<std::size_t>(i)];
    if (n == 0) continue;
    std::fill(out, out + dn, 0.f);
    for (int k = 0; k < n; ++k) {
      const int r = f + k;
      int slot = -1;
      for (int z = 0; z < slots; ++z)
        if (held[static_cast<std::size_t>(z)] == r) slot = z;
      if (slot < 0) {
        for (int z = 0; z < slots && slot < 0; ++z) {
          const int h = held[static_cast<std::size_t>(z)];
          if (h < f || h >= f + n) slot = z;
        }
        float* c = cache + dn * static_cast<std::size_t>(slot);
        std::fill(c, c + dn, 0.f);
        reduceRow<T, C>(rowAt(r), ax, c, 1.f);
        held[static_cast<std::size_t>(slot)] = r;
      }
      const float w = ay.weights[static_cast<std::size_t>(ay.offset[static_cast<std::size_t>(i)] + k)];
      addScaled(out, cache + dn * static_cast<std::size_t>(slot), w, dn);
    }
    emitter.emit(ay.d0 + i, ax.d0, ax.size(), out, ax.coverage.data(),
                 ay.coverage[static_cast<std::size_t>(i)]);
  }
}

// Enlarging 8-bit RGB(A) without colour matching or global alpha, in fixed
// point: each source row is interpolated horizontally once into 16-bit
// values with 8 fraction bits, device rows blend two of those, and the result
// goes straight into the bitmap. Weights keep the edge coverage.

// out = (w0 * h0 + w1 * h1) / 65536, rounded: weights of 8 bits times values
// with 8 fraction bits, as the high halves of 16 x 16-bit products (one
// multiply instruction per lane). A whole weight (256) becomes 65535/65536,
// which the rounding absorbs; sums stay below 65536.
void blendRowsScalar(std::uint8_t* out, const std::uint16_t* h0, std::uint16_t a,
                     const std::uint16_t* h1, std::uint16_t b, std::size_t i, std::size_t n) {
  for (; i < n; ++i) {
    const std::uint32_t hi0 = (std::uint32_t{h0[i]} * a) >> 16, hi1 = (std::uint32_t{h1[i]} * b) >> 16;
    out[i] = static_cast<std::uint8_t>((hi0 + hi1 + 128u) >> 8);
  }
}

#if defined(__x86_64__)
__attribute__((target("avx2"))) void blendRowsAvx2(std::uint8_t* out, const std::uint16_t* h0,
                                                   std::uint16_t a, const std::uint16_t* h1,
                                                   std::uint16_t b, std::size_t n) {
  const __m256i va = _mm256_set1_epi16(static_cast<short>(a));
  const __m256i vb = _mm256_set1_epi16(static_cast<short>(b));
  const __m256i half = _mm256_set1_epi16(128);
  std::size_t i = 0;
  for (; i + 32 <= n; i += 32) {
    __m256i r[2];
    for (int k = 0; k < 2; ++k) {
      const __m256i x = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(h0 + i + 16 * k));
      const __m256i y = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(h1 + i + 16 * k));
      const __m256i sum = _mm256_add_epi16(_mm256_mulhi_epu16(x, va), _mm256_mulhi_epu16(y, vb));
      r[k] = _mm256_srli_epi16(_mm256_add_epi16(sum, half), 8);
    }
    // packus interleaves 128-bit halves; permute them back into order.
    const __m256i packed = _mm256_permute4x64_epi64(_mm256_packus_epi16(r[0], r[1]), 0xD8);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + i), packed);
  }
  blendRowsScalar(out, h0, a, h1, b, i, n);
}
#endif

void blendRows(std::uint8_t* out, const std::uint16_t* h0, std::uint32_t w0, const std::uint16_t* h1,
               std::uint32_t w1, std::size_t n) {
  const std::uint16_t a = static_cast<std::uint16_t>(std::min(w0 << 8, 65535u));
  const std::uint16_t b = static_cast<std::uint16_t>(std::min(w1 << 8, 65535u));
  std::size_t i = 0;
#if defined(__x86_64__)
  static const bool avx2 = __builtin_cpu_supports("avx2");
  if (avx2) return blendRowsAvx2(out, h0, a, h1, b, n);
  const __m128i va = _mm_set1_epi16(static_cast<short>(a)), vb = _mm_set1_epi16(static_cast<short>(b));
  const __m128i half = _mm_set1_epi16(128);
  for (; i + 16 <= n; i += 16) {
    auto lane = [&](std::size_t k) {
      const __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(h0 + k));
      const __m128i y = _mm_loadu_si128(reinterpret_cast<const __m128i*>(h1 + k));
      const __m128i s = _mm_add_epi16(_mm_mulhi_epu16(x, va), _mm_mulhi_epu16(y, vb));
      return _mm_srli_epi16(_mm_add_epi16(s, half), 8);
    };
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), _mm_packus_epi16(lane(i), lane(i + 8)));
  }
#endif
  blendRowsScalar(out, h0, a, h1, b, i, n);
}

// Four-channel rows: each column's two weights stand as eight 16-bit lanes
// (w0 w0 w0 w0 w1 w1 w1 w1) beside the two source pixels they multiply.
ORVANE_AVX2_CLONES void interpolateRow8x4(
    const std::uint8_t* __restrict row, const int* __restrict first, int m,
    const std::uint16_t* __restrict lanes, std::uint16_t* __restrict out) {
  using Bytes8 = std::uint8_t __attribute__((vector_size(8)));
  using Words8 = std::uint16_t __attribute__((vector_size(16)));
  using Words4 = std::uint16_t __attribute__((vector_size(8)));
  for (int j = 0; j < m; ++j) {
    Bytes8 x;
    std::memcpy(&x, row + static_cast<std::ptrdiff_t>(first[j]) * 4, 8);
    Words8 w;
    std::memcpy(&w, lanes + 8 * j, 16);
    const Words8 p = __builtin_convertvector(x, Words8) * w;
    const Words4 y = Words4{p[0], p[1], p[2], p[3]} + Words4{p[4], p[5], p[6], p[7]};
    std::memcpy(out + 4 * j, &y, 8);
  }
}

template <int C>
void interpolateRow8(const std::uint8_t* __restrict row, const int* __restrict first, int m,
                     const std::uint16_t* __restrict wq, const std::uint16_t* __restrict lanes,
                     std::uint16_t* __restrict out) {
  if constexpr (C == 4) {
    interpolateRow8x4(row, first, m, lanes, out);
  } else {
    for (int j = 0; j < m; ++j) {
      const std::uint8_t* p = row + static_cast<std::ptrdiff_t>(first[j]) * C;
      const std::uint32_t w0 = wq[2 * j], w1 = wq[2 * j + 1];
      std::uint16_t* o = out + static_cast<std::ptrdiff_t>(j) * C;
      for (int c = 0; c < C; ++c) o[c] = static_cast<std::uint16_t>(w0 * p[c] + w1 * p[C + c]);
    }
  }
}

// Opaque 4-channel pixels, four at a time: one byte shuffle puts the
// components where the target wants them and sets its alpha (or skip) byte.
// Groups holding a pixel that is not opaque are left to `fallback`.
using Bytes16 = std::uint8_t __attribute__((vector_size(16)));

// Byte i of the result is byte mask[i] of x. Clang has no run-time shuffle
// builtin; its loop gives the same bytes.
__attribute__((always_inline)) inline Bytes16 shuffleBytes(Bytes16 x, Bytes16 mask) {
#if defined(__clang__)
  Bytes16 y;
  for (int i = 0; i < 16; ++i) y[i] = x[mask[i] & 15];
  return y;
#else
  return __builtin_shuffle(x, mask);
#endif
}

template <class Fallback>
__attribute__((always_inline)) inline void placeOpaque4(std::uint8_t* __restrict d,
                                                        const std::uint8_t* __restrict v, int m,
                                                        Bytes16 mask, Bytes16 alphaBits, int sa,
                                                        Fallback fallback) {
  int j = 0;
  for (; j + 4 <= m; j += 4) {
    const std::uint8_t* g = v + 4 * j;
    if (sa >= 0 && (g[sa] & g[sa + 4] & g[sa + 8] & g[sa + 12]) != 255) {
      fallback(j, 4);
      continue;
    }
    Bytes16 x;
    std::memcpy(&x, g, 16);
    const Bytes16 y = shuffleBytes(x, mask) | alphaBits;
    std::memcpy(d + 4 * j, &y, 16);
  }
  if (j < m) fallback(j, m - j);
}

// Source-over of premultiplied 8-bit pixels (source channel order) into a
// 4-byte target pixel; opaque pixels are stored as one 32-bit word.
struct Placing8 {
  int sr, sg, sb, sa;  // source channel of red, green, blue, alpha (-1: none)
  int tr, tg, tb, ta;  // target byte of red, green, blue, alpha or skip
  bool targetAlpha;

  template <int C>
  void row(std::uint8_t* d, const std::uint8_t* v, int m, const float* covX, float covY) const {
    if constexpr (C == 4) {
      row4(d, v, m, covX, covY);
    } else {
      rowScalar<C>(d, v, m, covX, covY);
    }
  }

  ORVANE_AVX2_CLONES void row4(std::uint8_t* d, const std::uint8_t* v, int m, const float* covX,
                               float covY) const {
    Bytes16 mask{}, alphaBits{};
    for (int p = 0; p < 4; ++p)
      for (int t = 0; t < 4; ++t) {
        const int from = t == tr ? sr : t == tg ? sg : t == tb ? sb : (sa >= 0 ? sa : sr);
        mask[4 * p + t] = static_cast<std::uint8_t>(4 * p + from);
        alphaBits[4 * p + t] = t == ta ? 255 : 0;
      }
    placeOpaque4(d, v, m, mask, alphaBits, sa,
                 [&](int j, int n) { rowScalar<4>(d + 4 * j, v + 4 * j, n, covX + j, covY); });
  }

  template <int C>
  void rowScalar(std::uint8_t* __restrict d, const std::uint8_t* __restrict v, int m,
                 const float* covX, float covY) const {
    const int sr_ = sr, sg_ = sg, sb_ = sb, sa_ = sa;
    const unsigned shR = 8u * static_cast<unsigned>(tr), shG = 8u * static_cast<unsigned>(tg);
    const unsigned shB = 8u * static_cast<unsigned>(tb), shA = 8u * static_cast<unsigned>(ta);
    for (int j = 0; j < m; ++j, v += C, d += 4) {
      const std::uint32_t a =
          sa_ >= 0 ? v[sa_] : static_cast<std::uint32_t>(std::lround(255.f * covX[j] * covY));
      if (a >= 255) {
        const std::uint32_t word = (std::uint32_t{v[sr_]} << shR) | (std::uint32_t{v[sg_]} << shG) |
                                   (std::uint32_t{v[sb_]} << shB) | (255u << shA);
        std::memcpy(d, &word, 4);
        continue;
      }
      const std::uint32_t k = 255 - a;
      std::uint8_t px[4];
      std::memcpy(px, d, 4);
      px[tr] = static_cast<std::uint8_t>(std::min(255u, v[sr_] + (px[tr] * k + 127) / 255));
      px[tg] = static_cast<std::uint8_t>(std::min(255u, v[sg_] + (px[tg] * k + 127) / 255));
      px[tb] = static_cast<std::uint8_t>(std::min(255u, v[sb_] + (px[tb] * k + 127) / 255));
      px[ta] = targetAlpha ? static_cast<std::uint8_t>(std::min(255u, a + (px[ta] * k + 127) / 255))
                           : 255;
      std::memcpy(d, px, 4);
    }
  }
};

template <int C, class RowAt>
void enlarge8(const DrawTarget& target, const PixelFormat& src, const Axis& ax, const Axis& ay,
              int sourceWidth, RowAt rowAt) {
  const int m = ax.size();
  const std::size_t dn = static_cast<std::size_t>(m) * C;
  // Two taps per column (the second weight 0 where there is one), 8 bits.
  std::vector<std::uint16_t> wq(static_cast<std::size_t>(m) * 2);
  std::vector<std::uint16_t> lanes(C == 4 ? static_cast<std::size_t>(m) * 8 : 0);
  for (int j = 0; j < m; ++j) {
    const float* w = ax.weights.data() + ax.offset[j];
    const std::uint16_t a = static_cast<std::uint16_t>(std::lround(w[0] * 256.f));
    const std::uint16_t b = ax.count[j] > 1 ? static_cast<std::uint16_t>(std::lround(w[1] * 256.f)) : 0;
    wq[2 * j] = a;
    wq[2 * j + 1] = b;
    for (int k = 0; C == 4 && k < 4; ++k) {  // lanes exist for four channels only
      lanes[8 * static_cast<std::size_t>(j) + static_cast<std::size_t>(k)] = a;
      lanes[8 * static_cast<std::size_t>(j) + 4 + static_cast<std::size_t>(k)] = b;
    }
  }
  std::vector<std::uint16_t> slots(dn * 2);
  int held[2] = {-1, -1};
  std::vector<std::uint8_t> out(dn);
  // Rows are copied with one pixel of zeros after them: a column with a
  // single tap reads its weight-0 second tap there.
  const int maxFirst = *std::max_element(ax.first.begin(), ax.first.end());
  const std::size_t rowLen = static_cast<std::size_t>(maxFirst + 2) * C;
  const std::size_t copyLen = std::min(rowLen, static_cast<std::size_t>(sourceWidth) * C);
  std::vector<std::uint8_t> padded(rowLen, 0);
  // The horizontal pass of source row r, computed once while rows f and
  // f + 1 are in use.
  auto horizontal = [&](int r, int f) -> const std::uint16_t* {
    for (int z = 0; z < 2; ++z)
      if (held[z] == r) return slots.data() + dn * static_cast<std::size_t>(z);
    const int z = (held[0] == f || held[0] == f + 1) ? 1 : 0;
    std::memcpy(padded.data(), rowAt(r), copyLen);
    interpolateRow8<C>(padded.data(), ax.first.data(), m, wq.data(), lanes.data(),
                       slots.data() + dn * static_cast<std::size_t>(z));
    held[z] = r;
    return slots.data() + dn * static_cast<std::size_t>(z);
  };
  const PixelFormat& tf = target.format;
  const Placing8 put{src.red, src.green, src.blue, src.alpha, tf.red, tf.green, tf.blue,
                     tf.alpha >= 0 ? tf.alpha : tf.skip, tf.alpha >= 0};
  for (int i = 0; i < ay.size(); ++i) {
    const int n = ay.count[static_cast<std::size_t>(i)];
    if (n == 0) continue;
    const int f = ay.first[static_cast<std::size_t>(i)];
    const float* w = ay.weights.data() + ay.offset[static_cast<std::size_t>(i)];
    const std::uint32_t w0 = static_cast<std::uint32_t>(std::lround(w[0] * 256.f));
    const std::uint32_t w1 = n > 1 ? static_cast<std::uint32_t>(std::lround(w[1] * 256.f)) : 0;
    const std::uint16_t* h0 = horizontal(f, f);
    const std::uint16_t* h1 = n > 1 ? horizontal(f + 1, f) : h0;
    blendRows(out.data(), h0, w0, h1, w1, dn);
    std::uint8_t* d = target.data + static_cast<std::size_t>(ay.d0 + i) * target.bytesPerRow +
                      static_cast<std::size_t>(ax.d0) * 4;
    put.row<C>(d, out.data(), m, ax.coverage.data(), ay.coverage[static_cast<std::size_t>(i)]);
  }
}

// ---------------------------------------------------------------------------
// Where an image lands: device x = a00 u + a01 v + ox, device row (from the
// top) = a10 u + a11 v + oy, for u across and v down the image in pixels.

struct Placement {
  double a00, a01, a10, a11, ox, oy;
};

Placement place(const DrawTarget& t, const CGAffineTransform& m, CGRect rect, double sw,
                double sh) {
  const double sx = rect.size.width / sw, sy = rect.size.height / sh;
  const double top = rect.origin.y + rect.size.height;
  Placement p;
  p.a00 = m.a * sx;
  p.a01 = -m.c * sy;
  p.ox = m.a * rect.origin.x + m.c * top + m.tx;
  p.a10 = -m.b * sx;
  p.a11 = m.d * sy;
  p.oy = t.height - (m.b * rect.origin.x + m.d * top + m.ty);
  return p;
}

Filter filterFor(double scale, int quality) {
  if (quality == 1) return Filter::nearest;  // kCGInterpolationNone
  if (std::fabs(scale) <= 1.0) return Filter::box;
  return quality == 3 ? Filter::cubic : Filter::linear;
}

template <class T, int C>
void drawUpright(const DrawTarget& target, const DrawState& state, const Placement& p,
                 const CGImage& image, const PixelFormat& format, const std::uint8_t* bytes,
                 std::size_t bytesPerRow, const ImageDecoder* streamFrom) {
  const int sw = static_cast<int>(image.layout().width), sh = static_cast<int>(image.layout().height);
  const Axis ax = makeAxis(p.ox, p.a00, sw, std::max(0.0, state.clip.x0),
                           std::min<double>(target.width, state.clip.x1),
                           filterFor(p.a00, state.quality));
  const Axis ay = makeAxis(p.oy, p.a11, sh, std::max(0.0, state.clip.y0),
                           std::min<double>(target.height, state.clip.y1),
                           filterFor(p.a11, state.quality));
  if (ax.size() <= 0 || ay.size() <= 0) return;
  const float maxValue = sizeof(T) == 1 ? 255.f : 65535.f;
  Emitter emitter(target, format, image.space(), maxValue, static_cast<float>(state.alpha));
  const bool direct = format.resamplesAsStored();
  std::vector<T> ownRow;
  auto prepare = [&](const std::uint8_t* raw) -> const T* {
    if (direct) return reinterpret_cast<const T*>(raw);
    ownRow.resize(static_cast<std::size_t>(sw) * C);
    convertRow<T>(raw, ownRow.data(), sw, format);
    return ownRow.data();
  };
  if (ay.filter == Filter::box) {
    if (streamFrom) {
      struct Sink : ImageRowSink {
        BoxRows<T, C>* rows;
        decltype(prepare)* prep;
        int next = 0;
        bool consumeRow(const std::uint8_t* row) override {
          const int r = next++;
          if (r < rows->firstRow()) return true;
          return rows->consume(r, (*prep)(row));
        }
      };
      BoxRows<T, C> rows(ax, ay, sw, emitter);
      Sink sink;
      sink.rows = &rows;
      sink.prep = &prepare;
      if (streamFrom->streamRows(sink)) {
        rows.finishAll();
        return;
      }
      // The decoder gave up part-way: start again from the decoded pixels.
      const auto decoded = image.provider()->bytes();
      if (!decoded) return;
      drawUpright<T, C>(target, state, p, image, format, decoded->data(), bytesPerRow, nullptr);
      return;
    }
    BoxRows<T, C> rows(ax, ay, sw, emitter);
    const int r0 = rows.firstRow();
    for (int r = r0; r < sh; ++r)
      if (!rows.consume(r, prepare(bytes + static_cast<std::size_t>(r) * bytesPerRow))) break;
    rows.finishAll();
    return;
  }
  std::vector<std::vector<T>> converted;
  const bool fixedPoint = sizeof(T) == 1 && (C == 3 || C == 4) && format.colors == 3 &&
                          target.format.colors == 3 && state.alpha == 1.0 &&
                          ax.filter == Filter::linear && ay.filter == Filter::linear &&
                          CGColorSpaceEqualToColorSpace(image.space(), target.space);
  auto rowAt = [&](int r) -> const T* {
    const std::uint8_t* raw = bytes + static_cast<std::size_t>(r) * bytesPerRow;
    if (direct) return reinterpret_cast<const T*>(raw);
    converted.emplace_back(static_cast<std::size_t>(sw) * C);
    if (converted.size() > 8) converted.erase(converted.begin());
    convertRow<T>(raw, converted.back().data(), sw, format);
    return converted.back().data();
  };
  if constexpr (sizeof(T) == 1 && (C == 3 || C == 4)) {
    if (fixedPoint) {
      enlarge8<C>(target, format, ax, ay, sw, rowAt);
      return;
    }
  }
  (void)fixedPoint;
  interpolateRows<T, C>(ax, ay, rowAt, emitter);
}

// Samples every device pixel through the inverse of a placement that turns
// or shears the image. `bytes` hold the image in a form averaged as stored.
template <class T, int C>
void drawTransformed(const DrawTarget& target, const DrawState& state, const Placement& p, int sw,
                     int sh, const PixelFormat& format, const CGColorSpaceRef& space,
                     const std::uint8_t* bytes, std::size_t bytesPerRow) {
  const double det = p.a00 * p.a11 - p.a01 * p.a10;
  const double i00 = p.a11 / det, i01 = -p.a01 / det, i10 = -p.a10 / det, i11 = p.a00 / det;
  const double gu = std::hypot(i00, i01), gv = std::hypot(i10, i11);
  // Device bounds of the four corners, within the clip.
  double xs[4], ys[4];
  const double us[4] = {0, double(sw), 0, double(sw)}, vs[4] = {0, 0, double(sh), double(sh)};
  for (int k = 0; k < 4; ++k) {
    xs[k] = p.a00 * us[k] + p.a01 * vs[k] + p.ox;
    ys[k] = p.a10 * us[k] + p.a11 * vs[k] + p.oy;
  }
  const double cx0 = std::max(0.0, state.clip.x0), cx1 = std::min<double>(target.width, state.clip.x1);
  const double cy0 = std::max(0.0, state.clip.y0), cy1 = std::min<double>(target.height, state.clip.y1);
  const double bx0 = std::max(cx0, *std::min_element(xs, xs + 4));
  const double bx1 = std::min(cx1, *std::max_element(xs, xs + 4));
  const double by0 = std::max(cy0, *std::min_element(ys, ys + 4));
  const double by1 = std::min(cy1, *std::max_element(ys, ys + 4));
  if (!(bx1 > bx0) || !(by1 > by0)) return;
  const int x0 = static_cast<int>(std::floor(bx0)), x1 = static_cast<int>(std::ceil(bx1));
  const int y0 = static_cast<int>(std::floor(by0)), y1 = static_cast<int>(std::ceil(by1));
  const float maxValue = sizeof(T) == 1 ? 255.f : 65535.f;
  Emitter emitter(target, format, space, maxValue, static_cast<float>(state.alpha));
  const int n = x1 - x0;
  std::vector<float> vals(static_cast<std::size_t>(n) * C), cov(static_cast<std::size_t>(n));
  const bool nearest = state.quality == 1;
  auto px = [&](int x, int y) {
    return reinterpret_cast<const T*>(bytes + static_cast<std::size_t>(y) * bytesPerRow) +
           static_cast<std::ptrdiff_t>(x) * C;
  };
  for (int y = y0; y < y1; ++y) {
    const double covY = clamp01d(std::min<double>(y + 1, cy1) - std::max<double>(y, cy0));
    for (int i = 0; i < n; ++i) {
      const int x = x0 + i;
      const double covX = clamp01d(std::min<double>(x + 1, cx1) - std::max<double>(x, cx0));
      const double X = x + 0.5 - p.ox, Y = y + 0.5 - p.oy;
      const double u = i00 * X + i01 * Y, v = i10 * X + i11 * Y;
      const double c = covX * covY * clamp01d(0.5 + u / gu) * clamp01d(0.5 + (sw - u) / gu) *
                       clamp01d(0.5 + v / gv) * clamp01d(0.5 + (sh - v) / gv);
      float* o = vals.data() + static_cast<std::ptrdiff_t>(i) * C;
      cov[static_cast<std::size_t>(i)] = static_cast<float>(c);
      if (c <= 0) {
        for (int k = 0; k < C; ++k) o[k] = 0;
        continue;
      }
      if (nearest) {
        const T* s = px(static_cast<int>(std::clamp(std::floor(u), 0.0, sw - 1.0)),
                        static_cast<int>(std::clamp(std::floor(v), 0.0, sh - 1.0)));
        for (int k = 0; k < C; ++k) o[k] = static_cast<float>(c * s[k]);
        continue;
      }
      const double su = std::clamp(u - 0.5, 0.0, sw - 1.0), sv = std::clamp(v - 0.5, 0.0, sh - 1.0);
      const int iu = static_cast<int>(su), iv = static_cast<int>(sv);
      const int ju = std::min(iu + 1, sw - 1), jv = std::min(iv + 1, sh - 1);
      const double fu = su - iu, fv = sv - iv;
      const T *s00 = px(iu, iv), *s01 = px(ju, iv), *s10 = px(iu, jv), *s11 = px(ju, jv);
      for (int k = 0; k < C; ++k) {
        const double top = s00[k] + fu * (s01[k] - s00[k]);
        const double bottom = s10[k] + fu * (s11[k] - s10[k]);
        o[k] = static_cast<float>(c * (top + fv * (bottom - top)));
      }
    }
    emitter.emit(y, x0, n, vals.data(), cov.data(), 1.f);
  }
}

template <class T, int C>
void drawWith(const DrawTarget& target, const DrawState& state, CGRect rect, const CGImage& image) {
  const ImagePixelLayout& l = image.layout();
  const PixelFormat& format = image.format();
  const Placement p = place(target, state.ctm, rect, double(l.width), double(l.height));
  const int sw = static_cast<int>(l.width), sh = static_cast<int>(l.height);
  const CGDataProvider& provider = *image.provider();
  if (p.a01 == 0 && p.a10 == 0) {
    const bool shrinks = filterFor(p.a11, state.quality) == Filter::box &&
                         filterFor(p.a00, state.quality) == Filter::box;
    const ImageDecoder* decoder = provider.decoder();
    if (decoder && !provider.ready() && shrinks) {
      const auto needW = static_cast<std::size_t>(std::ceil(std::fabs(p.a00) * sw)) * kReducedDecodeMargin;
      const auto needH = static_cast<std::size_t>(std::ceil(std::fabs(p.a11) * sh)) * kReducedDecodeMargin;
      if (CGImageRef reduced = decoder->decodeReduced(std::max<std::size_t>(needW, 1),
                                                      std::max<std::size_t>(needH, 1))) {
        if (reduced->layout().width < l.width && reduced->layout().height < l.height) {
          drawImage(target, state, rect, *reduced);
          return;
        }
      }
      if (decoder->canStreamRows()) {
        drawUpright<T, C>(target, state, p, image, format, nullptr, l.bytesPerRow, decoder);
        return;
      }
    }
    const auto bytes = provider.bytes();
    if (!bytes) return;
    drawUpright<T, C>(target, state, p, image, format, bytes->data(), l.bytesPerRow, nullptr);
    return;
  }
  const double det = p.a00 * p.a11 - p.a01 * p.a10;
  if (det == 0 || !std::isfinite(det)) return;
  const double lenU = std::hypot(p.a00, p.a10), lenV = std::hypot(p.a01, p.a11);
  if (state.quality != 1 && (lenU < 1 || lenV < 1) && target.format.colors == 3) {
    // Shrinks: average areas upright first, into an RGBA bitmap of about the
    // size the image covers on the device, already in the target's space.
    // That upright draw takes a reduced or streamed decode where the image
    // has not decoded yet (a turned photograph's thumbnail).
    const int nu = std::clamp(static_cast<int>(std::ceil(lenU * sw)), 1, sw);
    const int nv = std::clamp(static_cast<int>(std::ceil(lenV * sh)), 1, sh);
    std::vector<std::uint8_t> pixels(static_cast<std::size_t>(nu) * nv * 4, 0);
    DrawTarget temp;
    temp.data = pixels.data();
    temp.width = nu;
    temp.height = nv;
    temp.bytesPerRow = static_cast<std::size_t>(nu) * 4;
    temp.format = *PixelFormat::of(8, 32, kCGImageAlphaPremultipliedLast, 3);
    temp.space = target.space;
    DrawState upright;
    upright.ctm = CGAffineTransformIdentity;
    upright.clip = {0, 0, double(nu), double(nv)};
    drawImage(temp, upright, CGRectMake(0, 0, nu, nv), image);
    Placement q = p;
    q.a00 *= double(sw) / nu;
    q.a10 *= double(sw) / nu;
    q.a01 *= double(sh) / nv;
    q.a11 *= double(sh) / nv;
    drawTransformed<std::uint8_t, 4>(target, state, q, nu, nv, temp.format, target.space,
                                     pixels.data(), temp.bytesPerRow);
    return;
  }
  const auto bytes = provider.bytes();
  if (!bytes) return;
  if (format.resamplesAsStored()) {
    drawTransformed<T, C>(target, state, p, sw, sh, format, image.space(), bytes->data(),
                          l.bytesPerRow);
    return;
  }
  const std::size_t rowBytes = static_cast<std::size_t>(sw) * C * sizeof(T);
  std::vector<std::uint8_t> converted(rowBytes * static_cast<std::size_t>(sh));
  for (int r = 0; r < sh; ++r)
    convertRow<T>(bytes->data() + static_cast<std::size_t>(r) * l.bytesPerRow,
                  reinterpret_cast<T*>(converted.data() + rowBytes * static_cast<std::size_t>(r)),
                  sw, format);
  drawTransformed<T, C>(target, state, p, sw, sh, format, image.space(), converted.data(), rowBytes);
}

}  // namespace

void drawImage(const DrawTarget& target, const DrawState& state, CGRect rect, const CGImage& image) {
  if (CGRectIsNull(rect) || rect.size.width == 0 || rect.size.height == 0) return;
  if (!finite(state.ctm)) return;
  if (!std::isfinite(rect.origin.x) || !std::isfinite(rect.origin.y) ||
      !std::isfinite(rect.size.width) || !std::isfinite(rect.size.height))
    return;
  const PixelFormat& f = image.format();
  const bool wide = f.bitsPerComponent == 16;
  switch (f.channels) {
    case 1:
      return wide ? drawWith<std::uint16_t, 1>(target, state, rect, image)
                  : drawWith<std::uint8_t, 1>(target, state, rect, image);
    case 2:
      return wide ? drawWith<std::uint16_t, 2>(target, state, rect, image)
                  : drawWith<std::uint8_t, 2>(target, state, rect, image);
    case 3:
      return wide ? drawWith<std::uint16_t, 3>(target, state, rect, image)
                  : drawWith<std::uint8_t, 3>(target, state, rect, image);
    default:
      return wide ? drawWith<std::uint16_t, 4>(target, state, rect, image)
                  : drawWith<std::uint8_t, 4>(target, state, rect, image);
  }
}

void fillRect(const DrawTarget& target, const DrawState& state, CGRect rect, const float* color,
              bool clear) {
  if (CGRectIsNull(rect) || CGRectIsEmpty(rect) || !finite(state.ctm)) return;
  const CGRect r = CGRectStandardize(rect);
  if (!std::isfinite(r.origin.x) || !std::isfinite(r.origin.y) || !std::isfinite(r.size.width) ||
      !std::isfinite(r.size.height))
    return;
  const CGAffineTransform& m = state.ctm;
  // The rectangle as a placement of a 1 x 1 "image".
  Placement p;
  const double top = r.origin.y + r.size.height;
  p.a00 = m.a * r.size.width;
  p.a01 = -m.c * r.size.height;
  p.ox = m.a * r.origin.x + m.c * top + m.tx;
  p.a10 = -m.b * r.size.width;
  p.a11 = m.d * r.size.height;
  p.oy = target.height - (m.b * r.origin.x + m.d * top + m.ty);
  const double det = p.a00 * p.a11 - p.a01 * p.a10;
  if (det == 0 || !std::isfinite(det)) return;
  const double cx0 = std::max(0.0, state.clip.x0), cx1 = std::min<double>(target.width, state.clip.x1);
  const double cy0 = std::max(0.0, state.clip.y0), cy1 = std::min<double>(target.height, state.clip.y1);
  double xs[4], ys[4];
  for (int k = 0; k < 4; ++k) {
    const double u = k & 1, v = k >> 1;
    xs[k] = p.a00 * u + p.a01 * v + p.ox;
    ys[k] = p.a10 * u + p.a11 * v + p.oy;
  }
  const double bx0 = std::max(cx0, *std::min_element(xs, xs + 4));
  const double bx1 = std::min(cx1, *std::max_element(xs, xs + 4));
  const double by0 = std::max(cy0, *std::min_element(ys, ys + 4));
  const double by1 = std::min(cy1, *std::max_element(ys, ys + 4));
  if (!(bx1 > bx0) || !(by1 > by0)) return;
  const int x0 = static_cast<int>(std::floor(bx0)), x1 = static_cast<int>(std::ceil(bx1));
  const int y0 = static_cast<int>(std::floor(by0)), y1 = static_cast<int>(std::ceil(by1));
  const bool upright = p.a01 == 0 && p.a10 == 0;
  const double i00 = p.a11 / det, i01 = -p.a01 / det, i10 = -p.a10 / det, i11 = p.a00 / det;
  const double gu = std::hypot(i00, i01), gv = std::hypot(i10, i11);
  const int K = target.format.colors + 1;
  const int n = x1 - x0;
  std::vector<float> px(static_cast<std::size_t>(n) * static_cast<std::size_t>(K));
  for (int y = y0; y < y1; ++y) {
    const double covY = clamp01d(std::min<double>(y + 1, by1) - std::max<double>(y, by0));
    for (int i = 0; i < n; ++i) {
      const int x = x0 + i;
      double c = clamp01d(std::min<double>(x + 1, bx1) - std::max<double>(x, bx0)) * covY;
      if (!upright) {
        const double X = x + 0.5 - p.ox, Y = y + 0.5 - p.oy;
        const double u = i00 * X + i01 * Y, v = i10 * X + i11 * Y;
        c = clamp01d(std::min<double>(x + 1, cx1) - std::max<double>(x, cx0)) *
            clamp01d(std::min<double>(y + 1, cy1) - std::max<double>(y, cy0)) *
            clamp01d(0.5 + u / gu) * clamp01d(0.5 + (1 - u) / gu) * clamp01d(0.5 + v / gv) *
            clamp01d(0.5 + (1 - v) / gv);
      }
      float* o = px.data() + static_cast<std::ptrdiff_t>(i) * K;
      if (clear) {
        // Destination-out by the coverage: scale every stored component.
        std::uint8_t* d = target.data + static_cast<std::size_t>(y) * target.bytesPerRow +
                          static_cast<std::size_t>(x) * static_cast<std::size_t>(target.format.channels);
        const float keep = 1.f - static_cast<float>(c);
        for (int k = 0; k < target.format.channels; ++k)
          if (k != target.format.skip) d[k] = static_cast<std::uint8_t>(d[k] * keep + 0.5f);
        (void)o;
        continue;
      }
      for (int k = 0; k < K; ++k) o[k] = static_cast<float>(color[k] * c);
    }
    if (!clear) Emitter::composite(target, y, x0, n, px.data(), static_cast<float>(state.alpha));
  }
}

}  // namespace orvane
