#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "Image/ImageTestSupport.h"
#include "Platform/CoreGraphics/ImageDecoder.h"

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
  const double decode[2] = {1, 0};
  const auto four = [] { return CGDataProviderCreateWithData(Data(4)); };
  EXPECT_FALSE(CGImageCreate(1, 1, 8, 32, 4, srgb(), kCGImageAlphaLast, four(), decode, true, kCGRenderingIntentDefault));
  EXPECT_FALSE(CGImageCreate(1, 1, 8, 32, 4, nullptr, kCGImageAlphaLast, four(), nullptr, true, kCGRenderingIntentDefault));
  EXPECT_FALSE(CGImageCreate(1, 1, 8, 32, 4, srgb(), kCGImageAlphaLast, nullptr, nullptr, true, kCGRenderingIntentDefault));
  const CGImageRef none;
  EXPECT_EQ(dims(none), (Dims{0, 0}));
  EXPECT_EQ(CGImageGetBytesPerRow(none), 0u);
  EXPECT_EQ(CGImageGetColorSpace(none), nullptr);
  EXPECT_EQ(CGImageGetDataProvider(none), nullptr);
  EXPECT_EQ(CGDataProviderCopyData(nullptr), nullptr);
  EXPECT_EQ(CGImageCreateWithImageInRect(none, CGRectMake(0, 0, 1, 1)), nullptr);

  Data px;  // crops take the integral rectangle from the top left, clipped to the image
  for (std::uint8_t i = 0; i < 12; ++i) px.insert(px.end(), {i, 0, 0, 255});
  const auto img = image8(4, 3, 4, kCGImageAlphaPremultipliedLast, px);
  const auto crop = CGImageCreateWithImageInRect(img, CGRectMake(1.5, 0.2, 2, 1.5));  // integral: (1, 0, 3, 2)
  EXPECT_EQ(dims(crop), (Dims{3, 2}));
  EXPECT_EQ(CGImageGetBytesPerRow(crop), 12u);
  for (int i = 0; i < 6; ++i) EXPECT_EQ(bytesAt(crop, std::size_t(i) * 4)[0], (std::array{1, 2, 3, 5, 6, 7})[i]);
  EXPECT_EQ(CGImageGetWidth(CGImageCreateWithImageInRect(img, CGRectMake(3, -5, 10, 6))), 1u);
  EXPECT_FALSE(CGImageCreateWithImageInRect(img, CGRectMake(4, 0, 2, 2)));
  EXPECT_FALSE(CGImageCreateWithImageInRect(img, CGRectNull));
}

// A decoder that hands out a solid grey picture and counts its calls.
struct FakeDecoder : ImageDecoder {
  FakeDecoder(int side, bool reduced, bool stream, bool streamFails = false)
      : w(side), h(side / 2), reduced(reduced), stream(stream), streamFails(streamFails) {}
  std::optional<Data> decode() const override {
    ++decodes;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    return Data(std::size_t(w) * h * 4, 100);
  }
  CGImageRef decodeReduced(std::size_t minWidth, std::size_t minHeight) const override {
    ++reducedCalls;
    asked = {double(minWidth), double(minHeight)};
    // Colour 10 apart from the full decode, so a test sees which one drew.
    return reduced ? solid(w / 4, h / 4, {110, 110, 110}) : nullptr;
  }
  bool canStreamRows() const override { return stream; }
  bool streamRows(ImageRowSink& sink) const override {
    ++streams;
    const Data row(std::size_t(w) * 4, 100);
    for (int r = 0; r < h; ++r) {
      if (streamFails && r == h / 2) return false;
      ++rowsStreamed;
      if (!sink.consumeRow(row.data())) return true;
    }
    return true;
  }
  CGImageRef image() { return CGImageCreateWithDecoder(layout(w, h), srgb(), std::shared_ptr<FakeDecoder>(this, [](auto*) {})); }
  static ImagePixelLayout layout(int w, int h) {
    return {std::size_t(w), std::size_t(h), 8, 32, std::size_t(w) * 4, kCGImageAlphaNoneSkipLast};
  }
  mutable std::atomic<int> decodes{0}, reducedCalls{0}, streams{0}, rowsStreamed{0};
  mutable CGSize asked;
  int w, h;
  bool reduced, stream, streamFails;
};

TEST(DecoderImage, DecodesOnceWhicheverThreadAsksFirst) {
  FakeDecoder decoder(8, false, false);
  const auto img = decoder.image();
  ASSERT_TRUE(img);
  EXPECT_EQ(decoder.decodes, 0);
  std::atomic<int> seen{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&] {
      const auto data = CGDataProviderCopyData(CGImageGetDataProvider(img));
      seen += data && data->size() == 128 && (*data)[0] == 100;
    });
  for (auto& t : threads) t.join();
  EXPECT_EQ(seen, 4);
  EXPECT_EQ(decoder.decodes, 1);
}

// Shrinking draws use a reduced decode big enough, else stream rows (and stop once the visible
// rows are in), else decode in full; enlarging and 1:1 draws use the full decode.
TEST(DecoderImage, DrawsTakeTheCheapestDecodeThatServes) {
  const struct {
    const char* name;
    int side;
    bool reduced, stream, streamFails;
    CGRect rect;
    int decodes, streams, value;
  } cases[] = {
      {"reduced", 64, true, true, false, CGRectMake(0, 0, 13, 7.5), 0, 0, 110},
      {"streamed", 64, false, true, false, CGRectMake(0, -8, 16, 16), 0, 1, 100},
      {"streaming fails", 64, false, true, true, CGRectMake(0, 0, 16, 8), 1, 1, 100},
      {"enlarged", 4, true, true, false, CGRectMake(0, 0, 16, 8), 1, 0, 100},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    FakeDecoder decoder(c.side, c.reduced, c.stream, c.streamFails);
    const auto img = decoder.image();
    const auto ctx = argb(16, 8);
    CGContextDrawImage(ctx, c.rect, img);
    EXPECT_EQ(decoder.decodes, c.decodes);
    EXPECT_EQ(decoder.streams, c.streams);
    EXPECT_EQ(at(ctx, 5, 3), (std::array<int, 4>{255, c.value, c.value, c.value}));
    EXPECT_EQ(at(ctx, 5, 7)[1], c.value);
    if (c.reduced && c.side == 64) {
      EXPECT_EQ(decoder.asked, CGSizeMake(13.0 * kReducedDecodeMargin, 8.0 * kReducedDecodeMargin));
    }
    if (c.streams && !c.streamFails) {
      EXPECT_LT(decoder.rowsStreamed, 32);
    }
    if (c.side == 4) {
      CGContextDrawImage(argb(2, 2), CGRectMake(0, 0, 2, 2), img);
      EXPECT_EQ(decoder.reducedCalls, 0);
      EXPECT_EQ(decoder.streams, 0);
    }
  }
  FakeDecoder decoder(4, false, false);  // layouts and sizes a decoded image cannot hold
  const auto shared = std::shared_ptr<FakeDecoder>(&decoder, [](auto*) {});
  EXPECT_FALSE(CGImageCreateWithDecoder(FakeDecoder::layout(4, 4), nullptr, shared));
  EXPECT_FALSE(CGImageCreateWithDecoder(FakeDecoder::layout(4, 4), srgb(), nullptr));
  EXPECT_FALSE(CGImageCreateWithDecoder(FakeDecoder::layout(65536, 1), srgb(), shared));
  EXPECT_FALSE(CGImageCreateWithDecoder(FakeDecoder::layout(16385, 16385), srgb(), shared));
  EXPECT_FALSE(CGImageCreateWithDecoder(FakeDecoder::layout(4, 4), CGColorSpaceCreateDeviceGray(), shared));
}

}  // namespace
}  // namespace orvane
