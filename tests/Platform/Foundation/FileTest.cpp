#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>

#include "Platform/Foundation/FileHandle.h"
#include "Platform/Foundation/FileSystem.h"
#include "support/ChildProcess.h"
#include "support/TempDir.h"

namespace orvane {
namespace {

TEST(FileTest, PositionedReadsAndWrites) {
  testing::TempDir dir;
  const auto path = dir / "chunk";
  ASSERT_TRUE(fs::createFile(path, bytesOf("0123456789")));
  auto file = FileHandle::openForUpdating(path);
  ASSERT_TRUE(file);
  EXPECT_TRUE(file->writeAt(4, bytesOf("ab")));
  EXPECT_TRUE(file->writeAt(12, bytesOf("z")));  // past the end: a hole of zeros
  EXPECT_EQ(file->size(), 13u);
  EXPECT_EQ(file->readAt(2, 4), dataOf("23ab"));
  EXPECT_EQ(file->readAt(9, 100), (Data{'9', 0, 0, 'z'}));  // short at the end
  EXPECT_EQ(file->readAt(50, 10), Data());
  EXPECT_TRUE(file->truncate(3));
  EXPECT_TRUE(file->synchronize());
  EXPECT_EQ(fs::readAll(path), dataOf("012"));
}

TEST(FileTest, HugeReadLengthsAllocateOnlyWhatTheFileHolds) {
  testing::TempDir dir;
  ASSERT_TRUE(fs::createFile(dir / "f", bytesOf("abc")));
  auto file = FileHandle::openForReading(dir / "f");
  ASSERT_TRUE(file);
  EXPECT_EQ(file->readAt(1, std::uint64_t{1} << 62), dataOf("bc"));
  EXPECT_EQ(file->readAt(std::uint64_t{1} << 63, 1), Data());
}

TEST(FileTest, MissingFilesAndDirectories) {
  testing::TempDir dir;
  EXPECT_FALSE(FileHandle::openForReading(dir / "absent"));
  EXPECT_EQ(fs::readAll(dir / "absent"), std::nullopt);
  EXPECT_FALSE(fs::removeFile(dir / "absent"));
  EXPECT_TRUE(fs::createDirectories(dir / "a" / "b"));
  EXPECT_TRUE(fs::exists(dir / "a" / "b"));

  ASSERT_TRUE(fs::createFile(dir / "plain", bytesOf("x")));
  NSError error;
  EXPECT_FALSE(fs::createDirectories(dir / "plain" / "sub", &error));
  EXPECT_EQ(error.domain, NSCocoaErrorDomain);
  EXPECT_FALSE(error.localizedDescription().empty());
}

TEST(FileTest, WriteBeyondTheFileSizeLimitFailsCleanly) {
  testing::TempDir dir;
  const auto path = dir / "limited";
  auto result = testing::runInChild([&] {
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit limit{8, 8};
    setrlimit(RLIMIT_FSIZE, &limit);
    if (!fs::createFile(path, bytesOf("1234"))) return 1;
    auto file = FileHandle::openForUpdating(path);
    if (!file || file->writeAt(4, bytesOf("56789"))) return 2;  // would end at 9 > 8
    if (fs::createFile(dir / "big", bytesOf("0123456789"))) return 3;
    return fs::exists(dir / "big") ? 4 : 0;  // no partial file left behind
  });
  EXPECT_EQ(result.exitCode, 0) << result.stderrText;
}

}  // namespace
}  // namespace orvane
