#include "support/TempDir.h"

#include <stdlib.h>

#include <stdexcept>
#include <string>
#include <system_error>

#include "orvane/Platform/Foundation/NSUserDefaults.h"

namespace orvane::testing {

TempDir::TempDir() {
  std::string pattern = (std::filesystem::temp_directory_path() / "orvane-test-XXXXXX").string();
  if (!mkdtemp(pattern.data())) throw std::runtime_error("mkdtemp failed");
  path_ = pattern;
}

TempDir::~TempDir() {
  std::error_code ec;
  std::filesystem::permissions(path_, std::filesystem::perms::owner_all,
                               std::filesystem::perm_options::add, ec);
  std::filesystem::remove_all(path_, ec);
}

namespace {

EnvironmentOverrides overridesBelow(const std::filesystem::path& root) {
  EnvironmentOverrides o;
  o.applicationIdentifier = "org.orvane.tests";
  o.dataHome = root / "data";
  o.cacheHome = root / "cache";
  o.configHome = root / "config";
  return o;
}

}  // namespace

TestEnvironment::TestEnvironment() : overrides_(overridesBelow(dir_.path())) {}

TestEnvironment::~TestEnvironment() { NSUserDefaults::resetStandardUserDefaults(); }

}  // namespace orvane::testing
