#include "orvane/Math/HXMathUtility.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <random>

namespace orvane {
namespace {

using M = HXMathUtility;

std::uint64_t bits(double value) { return std::bit_cast<std::uint64_t>(value); }

TEST(HXMathUtilityTest, StoredConstantsHaveTheirExactBits) {
  const struct {
    const char* name;
    double value;
    std::uint64_t expected;
  } cases[] = {
      {"precision", M::precision(), 0x3F1A36E2EB1C432DULL},
      {"half turn", M::kDegreesInHalfTurn, 0x4066800000000000ULL},
      {"pi", M::pi(), 0x400921FB54442D18ULL},
      {"pi_2", M::pi_2(), 0x3FF921FB54442D18ULL},
      {"pi_4", M::pi_4(), 0x3FE921FB54442D18ULL},
      {"cm per inch", M::kCentimetersPerInch, 0x400451EB80000000ULL},
      {"mm per inch", M::kMillimetersPerInch, 0x4039666660000000ULL},
  };
  for (const auto& c : cases) EXPECT_EQ(bits(c.value), c.expected) << c.name;

  // The length factors are the single-precision values widened.
  EXPECT_EQ(M::kCentimetersPerInch, static_cast<double>(2.54f));
  EXPECT_EQ(M::kMillimetersPerInch, static_cast<double>(25.4f));
  EXPECT_EQ(M::pi_3(), M::pi() / 3.0);
  EXPECT_EQ(M::pi_3(), 1.0471975511965976);
}

TEST(HXMathUtilityTest, ConversionsGiveTheExactDoubles) {
  const struct {
    const char* name;
    double actual;
    double expected;
  } cases[] = {
      {"radiansFromDegress 90", M::radiansFromDegress(90), 1.5707963267948966},
      {"radiansToDegress pi", M::radiansToDegress(M::pi()), 180.0},
      {"inchesFromCM 2.54", M::inchesFromCM(2.54), 1.0000000150184933},
      {"inchesToCM 1", M::inchesToCM(1), 2.5399999618530273},
      {"inchesToMM 1", M::inchesToMM(1), 25.399999618530273},
      {"inchesFromMM 25.4", M::inchesFromMM(25.4), 25.4 / 25.399999618530273},
      {"toInches 300 @ 72", M::pixelsWideToInchesWithDPI(300, 72), 300.0 / 72.0},
      {"fromInches 2 @ 300", M::pixelsWideFromInchesWithDPI(2, 300), 600.0},
      {"toCM 300 @ 72", M::pixelsWideToCMWithDPI(300, 72), 10.583333174387615},
      {"fromMM 25.4 @ 300", M::pixelsWideFromMMWithDPI(25.4, 300), 300.000004505548},
      {"fromCM 2.54 @ 300", M::pixelsWideFromCMWithDPI(2.54, 300), 1.0000000150184933 * 300},
      {"toMM 300 @ 300", M::pixelsWideToMMWithDPI(300, 300), 25.399999618530273},
      {"negative passes", M::pixelsWideToInchesWithDPI(-144, 72), -2.0},
  };
  for (const auto& c : cases) EXPECT_EQ(bits(c.actual), bits(c.expected)) << c.name;
}

TEST(HXMathUtilityTest, ZeroDpiGivesInfinityOrNotANumber) {
  EXPECT_EQ(M::pixelsWideToInchesWithDPI(300, 0), std::numeric_limits<double>::infinity());
  EXPECT_EQ(M::pixelsWideToCMWithDPI(-3, 0), -std::numeric_limits<double>::infinity());
  EXPECT_EQ(M::pixelsWideToMMWithDPI(1, 0), std::numeric_limits<double>::infinity());
  EXPECT_TRUE(std::isnan(M::pixelsWideToInchesWithDPI(0, 0)));
  EXPECT_TRUE(std::isnan(M::pixelsWideToCMWithDPI(0, 0)));
  EXPECT_TRUE(std::isnan(M::pixelsWideToMMWithDPI(0, 0)));
}

// Each conversion is checked over many inputs against its operations taken one
// at a time, beside a plausible wrong order, and the wrong order must differ
// somewhere, so that the sweep really pins the order down.
TEST(HXMathUtilityTest, EveryConversionKeepsItsOrderOfOperations) {
  const double pi = M::pi(), cm = M::kCentimetersPerInch, mm = M::kMillimetersPerInch;
  struct Case {
    const char* name;
    std::function<double(double, double)> actual, expected, wrongOrder;
  };
  const Case cases[] = {
      {"radiansFromDegress", [](double x, double) { return M::radiansFromDegress(x); },
       [&](double x, double) { return (x / 180.0) * pi; },
       [&](double x, double) { return (x * pi) / 180.0; }},
      {"radiansToDegress", [](double x, double) { return M::radiansToDegress(x); },
       [&](double x, double) { return (x / pi) * 180.0; },
       [&](double x, double) { return (x * 180.0) / pi; }},
      {"inchesToMM", [](double x, double) { return M::inchesToMM(x); },
       [&](double x, double) { return (x * cm) * 10.0; }, [&](double x, double) { return x * mm; }},
      {"inchesFromMM", [](double x, double) { return M::inchesFromMM(x); },
       [&](double x, double) { return x / mm; }, [&](double x, double) { return (x / cm) / 10.0; }},
      {"toCM", [](double x, double d) { return M::pixelsWideToCMWithDPI(x, d); },
       [&](double x, double d) { return (x / d) * cm; },
       [&](double x, double d) { return (x * cm) / d; }},
      {"fromCM", [](double x, double d) { return M::pixelsWideFromCMWithDPI(x, d); },
       [&](double x, double d) { return (x / cm) * d; },
       [&](double x, double d) { return (x * d) / cm; }},
      {"toMM", [](double x, double d) { return M::pixelsWideToMMWithDPI(x, d); },
       [&](double x, double d) { return ((x / d) * cm) * 10.0; },
       [&](double x, double d) { return (x / d) * mm; }},
      {"fromMM", [](double x, double d) { return M::pixelsWideFromMMWithDPI(x, d); },
       [&](double x, double d) { return (x / mm) * d; },
       [&](double x, double d) { return (x * d) / mm; }},
  };
  for (const Case& c : cases) {
    std::mt19937_64 rng(7);
    std::uniform_real_distribution<double> value(-5000.0, 5000.0), dpi(1.0, 1200.0);
    int wrongDiffers = 0;
    for (int i = 0; i < 2000; ++i) {
      const double x = value(rng), d = dpi(rng);
      ASSERT_EQ(bits(c.actual(x, d)), bits(c.expected(x, d))) << c.name << " x=" << x << " d=" << d;
      if (c.wrongOrder(x, d) != c.expected(x, d)) ++wrongDiffers;
    }
    EXPECT_GT(wrongDiffers, 0) << c.name;
  }
}

}  // namespace
}  // namespace orvane
