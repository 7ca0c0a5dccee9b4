#include "orvane/Platform/Foundation/NSUserDefaults.h"

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <fstream>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "orvane/Platform/Foundation/Environment.h"
#include "Platform/Foundation/EnvironmentOverrides.h"
#include "support/ChildProcess.h"
#include "support/TempDir.h"

namespace orvane {
namespace {

namespace stdfs = std::filesystem;

std::string text(const std::optional<Data>& data) {
  return data ? std::string(data->begin(), data->end()) : "<none>";
}

// Every file in the directory whose name starts with the prefix.
std::vector<stdfs::path> filesStartingWith(const stdfs::path& dir, const std::string& prefix) {
  std::vector<stdfs::path> found;
  for (const auto& entry : stdfs::directory_iterator(dir))
    if (entry.path().filename().string().rfind(prefix, 0) == 0) found.push_back(entry.path());
  return found;
}

std::size_t lineCount(const std::string& s) { return std::count(s.begin(), s.end(), '\n'); }

// A database of 200 values of 3000 bytes.
const stdfs::path& fill(const stdfs::path& file) {
  auto d = NSUserDefaults::initWithPath(file);
  for (int i = 0; i < 200; ++i) d->setObjectForKey(Data(3000, static_cast<std::uint8_t>(i)), std::to_string(i));
  return file;
}

TEST(NSUserDefaultsTest, ValuesPersistAcrossInstancesAndKeepEmptyAndBinaryValues) {
  testing::TempDir dir;
  const stdfs::path file = dir / "nested" / "defaults.sqlite3";
  const Data binary{0, 1, 2, 0, 255};
  {
    auto defaults = NSUserDefaults::initWithPath(file);
    EXPECT_FALSE(defaults->dataForKey("missing"));
    EXPECT_TRUE(defaults->setObjectForKey(bytesOf("one"), "a"));
    EXPECT_TRUE(defaults->setObjectForKey(bytesOf("replaced"), "a"));
    EXPECT_TRUE(defaults->setObjectForKey({}, "empty"));
    EXPECT_TRUE(defaults->setObjectForKey(binary, ""));
    EXPECT_TRUE(defaults->setObjectForKey(bytesOf("gone"), "b"));
    EXPECT_TRUE(defaults->removeObjectForKey("b"));
    EXPECT_TRUE(defaults->removeObjectForKey("never-set"));
  }
  auto reopened = NSUserDefaults::initWithPath(file);
  EXPECT_EQ(text(reopened->dataForKey("a")), "replaced");
  ASSERT_TRUE(reopened->dataForKey("empty"));  // an empty value is still a value
  EXPECT_TRUE(reopened->dataForKey("empty")->empty());
  EXPECT_EQ(reopened->dataForKey(""), binary);
  EXPECT_FALSE(reopened->dataForKey("b"));
  EXPECT_EQ(reopened->allKeys(), (std::vector<std::string>{"", "a", "empty"}));
}

TEST(NSUserDefaultsTest, SetIsVisibleToAnotherConnectionAtOnceAndUsesWal) {
  testing::TempDir dir;
  auto writer = NSUserDefaults::initWithPath(dir / "d.sqlite3");
  auto reader = NSUserDefaults::initWithPath(dir / "d.sqlite3");
  Data big(5 << 20);
  for (std::size_t i = 0; i < big.size(); ++i) big[i] = static_cast<std::uint8_t>(i * 31 + 7);
  ASSERT_TRUE(writer->setObjectForKey(big, "big"));
  EXPECT_EQ(reader->dataForKey("big"), big);
  EXPECT_TRUE(stdfs::exists(dir / "d.sqlite3-wal"));
}

TEST(NSUserDefaultsTest, StandardDefaultsFollowTheEnvironment) {
  testing::TestEnvironment first;
  auto a = NSUserDefaults::standardUserDefaults();
  EXPECT_EQ(a->path(), first.path() / "config" / "org.orvane.tests" / "defaults.sqlite3");
  EXPECT_EQ(NSUserDefaults::standardUserDefaults(), a);
  ASSERT_TRUE(a->setObjectForKey(bytesOf("first"), "k"));
  {
    testing::TestEnvironment second;
    auto b = NSUserDefaults::standardUserDefaults();
    EXPECT_NE(b->path(), a->path());
    EXPECT_FALSE(b->dataForKey("k"));

    EnvironmentOverrides renamed = environmentOverrides();
    renamed.applicationIdentifier = "org.orvane.other";
    ScopedEnvironmentOverrides scoped(renamed);
    EXPECT_EQ(NSUserDefaults::standardUserDefaults()->path().parent_path().filename(),
              "org.orvane.other");
  }
  EXPECT_EQ(NSUserDefaults::standardUserDefaults()->path(), a->path());
  EXPECT_EQ(text(NSUserDefaults::standardUserDefaults()->dataForKey("k")), "first");

  NSUserDefaults::resetStandardUserDefaults();
  auto fresh = NSUserDefaults::standardUserDefaults();
  EXPECT_NE(fresh, a);
  EXPECT_EQ(text(fresh->dataForKey("k")), "first");
}

// Damaged or unusable files at the database's place: the defaults start
// empty, one line is logged, the old file survives under another name and
// the new database works and persists.
TEST(NSUserDefaultsTest, DamagedDatabaseIsMovedAsideAndDefaultsStartEmpty) {
  struct Case {
    const char* name;
    void (*damage)(const stdfs::path& file);
  };
  const Case cases[] = {
      {"garbage", [](const stdfs::path& file) { std::ofstream(file) << std::string(10000, 'x'); }},
      {"truncated",
       [](const stdfs::path& file) { stdfs::resize_file(file, stdfs::file_size(fill(file)) / 2); }},
      {"overwritten pages",
       [](const stdfs::path& file) {
         std::fstream(fill(file), std::ios::in | std::ios::out | std::ios::binary)
             .seekp(4096)
             .write(std::string(8192, '\x5a').data(), 8192);
       }},
      {"directory", [](const stdfs::path& file) { stdfs::create_directories(file / "inside"); }},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    testing::TempDir dir;
    const stdfs::path file = dir / "defaults.sqlite3";
    c.damage(file);
    const auto sizeBefore = stdfs::is_regular_file(file) ? stdfs::file_size(file) : 0;

    auto result = testing::runInChild([&] {
      auto d = NSUserDefaults::initWithPath(file);
      if (d->dataForKey("1") || !d->allKeys().empty()) return 1;
      if (!d->setObjectForKey(bytesOf("after"), "key")) return 2;
      return 0;
    });
    EXPECT_EQ(result.exitCode, 0) << result.stderrText;
    EXPECT_EQ(lineCount(result.stderrText), 1u) << result.stderrText;
    EXPECT_NE(result.stderrText.find("moved it to"), std::string::npos) << result.stderrText;

    auto aside = filesStartingWith(dir.path(), "defaults.sqlite3.damaged-");
    ASSERT_FALSE(aside.empty());
    if (sizeBefore > 0) {
      bool kept = false;
      for (const auto& p : aside)
        if (stdfs::is_regular_file(p) && stdfs::file_size(p) == sizeBefore) kept = true;
      EXPECT_TRUE(kept) << "the damaged file was not kept unchanged";
    }
    auto reopened = NSUserDefaults::initWithPath(file);
    EXPECT_EQ(text(reopened->dataForKey("key")), "after");
  }
}

// A healthy database that cannot be opened for a passing reason (no file
// descriptors left, a file-size limit of 0, no permission) is no damaged one:
// the call answers nothing with one line, and the file stays where it is,
// with its values, for the next process.
TEST(NSUserDefaultsTest, OpenFailuresOtherThanDamageLeaveTheDatabaseAlone) {
  // Soft limits only: the hard ones may not be raised again.
  auto setSoftLimit = [](int resource, rlim_t value) {
    rlimit limit{};
    getrlimit(resource, &limit);
    limit.rlim_cur = value;
    if (setrlimit(resource, &limit) != 0) std::_Exit(3);
  };
  struct Case {
    const char* name;
    std::function<void()> inChild;
  };
  const Case cases[] = {
      {"no file descriptors left",
       [&] {
         const int lowestFree = dup(0);
         close(lowestFree);
         setSoftLimit(RLIMIT_NOFILE, static_cast<rlim_t>(lowestFree));
       }},
      {"file-size limit of 0",
       [&] {
         std::signal(SIGXFSZ, SIG_IGN);
         setSoftLimit(RLIMIT_FSIZE, 0);
       }},
      {"no permission",
       [] {
         // Root reads and writes whatever the mode says: become somebody else.
         if (geteuid() == 0 && setuid(65534) != 0) std::_Exit(4);
       }},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    testing::TempDir dir;
    const stdfs::path file = dir / "defaults.sqlite3";
    ASSERT_TRUE(NSUserDefaults::initWithPath(file)->setObjectForKey(bytesOf("kept"), "k"));
    const bool noPermission = std::string(c.name) == "no permission";
    if (noPermission) {
      stdfs::permissions(dir.path(), stdfs::perms::all);  // the directory stays open to all
      stdfs::permissions(file, stdfs::perms::none);
    }
    auto result = testing::runInChild([&] {
      c.inChild();
      auto d = NSUserDefaults::initWithPath(file);
      return d->dataForKey("k") ? 1 : 0;
    });
    if (noPermission) stdfs::permissions(file, stdfs::perms::owner_read | stdfs::perms::owner_write);
    EXPECT_EQ(result.exitCode, 0) << result.stderrText;
    EXPECT_EQ(lineCount(result.stderrText), 1u) << result.stderrText;
    EXPECT_TRUE(filesStartingWith(dir.path(), "defaults.sqlite3.damaged-").empty());
    EXPECT_EQ(text(NSUserDefaults::initWithPath(file)->dataForKey("k")), "kept");
  }
}

TEST(NSUserDefaultsTest, DatabaseThatCannotBeCreatedAnswersNothingUntilItCan) {
  testing::TempDir dir;
  std::ofstream(dir / "not-a-directory") << "x";
  auto result = testing::runInChild([&] {
    auto d = NSUserDefaults::initWithPath(dir / "not-a-directory" / "defaults.sqlite3");
    if (d->setObjectForKey(bytesOf("v"), "k") || d->dataForKey("k")) return 1;
    // Once the way is free, the same instance makes the database.
    stdfs::remove(dir / "not-a-directory");
    if (!d->setObjectForKey(bytesOf("v"), "k")) return 2;
    if (!d->removeObjectForKey("other")) return 4;  // succeeds, and logs nothing
    return text(d->dataForKey("k")) == "v" ? 0 : 3;
  });
  EXPECT_EQ(result.exitCode, 0) << result.stderrText;
  EXPECT_EQ(lineCount(result.stderrText), 2u) << result.stderrText;  // one per failed call
  EXPECT_EQ(text(NSUserDefaults::initWithPath(dir / "not-a-directory" / "defaults.sqlite3")
                     ->dataForKey("k")),
            "v");
}

TEST(NSUserDefaultsTest, FileMovedAwayByAnotherProcessIsReopened) {
  testing::TempDir dir;
  const stdfs::path file = dir / "defaults.sqlite3";
  auto d = NSUserDefaults::initWithPath(file);
  ASSERT_TRUE(d->setObjectForKey(bytesOf("old"), "k"));
  for (const char* suffix : {"", "-wal", "-shm"}) {
    stdfs::path from = file, to = dir / "elsewhere";
    from += suffix;
    to += suffix;
    if (stdfs::exists(from)) stdfs::rename(from, to);
  }
  EXPECT_FALSE(d->dataForKey("k"));
  ASSERT_TRUE(d->setObjectForKey(bytesOf("new"), "k"));
  EXPECT_EQ(text(NSUserDefaults::initWithPath(file)->dataForKey("k")), "new");
}

// Two processes of one application write their own keys in a loop at the
// same time; afterwards every key holds the last value written to it.
TEST(NSUserDefaultsConcurrencyTest, TwoProcessesWritingDifferentKeysLoseNothing) {
  testing::TempDir dir;
  const stdfs::path file = dir / "defaults.sqlite3";
  constexpr int kKeys = 8, kRounds = 150;
  std::vector<std::unique_ptr<testing::ChildProcess>> children;
  for (int p = 0; p < 2; ++p)
    children.push_back(std::make_unique<testing::ChildProcess>(
        [&, p] {
          auto d = NSUserDefaults::initWithPath(file);
          for (int round = 0; round < kRounds; ++round)
            for (int k = 0; k < kKeys; ++k) {
              const std::string key = "p" + std::to_string(p) + "-" + std::to_string(k);
              if (!d->setObjectForKey(bytesOf(key + "@" + std::to_string(round)), key)) return 1;
            }
          return 0;
        },
        true));
  for (auto& child : children) child->release();  // both start at once
  for (auto& child : children) {
    const auto result = child->wait();
    EXPECT_EQ(result.exitCode, 0) << result.stderrText;
  }
  auto d = NSUserDefaults::initWithPath(file);
  for (int p = 0; p < 2; ++p)
    for (int k = 0; k < kKeys; ++k) {
      const std::string key = "p" + std::to_string(p) + "-" + std::to_string(k);
      EXPECT_EQ(text(d->dataForKey(key)), key + "@" + std::to_string(kRounds - 1));
    }
}

// Another process holds the write lock past one busy timeout: the write waits,
// tries again and succeeds once the lock is gone.
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
  EXPECT_EQ(text(NSUserDefaults::initWithPath(file)->dataForKey("k")), "after");
}

TEST(NSUserDefaultsConcurrencyTest, ThreadsShareOneInstance) {
  testing::TestEnvironment env;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([t] {
      for (int i = 0; i < 50; ++i) {
        auto d = NSUserDefaults::standardUserDefaults();
        const std::string key = "t" + std::to_string(t);
        d->setObjectForKey(bytesOf(std::to_string(i)), key);
        d->dataForKey(key);
      }
    });
  for (auto& th : threads) th.join();
  for (int t = 0; t < 4; ++t)
    EXPECT_EQ(text(NSUserDefaults::standardUserDefaults()->dataForKey("t" + std::to_string(t))),
              "49");
}

}  // namespace
}  // namespace orvane
