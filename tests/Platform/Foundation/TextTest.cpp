#include <gtest/gtest.h>

#include <set>

#include "Platform/Foundation/NSUUID.h"
#include "Platform/Foundation/Text.h"

namespace orvane {
namespace {

TEST(TextTest, Utf8Validation) {
  EXPECT_TRUE(isValidUTF8(""));
  EXPECT_TRUE(isValidUTF8("plain ascii"));
  EXPECT_TRUE(isValidUTF8("\xC3\xA9\xE2\x82\xAC\xF0\x9F\x93\xB7"));  // é € 📷
  EXPECT_TRUE(isValidUTF8(std::string_view("a\0b", 3)));
  EXPECT_FALSE(isValidUTF8("\x80"));              // lone continuation byte
  EXPECT_FALSE(isValidUTF8("\xC3"));              // cut short
  EXPECT_FALSE(isValidUTF8("\xE0\x80\xAF"));      // overlong
  EXPECT_FALSE(isValidUTF8("\xED\xB0\x80"));      // surrogate
  EXPECT_FALSE(isValidUTF8("\xF4\x90\x80\x80"));  // above U+10FFFF
  EXPECT_EQ(utf8Data("\xFE"), std::nullopt);
  EXPECT_EQ(utf8Data("ab"), (Data{'a', 'b'}));
}

TEST(TextTest, UuidTextIsVersionFourUpperCase) {
  std::set<std::string> seen;
  for (int i = 0; i < 100; ++i) {
    const std::string uuid = makeUUIDString();
    ASSERT_EQ(uuid.size(), 36u);
    for (std::size_t k = 0; k < uuid.size(); ++k) {
      if (k == 8 || k == 13 || k == 18 || k == 23)
        ASSERT_EQ(uuid[k], '-') << uuid;
      else
        ASSERT_NE(std::string("0123456789ABCDEF").find(uuid[k]), std::string::npos) << uuid;
    }
    EXPECT_EQ(uuid[14], '4');
    EXPECT_NE(std::string("89AB").find(uuid[19]), std::string::npos);
    seen.insert(uuid);
  }
  EXPECT_EQ(seen.size(), 100u);
}

}  // namespace
}  // namespace orvane
