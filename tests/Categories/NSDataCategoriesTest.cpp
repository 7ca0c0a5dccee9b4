#include <gtest/gtest.h>

#include <stdexcept>

#include "orvane/Categories/NSDataLineRead.h"
#include "orvane/Categories/NSDataMd5.h"
#include "orvane/Categories/NSStringMd5.h"

namespace orvane {

void PrintTo(const NSRange& r, std::ostream* os) { *os << "{" << r.location << ", " << r.length << "}"; }

namespace {

TEST(Md5Test, UpperCaseHexOfTheBytesAndNothingForEmptyOrInvalidText) {
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
  // NUL bytes are digested too; zero nibbles are written.
  EXPECT_EQ(NSDataMd5::md5Value(Data{0x00, 0xFF, 0x00, 0x10}), "8007CCEB4F44FDC3B10AADF55B127CC8");
  const std::string text = "caf\xC3\xA9 \xE2\x82\xAC";  // text is digested over its UTF-8 bytes
  EXPECT_EQ(NSStringMd5::md5Value(text), NSDataMd5::md5Value(bytesOf(text)));
  EXPECT_EQ(NSDataMd5::md5Value(ByteView()), std::nullopt);
  // Empty, or text without a UTF-8 form: not UTF-8, a lone surrogate, overlong '/'.
  for (const char* bad : {"", "\xFF", "ok\xED\xA0\x80", "\xC0\xAF"})
    EXPECT_EQ(NSStringMd5::md5Value(bad), std::nullopt) << bad;
}

TEST(RangeOfDataFindTest, ForwardScanResults) {
  const struct {
    const char *data, *pattern;
    NSRange expected;
  } cases[] = {
      {"abc\ndef", "\n", {3, 1}}, {"xab", "ab", {1, 2}}, {"ab", "ab", {0, 2}},
      {"aab", "ab", {NSNotFound, 2}},  // the second 'a' broke the open match, is not retried
      {"xab", "abc", {1, 3}},          // a partial match open at the end counts
      {"abab", "abc", {NSNotFound, 3}}, {"abc\r", "\r\n", {3, 2}}, {"xyz", "q", {NSNotFound, 1}},
      {"xaxab", "ab", {3, 2}}, {"abcabc", "bc", {1, 2}},  // the first match wins
      {"", "abc", {NSNotFound, 3}}, {"abc", "", {NSNotFound, 0}}, {"", "", {NSNotFound, 0}},
  };
  for (const auto& c : cases)
    EXPECT_EQ(NSDataLineRead::rangeOfDataFind(bytesOf(c.data), bytesOf(c.pattern)), c.expected)
        << c.data << " / " << c.pattern;
}

TEST(RangeOfDataFindTest, MatchesAReferenceScanOnPseudoRandomInput) {
  // The plain byte-at-a-time scan; the library's scan skips ahead and must
  // agree with it everywhere, misses included.
  auto reference = [](ByteView d, ByteView p) {
    std::uint64_t location = NSNotFound;
    for (std::size_t i = 0, k = 0; i < d.size(); ++i) {
      if (d[i] != p[k]) {
        k = 0, location = NSNotFound;
        continue;
      }
      if (location == NSNotFound) location = i;
      if (++k >= p.size()) break;
    }
    return NSRange{location, p.size()};
  };
  std::uint32_t seed = 12345;
  auto next = [&] { return (seed = seed * 1103515245u + 12345u) >> 16; };
  for (int round = 0; round < 2000; ++round) {
    Data d(next() % 40), p(1 + next() % 4);
    for (auto& b : d) b = static_cast<std::uint8_t>('a' + next() % 3);
    for (auto& b : p) b = static_cast<std::uint8_t>('a' + next() % 3);
    ASSERT_EQ(NSDataLineRead::rangeOfDataFind(d, p), reference(d, p));
  }
}

TEST(ReadLineTest, AnswersTheMatchedSeparatorAndThrowsForARangeOutsideTheData) {
  EXPECT_EQ(NSDataLineRead::readLine(bytesOf("abc\ndef"), "\n"), Data{0x0A});
  EXPECT_EQ(NSDataLineRead::readLine(bytesOf("ab\r\ncd"), "\r\n"), (Data{0x0D, 0x0A}));
  EXPECT_EQ(NSDataLineRead::readLine(bytesOf("x\xE2\x82\xACy"), "\xE2\x82\xAC"),
            (Data{0xE2, 0x82, 0xAC}));
  for (const auto& [data, separator] : std::initializer_list<std::pair<const char*, const char*>>{
           {"abc\r", "\r\n"}, {"abc", "\n"}, {"abc", ""}, {"", "\n"}, {"a\xFF", "\xFF"}})
    EXPECT_THROW(NSDataLineRead::readLine(bytesOf(data), separator), std::out_of_range) << data;
}

}  // namespace
}  // namespace orvane
