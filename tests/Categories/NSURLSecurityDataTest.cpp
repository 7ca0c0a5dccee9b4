#include "orvane/Categories/NSURLSecurityData.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <thread>
#include <vector>

#include "Platform/System/NSURLTesting.h"
#include "support/ChildProcess.h"
#include "support/TempDir.h"

namespace orvane {
namespace {

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
  const stdfs::path file = makeFile(dir / "photo.jpg"), unusual = makeFile(dir / "été 2024 #1.jpg");
  stdfs::create_directory(dir / "album");
  stdfs::create_symlink(file, dir / "link.jpg");
  const std::pair<stdfs::path, stdfs::path> cases[] = {
      {file, stdfs::canonical(file)},
      {dir / "album", stdfs::canonical(dir / "album")},
      {dir / "album" / ".." / "photo.jpg", stdfs::canonical(file)},
      {dir / "link.jpg", stdfs::canonical(file)},  // the link's target
      {unusual, stdfs::canonical(unusual)},
  };
  for (const auto& [given, resolved] : cases) {
    SCOPED_TRACE(given);
    const Data bookmark = bookmarkOf(given);
    for (std::uint64_t open = 1; open <= 2; ++open) {
      EXPECT_EQ(NSURLSecurityData::urlWithBookmarkData(bookmark), resolved);
      EXPECT_EQ(securityScopedAccessCount(resolved), open);
    }
    for (std::uint64_t open = 2; open-- > 0;) {
      stopAccessingSecurityScopedResource(resolved);
      EXPECT_EQ(securityScopedAccessCount(resolved), open);
    }
  }
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
  for (const stdfs::path& url : {dir / "missing.jpg", dir / "dangling", stdfs::path()})
    EXPECT_FALSE(NSURLSecurityData::bookmarkData(url)) << url;

  stdfs::remove(file);
  EXPECT_FALSE(NSURLSecurityData::urlWithBookmarkData(bookmark));
  EXPECT_EQ(securityScopedAccessCount(file), 0u);
  makeFile(file);
  const auto url = NSURLSecurityData::urlWithBookmarkData(bookmark);
  EXPECT_EQ(url, stdfs::path(path));
  if (url) stopAccessingSecurityScopedResource(*url);
}

TEST(NSURLSecurityDataTest, NothingForBytesThatAreNotABookmark) {
  TempDir dir;
  const std::string path = stdfs::canonical(makeFile(dir / "a.png")).string();
  const auto length = static_cast<std::uint32_t>(path.size());
  const Data valid = record(1, length, path);
  std::string withZero = path;
  withZero.insert(withZero.size() - 1, 1, '\0');
  const std::pair<const char*, Data> cases[] = {
      {"empty", {}}, {"header cut short", Data(valid.begin(), valid.begin() + 11)},
      {"path cut short", Data(valid.begin(), valid.end() - 1)},
      {"byte after the path", record(1, length, path + "x")},
      {"other magic", dataOf("OVBX" + std::string(valid.begin() + 4, valid.end()))},
      {"version 0", record(0, length, path)}, {"version 2", record(2, length, path)},
      {"length too large", record(1, length + 1, path)},
      {"length too small", record(1, length - 1, path)},
      {"length beyond any buffer", record(1, 0xFFFFFFFFu, path)}, {"no path", record(1, 0, "")},
      {"relative path", record(1, 5, "a.png")}, {"zero inside", record(1, length + 1, withZero)},
      {"path longer than the system allows", record(1, 4096, "/" + std::string(4095, 'a'))},
      {"not a bookmark at all", dataOf("/etc/hostname")},
  };
  for (const auto& [what, bytes] : cases)
    EXPECT_FALSE(NSURLSecurityData::urlWithBookmarkData(bytes)) << what;
  EXPECT_EQ(securityScopedAccessCount(path), 0u);
  EXPECT_EQ(securityScopedAccessCount(stdfs::path(path).filename()), 0u);
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

TEST(NSURLSecurityDataTest, AccessesAreCountedPerLocationAndNeverBelowZero) {
  TempDir dir;
  const stdfs::path a = makeFile(dir / "a"), b = makeFile(dir / "b");
  for (const auto& url : {a, a, b}) EXPECT_TRUE(startAccessingSecurityScopedResource(url));
  EXPECT_EQ(securityScopedAccessCount(a), 2u);
  stopAccessingSecurityScopedResource(b);
  stopAccessingSecurityScopedResource(b);  // one more stop than starts
  EXPECT_EQ(securityScopedAccessCount(b), 0u);
  EXPECT_TRUE(startAccessingSecurityScopedResource(b));
  EXPECT_EQ(securityScopedAccessCount(b), 1u);
  EXPECT_EQ(securityScopedAccessCount(a), 2u);
  EXPECT_FALSE(startAccessingSecurityScopedResource(dir / "missing"));
  EXPECT_FALSE(startAccessingSecurityScopedResource(stdfs::path()));
  EXPECT_EQ(securityScopedAccessCount(dir / "missing"), 0u);
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
