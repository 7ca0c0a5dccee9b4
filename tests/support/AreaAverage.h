#pragma once

// The exact area average of an image, the reference a thumbnail is measured
// against: each thumbnail pixel is the mean of the source area it covers,
// fractional edge pixels weighted by their share.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace orvane::testing {

/// 8-bit source pixels, rows of `stride` bytes with `channels` samples per
/// pixel (1 gray, 3 RGB, 4 RGBA; gray counts as R = G = B).
struct SourcePixels {
  const std::uint8_t* data;
  std::size_t width, height, channels, stride;
};

/// PSNR in dB of the colour of an opaque thumbnail (bytes A, R, G, B per
/// pixel, rows of `stride` bytes) against the area average of `source` at
/// the thumbnail's size; 99 when they are equal.
inline double psnrAgainstAreaAverage(const SourcePixels& source, const std::uint8_t* thumb, std::size_t width,
                                     std::size_t height, std::size_t stride) {
  struct Span {
    std::size_t first;
    std::vector<double> weights;
  };
  auto spans = [](std::size_t from, std::size_t n) {
    std::vector<Span> out(n);
    const double step = double(from) / double(n);
    for (std::size_t i = 0; i < n; ++i) {
      const double a = double(i) * step, b = double(i + 1) * step;
      out[i].first = static_cast<std::size_t>(a);
      for (std::size_t s = out[i].first; double(s) < b && s < from; ++s) {
        out[i].weights.push_back((std::min(b, double(s) + 1) - std::max(a, double(s))) / step);
      }
    }
    return out;
  };
  const auto sx = spans(source.width, width), sy = spans(source.height, height);
  const std::size_t ch = source.channels;
  std::vector<double> rowSum(source.width * 3);
  double squared = 0;
  for (std::size_t y = 0; y < height; ++y) {
    std::fill(rowSum.begin(), rowSum.end(), 0.0);
    for (std::size_t k = 0; k < sy[y].weights.size(); ++k) {
      const std::uint8_t* r = source.data + (sy[y].first + k) * source.stride;
      for (std::size_t x = 0; x < source.width; ++x) {
        for (std::size_t c = 0; c < 3; ++c) rowSum[x * 3 + c] += sy[y].weights[k] * r[x * ch + (ch < 3 ? 0 : c)];
      }
    }
    for (std::size_t x = 0; x < width; ++x) {
      for (std::size_t c = 0; c < 3; ++c) {
        double expected = 0;
        for (std::size_t k = 0; k < sx[x].weights.size(); ++k) {
          expected += sx[x].weights[k] * rowSum[(sx[x].first + k) * 3 + c];
        }
        const double error = thumb[y * stride + x * 4 + 1 + c] - expected;
        squared += error * error;
      }
    }
  }
  const double mse = squared / double(width * height * 3);
  return mse == 0 ? 99.0 : 10 * std::log10(255.0 * 255.0 / mse);
}

}  // namespace orvane::testing
