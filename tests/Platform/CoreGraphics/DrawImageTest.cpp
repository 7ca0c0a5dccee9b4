#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <numbers>
#include <random>
#include <thread>

#include "Image/ImageTestSupport.h"
#include "Platform/CoreGraphics/ImageDecoder.h"
#include "support/AreaAverage.h"

namespace orvane {
namespace {

using namespace testing;

TEST(CGImage, CreateChecksItsParametersAndCropsTheIntegralRectangle) {
  const struct {
    std::size_t w, h, bpc, bpp, bpr;
    CGBitmapInfo info;
    std::size_t bytes;
    bool ok;
  } cases[] = {
      {3, 2, 8, 32, 12, kCGImageAlphaPremultipliedLast, 24, true}, {3, 2, 8, 32, 16, kCGImageAlphaLast, 28, true},  // last row: its pixels
      {2, 2, 16, 48, 12, kCGImageAlphaNone, 24, true},             {5, 1, 8, 8, 5, kCGImageAlphaNone, 5, true},  // gray
      {0, 2, 8, 32, 12, kCGImageAlphaLast, 24, false},             {3, 0, 8, 32, 12, kCGImageAlphaLast, 24, false},
      {3, 2, 4, 16, 12, kCGImageAlphaLast, 24, false},             {3, 2, 8, 24, 12, kCGImageAlphaLast, 24, false},  // bpp does not fit
      {3, 2, 8, 32, 11, kCGImageAlphaLast, 24, false},             {3, 2, 8, 32, 12, kCGImageAlphaLast, 23, false},  // too few bytes
      {3, 2, 8, 8, 3, kCGImageAlphaOnly, 6, false},                {1, 1, 8, 32, 4, kCGImageAlphaLast | 0x100, 4, false},  // float
      {3, 2, 8, 24, 9, kCGImageAlphaNone | kCGBitmapByteOrder32Little, 18, false},
      {1, 1, 16, 64, 8, kCGImageAlphaLast | kCGBitmapByteOrder32Little, 8, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    const auto space = c.bpp == 8 ? CGColorSpaceCreateDeviceGray() : srgb();
    Data bytes(c.bytes);
    for (std::size_t i = 0; i < c.bytes; ++i) bytes[i] = std::uint8_t(i + 1);
    const auto img = CGImageCreate(c.w, c.h, c.bpc, c.bpp, c.bpr, space, c.info, CGDataProviderCreateWithData(bytes),
                                   nullptr, true, kCGRenderingIntentDefault);
    ASSERT_EQ(img != nullptr, c.ok);
    if (!img) continue;
    EXPECT_EQ((std::array{CGImageGetWidth(img), CGImageGetHeight(img), CGImageGetBitsPerComponent(img),
                          CGImageGetBitsPerPixel(img), CGImageGetBytesPerRow(img)}),
              (std::array{c.w, c.h, c.bpc, c.bpp, c.bpr}));
    EXPECT_EQ(CGImageGetBitmapInfo(img), c.info);
    EXPECT_EQ(CGImageGetAlphaInfo(img), c.info & kCGBitmapAlphaInfoMask);
    EXPECT_EQ(CGImageGetColorSpace(img), space);
    EXPECT_EQ(pixelBytes(img), bytes) << "the provider hands back the bytes";
  }
  const double decode[2] = {1, 0};  // a decode array, no space or no provider: refused
  const auto four = CGDataProviderCreateWithData(Data(4));
  EXPECT_FALSE(CGImageCreate(1, 1, 8, 32, 4, srgb(), kCGImageAlphaLast, four, decode, true, kCGRenderingIntentDefault) ||
               CGImageCreate(1, 1, 8, 32, 4, nullptr, kCGImageAlphaLast, four, nullptr, true, kCGRenderingIntentDefault) ||
               CGImageCreate(1, 1, 8, 32, 4, srgb(), kCGImageAlphaLast, nullptr, nullptr, true, kCGRenderingIntentDefault));
  EXPECT_FALSE(CGImageGetWidth(nullptr) || CGImageGetDataProvider(nullptr) || CGDataProviderCopyData(nullptr) ||
               CGImageCreateWithImageInRect(nullptr, CGRectMake(0, 0, 1, 1)));

  Data px;  // crops take the integral rectangle from the top left, clipped to the image
  for (std::uint8_t i = 0; i < 12; ++i) px.insert(px.end(), {i, 0, 0, 255});
  const auto img = image8(4, 3, 4, kCGImageAlphaPremultipliedLast, px);
  const auto crop = CGImageCreateWithImageInRect(img, CGRectMake(1.5, 0.2, 2, 1.5));  // integral: (1, 0, 3, 2)
  EXPECT_EQ(dims(crop), (Dims{3, 2}));
  EXPECT_EQ(CGImageGetBytesPerRow(crop), 12u);
  for (int i = 0; i < 6; ++i) EXPECT_EQ(bytesAt(crop, std::size_t(i) * 4)[0], (std::array{1, 2, 3, 5, 6, 7})[i]);
  EXPECT_EQ(CGImageGetWidth(CGImageCreateWithImageInRect(img, CGRectMake(3, -5, 10, 6))), 1u);
  EXPECT_FALSE(CGImageCreateWithImageInRect(img, CGRectMake(4, 0, 2, 2)) || CGImageCreateWithImageInRect(img, CGRectNull));
}

// A decoder that hands out a solid grey picture (10 lighter when reduced) and counts its calls.
struct FakeDecoder : ImageDecoder {
  FakeDecoder(int side, bool reduced, bool stream, bool streamFails = false)
      : w(side), h(side / 2), reduced(reduced), stream(stream), streamFails(streamFails) {}
  std::optional<Data> decode() const override {
    ++decodes;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));  // long enough for the threads to meet
    return Data(std::size_t(w) * h * 4, 100);
  }
  CGImageRef decodeReduced(std::size_t minWidth, std::size_t minHeight) const override {
    asked = {double(minWidth), double(minHeight)};
    return reduced ? solid(w / 4, h / 4, {110, 110, 110}) : nullptr;
  }
  bool canStreamRows() const override { return stream; }
  bool streamRows(ImageRowSink& sink) const override {  // fails half-way if told to
    ++streams;
    const Data row(std::size_t(w) * 4, 100);
    for (int r = 0; r < h && !(streamFails && r == h / 2); ++r)
      if (++rowsStreamed, !sink.consumeRow(row.data())) return true;
    return !streamFails;
  }
  CGImageRef image() { return CGImageCreateWithDecoder(layout(w, h), srgb(), std::shared_ptr<FakeDecoder>(this, [](auto*) {})); }
  static ImagePixelLayout layout(int w, int h) { return {std::size_t(w), std::size_t(h), 8, 32, std::size_t(w) * 4, kCGImageAlphaNoneSkipLast}; }
  mutable std::atomic<int> decodes{0}, streams{0}, rowsStreamed{0};
  mutable CGSize asked;
  int w, h;
  bool reduced, stream, streamFails;
};

TEST(DecoderImage, DecodesOnceWhicheverThreadAsksFirst) {
  FakeDecoder decoder(8, false, false);
  const auto img = decoder.image();
  ASSERT_TRUE(img && decoder.decodes == 0);
  std::atomic<int> seen{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) threads.emplace_back([&] { seen += pixelBytes(img) == Data(128, 100); });
  for (auto& t : threads) t.join();
  EXPECT_EQ(std::pair(seen.load(), decoder.decodes.load()), std::pair(4, 1));
}

// Shrinking draws use a reduced decode big enough, else streamed rows, else the full decode; enlarging: full.
TEST(DecoderImage, DrawsTakeTheCheapestDecodeThatServes) {
  const struct {
    int side;
    bool reduced, stream, streamFails;
    CGRect rect;
    int decodes, streams, value;
  } cases[] = {
      {64, true, true, false, CGRectMake(0, 0, 13, 7.5), 0, 0, 110},  {64, false, true, false, CGRectMake(0, -8, 16, 16), 0, 1, 100},
      {64, false, true, true, CGRectMake(0, 0, 16, 8), 1, 1, 100},    {4, true, true, false, CGRectMake(0, 0, 16, 8), 1, 0, 100},
  };  // reduced, streamed, streaming fails, enlarged
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    FakeDecoder decoder(c.side, c.reduced, c.stream, c.streamFails);
    const auto img = decoder.image();
    const auto ctx = argb(16, 8);
    CGContextDrawImage(ctx, c.rect, img);
    EXPECT_EQ(std::pair(decoder.decodes.load(), decoder.streams.load()), std::pair(c.decodes, c.streams));
    EXPECT_EQ(std::pair(at(ctx, 5, 3), at(ctx, 5, 7)[1]), std::pair(Bytes{255, c.value, c.value, c.value}, c.value));
    if (c.value == 110) { EXPECT_EQ(decoder.asked, CGSizeMake(13.0 * kReducedDecodeMargin, 8.0 * kReducedDecodeMargin)); }
    if (c.streams && !c.streamFails) { EXPECT_LT(decoder.rowsStreamed, 32) << "stops once the visible rows are in"; }
    if (c.side == 4) {  // once decoded, a shrinking draw uses the decoded pixels
      CGContextDrawImage(ctx, CGRectMake(0, 0, 2, 2), img);
      EXPECT_EQ(std::pair(at(ctx, 0, 7)[1], decoder.streams.load()), std::pair(100, 0));
    }
  }
  FakeDecoder decoder(4, false, false);  // layouts and sizes a decoded image cannot hold
  const auto shared = std::shared_ptr<FakeDecoder>(&decoder, [](auto*) {});
  EXPECT_FALSE(CGImageCreateWithDecoder(FakeDecoder::layout(4, 4), nullptr, shared) ||
               CGImageCreateWithDecoder(FakeDecoder::layout(4, 4), srgb(), nullptr) ||
               CGImageCreateWithDecoder(FakeDecoder::layout(65536, 1), srgb(), shared) ||
               CGImageCreateWithDecoder(FakeDecoder::layout(16385, 16385), srgb(), shared) ||
               CGImageCreateWithDecoder(FakeDecoder::layout(4, 4), CGColorSpaceCreateDeviceGray(), shared));
}


// A constant image stays constant wherever it covers whole pixels, nothing lands outside; at any scale and angle.
TEST(DrawImage, ConstantImageStaysConstantAtAnyScaleAndAngle) {
  const struct {
    double angle, w, h;
    std::size_t sw, sh;
    CGInterpolationQuality quality;
  } cases[] = {
      {0, 50.7, 41.1, 23, 17, kCGInterpolationDefault}, {0, 37.1, 41.9, 57, 43, kCGInterpolationHigh},
      {0, 150, 90, 57, 43, kCGInterpolationHigh},  // enlarged by a filter the fixed-point path does not have
      {std::numbers::pi, 33, 33, 57, 43, kCGInterpolationNone},
      {std::numbers::pi / 6, 30, 20, 57, 43, kCGInterpolationDefault},
      {std::numbers::pi / 6, 50, 45, 57, 43, kCGInterpolationMedium},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    const auto ctx = argb(64, 64);
    CGContextTranslateCTM(ctx, 32.3, 31.8);
    CGContextRotateCTM(ctx, c.angle);
    CGContextSetInterpolationQuality(ctx, c.quality);
    CGContextDrawImage(ctx, CGRectMake(-c.w / 2, -c.h / 2, c.w, c.h), solid(c.sw, c.sh, {200, 100, 50}));
    int inside = 0;
    for (int i = 0; i < 64 * 64; ++i) {  // by the distance of the pixel's centre from the image's
      const double d = std::hypot(i % 64 + 0.5 - 32.3, 64 - i / 64 - 0.5 - 31.8);
      const Bytes p = at(ctx, i % 64, i / 64);
      ASSERT_TRUE(d < std::hypot(c.w, c.h) / 2 + 1 || p == (Bytes{0, 0, 0, 0})) << i;
      if (d > std::min(c.w, c.h) / 2 - 1.8) continue;
      ++inside;
      for (int k = 0; k < 4; ++k) ASSERT_NEAR(p[k], (Bytes{255, 200, 100, 50})[k], k ? 1 : 0) << i;
    }
    EXPECT_GT(inside, 100);
  }
}

TEST(DrawImage, ShrinkingMatchesTheExactAreaAverage) {
  // Random premultiplied pixels at fractional scales and offsets, each within half a level (rounded).
  std::mt19937 rng(42);
  const int sw = 97, sh = 61, W = 30, H = 22;
  std::vector<std::uint8_t> px(std::size_t(sw) * sh * 4);
  for (std::size_t i = 0; i < px.size(); i += 4) {
    px[i + 3] = std::uint8_t(rng() % 256);
    for (int c = 0; c < 3; ++c) px[i + c] = std::uint8_t(rng() % (px[i + 3] + 1));
  }
  const auto img = image8(sw, sh, 4, kCGImageAlphaPremultipliedLast, px);
  for (const CGRect r : {CGRectMake(0, 0, 30, 22), CGRectMake(3.25, 1.5, 23.5, 17.25), CGRectMake(-4.4, -2.1, 32.3, 20.9),
                         CGRectMake(5, 3, 9.7, 1.2)}) {
    SCOPED_TRACE(r.origin.x);
    const auto ctx = argb(W, H);
    CGContextDrawImage(ctx, r, img);
    const auto want = testing::areaAverage({px.data(), sw, sh, 4, sw * 4}, W, H, r.origin.x,
                                           H - CGRectGetMaxY(r), r.size.width, r.size.height);
    for (int i = 0; i < W * H; ++i)
      for (int c = 0; c < 4; ++c) ASSERT_NEAR(at(ctx, i % W, i / W)[c], want[i * 4 + (c + 3) % 4], 0.501) << i;
  }
}

// Averaging premultiplied colours: a transparent neighbour adds no colour; global alpha scales source-over.
TEST(DrawImage, TransparencyNeitherDarkensNorTintsAndGlobalAlphaBlends) {
  for (CGImageAlphaInfo info : {kCGImageAlphaPremultipliedLast, kCGImageAlphaLast}) {
    // Opaque red beside a transparent pixel whose stored colour is green: half-transparent full red.
    const auto ctx = argb(1, 1);
    CGContextDrawImage(ctx, CGRectMake(0, 0, 1, 1),
                       image8(2, 1, 4, info, {255, 0, 0, 255, 0, std::uint8_t(info == kCGImageAlphaLast ? 255 : 0), 0, 0}));
    EXPECT_TRUE(std::abs(at(ctx, 0, 0)[0] - 127.5) < 1 && at(ctx, 0, 0)[1] == at(ctx, 0, 0)[0] && at(ctx, 0, 0)[2] == 0) << info;
  }
  const auto ctx = argb(2, 1);
  CGContextSetRGBFillColor(ctx, 1, 1, 1, 1);
  CGContextFillRect(ctx, CGRectMake(0, 0, 2, 1));
  CGContextSetAlpha(ctx, 0.5);
  CGContextDrawImage(ctx, CGRectMake(0, 0, 2, 1), solid(2, 1, {0, 0, 0}));
  EXPECT_EQ(at(ctx, 0, 0), (Bytes{255, 128, 128, 128}));
}

// Enlarging: linear for Default and Low, Catmull-Rom for High (edge pixels repeated), nearest for None.
TEST(DrawImage, EnlargingInterpolatesAsTheQualityAsks) {
  const std::uint8_t values[] = {0, 255, 0, 255, 128, 64, 200};
  const int n = 7, W = 18;
  std::vector<std::uint8_t> px;
  for (std::uint8_t v : values) px.insert(px.end(), {v, v, v, 9});
  const auto img = image8(n, 1, 4, kCGImageAlphaNoneSkipLast, px);
  auto v = [&](double i) { return double(values[std::clamp(int(i), 0, n - 1)]); };
  for (const CGInterpolationQuality quality :
       {kCGInterpolationDefault, kCGInterpolationLow, kCGInterpolationHigh, kCGInterpolationNone}) {
    const auto ctx = argb(W, 1);
    CGContextSetInterpolationQuality(ctx, kCGInterpolationHigh);  // every quality replaces another
    CGContextSetInterpolationQuality(ctx, quality);
    CGContextDrawImage(ctx, CGRectMake(0, 0, W, 1), img);
    for (int x = 0; x < W; ++x) {
      const double s = (x + 0.5) * n / W - 0.5, i = std::floor(s), t = s - i;
      const double w[4] = {(-t * t * t + 2 * t * t - t) / 2, (3 * t * t * t - 5 * t * t + 2) / 2,
                           (-3 * t * t * t + 4 * t * t + t) / 2, (t * t * t - t * t) / 2};
      const double want = quality == kCGInterpolationNone   ? v(std::floor(s + 0.5))
                          : quality == kCGInterpolationHigh ? w[0] * v(i - 1) + w[1] * v(i) + w[2] * v(i + 1) + w[3] * v(i + 2)
                                                            : (1 - t) * v(i) + t * v(i + 1);
      EXPECT_TRUE(at(ctx, x, 0)[0] == 255 && std::abs(at(ctx, x, 0)[1] - std::clamp(want, 0.0, 255.0)) <= 1) << quality << " " << x;
    }
  }
}

// Every layout an image may have, one pixel each, drawn 1:1 and enlarged.
TEST(DrawImage, ReadsEveryImageLayout) {
  const CGBitmapInfo last = kCGImageAlphaLast, first = kCGImageAlphaPremultipliedFirst;
  const struct {
    std::size_t bpc, bpp;
    CGBitmapInfo info;
    Data bytes;
    Bytes argb;
  } cases[] = {  // gray, gray + alpha (both orders), RGB, RGBA straight and premultiplied, ARGB, BGRA, XRGB, 16-bit
      {8, 8, kCGImageAlphaNone, {255}, {255, 255, 255, 255}},          {8, 16, last, {255, 128}, {128, 128, 128, 128}},
      {8, 16, last | kCGBitmapByteOrder16Little, {128, 255}, {128, 128, 128, 128}}, {8, 24, kCGImageAlphaNone, {10, 20, 30}, {255, 10, 20, 30}},
      {8, 32, last, {200, 100, 0, 128}, {128, 100, 50, 0}},            {8, 32, kCGImageAlphaPremultipliedLast, {100, 50, 0, 128}, {128, 100, 50, 0}},
      {8, 32, first, {128, 100, 50, 0}, {128, 100, 50, 0}},            {8, 32, first | kCGBitmapByteOrder32Little, {0, 50, 100, 128}, {128, 100, 50, 0}},
      {8, 32, kCGImageAlphaNoneSkipFirst, {7, 1, 2, 3}, {255, 1, 2, 3}}, {16, 48, kCGImageAlphaNone, {1, 0xFF, 0x80, 0, 0xFF, 0xFF}, {255, 2, 128, 255}},
      {16, 64, last | kCGBitmapByteOrder16Little, {0xFF, 0xFF, 0, 0, 0, 0, 0x00, 0x80}, {128, 128, 0, 0}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    const auto space = c.bpc == 8 && c.bpp <= 16 ? CGColorSpaceCreateWithName(kCGColorSpaceGenericGrayGamma2_2) : srgb();
    const auto img = image(1, 1, c.bpc, c.bpp, c.info, c.bytes, space);
    ASSERT_TRUE(img);
    const auto one = argb(1, 1), big = argb(3, 3);
    CGContextDrawImage(one, CGRectMake(0, 0, 1, 1), img);
    CGContextDrawImage(big, CGRectMake(0, 0, 3, 3), img);
    for (int k = 0; k < 8; ++k) EXPECT_NEAR((k < 4 ? at(one, 0, 0) : at(big, 1, 1))[k % 4], c.argb[k % 4], 1) << k;
  }
  // 16-bit sources are averaged at 16 bits: 0x01FF is 1.99 levels of 8 bits, its high byte alone 1.
  Data px;
  for (int i = 0; i < 16 * 3; ++i) px.insert(px.end(), {0x01, 0xFF});
  const auto ctx = argb(2, 2);
  CGContextDrawImage(ctx, CGRectMake(0, 0, 2, 2), image(4, 4, 16, 48, kCGImageAlphaNone, px));
  EXPECT_EQ(at(ctx, 1, 1), (Bytes{255, 2, 2, 2}));
}

TEST(DrawImage, NothingHappensForNullOrDegenerateInput) {
  const auto ctx = argb(2, 2);
  const auto img = solid(2, 2, {1, 2, 3});
  CGContextDrawImage(nullptr, CGRectMake(0, 0, 2, 2), img);
  CGContextDrawImage(ctx, CGRectMake(0, 0, 2, 2), nullptr);
  CGContextSetInterpolationQuality(ctx, kCGInterpolationHigh);
  for (const CGRect r : {CGRectMake(0, 0, 0, 2), CGRectNull, CGRectMake(NAN, 0, 2, 2), CGRectMake(0, 0, INFINITY, 2),
                         CGRectMake(0, 0, 2, INFINITY), CGRectMake(1e300, -1e300, 1e300, 1e300), CGRectMake(3, 0, 1e6, 2)})
    CGContextDrawImage(ctx, r, img);
  CGContextFillRect(ctx, CGRectMake(5, 5, INFINITY, 1));
  CGContextRotateCTM(ctx, 1.0);
  CGContextDrawImage(ctx, CGRectMake(1e300, 1e300, 1e300, 1e300), img);
  CGContextConcatCTM(ctx, CGAffineTransformMake(NAN, 0, 0, 1, 0, 0));
  CGContextDrawImage(ctx, CGRectMake(0, 0, 2, 2), img);
  CGContextFillRect(ctx, CGRectMake(0, 0, 2, 2));
  for (int i = 0; i < 4; ++i) EXPECT_EQ(at(ctx, i % 2, i / 2), (Bytes{0, 0, 0, 0}));
}

}  // namespace
}  // namespace orvane
