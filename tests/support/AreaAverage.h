#pragma once

// The exact area average thumbnails and shrinking draws are measured against: each device pixel
// receives every source pixel's samples times the area they share.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace orvane::testing {

/// 8-bit pixels, `channels` samples each (1 gray, 3 RGB, 4 RGBA; gray is R = G = B, no alpha 255).
struct SourcePixels {
  const std::uint8_t* data;
  std::size_t width, height, channels, stride;
};

/// R, G, B, A sums (in doubles) for each pixel of a width x height device, rows from the top, with
/// the source stretched over the rectangle (left, top, w, h) in device pixels; w 0: the whole device.
inline std::vector<double> areaAverage(const SourcePixels& s, std::size_t width, std::size_t height,
                                       double left = 0, double top = 0, double w = 0, double h = 0) {
  if (w == 0) w = double(width), h = double(height);
  std::vector<double> out(width * height * 4, 0.0);
  const double sx = w / double(s.width), sy = h / double(s.height);
  for (std::size_t j = 0; j < s.height; ++j)
    for (std::size_t i = 0; i < s.width; ++i) {
      const std::uint8_t* p = s.data + j * s.stride + i * s.channels;
      const double x0 = left + double(i) * sx, x1 = x0 + sx, y0 = top + double(j) * sy, y1 = y0 + sy;
      for (long row = std::max(0L, long(std::floor(y0))); row < std::min(long(height), long(std::ceil(y1))); ++row)
        for (long x = std::max(0L, long(std::floor(x0))); x < std::min(long(width), long(std::ceil(x1))); ++x) {
          const double a = (std::min(x1, x + 1.0) - std::max(x0, double(x))) *
                           (std::min(y1, row + 1.0) - std::max(y0, double(row)));
          double* o = &out[(std::size_t(row) * width + std::size_t(x)) * 4];
          for (std::size_t c = 0; c < 4 && a > 0; ++c)
            o[c] += a * (c == 3 ? (s.channels == 4 ? p[3] : 255) : p[s.channels < 3 ? 0 : c]);
        }
    }
  return out;
}

/// PSNR in dB of the colour of an opaque thumbnail (bytes A, R, G, B per pixel, rows of `stride`
/// bytes) against the area average of `source` at the thumbnail's size; 99 when they are equal.
inline double psnrAgainstAreaAverage(const SourcePixels& source, const std::uint8_t* thumb, std::size_t width,
                                     std::size_t height, std::size_t stride) {
  const std::vector<double> want = areaAverage(source, width, height);
  double squared = 0;
  for (std::size_t y = 0; y < height; ++y)
    for (std::size_t x = 0; x < width; ++x)
      for (std::size_t c = 0; c < 3; ++c) {
        const double error = thumb[y * stride + x * 4 + 1 + c] - want[(y * width + x) * 4 + c];
        squared += error * error;
      }
  const double mse = squared / double(width * height * 3);
  return mse == 0 ? 99.0 : 10 * std::log10(255.0 * 255.0 / mse);
}

}  // namespace orvane::testing
