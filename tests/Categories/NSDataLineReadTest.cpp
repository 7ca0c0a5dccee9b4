#include "orvane/Categories/NSDataLineRead.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace orvane {
namespace {}  // namespace

void PrintTo(const NSRange& r, std::ostream* os) {
  *os << "{" << r.location << ", " << r.length << "}";
}

namespace {

struct FindCase {
  const char* data;
  const char* pattern;
  NSRange expected;
};

TEST(RangeOfDataFindTest, ForwardScanResults) {
  const FindCase cases[] = {
      {"abc\ndef", "\n", {3, 1}},
      {"xab", "ab", {1, 2}},
      {"ab", "ab", {0, 2}},
      // The second 'a' broke the open match and is not retried as a start.
      {"aab", "ab", {NSNotFound, 2}},
      {"xab", "abc", {1, 3}},  // a partial match open at the end counts
      {"abab", "abc", {NSNotFound, 3}},
      {"abc\r", "\r\n", {3, 2}},
      {"xyz", "q", {NSNotFound, 1}},
      {"xaxab", "ab", {3, 2}},   // a failed match resets, a later one is found
      {"abcabc", "bc", {1, 2}},  // the first match wins
  };
  for (const auto& c : cases) {
    EXPECT_EQ(NSDataLineRead::rangeOfDataFind(bytesOf(c.data), bytesOf(c.pattern)), c.expected)
        << c.data << " / " << c.pattern;
  }
}

TEST(RangeOfDataFindTest, EmptyDataOrPattern) {
  EXPECT_EQ(NSDataLineRead::rangeOfDataFind(ByteView(), bytesOf("abc")), (NSRange{NSNotFound, 3}));
  EXPECT_EQ(NSDataLineRead::rangeOfDataFind(bytesOf("abc"), ByteView()), (NSRange{NSNotFound, 0}));
  EXPECT_EQ(NSDataLineRead::rangeOfDataFind(ByteView(), ByteView()), (NSRange{NSNotFound, 0}));
}

TEST(RangeOfDataFindTest, MatchesAReferenceScanOnPseudoRandomInput) {
  // The reference is the plain byte-at-a-time scan; the library's scan skips
  // ahead and must agree with it everywhere, misses included.
  auto reference = [](ByteView d, ByteView p) {
    std::uint64_t location = NSNotFound;
    std::size_t k = 0;
    for (std::size_t i = 0; i < d.size(); ++i) {
      if (d[i] == p[k]) {
        if (location == NSNotFound) location = i;
        if (++k >= p.size()) break;
      } else {
        k = 0;
        location = NSNotFound;
      }
    }
    return NSRange{location, p.size()};
  };
  std::uint32_t seed = 12345;
  auto next = [&] { return (seed = seed * 1103515245u + 12345u) >> 16; };
  for (int round = 0; round < 2000; ++round) {
    Data d(next() % 40), p(1 + next() % 4);
    for (auto& b : d) b = static_cast<std::uint8_t>('a' + next() % 3);
    for (auto& b : p) b = static_cast<std::uint8_t>('a' + next() % 3);
    const NSRange expected = d.empty() ? NSRange{NSNotFound, p.size()} : reference(d, p);
    ASSERT_EQ(NSDataLineRead::rangeOfDataFind(d, p), expected);
  }
}

TEST(ReadLineTest, AnswersTheMatchedSeparatorBytes) {
  EXPECT_EQ(NSDataLineRead::readLine(bytesOf("abc\ndef"), "\n"), Data{0x0A});
  EXPECT_EQ(NSDataLineRead::readLine(bytesOf("ab\r\ncd"), "\r\n"), (Data{0x0D, 0x0A}));
  EXPECT_EQ(NSDataLineRead::readLine(bytesOf("x\xE2\x82\xACy"), "\xE2\x82\xAC"),
            (Data{0xE2, 0x82, 0xAC}));
}

TEST(ReadLineTest, RangeOutsideTheDataThrows) {
  EXPECT_THROW(NSDataLineRead::readLine(bytesOf("abc\r"), "\r\n"), std::out_of_range);
  EXPECT_THROW(NSDataLineRead::readLine(bytesOf("abc"), "\n"), std::out_of_range);
  EXPECT_THROW(NSDataLineRead::readLine(bytesOf("abc"), ""), std::out_of_range);
  EXPECT_THROW(NSDataLineRead::readLine(ByteView(), "\n"), std::out_of_range);
  EXPECT_THROW(NSDataLineRead::readLine(bytesOf("a\xFF"), "\xFF"), std::out_of_range);
}

}  // namespace
}  // namespace orvane
