#include "orvane/Log/OVLog.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
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
  std::ostringstream out;
  out << std::ifstream(path, std::ios::binary).rdbuf();
  return out.str();
}

// Straight to descriptor 2, bypassing the stream's buffer.
void say(const std::string& text) {
  if (::write(STDERR_FILENO, text.data(), text.size()) != ssize_t(text.size())) std::abort();
}

bool contains(const std::string& text, const std::string& part) { return text.find(part) != text.npos; }

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

std::string beginLine(const std::string& path) { return "] Begin redirect NSLog to file " + path + "\n"; }
std::string endLine(const std::string& path) { return "] End redirect NSLog to file " + path + "\n"; }

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
    if (!log || log->logFile() != path) return 1;
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
  EXPECT_TRUE(inOrder(logged, {"inside-write\n", "] inside-nslog\n", "pending-stdio"}));
  EXPECT_EQ(logged.rfind("inside-write\n", 0), 0u) << logged;  // truncated first
  for (const char* absent : {"stale", "Begin", "End", "before", "after"})
    EXPECT_FALSE(contains(logged, absent)) << absent << " in " << logged;
}

TEST(OVLogTest, NoObjectAndStandardErrorIntactWhenThePathIsUnusable) {
  TempDir dir;
  // The empty path logs no begin line; a missing directory, a directory, and a
  // name with a zero inside (it would open another file) do.
  for (const auto& [path, logsBegin] : {std::pair{std::string(), false},
                                        {(dir / "missing" / "run.log").string(), true},
                                        {dir.path().string(), true},
                                        {(dir / "nul").string() + '\0' + "x", true}}) {
    auto child = runInChild([&] {
      const int freeBefore = ::dup(STDERR_FILENO);
      ::close(freeBefore);
      if (OVLog::initWithLogFile(path)) return 1;
      const int freeAfter = ::dup(STDERR_FILENO);
      if (freeAfter != freeBefore) return 2;  // the copy was closed
      std::fputs("stdio-after\n", stderr);
      std::fflush(stderr);
      NSLog("nslog-after");
      return 0;
    });
    const std::string& out = child.stderrText;
    EXPECT_EQ(child.exitCode, 0) << out;
    EXPECT_EQ(contains(out, "Begin redirect"), logsBegin) << out;
    EXPECT_TRUE(inOrder(out, {endLine("(null)"), "stdio-after\n", "] nslog-after\n"}));
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
    if (!OVLog::initWithLogFile(path)) return 1;
    say("after\n");
    return 0;
  });
  ASSERT_EQ(child.exitCode, 0);
  EXPECT_TRUE(contains(child.stderrText, beginLine(path))) << child.stderrText;
  EXPECT_FALSE(contains(child.stderrText, "End redirect")) << child.stderrText;
  EXPECT_TRUE(inOrder(fileText(path), {endLine(path), "after\n"}));
}

TEST(OVLogConcurrencyTest, WritesFromOtherThreadsAreNeverLostWhileSwitching) {
  TempDir dir;
  constexpr int kSwitches = 200, kWriters = 2;
  auto child = runInChild([&] {
    std::atomic<bool> done{false};
    std::atomic<int> failures{0};
    std::vector<int> written(kWriters, 0);
    std::vector<std::thread> writers;
    for (int w = 0; w < kWriters; ++w)
      writers.emplace_back([&, w] {
        while (!done.load()) {
          const std::string line = "w" + std::to_string(w) + "-" + std::to_string(written[w]) + "\n";
          if (::write(STDERR_FILENO, line.data(), line.size()) != ssize_t(line.size()))
            failures.fetch_add(1);
          else
            ++written[w];
        }
      });
    for (int i = 0; i < kSwitches; ++i)
      if (!OVLog::initWithLogFile((dir / ("run-" + std::to_string(i) + ".log")).string()))
        failures.fetch_add(1000);
    done = true;
    for (auto& t : writers) t.join();
    std::ofstream(dir / "counts") << written[0] << " " << written[1] << "\n";
    return failures.load() == 0 ? 0 : 1;
  });
  ASSERT_EQ(child.exitCode, 0);
  std::string everything = child.stderrText;
  for (int i = 0; i < kSwitches; ++i) everything += fileText(dir / ("run-" + std::to_string(i) + ".log"));
  int written[kWriters];
  std::ifstream(dir / "counts") >> written[0] >> written[1];
  // Every line each writer wrote appears exactly once, in the files or on standard error.
  std::set<std::pair<int, int>> seen;
  std::istringstream lines(everything);
  for (std::string line; std::getline(lines, line);) {
    int w = -1, n = -1;
    if (std::sscanf(line.c_str(), "w%d-%d", &w, &n) != 2) continue;
    ASSERT_TRUE(w >= 0 && w < kWriters && n >= 0 && n < written[w]) << line;
    EXPECT_TRUE(seen.insert({w, n}).second) << "twice: " << line;
  }
  EXPECT_EQ(seen.size(), std::size_t(written[0] + written[1])) << "lines lost";
}

}  // namespace
}  // namespace orvane
