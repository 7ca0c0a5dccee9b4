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

// An inner log's own lines go to the destination outside it: the outer file.
TEST(OVLogTest, RedirectsStandardErrorIntoTheFileWhileAliveAndNestsInReverseOrder) {
  TempDir dir;
  const std::string path = (dir / "run.log").string(), inner = (dir / "inner.log").string();
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
    auto second = OVLog::initWithLogFile(inner);
    say("two\n");
    second.reset();
    std::fputs("pending-stdio", stderr);
    log.reset();
    say("after\n");
    return 0;
  });
  ASSERT_EQ(child.exitCode, 0) << child.stderrText;
  const std::string& out = child.stderrText;
  EXPECT_TRUE(inOrder(out, {"before\n", beginLine(path), endLine(path), "after\n"}));
  EXPECT_FALSE(contains(out, "inside") || contains(out, "pending") || contains(out, inner)) << out;
  const std::string logged = fileText(path);
  EXPECT_TRUE(inOrder(logged, {"inside-write\n", "] inside-nslog\n", beginLine(inner), endLine(inner), "pending"}));
  EXPECT_EQ(logged.rfind("inside-write\n", 0), 0u) << logged;  // truncated first
  for (const auto& absent : std::initializer_list<std::string>{"stale", "two", "before", "after", beginLine(path)})
    EXPECT_FALSE(contains(logged, absent)) << absent << " in " << logged;
  EXPECT_EQ(fileText(inner), "two\n");
}

TEST(OVLogTest, NoObjectAndStandardErrorIntactWhenThePathIsUnusable) {
  TempDir dir;
  // The empty path logs no begin line; a missing directory and a name with a
  // zero inside (it would open another file) do.
  for (const auto& [path, logsBegin] : {std::pair{std::string(), false},
                                        {(dir / "missing" / "run.log").string(), true},
                                        {(dir / "nul").string() + '\0' + "x", true}}) {
    auto child = runInChild([&] {
      const int freeBefore = ::dup(STDERR_FILENO);
      ::close(freeBefore);
      if (OVLog::initWithLogFile(path)) return 1;
      if (::dup(STDERR_FILENO) != freeBefore) return 2;  // the copy was closed
      std::fputs("stdio-after\n", stderr);
      std::fflush(stderr);
      NSLog("nslog-after");
      return 0;
    });
    EXPECT_EQ(child.exitCode, 0) << child.stderrText;
    EXPECT_EQ(contains(child.stderrText, "Begin redirect"), logsBegin) << child.stderrText;
    EXPECT_TRUE(inOrder(child.stderrText, {endLine("(null)"), "stdio-after\n", "] nslog-after\n"}));
  }
  EXPECT_FALSE(std::filesystem::exists(dir / "missing"));
  EXPECT_FALSE(std::filesystem::exists(dir / "nul"));
}

TEST(OVLogConcurrencyTest, WritesFromOtherThreadsAreNeverLostWhileSwitching) {
  TempDir dir;
  constexpr int kSwitches = 200;
  auto child = runInChild([&] {
    std::atomic<bool> done{false};
    int written[2] = {0, 0};
    std::vector<std::thread> writers;
    for (int w = 0; w < 2; ++w)
      writers.emplace_back([&, w] {  // say() aborts on a failed or short write
        for (; !done; ++written[w]) say("w" + std::to_string(w) + "-" + std::to_string(written[w]) + "\n");
      });
    for (int i = 0; i < kSwitches; ++i) OVLog::initWithLogFile((dir / std::to_string(i)).string());
    done = true;
    for (auto& t : writers) t.join();
    std::ofstream(dir / "counts") << written[0] + written[1];
    return 0;
  });
  ASSERT_EQ(child.exitCode, 0);
  std::string everything = child.stderrText;
  for (int i = 0; i < kSwitches; ++i) everything += fileText(dir / std::to_string(i));
  std::size_t written = 0;
  std::ifstream(dir / "counts") >> written;
  // Every line each writer wrote appears exactly once, in the files or on standard error.
  std::set<std::pair<int, int>> seen;
  std::istringstream lines(everything);
  for (std::string line; std::getline(lines, line);) {
    int w = -1, n = -1;
    if (std::sscanf(line.c_str(), "w%d-%d", &w, &n) != 2) continue;
    EXPECT_TRUE(seen.insert({w, n}).second) << "twice: " << line;
  }
  EXPECT_EQ(seen.size(), written) << "lines lost";
}

}  // namespace
}  // namespace orvane
