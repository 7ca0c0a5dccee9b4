#include "orvane/Platform/Foundation/NSLog.h"

#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "support/ChildProcess.h"

namespace orvane {
namespace {

TEST(NSLogTest, WritesOneStampedLineToStandardError) {
  auto result = testing::runInChild([] {
    NSLog("Warning the chunk file has been damaged.");
    return 0;
  });
  ASSERT_EQ(result.exitCode, 0);
  const std::regex line(R"(\d{4}-\d{2}-\d{2} \d{2}:\d{2}:\d{2}\.\d{3} )" +
                        std::string(program_invocation_short_name) +
                        R"(\[\d+:\d+\] Warning the chunk file has been damaged\.\n)");
  EXPECT_TRUE(std::regex_match(result.stderrText, line)) << result.stderrText;
}

TEST(NSLogTest, LinesFromManyThreadsNeverInterleave) {
  auto result = testing::runInChild([] {
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
      threads.emplace_back([t] {
        for (int i = 0; i < 200; ++i) NSLog(std::string(100, static_cast<char>('a' + t)));
      });
    for (auto& th : threads) th.join();
    return 0;
  });
  ASSERT_EQ(result.exitCode, 0);
  const std::regex line(R"(.*\] (a{100}|b{100}|c{100}|d{100}))");
  std::size_t start = 0, count = 0;
  while (start < result.stderrText.size()) {
    std::size_t end = result.stderrText.find('\n', start);
    ASSERT_NE(end, std::string::npos);
    ASSERT_TRUE(std::regex_match(result.stderrText.substr(start, end - start), line));
    ++count;
    start = end + 1;
  }
  EXPECT_EQ(count, 800u);
}

}  // namespace
}  // namespace orvane
