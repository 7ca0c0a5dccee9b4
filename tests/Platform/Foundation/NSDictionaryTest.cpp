#include "orvane/Platform/Foundation/NSDictionary.h"

#include <gtest/gtest.h>

#include <cmath>

namespace orvane {
namespace {

TEST(NSDictionary, HoldsEveryKindOfValue) {
  const NSDictionary d{{"flag", true},
                       {"count", 7},
                       {"quality", 0.9f},
                       {"ratio", 0.9},
                       {"name", "public.jpeg"},
                       {"bytes", Data{1, 2}},
                       {"dpi", CGSizeMake(72, 96)},
                       {"nested", NSDictionary{{"k", -1}}}};
  EXPECT_EQ(d.count(), 8u);
  EXPECT_EQ(d.objectForKey("missing"), nullptr);
  EXPECT_EQ(d.objectForKey("flag")->boolValue(), true);
  EXPECT_EQ(d.objectForKey("flag")->doubleValue(), 1.0);
  EXPECT_EQ(d.objectForKey("count")->integerValue(), 7);
  // A float keeps single precision, as numberWithFloat: does.
  EXPECT_EQ(d.objectForKey("quality")->doubleValue(), static_cast<double>(0.9f));
  EXPECT_NE(d.objectForKey("quality")->doubleValue(), 0.9);
  EXPECT_EQ(d.objectForKey("ratio")->doubleValue(), 0.9);
  EXPECT_EQ(*d.objectForKey("name")->stringValue(), "public.jpeg");
  EXPECT_EQ(*d.objectForKey("bytes")->dataValue(), (Data{1, 2}));
  EXPECT_EQ(d.objectForKey("dpi")->sizeValue(), CGSizeMake(72, 96));
  EXPECT_EQ(d.objectForKey("nested")->dictionaryValue()->objectForKey("k")->integerValue(), -1);
  EXPECT_EQ(d.allKeys().front(), "bytes");
}

TEST(NSPropertyValue, AnswersNothingForTheWrongKind) {
  const NSPropertyValue text("x"), number(2.5);
  EXPECT_FALSE(text.isNumber());
  EXPECT_FALSE(text.doubleValue());
  EXPECT_FALSE(text.boolValue());
  EXPECT_FALSE(text.sizeValue());
  EXPECT_EQ(text.dataValue(), nullptr);
  EXPECT_EQ(number.stringValue(), nullptr);
  EXPECT_EQ(number.dictionaryValue(), nullptr);
  EXPECT_EQ(number.integerValue(), 2);
  EXPECT_EQ(NSPropertyValue(-2.9).integerValue(), -2);
  EXPECT_EQ(NSPropertyValue(NAN).integerValue(), 0);
  EXPECT_EQ(NSPropertyValue(1e300).integerValue(), INT64_MAX);
  EXPECT_EQ(NSPropertyValue(0.0).boolValue(), false);
}

TEST(NSPropertyValue, ComparesNumbersByValueAndDictionariesByContent) {
  EXPECT_EQ(NSPropertyValue(1), NSPropertyValue(1.0));
  EXPECT_EQ(NSPropertyValue(true), NSPropertyValue(1));
  EXPECT_EQ(NSPropertyValue(0.5f), NSPropertyValue(0.5));
  EXPECT_NE(NSPropertyValue(0.9f), NSPropertyValue(0.9));
  EXPECT_NE(NSPropertyValue(std::int64_t{1} << 62), NSPropertyValue((std::int64_t{1} << 62) + 1));
  EXPECT_NE(NSPropertyValue("1"), NSPropertyValue(1));
  EXPECT_EQ(NSPropertyValue(NSDictionary{{"a", 1}}), NSPropertyValue(NSDictionary{{"a", 1.0}}));
  EXPECT_NE(NSPropertyValue(NSDictionary{{"a", 1}}), NSPropertyValue(NSDictionary{{"a", 2}}));
  EXPECT_EQ(NSPropertyValue(std::shared_ptr<const NSDictionary>()),
            NSPropertyValue(std::shared_ptr<const NSDictionary>()));
  EXPECT_NE(NSPropertyValue(std::shared_ptr<const NSDictionary>()), NSPropertyValue(NSDictionary{}));
}

}  // namespace
}  // namespace orvane
