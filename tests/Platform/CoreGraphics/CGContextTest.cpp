#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "Image/ImageTestSupport.h"
#include "orvane/Platform/CoreGraphics/CGAffineTransform.h"

namespace orvane {
namespace {

using namespace testing;

TEST(CGColorSpace, NamedDeviceAndICCSpacesAndTheirEquality) {
  for (const std::string_view name : {kCGColorSpaceSRGB, kCGColorSpaceLinearSRGB, kCGColorSpaceDisplayP3,
                                      kCGColorSpaceAdobeRGB1998, kCGColorSpaceGenericGrayGamma2_2}) {
    const auto space = CGColorSpaceCreateWithName(name);
    const bool gray = name == kCGColorSpaceGenericGrayGamma2_2;
    ASSERT_TRUE(space) << name;
    EXPECT_EQ(std::tuple(CGColorSpaceCopyName(space), CGColorSpaceGetNumberOfComponents(space), CGColorSpaceGetModel(space)),
              std::tuple(std::optional(std::string(name)), gray ? 1u : 3u, gray ? kCGColorSpaceModelMonochrome : kCGColorSpaceModelRGB));
  }
  EXPECT_FALSE(CGColorSpaceCreateWithName("kCGColorSpaceNoSuchThing") || CGColorSpaceCopyName(nullptr));
  // ICC data round-trips; a gray profile is monochrome; short or broken profiles are refused.
  const auto icc = CGColorSpaceCopyICCData(CGColorSpaceCreateWithName(kCGColorSpaceDisplayP3));
  const auto copy = CGColorSpaceCreateWithICCData(*icc);
  ASSERT_TRUE(copy);
  EXPECT_EQ(std::tuple(CGColorSpaceCopyName(copy), *CGColorSpaceCopyICCData(copy), CGColorSpaceGetNumberOfComponents(copy)),
            std::tuple(std::optional<std::string>(), *icc, 3u));
  EXPECT_TRUE(CGColorSpaceEqualToColorSpace(copy, CGColorSpaceCreateWithICCData(*icc)));
  EXPECT_EQ(CGColorSpaceGetModel(CGColorSpaceCreateWithICCData(*CGColorSpaceCopyICCData(CGColorSpaceCreateDeviceGray()))),
            kCGColorSpaceModelMonochrome);
  Data garbage(*icc);
  for (std::size_t i = 128; i < garbage.size(); ++i) garbage[i] = std::uint8_t(i * 7);
  EXPECT_FALSE(CGColorSpaceCreateWithICCData(Data(icc->begin(), icc->begin() + 100)) || CGColorSpaceCreateWithICCData(garbage));
  const auto srgbSpace = srgb();
  EXPECT_TRUE(CGColorSpaceEqualToColorSpace(srgbSpace, CGColorSpaceCreateDeviceRGB()));
  EXPECT_TRUE(CGColorSpaceEqualToColorSpace(CGColorSpaceCreateDeviceGray(), CGColorSpaceCreateWithName(kCGColorSpaceGenericGrayGamma2_2)));
  EXPECT_FALSE(CGColorSpaceEqualToColorSpace(srgbSpace, CGColorSpaceCreateWithName(kCGColorSpaceDisplayP3)) ||
               CGColorSpaceEqualToColorSpace(srgbSpace, CGColorSpaceCreateWithICCData(*CGColorSpaceCopyICCData(srgbSpace))) ||
               CGColorSpaceEqualToColorSpace(srgbSpace, nullptr));
}

double toLinear(double v) { return v <= 0.04045 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4); }
double fromLinear(double v) { return v <= 0.0031308 ? v * 12.92 : 1.055 * std::pow(v, 1 / 2.4) - 0.055; }

TEST(CGColorSpace, DrawingIntoAnotherSpaceMatchesColours) {
  auto drawn = [](CGColorSpaceRef space, const CGImageRef& image) {
    const auto ctx = CGBitmapContextCreate(nullptr, 1, 1, 8, 4, std::move(space), kCGImageAlphaPremultipliedFirst);
    CGContextDrawImage(ctx, CGRectMake(0, 0, 1, 1), image);
    return at(ctx, 0, 0);
  };
  // sRGB into Display P3: same white point, linear values through the primaries' matrices (SMPTE EG 432-1).
  const double p3FromSrgb[3][3] = {{0.8225, 0.1774, 0.0000}, {0.0332, 0.9669, 0.0000}, {0.0171, 0.0724, 0.9108}};
  const std::uint8_t in[3] = {200, 30, 90};
  const Bytes p3 = drawn(CGColorSpaceCreateWithName(kCGColorSpaceDisplayP3), solid(1, 1, {in[0], in[1], in[2]}));
  for (int r = 0; r < 3; ++r) {
    double lin = 0;
    for (int c = 0; c < 3; ++c) lin += p3FromSrgb[r][c] * toLinear(in[c] / 255.0);
    EXPECT_NEAR(p3[r + 1], 255 * fromLinear(lin), 1.5) << r;
  }
  // Gray gamma 2.2 into sRGB: same luminance.
  const Bytes gray = drawn(srgb(), image8(1, 1, 1, kCGImageAlphaNone, {100}, CGColorSpaceCreateDeviceGray()));
  for (int c = 1; c < 4; ++c) EXPECT_NEAR(gray[c], 255 * fromLinear(std::pow(100 / 255.0, 2.2)), 1.5);
}

// The layouts a bitmap may have, zeroed, and where an orange fill's bytes land in each; others are refused.
TEST(CGBitmapContext, CreatesTheSupportedLayoutsOnlyAndFillsInTheirByteOrder) {
  const CGBitmapInfo first = kCGImageAlphaPremultipliedFirst, last = kCGImageAlphaPremultipliedLast,
                     little = kCGBitmapByteOrder32Little, big = kCGBitmapByteOrder32Big;
  constexpr Bytes no{-1, -1, -1, -1};
  const struct {
    std::size_t w, h, bpc, bpr;
    bool gray;
    CGBitmapInfo info;
    Bytes fill;
  } cases[] = {
      {4, 2, 8, 16, false, first, {255, 255, 128, 0}},       {4, 2, 8, 16, false, first | big, {255, 255, 128, 0}},
      {4, 2, 8, 0, false, last, {255, 128, 0, 255}},         {4, 2, 8, 16, false, first | little, {0, 128, 255, 255}},
      {4, 2, 8, 20, false, kCGImageAlphaNoneSkipFirst, {255, 255, 128, 0}}, {4, 2, 8, 16, false, last | little, {255, 0, 128, 255}},
      {4, 2, 8, 16, false, kCGImageAlphaNoneSkipLast | little, {255, 0, 128, 255}},
      {4, 2, 8, 4, true, kCGImageAlphaNone, {255, 255, 255, 255}},  // white in gray
      {4, 2, 8, 16, false, kCGImageAlphaLast, no},           {4, 2, 8, 12, false, kCGImageAlphaNone, no},  // rgb 24
      {4, 2, 16, 32, false, last, no},                       {4, 2, 8, 8, true, last, no},
      {4, 2, 8, 16, false, first | kCGBitmapByteOrder16Little, no}, {0, 2, 8, 16, false, first, no},
      {4, 0, 8, 16, false, first, no},                       {4, 2, 8, 15, false, first, no},  // row too short
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    const auto space = c.gray ? CGColorSpaceCreateDeviceGray() : srgb();
    const auto ctx = CGBitmapContextCreate(nullptr, c.w, c.h, c.bpc, c.bpr, space, c.info);
    ASSERT_EQ(ctx != nullptr, c.fill != no);
    if (!ctx) continue;
    const std::size_t px = c.gray ? 1 : 4, bpr = c.bpr ? c.bpr : c.w * px;
    EXPECT_EQ(std::tuple(CGBitmapContextGetBytesPerRow(ctx), CGBitmapContextGetBitsPerPixel(ctx), CGBitmapContextGetBitmapInfo(ctx),
                         CGBitmapContextGetColorSpace(ctx), CGBitmapContextGetHeight(ctx)), std::tuple(bpr, px * 8, c.info, space, c.h));
    const auto* data = static_cast<const std::uint8_t*>(CGBitmapContextGetData(ctx));
    EXPECT_TRUE(std::all_of(data, data + bpr * c.h, [](std::uint8_t v) { return v == 0; }));
    CGContextSetRGBFillColor(ctx, 1, c.gray ? 1 : 128 / 255.0, c.gray ? 1 : 0, 1);
    CGContextFillRect(ctx, CGRectMake(0, 0, 4, 2));
    EXPECT_EQ(at(ctx, 0, 1), c.fill);
  }
  EXPECT_FALSE(CGBitmapContextCreate(nullptr, 4, 4, 8, 16, nullptr, kCGImageAlphaPremultipliedFirst) ||
               CGBitmapContextGetData(nullptr) || CGBitmapContextGetWidth(nullptr) || CGBitmapContextCreateImage(nullptr));
}

TEST(CGBitmapContext, FillCoverageClearAndAlpha) {
  const auto ctx = argb(4, 1);
  CGContextSetRGBFillColor(ctx, 1, 1, 1, 1);
  CGContextFillRect(ctx, CGRectMake(0.5, 0, 2.25, 1));
  for (int x = 0; x < 4; ++x) EXPECT_NEAR(at(ctx, x, 0)[0], (std::array{127.5, 255.0, 191.25, 0.0})[x], 0.5) << x;
  CGContextClearRect(ctx, CGRectMake(1.5, 0, 5, 1));  // clearing half a pixel takes half of what is there
  EXPECT_NEAR(at(ctx, 1, 0)[0], 127.5, 0.5);
  EXPECT_EQ(at(ctx, 2, 0), (Bytes{0, 0, 0, 0}));
  CGContextSetRGBFillColor(ctx, 1, 0, 0, 0.5);  // half-transparent red at alpha 0.5 over nothing: a quarter
  CGContextSetAlpha(ctx, 0.5);
  CGContextFillRect(ctx, CGRectMake(3, 0, 1, 1));
  EXPECT_TRUE(std::abs(at(ctx, 3, 0)[0] - 63.75) < 0.5 && at(ctx, 3, 0)[1] == at(ctx, 3, 0)[0]);

  const auto turned = argb(20, 20);  // a turned fill covers its interior, and its edges by the area they share
  CGContextConcatCTM(turned, CGAffineTransformRotate(CGAffineTransformMakeTranslation(10, 10), 0.3));
  CGContextFillRect(turned, CGRectMake(-5, -5, 10, 10));
  double area = 0;
  for (int i = 0; i < 400; ++i) area += at(turned, i % 20, i / 20)[0] / 255.0;
  EXPECT_TRUE(at(turned, 10, 10)[0] == 255 && at(turned, 0, 0)[0] == 0) << area;
  EXPECT_NEAR(area, 100, 0.25);
}

TEST(CGContextState, SaveAndRestoreKeepCTMClipColourAlphaAndQuality) {
  const auto ctx = argb(4, 4);
  CGContextSaveGState(ctx);
  CGContextTranslateCTM(ctx, 1, 2);
  CGContextScaleCTM(ctx, 2, 3);
  EXPECT_EQ(CGContextGetCTM(ctx), CGAffineTransformMake(2, 0, 0, 3, 1, 2));
  CGContextClipToRect(ctx, CGRectMake(0, 0, 0.5, 0.5));  // device (1, 2, 1, 1.5)
  const CGRect clip = CGContextGetClipBoundingBox(ctx);
  EXPECT_NEAR(std::abs(clip.origin.x) + std::abs(clip.origin.y) + std::abs(clip.size.width - 0.5) +
              std::abs(clip.size.height - 0.5), 0, 1e-12);
  CGContextSetInterpolationQuality(ctx, kCGInterpolationHigh);
  CGContextSetRGBFillColor(ctx, 1, 0, 0, 1);
  CGContextSetAlpha(ctx, 0.25);
  CGContextRestoreGState(ctx);
  CGContextRestoreGState(ctx);  // one too many: nothing happens
  EXPECT_TRUE(CGContextGetCTM(ctx) == CGAffineTransformIdentity && CGContextGetClipBoundingBox(ctx) == CGRectMake(0, 0, 4, 4) &&
              CGContextGetInterpolationQuality(ctx) == kCGInterpolationDefault);
  CGContextFillRect(ctx, CGRectMake(0, 0, 4, 4));
  EXPECT_EQ(at(ctx, 2, 2), (Bytes{255, 0, 0, 0}));  // opaque black
  EXPECT_TRUE(CGContextGetCTM(nullptr) == CGAffineTransformIdentity && CGRectIsNull(CGContextGetClipBoundingBox(nullptr)));

  const auto clipped = argb(4, 2);  // clips intersect and limit fills and draws
  CGContextClipToRect(clipped, CGRectMake(1, 0, 2.5, 2));
  CGContextClipToRect(clipped, CGRectMake(0, 1, 4, 1));  // top row only
  CGContextSetRGBFillColor(clipped, 1, 1, 1, 1);
  CGContextFillRect(clipped, CGRectMake(0, 0, 4, 2));
  for (int i = 0; i < 8; ++i) EXPECT_NEAR(at(clipped, i % 4, i / 4)[0], (std::array<double, 8>{0, 255, 255, 127.5})[i], 0.5) << i;
  CGContextClearRect(clipped, CGRectMake(0, 0, 4, 2));
  CGContextDrawImage(clipped, CGRectMake(0, 0, 4, 2), solid(4, 2, {9, 9, 9}));
  for (int i : {0, 1, 2, 4, 5, 6, 7}) EXPECT_EQ(at(clipped, i % 4, i / 4)[1], i == 1 || i == 2 ? 9 : 0) << i;
}

// Images keep the pixels of their moment, whether the bitmap's memory is the caller's or its own.
TEST(CGBitmapContext, ImagesKeepThePixelsOfTheirMomentAndCallersBuffersAreUsed) {
  std::vector<std::uint8_t> buffer(2 * 12, 7);  // 2 rows of 2 pixels and 4 spare bytes
  for (std::uint8_t* memory : {buffer.data(), static_cast<std::uint8_t*>(nullptr)}) {
    const auto ctx = CGBitmapContextCreate(memory, 2, 2, 8, 12, srgb(), kCGImageAlphaPremultipliedFirst);
    EXPECT_TRUE(!memory || CGBitmapContextGetData(ctx) == memory);
    CGContextClearRect(ctx, CGRectMake(0, 0, 2, 2));
    CGContextSetRGBFillColor(ctx, 1, 0, 0, 1);
    CGContextFillRect(ctx, CGRectMake(0, 0, 2, 1));  // the lower row: memory row 1
    const auto first = CGBitmapContextCreateImage(ctx);
    CGContextSetRGBFillColor(ctx, 0, 0, 1, 1);
    CGContextFillRect(ctx, CGRectMake(0, 0, 1, 1));
    const auto second = CGBitmapContextCreateImage(ctx);
    static_cast<std::uint8_t*>(CGBitmapContextGetData(ctx))[13] = 9;  // writing to the memory reaches neither image
    const Data red{255, 255, 0, 0, 255, 255, 0, 0}, mixed{255, 0, 0, 255, 255, 255, 0, 0};
    for (const auto& [image, want] : {std::pair{first, red}, std::pair{second, mixed}}) {
      const Data px = pixelBytes(image);
      EXPECT_EQ(Data(px.begin() + 12, px.begin() + 20), want) << (memory ? "caller's" : "own");
    }
  }
  EXPECT_EQ(Data(buffer.begin(), buffer.begin() + 12), (Data{0, 0, 0, 0, 0, 0, 0, 0, 7, 7, 7, 7})) << "padding untouched";
  EXPECT_EQ(Data(buffer.begin() + 12, buffer.begin() + 20), (Data{255, 9, 0, 255, 255, 255, 0, 0}));
}

}  // namespace
}  // namespace orvane
