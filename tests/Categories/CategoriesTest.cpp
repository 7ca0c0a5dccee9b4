#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <thread>

#include "Platform/Foundation/EnvironmentOverrides.h"
#include "Platform/System/NSURLTesting.h"
#include "orvane/Categories/NSColorColorEffect.h"
#include "orvane/Categories/NSDataLineRead.h"
#include "orvane/Categories/NSDataMd5.h"
#include "orvane/Categories/NSStringMd5.h"
#include "orvane/Categories/NSURLSecurityData.h"
#include "orvane/Categories/NSViewDarkMode.h"
#include "orvane/Categories/NSWindowDarkmode.h"
#include "orvane/Platform/AppKit/NSApplication.h"
#include "support/ChildProcess.h"
#include "support/TempDir.h"

namespace orvane {

namespace {

std::shared_ptr<const NSAppearance> named(std::string_view name) {
  return std::make_shared<const NSAppearance>(std::string(name));
}

ScopedEnvironmentOverrides runningAs(OperatingSystemVersion version) {
  EnvironmentOverrides o;
  o.systemVersion = version;
  return ScopedEnvironmentOverrides(o);
}

class DarkModeTest : public ::testing::Test {
 protected:
  void TearDown() override { NSApplication::sharedApplication().setAppearance(nullptr); }
};

TEST_F(DarkModeTest, OnlyTheFourDarkNamesAreDarkAndOnlyFrom10_14) {
  // Exact equality: no prefix, case or closest-match tricks.
  const std::pair<std::string_view, bool> cases[] = {
      {NSAppearanceNameDarkAqua, true}, {NSAppearanceNameVibrantDark, true},
      {NSAppearanceNameAccessibilityHighContrastDarkAqua, true},
      {NSAppearanceNameAccessibilityHighContrastVibrantDark, true}, {NSAppearanceNameAqua, false},
      {NSAppearanceNameAccessibilityHighContrastVibrantLight, false}, {"NSAppearanceNameDarkAqua ", false},
      {"NSAppearanceNameDark", false}, {"", false},
  };
  for (const OperatingSystemVersion version : {OperatingSystemVersion{10, 14, 0}, {10, 13, 6}}) {
    auto scoped = runningAs(version);
    for (const auto& [name, dark] : cases)
      EXPECT_EQ(NSWindowDarkmode::darkModeAppearance(named(name)), dark && version.minorVersion == 14) << name;
  }
  EXPECT_FALSE(NSWindowDarkmode::darkModeAppearance(nullptr));
}

TEST_F(DarkModeTest, WindowAnswersFromItsOwnAppearanceElseTheApplicationViewsFromTheirWindow) {
  NSApplication& app = NSApplication::sharedApplication();
  auto window = NSWindow::init();
  EXPECT_FALSE(NSWindowDarkmode::darkMode(*window));  // the system's light default
  app.setAppearance(named(NSAppearanceNameDarkAqua));
  EXPECT_TRUE(NSWindowDarkmode::darkMode(*window));
  window->setAppearance(named(NSAppearanceNameAqua));
  EXPECT_FALSE(NSWindowDarkmode::darkMode(*window));
  // A view asks its window, else the application; never itself or its superviews.
  auto view = NSView::init(), root = NSView::init();
  view->setAppearance(named(NSAppearanceNameVibrantDark));
  root->setAppearance(named(NSAppearanceNameVibrantDark));
  window->setContentView(root);
  root->addSubview(view);
  EXPECT_FALSE(NSViewDarkMode::darkMode(*view));
  view->removeFromSuperview();
  EXPECT_TRUE(NSViewDarkMode::darkMode(*view));
  app.setAppearance(named(NSAppearanceNameVibrantLight));
  EXPECT_FALSE(NSViewDarkMode::darkMode(*view));
}

TEST_F(DarkModeTest, DisableColorHalvesAlphaFrom10_14AndWashesTowardWhiteBefore) {
  auto color = NSColor::colorWithSRGBRedGreenBlueAlpha(0.2, 0.4, 0.0, 0.8);
  EXPECT_EQ(NSColorColorEffect::disableColor(*color)->alphaComponent(), 0.4);
  auto scoped = runningAs({10, 13, 6});
  EXPECT_DOUBLE_EQ(NSColorColorEffect::disableColor(*color)->blueComponent(), 0.5);  // halfway toward white
  EXPECT_EQ(NSColorColorEffect::disableColor(*color)->alphaComponent(), 0.8);
}

TEST(Md5Test, UpperCaseHexOfTheBytesAndNothingForEmptyOrInvalidText) {
  // From the RFC 1321 test suite, written upper-case; it spans two blocks.
  const char* text = "12345678901234567890123456789012345678901234567890123456789012345678901234567890";
  EXPECT_EQ(NSStringMd5::md5Value(text), "57EDF4A22BE3C955AC49DA2E2107B67A");
  EXPECT_EQ(NSDataMd5::md5Value(bytesOf(text)), "57EDF4A22BE3C955AC49DA2E2107B67A");
  // NUL bytes are digested too; zero nibbles are written.
  EXPECT_EQ(NSDataMd5::md5Value(Data{0x00, 0xFF, 0x00, 0x10}), "8007CCEB4F44FDC3B10AADF55B127CC8");
  EXPECT_EQ(NSDataMd5::md5Value(ByteView()), std::nullopt);
  const char* accented = "caf\xC3\xA9 \xE2\x82\xAC";  // text is digested over its UTF-8 bytes
  EXPECT_EQ(NSStringMd5::md5Value(accented), NSDataMd5::md5Value(bytesOf(accented)));
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
      {"abab", "abc", {NSNotFound, 3}}, {"xyz", "q", {NSNotFound, 1}},
      {"xaxab", "ab", {3, 2}}, {"abcabc", "bc", {1, 2}},  // the first match wins
      {"", "abc", {NSNotFound, 3}}, {"abc", "", {NSNotFound, 0}},
  };
  for (const auto& c : cases)
    EXPECT_EQ(NSDataLineRead::rangeOfDataFind(bytesOf(c.data), bytesOf(c.pattern)), c.expected)
        << c.data << " / " << c.pattern;
}

TEST(ReadLineTest, AnswersTheMatchedSeparatorAndThrowsForARangeOutsideTheData) {
  EXPECT_EQ(NSDataLineRead::readLine(bytesOf("ab\r\ncd"), "\r\n"), (Data{0x0D, 0x0A}));
  // A match open at the end, no match, a separator that is not UTF-8.
  for (const auto& [data, separator] : std::initializer_list<std::pair<const char*, const char*>>{
           {"abc\r", "\r\n"}, {"abc", "\n"}, {"a\xFF", "\xFF"}})
    EXPECT_THROW(NSDataLineRead::readLine(bytesOf(data), separator), std::out_of_range) << data;
}

namespace stdfs = std::filesystem;
using testing::TempDir;

stdfs::path makeFile(const stdfs::path& path) {
  std::ofstream(path) << "contents";
  return path;
}

Data bookmarkOf(const stdfs::path& url) {
  auto bookmark = NSURLSecurityData::bookmarkData(url);
  if (!bookmark) ADD_FAILURE() << "no bookmark for " << url;
  return bookmark.value_or(Data());
}

// A bookmark record written by hand, so that the layout hosts keep on disk is
// pinned independently of the code that writes it.
Data record(std::uint32_t version, std::uint32_t length, const std::string& path) {
  Data out{'O', 'V', 'B', 'M'};
  for (const std::uint32_t value : {version, length})
    for (int shift = 0; shift < 32; shift += 8) out.push_back(std::uint8_t(value >> shift));
  out.insert(out.end(), path.begin(), path.end());
  return out;
}

TEST(NSURLSecurityDataTest, ResolvesToTheLocationWithOneAccessOpenPerResolution) {
  TempDir dir;
  const stdfs::path file = makeFile(dir / "été #1.jpg"), other = makeFile(dir / "b.jpg");
  stdfs::create_directory(dir / "album");
  stdfs::create_symlink(file, dir / "link.jpg");
  const std::pair<stdfs::path, stdfs::path> cases[] = {
      {dir / "album", stdfs::canonical(dir / "album")},
      {dir / "album" / ".." / "été #1.jpg", stdfs::canonical(file)},
      {dir / "link.jpg", stdfs::canonical(file)},  // the link's target
  };
  for (const auto& [given, resolved] : cases) {
    SCOPED_TRACE(given);
    const Data bookmark = bookmarkOf(given);
    for (std::uint64_t open = 1; open <= 2; ++open) {
      EXPECT_EQ(NSURLSecurityData::urlWithBookmarkData(bookmark), resolved);
      EXPECT_EQ(securityScopedAccessCount(resolved), open);
    }
    for (std::uint64_t open = 3; open-- > 0;) {  // one stop more than starts: never below 0
      stopAccessingSecurityScopedResource(resolved);
      EXPECT_EQ(securityScopedAccessCount(resolved), std::max<std::uint64_t>(open, 1) - 1);
    }
  }
  // Counted per location; nothing to open is no access.
  for (const auto& url : {file, file, other}) EXPECT_TRUE(startAccessingSecurityScopedResource(url));
  EXPECT_EQ(securityScopedAccessCount(file) * 10 + securityScopedAccessCount(other), 21u);
  for (const auto& url : {dir / "missing", stdfs::path()})
    EXPECT_FALSE(startAccessingSecurityScopedResource(url)) << url;
}

// A bookmark is a versioned record of the canonical path of a location that
// exists; it names whatever is at that path when it is resolved.
TEST(NSURLSecurityDataTest, BookmarkIsAVersionedRecordOfTheCanonicalPath) {
  TempDir dir;
  const stdfs::path file = makeFile(dir / "a.png");
  const std::string path = stdfs::canonical(file).string();
  const Data bookmark = bookmarkOf(file);
  EXPECT_EQ(bookmark, record(1, static_cast<std::uint32_t>(path.size()), path));
  stdfs::create_symlink(dir / "gone", dir / "dangling");
  EXPECT_FALSE(NSURLSecurityData::bookmarkData(dir / "dangling"));
  stdfs::remove(file);
  EXPECT_FALSE(NSURLSecurityData::urlWithBookmarkData(bookmark));
  makeFile(file);
  EXPECT_EQ(NSURLSecurityData::urlWithBookmarkData(bookmark), stdfs::path(path));
  stopAccessingSecurityScopedResource(path);
}

TEST(NSURLSecurityDataTest, NothingForBytesThatAreNotABookmark) {
  TempDir dir;
  const std::string path = stdfs::canonical(makeFile(dir / "a.png")).string();
  const auto length = static_cast<std::uint32_t>(path.size());
  const Data valid = record(1, length, path);
  std::string withZero = path;
  withZero.insert(withZero.size() - 1, 1, '\0');
  const Data cases[] = {
      {}, Data(valid.begin(), valid.begin() + 11), dataOf("OVBX" + std::string(valid.begin() + 4, valid.end())),
      record(0, length, path), record(2, length, path), record(1, length + 1, path), record(1, length - 1, path),
      record(1, 0, ""), record(1, 5, "a.png"), record(1, length + 1, withZero),
      record(1, 4096, "/" + std::string(4095, 'a')),  // longer than the system allows
  };
  for (std::size_t i = 0; i < std::size(cases); ++i)
    EXPECT_FALSE(NSURLSecurityData::urlWithBookmarkData(cases[i])) << "case " << i;
  EXPECT_EQ(securityScopedAccessCount(path), 0u);
}

TEST(NSURLSecurityDataTest, NothingWhenThisProcessCannotOpenTheLocation) {
  using P = stdfs::perms;
  TempDir dir;
  stdfs::permissions(dir.path(), P::owner_all | P::group_read | P::group_exec | P::others_read |
                                     P::others_exec);
  const stdfs::path unreadable = makeFile(dir / "secret.png"), readable = makeFile(dir / "pub.png");
  stdfs::create_directory(dir / "locked");
  stdfs::create_directory(dir / "open");
  stdfs::permissions(unreadable, P::none);
  stdfs::permissions(readable, P::owner_read | P::group_read | P::others_read);
  // Listable but not searchable; searchable only.
  stdfs::permissions(dir / "locked", P::owner_read | P::group_read | P::others_read);
  stdfs::permissions(dir / "open", P::owner_exec | P::group_exec | P::others_exec);
  const Data secret = bookmarkOf(unreadable), pub = bookmarkOf(readable),
             locked = bookmarkOf(dir / "locked"), open = bookmarkOf(dir / "open");
  auto child = testing::runInChild([&] {
    // The superuser opens everything: test as an ordinary user instead.
    if (geteuid() == 0 && (setgid(65534) != 0 || setuid(65534) != 0)) return 10;
    return (NSURLSecurityData::urlWithBookmarkData(secret) ? 1 : 0) |
           (NSURLSecurityData::urlWithBookmarkData(locked) ? 2 : 0) |
           (NSURLSecurityData::urlWithBookmarkData(pub) ? 0 : 4) |
           (NSURLSecurityData::urlWithBookmarkData(open) ? 0 : 8) |
           (securityScopedAccessCount(unreadable) != 0 ? 16 : 0) |
           (securityScopedAccessCount(readable) != 1 ? 32 : 0);
  });
  EXPECT_EQ(child.exitCode, 0) << child.stderrText;
}

TEST(NSURLSecurityDataConcurrencyTest, AccessCountsStayBalancedAcrossThreads) {
  TempDir dir;
  const stdfs::path file = stdfs::canonical(makeFile(dir / "shared.png"));
  const Data bookmark = bookmarkOf(file);
  constexpr int kHeld = 5;
  std::vector<std::thread> threads;
  std::atomic<int> faults{0};
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&] {
      for (int round = 0; round < 200; ++round) {
        for (int i = 0; i < kHeld; ++i)
          if (NSURLSecurityData::urlWithBookmarkData(bookmark) != file) faults.fetch_add(1);
        // This thread's own accesses are open, whatever the others do.
        if (securityScopedAccessCount(file) < kHeld) faults.fetch_add(1);
        for (int i = 0; i < kHeld; ++i) stopAccessingSecurityScopedResource(file);
      }
    });
  for (auto& t : threads) t.join();
  EXPECT_EQ(faults.load(), 0);
  EXPECT_EQ(securityScopedAccessCount(file), 0u);
}

}  // namespace
}  // namespace orvane
