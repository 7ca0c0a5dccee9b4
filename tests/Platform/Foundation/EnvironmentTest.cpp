#include "orvane/Platform/Foundation/Environment.h"
#include "Platform/Foundation/EnvironmentOverrides.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include "support/ChildProcess.h"

namespace orvane {
namespace {

TEST(EnvironmentTest, XdgVariablesWinOverHomeFallbacks) {
  auto result = testing::runInChild([] {
    setenv("HOME", "/home/someone", 1);
    unsetenv("XDG_DATA_HOME");
    setenv("XDG_CACHE_HOME", "/var/cache/me", 1);
    setenv("XDG_CONFIG_HOME", "relative/ignored", 1);  // not absolute: ignored
    bool ok = Environment::dataHome() == "/home/someone/.local/share" &&
              Environment::cacheHome() == "/var/cache/me" &&
              Environment::configHome() == "/home/someone/.config";
    return ok ? 0 : 1;
  });
  EXPECT_EQ(result.exitCode, 0);
}

// The identifier names one directory below the configuration directory, and
// below the data directory for stores, whatever the host set it to.
TEST(EnvironmentTest, ApplicationIdentifierStaysOneDirectoryName) {
  const std::pair<const char*, const char*> cases[] = {
      {"com.example.photos", "com.example.photos"},
      {"../../x", "..%2F..%2Fx"},
      {"..", "%2E%2E"},
      {"/etc", "%2Fetc"},
  };
  for (const auto& [identifier, directory] : cases) {
    EnvironmentOverrides o;
    o.applicationIdentifier = identifier;
    o.configHome = "/config";
    ScopedEnvironmentOverrides scoped(o);
    EXPECT_EQ(Environment::userDefaultsFile(),
              std::filesystem::path("/config") / directory / "defaults.sqlite3")
        << identifier;
  }
}

TEST(EnvironmentTest, ApplicationIdentifierComesFromOverrideHostOrExecutable) {
  auto result = testing::runInChild([] {
    if (Environment::applicationIdentifier() != program_invocation_short_name) return 1;
    Environment::setApplicationIdentifier("com.example.photos");
    if (Environment::applicationIdentifier() != "com.example.photos") return 2;
    {
      EnvironmentOverrides o;
      o.applicationIdentifier = "test.app";
      ScopedEnvironmentOverrides scoped(o);
      if (Environment::applicationIdentifier() != "test.app") return 3;
    }
    return Environment::applicationIdentifier() == "com.example.photos" ? 0 : 4;
  });
  EXPECT_EQ(result.exitCode, 0);
}

TEST(EnvironmentTest, OverridesAreScopedAndRestored) {
  EXPECT_EQ(Environment::bundleVersion(), "158");
  EXPECT_TRUE(Environment::isOperatingSystemAtLeastVersion({10, 14, 0}));
  EXPECT_FALSE(Environment::isOperatingSystemAtLeastVersion({10, 14, 1}));
  {
    EnvironmentOverrides o;
    o.bundleVersion = "";
    o.dataHome = "/tmp/data-override";
    o.systemVersion = OperatingSystemVersion{10, 13, 6};
    ScopedEnvironmentOverrides scoped(o);
    EXPECT_EQ(Environment::bundleVersion(), "");
    EXPECT_EQ(Environment::dataHome(), "/tmp/data-override");
    EXPECT_FALSE(Environment::isOperatingSystemAtLeastVersion({10, 14, 0}));
    EXPECT_TRUE(Environment::isOperatingSystemAtLeastVersion({10, 13, 6}));
  }
  EXPECT_EQ(Environment::bundleVersion(), "158");
  EXPECT_NE(Environment::dataHome(), "/tmp/data-override");
}

}  // namespace
}  // namespace orvane
