// Foundation pieces: environment, dictionaries, the log line and text.
#include <gtest/gtest.h>

#include <cmath>
#include <regex>
#include <sstream>
#include <thread>

#include "Platform/Foundation/EnvironmentOverrides.h"
#include "Platform/Foundation/Text.h"
#include "orvane/Platform/Foundation/NSDictionary.h"
#include "orvane/Platform/Foundation/NSLog.h"
#include "support/ChildProcess.h"

namespace orvane {
namespace {

TEST(EnvironmentTest, HomesAndIdentifierComeFromTheProcessUnlessOverridden) {
  auto result = testing::runInChild([] {
    setenv("HOME", "/home/someone", 1);
    unsetenv("XDG_DATA_HOME");
    setenv("XDG_CACHE_HOME", "/var/cache/me", 1);
    setenv("XDG_CONFIG_HOME", "relative/ignored", 1);  // not absolute: ignored
    if (Environment::dataHome() != "/home/someone/.local/share" || Environment::cacheHome() != "/var/cache/me" ||
        Environment::configHome() != "/home/someone/.config")
      return 1;
    if (Environment::applicationIdentifier() != program_invocation_short_name) return 2;
    Environment::setApplicationIdentifier("com.example.photos");
    EnvironmentOverrides o;
    o.applicationIdentifier = "test.app";
    std::optional<ScopedEnvironmentOverrides> scoped(std::in_place, o);
    if (Environment::applicationIdentifier() != "test.app") return 3;
    scoped.reset();
    return Environment::applicationIdentifier() == "com.example.photos" ? 0 : 4;
  });
  EXPECT_EQ(result.exitCode, 0);
  // The identifier stays one directory name below the configuration directory.
  EnvironmentOverrides o;
  o.applicationIdentifier = "../x";
  o.configHome = "/config";
  ScopedEnvironmentOverrides scoped(o);
  EXPECT_EQ(Environment::userDefaultsFile(), std::filesystem::path("/config/..%2Fx/defaults.sqlite3"));
}

TEST(NSDictionaryTest, NumbersReadAsThePlatformsNumbersDo) {
  const NSDictionary d{{"float", 0.8f}, {"double", 0.8},       {"int", 3},      {"yes", true},
                       {"huge", 1e30},  {"nan", std::nan("")}, {"text", "0.8"}, {"negative", -2.9}};
  // A float keeps single precision: it is not the double nearest 0.8.
  EXPECT_EQ(d.doubleForKey("float"), static_cast<double>(0.8f));
  EXPECT_EQ(d.floatForKey("double"), 0.8f);
  EXPECT_EQ(d.doubleForKey("yes"), 1.0);
  EXPECT_EQ(d.objectForKey("negative")->integerValue(), -2);
  EXPECT_EQ(d.boolForKey("negative"), true);
  EXPECT_FALSE(d.objectForKey("huge")->integerValue() || d.objectForKey("nan")->integerValue());
  // Values of another kind, and missing keys, read as nothing.
  EXPECT_FALSE(d.doubleForKey("text") || d.sizeForKey("double") || d.doubleForKey("missing") || d.objectForKey("missing"));
  const NSDictionary a{{"inner", NSDictionary{{"DPIWidth", 72.0}, {"size", CGSizeMake(144, 72)}}}};
  EXPECT_EQ(*a.objectForKey("inner")->dictionaryValue()->sizeForKey("size"), CGSizeMake(144, 72));
}

// Lines carry a date, time and process stamp; lines from many threads never interleave.
TEST(NSLogTest, WritesWholeStampedLinesToStandardError) {
  const auto result = testing::runInChild([] {
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
      threads.emplace_back([t] {
        for (int i = 0; i < 200; ++i) NSLog(std::string(100, static_cast<char>('a' + t)));
      });
    for (auto& th : threads) th.join();
    return 0;
  });
  const std::regex line(R"(\d{4}-\d{2}-\d{2} \d{2}:\d{2}:\d{2}\.\d{3} )" + std::string(program_invocation_short_name) +
                        R"(\[\d+:\d+\] (a{100}|b{100}|c{100}|d{100}))");
  std::istringstream lines(result.stderrText);
  std::size_t count = 0;
  for (std::string text; std::getline(lines, text); ++count) ASSERT_TRUE(std::regex_match(text, line)) << text;
  EXPECT_EQ(count, 800u);
  EXPECT_EQ(result.stderrText.back(), '\n');
}

// Each length's smallest and largest scalar, and the forms just beyond them:
// overlong forms, surrogates, cut-short and missing continuation bytes.
TEST(TextTest, Utf8ValidationAtEveryBoundary) {
  const std::pair<std::string_view, bool> cases[] = {
      {std::string_view("a\0b", 3), true}, {"\x7F", true}, {"\x80", false}, {"\xC2\x80", true}, {"\xC1\xBF", false},
      {"\xC3", false}, {"\xC3\x28", false}, {"\xE0\xA0\x80", true}, {"\xE0\x9F\xBF", false}, {"\xED\x9F\xBF", true},
      {"\xED\xA0\x80", false}, {"\xF0\x90\x80\x80", true}, {"\xF4\x8F\xBF\xBF", true}, {"\xF0\x8F\xBF\xBF", false},
      {"\xF4\x90\x80\x80", false}, {"\xF8\x88\x80\x80\x80", false}, {"\xC3\xA9\xE2\x82\xAC\xF0\x9F\x93\xB7", true},
  };
  for (const auto& [text, valid] : cases) {
    EXPECT_EQ(isValidUTF8(text), valid) << ::testing::PrintToString(std::string(text));
    EXPECT_EQ(utf8Data(text), valid ? std::optional<Data>(dataOf(text)) : std::nullopt);
  }
}

}  // namespace
}  // namespace orvane
