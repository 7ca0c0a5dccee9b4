#include "orvane/Log/OVLog.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "orvane/Platform/Foundation/NSLog.h"
#include "support/ChildProcess.h"
#include "support/TempDir.h"

namespace orvane {
namespace {

using testing::runInChild;
using testing::TempDir;

std::string fileText(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream out;
  out << in.rdbuf();
  return out.str();
}

// Straight to descriptor 2, bypassing the stream's buffer.
void say(const std::string& text) {
  if (::write(STDERR_FILENO, text.data(), text.size()) != static_cast<ssize_t>(text.size()))
    std::abort();
}

// The number the next new descriptor would get.
int lowestFreeDescriptor() {
  int fd = ::dup(STDERR_FILENO);
  ::close(fd);
  return fd;
}

bool contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

// The parts appear in the text one after the other, in this order.
::testing::AssertionResult inOrder(const std::string& text, std::initializer_list<std::string> parts) {
  std::size_t at = 0;
  for (const auto& part : parts) {
    if ((at = text.find(part, at)) == std::string::npos)
      return ::testing::AssertionFailure() << "no \"" << part << "\" in order in:\n" << text;
    at += part.size();
  }
  return ::testing::AssertionSuccess();
}

std::string beginLine(const std::string& path) {
  return "] Begin redirect NSLog to file " + path + "\n";
}
std::string endLine(const std::string& path) {
  return "] End redirect NSLog to file " + path + "\n";
}

TEST(OVLogTest, RedirectsStandardErrorIntoTheFileWhileAlive) {
  TempDir dir;
  const std::string path = (dir / "run.log").string();
  std::ofstream(path) << "stale contents\n";

  auto child = runInChild([&] {
    // Fully buffered, so the stream's text reaches the file only if the
    // teardown flushes before it restores descriptor 2.
    static char buffer[1 << 16];
    std::setvbuf(stderr, buffer, _IOFBF, sizeof buffer);
    say("before\n");
    auto log = OVLog::initWithLogFile(path);
    if (!log) return 1;
    if (log->logFile() != path) return 2;
    say("inside-write\n");
    NSLog("inside-nslog");
    std::fputs("pending-stdio", stderr);
    log.reset();
    say("after\n");
    return 0;
  });
  ASSERT_EQ(child.exitCode, 0) << child.stderrText;

  const std::string& out = child.stderrText;
  EXPECT_TRUE(inOrder(out, {"before\n", beginLine(path), endLine(path), "after\n"}));
  EXPECT_FALSE(contains(out, "inside") || contains(out, "pending")) << out;

  const std::string logged = fileText(path);
  EXPECT_EQ(logged.rfind("inside-write\n", 0), 0u) << logged;  // truncated first
  EXPECT_TRUE(contains(logged, "] inside-nslog\n")) << logged;
  EXPECT_TRUE(contains(logged, "pending-stdio")) << logged;
  for (const char* absent : {"stale", "Begin", "End", "before", "after"})
    EXPECT_FALSE(contains(logged, absent)) << absent << " in " << logged;
}

TEST(OVLogTest, NoObjectAndStandardErrorIntactWhenThePathIsUnusable) {
  TempDir dir;
  struct Case {
    std::string path;
    bool logsBegin;
  } const cases[] = {
      {"", false},
      {(dir / "missing" / "run.log").string(), true},
      {dir.path().string(), true},                  // a directory
      {(dir / "nul").string() + '\0' + "x", true},  // would open another file
  };
  for (const auto& c : cases) {
    auto child = runInChild([&] {
      const int freeBefore = lowestFreeDescriptor();
      if (OVLog::initWithLogFile(c.path)) return 1;
      if (lowestFreeDescriptor() != freeBefore) return 2;  // the copy was closed
      std::fputs("stdio-after\n", stderr);
      std::fflush(stderr);
      NSLog("nslog-after");
      return 0;
    });
    SCOPED_TRACE(c.path);
    EXPECT_EQ(child.exitCode, 0) << child.stderrText;
    EXPECT_EQ(contains(child.stderrText, "Begin redirect"), c.logsBegin) << child.stderrText;
    EXPECT_TRUE(contains(child.stderrText, endLine("(null)"))) << child.stderrText;
    EXPECT_TRUE(contains(child.stderrText, "stdio-after\n")) << child.stderrText;
    EXPECT_TRUE(contains(child.stderrText, "] nslog-after\n")) << child.stderrText;
  }
  EXPECT_FALSE(std::filesystem::exists(dir / "missing"));
  EXPECT_FALSE(std::filesystem::exists(dir / "nul"));
}

TEST(OVLogTest, NestedRedirectionsUnwindInReverseOrder) {
  TempDir dir;
  const std::string outer = (dir / "outer.log").string(), inner = (dir / "inner.log").string();
  auto child = runInChild([&] {
    auto first = OVLog::initWithLogFile(outer);
    say("one\n");
    auto second = OVLog::initWithLogFile(inner);
    if (!first || !second) return 1;
    say("two\n");
    second.reset();
    say("three\n");
    first.reset();
    say("four\n");
    return 0;
  });
  ASSERT_EQ(child.exitCode, 0) << child.stderrText;

  EXPECT_TRUE(inOrder(child.stderrText, {beginLine(outer), endLine(outer), "four\n"}));
  EXPECT_FALSE(contains(child.stderrText, inner)) << child.stderrText;

  // The inner object's own lines go to the destination outside it: the outer file.
  const std::string outerText = fileText(outer);
  EXPECT_TRUE(inOrder(outerText, {"one\n", beginLine(inner), endLine(inner), "three\n"}));
  EXPECT_FALSE(contains(outerText, "two") || contains(outerText, "four")) << outerText;
  EXPECT_EQ(fileText(inner), "two\n");
}

TEST(OVLogTest, ACopyNumberedZeroIsNeverRestored) {
  // With descriptor 0 closed, the saved copy of descriptor 2 gets number 0,
  // which the teardown takes for "no copy": standard error stays in the file.
  TempDir dir;
  const std::string path = (dir / "run.log").string();
  auto child = runInChild([&] {
    ::close(STDIN_FILENO);
    auto log = OVLog::initWithLogFile(path);
    if (!log) return 1;
    log.reset();
    say("after\n");
    return 0;
  });
  ASSERT_EQ(child.exitCode, 0);
  EXPECT_TRUE(contains(child.stderrText, beginLine(path))) << child.stderrText;
  EXPECT_FALSE(contains(child.stderrText, "End redirect")) << child.stderrText;
  const std::string logged = fileText(path);
  EXPECT_TRUE(contains(logged, endLine(path))) << logged;
  EXPECT_TRUE(contains(logged, "after\n")) << logged;
}

TEST(OVLogConcurrencyTest, WritesFromOtherThreadsAreNeverLostWhileSwitching) {
  TempDir dir;
  constexpr int kSwitches = 200;
  constexpr int kWriters = 2;
  auto child = runInChild([&] {
    std::atomic<bool> done{false};
    std::atomic<int> failures{0};
    std::vector<int> written(kWriters, 0);
    std::vector<std::thread> writers;
    for (int w = 0; w < kWriters; ++w)
      writers.emplace_back([&, w] {
        while (!done.load()) {
          const std::string line =
              "w" + std::to_string(w) + "-" + std::to_string(written[w]) + "\n";
          if (::write(STDERR_FILENO, line.data(), line.size()) != static_cast<ssize_t>(line.size()))
            failures.fetch_add(1);
          else
            ++written[w];
        }
      });
    for (int i = 0; i < kSwitches; ++i) {
      auto log = OVLog::initWithLogFile((dir / ("run-" + std::to_string(i) + ".log")).string());
      if (!log) failures.fetch_add(1000);
    }
    done = true;
    for (auto& t : writers) t.join();
    std::ofstream counts(dir / "counts");
    for (int n : written) counts << n << "\n";
    return failures.load() == 0 ? 0 : 1;
  });
  ASSERT_EQ(child.exitCode, 0);

  std::string everything = child.stderrText;
  for (int i = 0; i < kSwitches; ++i)
    everything += fileText(dir / ("run-" + std::to_string(i) + ".log"));
  std::vector<std::size_t> written(kWriters);
  std::ifstream counts(dir / "counts");
  for (auto& n : written) ASSERT_TRUE(counts >> n);
  std::vector<std::vector<bool>> seen(kWriters);
  std::istringstream lines(everything);
  for (std::string line; std::getline(lines, line);) {
    int w = -1, n = -1;
    if (std::sscanf(line.c_str(), "w%d-%d", &w, &n) != 2) continue;
    ASSERT_TRUE(w >= 0 && w < kWriters && n >= 0) << line;
    if (seen[w].size() <= static_cast<std::size_t>(n)) seen[w].resize(n + 1);
    EXPECT_FALSE(seen[w][n]) << "twice: " << line;
    seen[w][n] = true;
  }
  for (int w = 0; w < kWriters; ++w) {
    ASSERT_EQ(seen[w].size(), written[w]) << "writer " << w;
    for (std::size_t n = 0; n < seen[w].size(); ++n)
      ASSERT_TRUE(seen[w][n]) << "lost: w" << w << "-" << n;
  }
}

}  // namespace
}  // namespace orvane
