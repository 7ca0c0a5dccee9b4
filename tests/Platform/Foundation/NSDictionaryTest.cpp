#include "orvane/Platform/Foundation/NSDictionary.h"

#include <gtest/gtest.h>

#include <cmath>

namespace orvane {
namespace {

TEST(NSDictionaryTest, NumbersReadAsThePlatformsNumbersDo) {
  const NSDictionary d{{"float", 0.8f},       {"double", 0.8},   {"int", 3},
                       {"yes", true},         {"huge", 1e30},    {"nan", std::nan("")},
                       {"text", "0.8"},       {"negative", -2.9}};
  // A float keeps single precision: it is not the double nearest 0.8.
  EXPECT_EQ(*d.doubleForKey("float"), static_cast<double>(0.8f));
  EXPECT_NE(*d.doubleForKey("float"), 0.8);
  EXPECT_EQ(*d.floatForKey("double"), 0.8f);
  EXPECT_EQ(*d.doubleForKey("int"), 3.0);
  EXPECT_EQ(*d.doubleForKey("yes"), 1.0);
  EXPECT_EQ(d.objectForKey("negative")->integerValue(), -2);
  EXPECT_EQ(d.objectForKey("huge")->integerValue(), std::nullopt);
  EXPECT_EQ(d.objectForKey("nan")->integerValue(), std::nullopt);
  EXPECT_EQ(*d.boolForKey("negative"), true);
  // Values of another kind, and missing keys, read as nothing.
  EXPECT_EQ(d.doubleForKey("text"), std::nullopt);
  EXPECT_EQ(d.sizeForKey("double"), std::nullopt);
  EXPECT_EQ(d.doubleForKey("missing"), std::nullopt);
  EXPECT_EQ(d.objectForKey("missing"), nullptr);
  EXPECT_EQ(d.count(), 8u);
}

TEST(NSDictionaryTest, NestedDictionariesCompareByContent) {
  const NSDictionary inner{{"DPIWidth", 72.0}, {"size", CGSizeMake(144, 72)}};
  const NSDictionary a{{"inner", inner}}, b{{"inner", NSDictionary{{"DPIWidth", 72.0},
                                                                   {"size", CGSizeMake(144, 72)}}}};
  EXPECT_EQ(a, b);
  EXPECT_EQ(*a.objectForKey("inner")->dictionaryValue()->sizeForKey("size"), CGSizeMake(144, 72));
  EXPECT_NE(a, (NSDictionary{{"inner", NSDictionary{{"DPIWidth", 72.0f}}}}));
  EXPECT_NE(a, (NSDictionary{{"inner", 1}}));
}

}  // namespace
}  // namespace orvane
