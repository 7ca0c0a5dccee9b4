#include <gtest/gtest.h>

#include <cmath>

#include "CGTestSupport.h"

namespace orvane {
namespace {

using namespace cgtest;

TEST(CGColorSpace, NamedAndDeviceSpaces) {
  struct Case {
    std::string_view name;
    std::size_t components;
  };
  for (const Case& c : {Case{kCGColorSpaceSRGB, 3}, Case{kCGColorSpaceLinearSRGB, 3},
                        Case{kCGColorSpaceDisplayP3, 3}, Case{kCGColorSpaceAdobeRGB1998, 3},
                        Case{kCGColorSpaceGenericGrayGamma2_2, 1}}) {
    const auto space = CGColorSpaceCreateWithName(c.name);
    ASSERT_TRUE(space) << c.name;
    EXPECT_EQ(CGColorSpaceCopyName(space), std::string(c.name));
    EXPECT_EQ(CGColorSpaceGetNumberOfComponents(space), c.components);
    EXPECT_EQ(CGColorSpaceGetModel(space), c.components == 3 ? kCGColorSpaceModelRGB : kCGColorSpaceModelMonochrome);
    EXPECT_GT(CGColorSpaceCopyICCData(space)->size(), 128u);
    EXPECT_EQ(CGColorSpaceCreateWithName(c.name), space);
  }
  EXPECT_FALSE(CGColorSpaceCreateWithName("kCGColorSpaceNoSuchThing"));
  EXPECT_EQ(CGColorSpaceCopyName(CGColorSpaceCreateDeviceRGB()), std::string(kCGColorSpaceDeviceRGB));
  EXPECT_EQ(CGColorSpaceGetNumberOfComponents(CGColorSpaceCreateDeviceGray()), 1u);
  EXPECT_EQ(CGColorSpaceGetNumberOfComponents(nullptr), 0u);
  EXPECT_EQ(CGColorSpaceGetModel(nullptr), kCGColorSpaceModelUnknown);
  EXPECT_FALSE(CGColorSpaceCopyName(nullptr));
  EXPECT_FALSE(CGColorSpaceCopyICCData(nullptr));
}

TEST(CGColorSpace, ICCDataRoundTripsAndJunkIsRefused) {
  const auto p3 = CGColorSpaceCreateWithName(kCGColorSpaceDisplayP3);
  const auto icc = CGColorSpaceCopyICCData(p3);
  const auto copy = CGColorSpaceCreateWithICCData(*icc);
  ASSERT_TRUE(copy);
  EXPECT_FALSE(CGColorSpaceCopyName(copy));
  EXPECT_EQ(*CGColorSpaceCopyICCData(copy), *icc);
  EXPECT_EQ(CGColorSpaceGetNumberOfComponents(copy), 3u);
  EXPECT_TRUE(CGColorSpaceEqualToColorSpace(copy, CGColorSpaceCreateWithICCData(*icc)));
  const auto gray = CGColorSpaceCreateWithICCData(*CGColorSpaceCopyICCData(CGColorSpaceCreateDeviceGray()));
  ASSERT_TRUE(gray);
  EXPECT_EQ(CGColorSpaceGetModel(gray), kCGColorSpaceModelMonochrome);
  Data junk(icc->begin(), icc->begin() + 100);
  EXPECT_FALSE(CGColorSpaceCreateWithICCData(junk));
  Data garbage(*icc);
  for (std::size_t i = 128; i < garbage.size(); ++i) garbage[i] = static_cast<std::uint8_t>(i * 7);
  EXPECT_FALSE(CGColorSpaceCreateWithICCData(garbage));
  EXPECT_FALSE(CGColorSpaceCreateWithICCData({}));
}

TEST(CGColorSpace, EqualityDecidesWhetherDrawingMatchesColours) {
  const auto srgbSpace = srgb();
  EXPECT_TRUE(CGColorSpaceEqualToColorSpace(srgbSpace, CGColorSpaceCreateDeviceRGB()));
  EXPECT_TRUE(CGColorSpaceEqualToColorSpace(CGColorSpaceCreateDeviceGray(),
                                            CGColorSpaceCreateWithName(kCGColorSpaceGenericGrayGamma2_2)));
  EXPECT_FALSE(CGColorSpaceEqualToColorSpace(srgbSpace, CGColorSpaceCreateWithName(kCGColorSpaceDisplayP3)));
  EXPECT_FALSE(CGColorSpaceEqualToColorSpace(srgbSpace, CGColorSpaceCreateWithICCData(*CGColorSpaceCopyICCData(srgbSpace))));
  EXPECT_FALSE(CGColorSpaceEqualToColorSpace(srgbSpace, nullptr));
}

// sRGB transfer curve and its inverse.
double toLinear(double v) { return v <= 0.04045 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4); }
double fromLinear(double v) { return v <= 0.0031308 ? v * 12.92 : 1.055 * std::pow(v, 1 / 2.4) - 0.055; }

TEST(CGColorSpace, DrawingIntoAnotherSpaceMatchesColours) {
  // sRGB red in Display P3: same white point, so the linear values go
  // through XYZ with the two primaries' matrices (IEC 61966-2-1, SMPTE EG 432-1).
  const double p3FromSrgb[3][3] = {{0.8225, 0.1774, 0.0000}, {0.0332, 0.9669, 0.0000}, {0.0171, 0.0724, 0.9108}};
  const std::uint8_t in[3] = {200, 30, 90};
  double lin[3], want[3];
  for (int c = 0; c < 3; ++c) lin[c] = toLinear(in[c] / 255.0);
  for (int r = 0; r < 3; ++r)
    want[r] = 255 * fromLinear(p3FromSrgb[r][0] * lin[0] + p3FromSrgb[r][1] * lin[1] + p3FromSrgb[r][2] * lin[2]);
  const auto p3 = CGBitmapContextCreate(nullptr, 1, 1, 8, 4, CGColorSpaceCreateWithName(kCGColorSpaceDisplayP3),
                                        kCGImageAlphaPremultipliedFirst);
  CGContextDrawImage(p3, CGRectMake(0, 0, 1, 1), solid(1, 1, {in[0], in[1], in[2], 255}));
  for (int c = 0; c < 3; ++c) EXPECT_NEAR(at(p3, 0, 0)[c + 1], want[c], 1.5) << c;

  // Into linear sRGB the curve alone changes.
  const auto linear = CGBitmapContextCreate(nullptr, 1, 1, 8, 4, CGColorSpaceCreateWithName(kCGColorSpaceLinearSRGB),
                                            kCGImageAlphaPremultipliedFirst);
  CGContextDrawImage(linear, CGRectMake(0, 0, 1, 1), solid(1, 1, {128, 128, 128, 255}));
  EXPECT_NEAR(at(linear, 0, 0)[1], 255 * toLinear(128 / 255.0), 1.0);

  // Gray gamma 2.2 mid-grey into sRGB: same luminance.
  const auto g = image8(1, 1, 1, kCGImageAlphaNone, {100}, CGColorSpaceCreateDeviceGray());
  const auto ctx = argb(1, 1);
  CGContextDrawImage(ctx, CGRectMake(0, 0, 1, 1), g);
  const double y = std::pow(100 / 255.0, 2.2);
  for (int c = 1; c < 4; ++c) EXPECT_NEAR(at(ctx, 0, 0)[c], 255 * fromLinear(y), 1.5);

  // Equal spaces copy the bytes as they are.
  const auto device = CGBitmapContextCreate(nullptr, 1, 1, 8, 4, CGColorSpaceCreateDeviceRGB(),
                                            kCGImageAlphaPremultipliedFirst);
  CGContextDrawImage(device, CGRectMake(0, 0, 1, 1), solid(1, 1, {1, 2, 254, 255}));
  EXPECT_EQ(at(device, 0, 0), (std::array<int, 4>{255, 1, 2, 254}));
}

}  // namespace
}  // namespace orvane
