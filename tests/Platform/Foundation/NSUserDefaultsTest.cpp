#include "orvane/Platform/Foundation/NSUserDefaults.h"

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/resource.h>

#include <csignal>
#include <fstream>
#include <functional>
#include <thread>

#include "support/ChildProcess.h"
#include "support/TempDir.h"

namespace orvane {
namespace {

namespace stdfs = std::filesystem;

std::string text(const std::optional<Data>& data) {
  return data ? std::string(data->begin(), data->end()) : "<none>";
}
std::string valueIn(const stdfs::path& file, std::string_view key) {
  return text(NSUserDefaults::initWithPath(file)->dataForKey(key));
}
std::size_t lineCount(const std::string& s) { return std::count(s.begin(), s.end(), '\n'); }

// Files in the directory that the defaults moved aside as damaged.
std::vector<stdfs::path> movedAside(const stdfs::path& dir) {
  std::vector<stdfs::path> found;
  for (const auto& entry : stdfs::directory_iterator(dir))
    if (entry.path().filename().string().starts_with("defaults.sqlite3.damaged-")) found.push_back(entry.path());
  return found;
}

// A database of 200 values of 3000 bytes.
const stdfs::path& fill(const stdfs::path& file) {
  auto d = NSUserDefaults::initWithPath(file);
  for (int i = 0; i < 200; ++i) d->setObjectForKey(Data(3000, static_cast<std::uint8_t>(i)), std::to_string(i));
  return file;
}

TEST(NSUserDefaultsTest, ValuesPersistAndAreVisibleToAnotherConnectionAtOnce) {
  testing::TempDir dir;
  const stdfs::path file = dir / "nested" / "defaults.sqlite3";
  const Data binary{0, 1, 2, 0, 255};
  auto defaults = NSUserDefaults::initWithPath(file), reader = NSUserDefaults::initWithPath(file);
  for (const auto& [value, key] : {std::pair{bytesOf("one"), "a"}, {bytesOf("replaced"), "a"}, {ByteView(), "empty"},
                                   {ByteView(binary), ""}, {bytesOf("gone"), "b"}})
    EXPECT_TRUE(defaults->setObjectForKey(value, key));
  EXPECT_TRUE(defaults->removeObjectForKey("b") && defaults->removeObjectForKey("never-set"));
  EXPECT_EQ(text(reader->dataForKey("a")), "replaced");
  EXPECT_TRUE(stdfs::exists(dir / "nested" / "defaults.sqlite3-wal"));
  defaults.reset(), reader.reset();

  auto reopened = NSUserDefaults::initWithPath(file);
  EXPECT_EQ(text(reopened->dataForKey("a")), "replaced");
  EXPECT_EQ(reopened->dataForKey("empty"), Data());  // an empty value is still a value
  EXPECT_EQ(reopened->dataForKey(""), binary);
  EXPECT_FALSE(reopened->dataForKey("b"));
  EXPECT_EQ(reopened->allKeys(), (std::vector<std::string>{"", "a", "empty"}));
}

// A damaged file is moved aside whole with one log line and the defaults start empty; a healthy one that cannot
// be opened for a passing reason (here a file-size limit of 0) answers nothing with one line and stays in place.
TEST(NSUserDefaultsTest, DamagedDatabaseIsMovedAsideAndPassingFailuresLeaveItAlone) {
  const struct {
    const char* name;
    std::function<void(const stdfs::path&)> prepare;
    std::function<void()> inChild;
  } cases[] = {
      {"garbage", [](const stdfs::path& file) { std::ofstream(file) << std::string(10000, 'x'); }, {}},
      {"truncated", [](const stdfs::path& file) { stdfs::resize_file(file, stdfs::file_size(fill(file)) / 2); }, {}},
      {"directory", [](const stdfs::path& file) { stdfs::create_directories(file / "inside"); }, {}},
      {"file-size limit of 0",
       [](const stdfs::path& file) { NSUserDefaults::initWithPath(file)->setObjectForKey(bytesOf("kept"), "k"); },
       [] {
         rlimit limit{0, RLIM_INFINITY};
         std::signal(SIGXFSZ, SIG_IGN), setrlimit(RLIMIT_FSIZE, &limit);
       }},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    testing::TempDir dir;
    const stdfs::path file = dir / "defaults.sqlite3";
    c.prepare(file);
    const bool damaged = !c.inChild;
    const auto sizeBefore = stdfs::is_regular_file(file) ? stdfs::file_size(file) : 0;
    auto result = testing::runInChild([&] {
      if (c.inChild) c.inChild();
      auto d = NSUserDefaults::initWithPath(file);
      if (!damaged) return d->dataForKey("k") ? 1 : 0;
      if (d->dataForKey("1") || !d->allKeys().empty()) return 1;
      return d->setObjectForKey(bytesOf("after"), "key") ? 0 : 2;
    });
    EXPECT_EQ(result.exitCode, 0) << result.stderrText;
    EXPECT_EQ(lineCount(result.stderrText), 1u) << result.stderrText;
    EXPECT_EQ(result.stderrText.find("moved it to") != std::string::npos, damaged) << result.stderrText;
    const auto aside = movedAside(dir.path());
    EXPECT_EQ(aside.empty(), !damaged);
    EXPECT_TRUE(sizeBefore == 0 || !damaged || std::any_of(aside.begin(), aside.end(), [&](const stdfs::path& p) {
                  return stdfs::is_regular_file(p) && stdfs::file_size(p) == sizeBefore;
                })) << "the damaged file was not kept unchanged";
    EXPECT_EQ(valueIn(file, damaged ? "key" : "k"), damaged ? "after" : "kept");
  }
}

// A database that cannot be made answers nothing, a line per call, until it can; one moved away is made anew.
TEST(NSUserDefaultsTest, MissingDatabaseIsMadeOnceTheWayIsFree) {
  testing::TempDir dir;
  const stdfs::path file = dir / "blocked" / "defaults.sqlite3";
  std::ofstream(dir / "blocked") << "x";
  auto result = testing::runInChild([&] {
    auto d = NSUserDefaults::initWithPath(file);
    if (d->setObjectForKey(bytesOf("v"), "k") || d->dataForKey("k")) return 1;
    stdfs::remove(dir / "blocked");
    if (!d->setObjectForKey(bytesOf("v"), "k")) return 2;
    if (!d->removeObjectForKey("other")) return 4;  // succeeds, and logs nothing
    return text(d->dataForKey("k")) == "v" ? 0 : 3;
  });
  EXPECT_EQ(result.exitCode, 0) << result.stderrText;
  EXPECT_EQ(lineCount(result.stderrText), 2u) << result.stderrText;
  EXPECT_EQ(valueIn(file, "k"), "v");

  auto d = NSUserDefaults::initWithPath(file);
  ASSERT_TRUE(d->setObjectForKey(bytesOf("old"), "k"));
  for (const char* suffix : {"", "-wal", "-shm"})
    if (stdfs::exists(file.string() + suffix)) stdfs::rename(file.string() + suffix, (dir / "elsewhere").string() + suffix);
  EXPECT_FALSE(d->dataForKey("k"));
  ASSERT_TRUE(d->setObjectForKey(bytesOf("new"), "k"));
  EXPECT_EQ(valueIn(file, "k"), "new");
}

// Two processes write their own keys at the same time; every key keeps the last value written to it.
TEST(NSUserDefaultsConcurrencyTest, TwoProcessesWritingDifferentKeysLoseNothing) {
  testing::TempDir dir;
  const stdfs::path file = dir / "defaults.sqlite3";
  auto key = [](int p, int k) { return "p" + std::to_string(p) + "-" + std::to_string(k); };
  std::vector<std::unique_ptr<testing::ChildProcess>> children;
  for (int p = 0; p < 2; ++p)
    children.push_back(std::make_unique<testing::ChildProcess>(
        [&, p] {
          auto d = NSUserDefaults::initWithPath(file);
          for (int round = 0; round < 150; ++round)
            for (int k = 0; k < 8; ++k)
              if (!d->setObjectForKey(bytesOf(key(p, k) + "@" + std::to_string(round)), key(p, k))) return 1;
          return 0;
        },
        true));
  for (auto& child : children) child->release();  // both start at once
  for (auto& child : children) EXPECT_EQ(child->wait().exitCode, 0);
  auto d = NSUserDefaults::initWithPath(file);
  for (int p = 0; p < 2; ++p)
    for (int k = 0; k < 8; ++k) EXPECT_EQ(text(d->dataForKey(key(p, k))), key(p, k) + "@149");
}

// A write outlasts another process's lock held past one busy timeout.
TEST(NSUserDefaultsConcurrencyTest, WriteOutlastsALockHeldBeyondTheBusyTimeout) {
  testing::TempDir dir;
  const stdfs::path file = dir / "defaults.sqlite3";
  auto d = NSUserDefaults::initWithPath(file);
  ASSERT_TRUE(d->setObjectForKey(bytesOf("before"), "k"));
  testing::ChildProcess holder([&] {
    sqlite3* db = nullptr;
    if (sqlite3_open(file.c_str(), &db) != SQLITE_OK) return 1;
    if (sqlite3_exec(db, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr) != SQLITE_OK) return 2;
    std::fputs("locked\n", stderr);
    std::fflush(stderr);
    std::this_thread::sleep_for(std::chrono::milliseconds(6500));
    sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr);
    return sqlite3_close(db) == SQLITE_OK ? 0 : 3;
  });
  ASSERT_TRUE(holder.waitForText("locked\n"));
  EXPECT_TRUE(d->setObjectForKey(bytesOf("after"), "k"));
  EXPECT_EQ(holder.wait().exitCode, 0);
  EXPECT_EQ(valueIn(file, "k"), "after");
}

TEST(NSUserDefaultsConcurrencyTest, ThreadsShareOneInstance) {
  testing::TestEnvironment env;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([t] {
      for (int i = 0; i < 50; ++i) {
        auto d = NSUserDefaults::standardUserDefaults();
        d->setObjectForKey(bytesOf(std::to_string(i)), "t" + std::to_string(t));
      }
    });
  for (auto& th : threads) th.join();
  for (int t = 0; t < 4; ++t) EXPECT_EQ(text(NSUserDefaults::standardUserDefaults()->dataForKey("t" + std::to_string(t))), "49");
}

}  // namespace
}  // namespace orvane
