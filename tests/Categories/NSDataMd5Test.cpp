#include "orvane/Categories/NSDataMd5.h"

#include <gtest/gtest.h>

#include "orvane/Categories/NSStringMd5.h"

namespace orvane {
namespace {

TEST(Md5Test, EmptyInputHasNoDigest) {
  EXPECT_EQ(NSDataMd5::md5Value(ByteView()), std::nullopt);
  EXPECT_EQ(NSStringMd5::md5Value(""), std::nullopt);
}

TEST(Md5Test, KnownDigestsAreUpperCaseHex) {
  // RFC 1321 test suite, written upper-case.
  const std::pair<const char*, const char*> cases[] = {
      {"a", "0CC175B9C0F1B6A831C399E269772661"},
      {"abc", "900150983CD24FB0D6963F7D28E17F72"},
      {"message digest", "F96B697D7CB7938D525A2F31AAF161D0"},
      {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
       "57EDF4A22BE3C955AC49DA2E2107B67A"},
  };
  for (const auto& [text, digest] : cases) {
    EXPECT_EQ(NSStringMd5::md5Value(text), digest) << text;
    EXPECT_EQ(NSDataMd5::md5Value(bytesOf(text)), digest) << text;
  }
}

TEST(Md5Test, DigestKeepsLeadingZerosAndBinaryBytes) {
  // A digest with zero nibbles must still be 32 characters; bytes including
  // NUL are digested as they are.
  const Data bytes{0x00, 0xFF, 0x00, 0x10};
  auto digest = NSDataMd5::md5Value(bytes);
  ASSERT_TRUE(digest);
  EXPECT_EQ(digest->size(), 32u);
  EXPECT_EQ(digest->find_first_not_of("0123456789ABCDEF"), std::string::npos);
  EXPECT_NE(digest, NSDataMd5::md5Value(ByteView(bytes).first(3)));
}

TEST(Md5Test, TextIsDigestedOverItsUtf8Bytes) {
  const std::string text = "caf\xC3\xA9 \xE2\x82\xAC";  // café €
  EXPECT_EQ(NSStringMd5::md5Value(text), NSDataMd5::md5Value(bytesOf(text)));
  EXPECT_EQ(NSStringMd5::md5Value(text)->size(), 32u);
}

TEST(Md5Test, TextWithoutUtf8FormHasNoDigest) {
  EXPECT_EQ(NSStringMd5::md5Value("\xFF"), std::nullopt);
  EXPECT_EQ(NSStringMd5::md5Value("ok\xED\xA0\x80"), std::nullopt);  // a lone surrogate
  EXPECT_EQ(NSStringMd5::md5Value("\xC0\xAF"), std::nullopt);        // overlong '/'
}

}  // namespace
}  // namespace orvane
