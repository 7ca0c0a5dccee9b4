#include <gtest/gtest.h>

#include <set>

#include "Platform/Foundation/NSUUID.h"
#include "Platform/Foundation/Text.h"

namespace orvane {
namespace {

// Each length's smallest and largest scalar, and the forms just beyond them.
TEST(TextTest, Utf8ValidationAtEveryBoundary) {
  const std::pair<std::string_view, bool> cases[] = {
      {"", true}, {"plain ascii", true}, {std::string_view("a\0b", 3), true}, {"\x7F", true},
      {"\x80", false},                        // lone continuation byte
      {"\xC2\x80", true}, {"\xDF\xBF", true},  // U+0080, U+07FF
      {"\xC1\xBF", false},                    // overlong U+007F
      {"\xC3", false},                        // cut short
      {"\xC3\x28", false},                    // no continuation byte
      {"\xE0\xA0\x80", true}, {"\xEF\xBF\xBF", true},  // U+0800, U+FFFF
      {"\xE0\x9F\xBF", false},                        // overlong U+07FF
      {"\xED\x9F\xBF", true}, {"\xEE\x80\x80", true},  // U+D7FF, U+E000
      {"\xED\xA0\x80", false}, {"\xED\xBF\xBF", false},  // surrogates U+D800, U+DFFF
      {"\xF0\x90\x80\x80", true}, {"\xF4\x8F\xBF\xBF", true},  // U+10000, U+10FFFF
      {"\xF0\x8F\xBF\xBF", false},                          // overlong U+FFFF
      {"\xF4\x90\x80\x80", false},                          // above U+10FFFF
      {"\xF8\x88\x80\x80\x80", false}, {"\xFE", false}, {"\xFF", false},
      {"\xC3\xA9\xE2\x82\xAC\xF0\x9F\x93\xB7", true},  // é € and a camera
  };
  for (const auto& [text, valid] : cases) {
    EXPECT_EQ(isValidUTF8(text), valid) << ::testing::PrintToString(std::string(text));
    EXPECT_EQ(utf8Data(text), valid ? std::optional<Data>(dataOf(text)) : std::nullopt);
  }
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
