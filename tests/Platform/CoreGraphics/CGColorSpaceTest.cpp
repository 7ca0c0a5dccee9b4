#include <gtest/gtest.h>

#include <cmath>

#include "Image/ImageTestSupport.h"

namespace orvane {
namespace {

using namespace testing;

TEST(CGColorSpace, NamedAndDeviceSpaces) {
  for (const std::string_view name : {kCGColorSpaceSRGB, kCGColorSpaceLinearSRGB, kCGColorSpaceDisplayP3,
                                      kCGColorSpaceAdobeRGB1998, kCGColorSpaceGenericGrayGamma2_2}) {
    const auto space = CGColorSpaceCreateWithName(name);
    const bool gray = name == kCGColorSpaceGenericGrayGamma2_2;
    ASSERT_TRUE(space) << name;
    EXPECT_EQ(CGColorSpaceCopyName(space), std::string(name));
    EXPECT_EQ(CGColorSpaceGetNumberOfComponents(space), gray ? 1u : 3u);
    EXPECT_EQ(CGColorSpaceGetModel(space), gray ? kCGColorSpaceModelMonochrome : kCGColorSpaceModelRGB);
    EXPECT_GT(CGColorSpaceCopyICCData(space)->size(), 128u);
    EXPECT_EQ(CGColorSpaceCreateWithName(name), space);
  }
  EXPECT_FALSE(CGColorSpaceCreateWithName("kCGColorSpaceNoSuchThing"));
  EXPECT_EQ(CGColorSpaceCopyName(CGColorSpaceCreateDeviceRGB()), std::string(kCGColorSpaceDeviceRGB));
  EXPECT_EQ(CGColorSpaceGetNumberOfComponents(CGColorSpaceCreateDeviceGray()), 1u);
  EXPECT_EQ(CGColorSpaceGetNumberOfComponents(nullptr), 0u);
  EXPECT_EQ(CGColorSpaceGetModel(nullptr), kCGColorSpaceModelUnknown);
  EXPECT_FALSE(CGColorSpaceCopyName(nullptr));
  EXPECT_FALSE(CGColorSpaceCopyICCData(nullptr));
}

TEST(CGColorSpace, ICCDataRoundTripsJunkIsRefusedAndEqualityComparesProfiles) {
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
  EXPECT_FALSE(CGColorSpaceCreateWithICCData(Data(icc->begin(), icc->begin() + 100)));
  Data garbage(*icc);
  for (std::size_t i = 128; i < garbage.size(); ++i) garbage[i] = static_cast<std::uint8_t>(i * 7);
  EXPECT_FALSE(CGColorSpaceCreateWithICCData(garbage));
  EXPECT_FALSE(CGColorSpaceCreateWithICCData({}));
  // Equality decides whether drawing matches colours.
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
  auto drawn = [](CGColorSpaceRef space, const CGImageRef& image) {
    const auto ctx = CGBitmapContextCreate(nullptr, 1, 1, 8, 4, std::move(space), kCGImageAlphaPremultipliedFirst);
    CGContextDrawImage(ctx, CGRectMake(0, 0, 1, 1), image);
    return at(ctx, 0, 0);
  };
  // sRGB into Display P3: same white point, so the linear values go through XYZ with the two
  // primaries' matrices (IEC 61966-2-1, SMPTE EG 432-1).
  const double p3FromSrgb[3][3] = {{0.8225, 0.1774, 0.0000}, {0.0332, 0.9669, 0.0000}, {0.0171, 0.0724, 0.9108}};
  const std::uint8_t in[3] = {200, 30, 90};
  const Bytes p3 = drawn(CGColorSpaceCreateWithName(kCGColorSpaceDisplayP3), solid(1, 1, {in[0], in[1], in[2]}));
  for (int r = 0; r < 3; ++r) {
    double lin = 0;
    for (int c = 0; c < 3; ++c) lin += p3FromSrgb[r][c] * toLinear(in[c] / 255.0);
    EXPECT_NEAR(p3[r + 1], 255 * fromLinear(lin), 1.5) << r;
  }
  // Into linear sRGB the curve alone changes.
  EXPECT_NEAR(drawn(CGColorSpaceCreateWithName(kCGColorSpaceLinearSRGB), solid(1, 1, {128, 128, 128}))[1],
              255 * toLinear(128 / 255.0), 1.0);
  // Gray gamma 2.2 into sRGB: same luminance.
  const Bytes gray = drawn(srgb(), image8(1, 1, 1, kCGImageAlphaNone, {100}, CGColorSpaceCreateDeviceGray()));
  for (int c = 1; c < 4; ++c) EXPECT_NEAR(gray[c], 255 * fromLinear(std::pow(100 / 255.0, 2.2)), 1.5);
  // Equal spaces copy the bytes as they are.
  EXPECT_EQ(drawn(CGColorSpaceCreateDeviceRGB(), solid(1, 1, {1, 2, 254})), (Bytes{255, 1, 2, 254}));
}

}  // namespace
}  // namespace orvane
