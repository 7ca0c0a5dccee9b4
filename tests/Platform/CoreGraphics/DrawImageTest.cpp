#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <random>

#include "CGTestSupport.h"

namespace orvane {
namespace {

using namespace cgtest;

TEST(DrawImage, CheckerboardShrunkByTwoIsMidGrey) {
  std::vector<std::uint8_t> px;
  for (int y = 0; y < 64; ++y)
    for (int x = 0; x < 64; ++x) {
      const std::uint8_t v = (x + y) % 2 ? 255 : 0;
      px.insert(px.end(), {v, v, v, 255});
    }
  const auto img = image8(64, 64, 4, kCGImageAlphaPremultipliedLast, px);
  const auto ctx = argb(32, 32);
  CGContextDrawImage(ctx, CGRectMake(0, 0, 32, 32), img);
  for (int y = 0; y < 32; ++y)
    for (int x = 0; x < 32; ++x) {
      const auto p = at(ctx, x, y);
      ASSERT_EQ(p[0], 255);
      for (int c = 1; c < 4; ++c) ASSERT_NEAR(p[c], 127.5, 0.5) << x << "," << y;
    }
}

// A constant opaque image stays that constant wherever it covers whole pixels.
TEST(DrawImage, ConstantImageStaysConstantAtAnyScaleAndAngle) {
  struct Case {
    const char* name;
    CGAffineTransform ctm;
    CGRect rect;
    CGInterpolationQuality quality;
  };
  const CGAffineTransform turn30 =
      CGAffineTransformConcat(CGAffineTransformMakeRotation(std::numbers::pi / 6),
                              CGAffineTransformMakeTranslation(40, 5));
  const Case cases[] = {
      {"shrink", CGAffineTransformIdentity, CGRectMake(3.3, 2.7, 37.1, 41.9), kCGInterpolationDefault},
      {"enlarge", CGAffineTransformIdentity, CGRectMake(-5.5, 1.25, 220, 130), kCGInterpolationDefault},
      {"enlarge high", CGAffineTransformIdentity, CGRectMake(0, 0, 150, 90), kCGInterpolationHigh},
      {"nearest", CGAffineTransformIdentity, CGRectMake(0.5, 0.5, 33, 33), kCGInterpolationNone},
      {"flipped", CGAffineTransformMake(-1, 0, 0, -1, 64, 64), CGRectMake(2, 2, 50, 40), kCGInterpolationDefault},
      {"rotated shrink", turn30, CGRectMake(0, 0, 30, 20), kCGInterpolationDefault},
      {"rotated enlarge", turn30, CGRectMake(0, 0, 50, 45), kCGInterpolationMedium},
  };
  const auto img = solid(57, 43, {200, 100, 50, 255});
  for (const Case& c : cases) {
    const auto ctx = argb(64, 64);
    CGContextConcatCTM(ctx, c.ctm);
    CGContextSetInterpolationQuality(ctx, c.quality);
    CGContextDrawImage(ctx, c.rect, img);
    // Pixels whose every corner lies at least one pixel inside the drawn
    // rectangle (checked in user space through the inverse CTM).
    const CGAffineTransform inv = CGAffineTransformInvert(c.ctm);
    int inside = 0;
    for (int row = 0; row < 64; ++row)
      for (int x = 0; x < 64; ++x) {
        bool whole = true;
        for (int k = 0; k < 4 && whole; ++k) {
          const CGPoint d{double(x + (k & 1)), double(64 - row - (k >> 1))};
          const CGPoint u = CGPointApplyAffineTransform(d, inv);
          const CGRect r = c.rect;
          whole = u.x > r.origin.x + 1 && u.x < r.origin.x + r.size.width - 1 &&
                  u.y > r.origin.y + 1 && u.y < r.origin.y + r.size.height - 1;
        }
        if (!whole) continue;
        ++inside;
        const auto p = at(ctx, x, row);
        ASSERT_EQ(p[0], 255) << c.name << " " << x << "," << row;
        ASSERT_NEAR(p[1], 200, 1) << c.name << " " << x << "," << row;
        ASSERT_NEAR(p[2], 100, 1) << c.name;
        ASSERT_NEAR(p[3], 50, 1) << c.name;
      }
    EXPECT_GT(inside, 100) << c.name;
  }
}

// Exact area average, in doubles: each device pixel receives every source
// pixel's value times the area they share (premultiplied, over transparent).
std::vector<double> areaAverage(const std::vector<std::uint8_t>& src, int sw, int sh, int W, int H,
                                CGRect r) {
  std::vector<double> out(static_cast<std::size_t>(W) * H * 4, 0.0);
  const double sx = r.size.width / sw, sy = r.size.height / sh;
  const double top = H - (r.origin.y + r.size.height);
  for (int j = 0; j < sh; ++j)
    for (int i = 0; i < sw; ++i) {
      const double x0 = r.origin.x + i * sx, x1 = x0 + sx;
      const double y0 = top + j * sy, y1 = y0 + sy;
      for (int row = std::max(0, int(std::floor(y0))); row < std::min(H, int(std::ceil(y1))); ++row)
        for (int x = std::max(0, int(std::floor(x0))); x < std::min(W, int(std::ceil(x1))); ++x) {
          const double a = (std::min(x1, x + 1.0) - std::max(x0, double(x))) *
                           (std::min(y1, row + 1.0) - std::max(y0, double(row)));
          if (a <= 0) continue;
          for (int c = 0; c < 4; ++c)
            out[(static_cast<std::size_t>(row) * W + x) * 4 + c] +=
                a * src[(static_cast<std::size_t>(j) * sw + i) * 4 + c];
        }
    }
  return out;
}

TEST(DrawImage, ShrinkingMatchesTheExactAreaAverage) {
  std::mt19937 rng(42);
  const int sw = 97, sh = 61, W = 30, H = 22;
  std::vector<std::uint8_t> px(static_cast<std::size_t>(sw) * sh * 4);
  for (std::size_t i = 0; i < px.size(); i += 4) {
    const int a = static_cast<int>(rng() % 256);
    px[i + 3] = static_cast<std::uint8_t>(a);
    for (int c = 0; c < 3; ++c) px[i + c] = static_cast<std::uint8_t>(rng() % (a + 1));
  }
  const auto img = image8(sw, sh, 4, kCGImageAlphaPremultipliedLast, px);
  for (const CGRect r : {CGRectMake(0, 0, 30, 22), CGRectMake(3.25, 1.5, 23.5, 17.25),
                         CGRectMake(-4.4, -2.1, 32.3, 20.9), CGRectMake(5, 3, 9.7, 1.2)}) {
    const auto ctx = argb(W, H);
    CGContextDrawImage(ctx, r, img);
    const auto want = areaAverage(px, sw, sh, W, H, r);
    for (int row = 0; row < H; ++row)
      for (int x = 0; x < W; ++x) {
        const auto p = at(ctx, x, row);
        const double* e = &want[(static_cast<std::size_t>(row) * W + x) * 4];
        // ARGB bytes against R, G, B, A sums.
        ASSERT_NEAR(p[0], e[3], 1.0) << r.origin.x << " " << x << "," << row;
        ASSERT_NEAR(p[1], e[0], 1.0) << r.origin.x << " " << x << "," << row;
        ASSERT_NEAR(p[2], e[1], 1.0);
        ASSERT_NEAR(p[3], e[2], 1.0);
      }
  }
}

TEST(DrawImage, HalfCoveredEdgePixelsGetHalfTheColour) {
  const auto ctx = argb(4, 1);
  CGContextDrawImage(ctx, CGRectMake(0.5, 0, 2, 1), solid(2, 1, {255, 255, 255, 255}));
  EXPECT_NEAR(at(ctx, 0, 0)[0], 127.5, 0.5);
  EXPECT_EQ(at(ctx, 1, 0)[0], 255);
  EXPECT_NEAR(at(ctx, 2, 0)[0], 127.5, 0.5);
  EXPECT_EQ(at(ctx, 3, 0)[0], 0);
}

TEST(DrawImage, TopRowLandsAtTheRectangleTop) {
  const auto img = image8(1, 2, 4, kCGImageAlphaPremultipliedLast, {255, 0, 0, 255, 0, 0, 255, 255});
  const auto ctx = argb(1, 2);
  CGContextDrawImage(ctx, CGRectMake(0, 0, 1, 2), img);
  EXPECT_EQ(at(ctx, 0, 0), (std::array<int, 4>{255, 255, 0, 0}));
  EXPECT_EQ(at(ctx, 0, 1), (std::array<int, 4>{255, 0, 0, 255}));
  // A flipped CTM (as a flipped view sets up) turns it over.
  const auto flipped = argb(1, 2);
  CGContextTranslateCTM(flipped, 0, 2);
  CGContextScaleCTM(flipped, 1, -1);
  CGContextDrawImage(flipped, CGRectMake(0, 0, 1, 2), img);
  EXPECT_EQ(at(flipped, 0, 0), (std::array<int, 4>{255, 0, 0, 255}));
}

TEST(DrawImage, QuarterTurnMovesTheLeftColumnToTheBottom) {
  const auto img = image8(2, 1, 4, kCGImageAlphaPremultipliedLast, {255, 0, 0, 255, 0, 0, 255, 255});
  const auto ctx = argb(1, 2);
  CGContextTranslateCTM(ctx, 1, 0);
  CGContextRotateCTM(ctx, std::numbers::pi / 2);
  CGContextDrawImage(ctx, CGRectMake(0, 0, 2, 1), img);
  const auto top = at(ctx, 0, 0), bottom = at(ctx, 0, 1);
  EXPECT_NEAR(top[0], 255, 1);
  EXPECT_NEAR(top[3], 255, 1);
  EXPECT_NEAR(top[1], 0, 1);
  EXPECT_NEAR(bottom[1], 255, 1);
  EXPECT_NEAR(bottom[3], 0, 1);
}

// Averaging premultiplied colours: a transparent neighbour adds no colour.
TEST(DrawImage, TransparentPixelsDoNotDarkenOrTint) {
  for (CGImageAlphaInfo info : {kCGImageAlphaPremultipliedLast, kCGImageAlphaLast}) {
    // Opaque red beside a transparent pixel whose stored colour is green.
    const std::uint8_t g = info == kCGImageAlphaLast ? 255 : 0;
    const auto img = image8(2, 1, 4, info, {255, 0, 0, 255, 0, g, 0, 0});
    const auto ctx = argb(1, 1);
    CGContextDrawImage(ctx, CGRectMake(0, 0, 1, 1), img);
    const auto p = at(ctx, 0, 0);
    EXPECT_NEAR(p[0], 127.5, 0.5) << info;
    EXPECT_EQ(p[1], p[0]) << info;  // red at full strength once unpremultiplied
    EXPECT_EQ(p[2], 0) << info;
  }
}

TEST(DrawImage, EnlargingInterpolatesAsTheQualityAsks) {
  // Two pixels, 0 and 255, drawn twice as wide: device pixel centres fall at
  // source positions -0.25, 0.25, 0.75, 1.25 (in pixel-centre coordinates).
  auto cubic = [](double t) {  // Catmull-Rom between 0, 0 and 255, 255
    return 255 * ((-3 * t * t * t + 4 * t * t + t) / 2 + (t * t * t - t * t) / 2);
  };
  struct Case {
    CGInterpolationQuality quality;
    double want[4];
  };
  const Case cases[] = {
      {kCGInterpolationDefault, {0, 63.75, 191.25, 255}},
      {kCGInterpolationLow, {0, 63.75, 191.25, 255}},
      {kCGInterpolationHigh, {0, cubic(0.25), cubic(0.75), 255}},
      {kCGInterpolationNone, {0, 0, 255, 255}},
  };
  const auto img = image8(2, 1, 4, kCGImageAlphaNoneSkipLast, {0, 0, 0, 9, 255, 255, 255, 9});
  for (const Case& c : cases) {
    const auto ctx = argb(4, 1);
    CGContextSetInterpolationQuality(ctx, kCGInterpolationHigh);  // every quality replaces another
    CGContextSetInterpolationQuality(ctx, c.quality);
    EXPECT_EQ(CGContextGetInterpolationQuality(ctx), c.quality);
    CGContextDrawImage(ctx, CGRectMake(0, 0, 4, 1), img);
    for (int x = 0; x < 4; ++x) {
      EXPECT_EQ(at(ctx, x, 0)[0], 255);
      EXPECT_NEAR(at(ctx, x, 0)[1], c.want[x], 1.0) << c.quality << " " << x;
    }
  }
}

// High quality enlarges with Catmull-Rom weights over four taps, the taps past
// the ends folded onto the edge pixels, worked out here on their own.
TEST(DrawImage, HighQualityEnlargingIsCatmullRom) {
  const std::uint8_t values[] = {0, 255, 0, 255, 128, 64, 200};
  const int n = 7, W = 18;
  std::vector<std::uint8_t> px;
  for (std::uint8_t v : values) px.insert(px.end(), {v, v, v, 255});
  const auto img = image8(n, 1, 4, kCGImageAlphaPremultipliedLast, px);
  const auto ctx = argb(W, 1);
  CGContextSetInterpolationQuality(ctx, kCGInterpolationHigh);
  CGContextDrawImage(ctx, CGRectMake(0, 0, W, 1), img);
  for (int x = 0; x < W; ++x) {
    const double s = (x + 0.5) * n / W - 0.5, i0 = std::floor(s), t = s - i0;
    const double w[4] = {(-t * t * t + 2 * t * t - t) / 2, (3 * t * t * t - 5 * t * t + 2) / 2,
                         (-3 * t * t * t + 4 * t * t + t) / 2, (t * t * t - t * t) / 2};
    double want = 0;
    for (int k = 0; k < 4; ++k) want += w[k] * values[std::clamp(int(i0) - 1 + k, 0, n - 1)];
    EXPECT_NEAR(at(ctx, x, 0)[1], std::clamp(want, 0.0, 255.0), 1.0) << x;
  }
}

// Every layout an image may have, one pixel each, drawn 1:1.
TEST(DrawImage, ReadsEveryImageLayout) {
  struct Case {
    const char* name;
    std::size_t bpc, bpp;
    CGBitmapInfo info;
    bool gray;
    std::vector<std::uint8_t> bytes;
    std::array<int, 4> argb;
  };
  const Case cases[] = {
      {"gray", 8, 8, kCGImageAlphaNone, true, {255}, {255, 255, 255, 255}},
      {"gray+alpha", 8, 16, kCGImageAlphaLast, true, {255, 128}, {128, 128, 128, 128}},
      {"gray+alpha 16Little", 8, 16, kCGImageAlphaLast | kCGBitmapByteOrder16Little, true, {128, 255},
       {128, 128, 128, 128}},
      {"rgb", 8, 24, kCGImageAlphaNone, false, {10, 20, 30}, {255, 10, 20, 30}},
      {"rgba", 8, 32, kCGImageAlphaLast, false, {200, 100, 0, 128}, {128, 100, 50, 0}},
      {"rgba premultiplied", 8, 32, kCGImageAlphaPremultipliedLast, false, {100, 50, 0, 128},
       {128, 100, 50, 0}},
      {"argb premultiplied", 8, 32, kCGImageAlphaPremultipliedFirst, false, {128, 100, 50, 0},
       {128, 100, 50, 0}},
      {"bgra 32Little", 8, 32, kCGImageAlphaPremultipliedFirst | kCGBitmapByteOrder32Little, false,
       {0, 50, 100, 128}, {128, 100, 50, 0}},
      {"xrgb", 8, 32, kCGImageAlphaNoneSkipFirst, false, {7, 1, 2, 3}, {255, 1, 2, 3}},
      {"rgb 16 big", 16, 48, kCGImageAlphaNone, false, {0x01, 0xFF, 0x80, 0x00, 0xFF, 0xFF},
       {255, 2, 128, 255}},
      {"rgba 16 little", 16, 64, kCGImageAlphaLast | kCGBitmapByteOrder16Little, false,
       {0xFF, 0xFF, 0, 0, 0, 0, 0x00, 0x80}, {128, 128, 0, 0}},
  };
  for (const Case& c : cases) {
    const auto space = c.gray ? CGColorSpaceCreateWithName(kCGColorSpaceGenericGrayGamma2_2) : srgb();
    const auto img = CGImageCreate(1, 1, c.bpc, c.bpp, c.bpp / 8, space, c.info,
                                   CGDataProviderCreateWithData(c.bytes), nullptr, true,
                                   kCGRenderingIntentDefault);
    ASSERT_TRUE(img) << c.name;
    const auto ctx = argb(1, 1);
    CGContextDrawImage(ctx, CGRectMake(0, 0, 1, 1), img);
    const auto p = at(ctx, 0, 0);
    for (int k = 0; k < 4; ++k) EXPECT_NEAR(p[k], c.argb[k], 1) << c.name << " byte " << k;
    const auto big = argb(3, 3);  // enlarged, the one pixel everywhere
    CGContextDrawImage(big, CGRectMake(0, 0, 3, 3), img);
    for (int k = 0; k < 4; ++k) EXPECT_NEAR(at(big, 1, 1)[k], c.argb[k], 1) << c.name << " enlarged byte " << k;
  }
}

// 16-bit sources are averaged at 16 bits: 0x01FF is 1.99 levels of 8 bits,
// which its high byte alone would make 1.
TEST(DrawImage, SixteenBitSourcesKeepTheirPrecision) {
  std::vector<std::uint8_t> px;
  for (int i = 0; i < 16; ++i) px.insert(px.end(), {0x01, 0xFF, 0x01, 0xFF, 0x01, 0xFF});
  const auto img = CGImageCreate(4, 4, 16, 48, 24, srgb(), kCGImageAlphaNone,
                                 CGDataProviderCreateWithData(px), nullptr, true, kCGRenderingIntentDefault);
  const auto ctx = argb(2, 2);
  CGContextDrawImage(ctx, CGRectMake(0, 0, 2, 2), img);
  EXPECT_EQ(at(ctx, 1, 1), (std::array<int, 4>{255, 2, 2, 2}));
}

TEST(DrawImage, GlobalAlphaAndSourceOver) {
  const auto ctx = argb(2, 1);
  CGContextSetRGBFillColor(ctx, 1, 1, 1, 1);
  CGContextFillRect(ctx, CGRectMake(0, 0, 2, 1));
  CGContextSetAlpha(ctx, 0.5);
  CGContextDrawImage(ctx, CGRectMake(0, 0, 2, 1), solid(2, 1, {0, 0, 0, 255}));
  EXPECT_EQ(at(ctx, 0, 0)[0], 255);
  EXPECT_NEAR(at(ctx, 0, 0)[1], 127.5, 0.5);
}

TEST(DrawImage, NothingHappensForNullOrDegenerateInput) {
  const auto ctx = argb(2, 2);
  const auto img = solid(2, 2, {1, 2, 3, 255});
  CGContextDrawImage(nullptr, CGRectMake(0, 0, 2, 2), img);
  CGContextDrawImage(ctx, CGRectMake(0, 0, 2, 2), nullptr);
  CGContextDrawImage(ctx, CGRectMake(0, 0, 0, 2), img);
  CGContextDrawImage(ctx, CGRectNull, img);
  CGContextDrawImage(ctx, CGRectMake(NAN, 0, 2, 2), img);
  CGContextDrawImage(ctx, CGRectMake(0, 0, INFINITY, 2), img);
  CGContextDrawImage(ctx, CGRectMake(0, 0, 2, INFINITY), img);
  CGContextDrawImage(ctx, CGRectMake(1e300, -1e300, 1e300, 1e300), img);
  CGContextSetInterpolationQuality(ctx, kCGInterpolationHigh);
  CGContextDrawImage(ctx, CGRectMake(3, 0, 1e6, 2), img);
  CGContextFillRect(ctx, CGRectMake(5, 5, INFINITY, 1));
  CGContextSaveGState(ctx);
  CGContextRotateCTM(ctx, 1.0);
  CGContextDrawImage(ctx, CGRectMake(1e300, 1e300, 1e300, 1e300), img);
  CGContextConcatCTM(ctx, CGAffineTransformMake(NAN, 0, 0, 1, 0, 0));
  CGContextDrawImage(ctx, CGRectMake(0, 0, 2, 2), img);
  CGContextFillRect(ctx, CGRectMake(0, 0, 2, 2));
  CGContextRestoreGState(ctx);
  CGContextScaleCTM(ctx, 0, 1);
  CGContextDrawImage(ctx, CGRectMake(0, 0, 2, 2), img);
  for (int i = 0; i < 4; ++i) EXPECT_EQ(at(ctx, i % 2, i / 2), (std::array<int, 4>{0, 0, 0, 0}));
}

}  // namespace
}  // namespace orvane
