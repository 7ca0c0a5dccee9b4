#pragma once

// Test seam of the environment: replaces the facts Environment reads from the
// process's surroundings, so that tests and benchmarks keep the library away
// from the real home directory. Private: not installed, not exported.

#include <filesystem>
#include <optional>
#include <string>

#include "orvane/Platform/CoreGraphics/CGGeometry.h"
#include "orvane/Platform/Foundation/Environment.h"

namespace orvane {

/// The main screen a test imposes, whatever the host declared and the session
/// says: none, or one with this resolution (dots per inch) and scale.
struct MainScreenOverride {
  bool present = false;
  CGSize resolution{};
  double backingScaleFactor = 1.0;
};

/// Values that replace the production ones; an empty field keeps it.
struct EnvironmentOverrides {
  std::optional<std::string> applicationIdentifier;
  std::optional<std::string> bundleVersion;
  std::optional<std::filesystem::path> dataHome;
  std::optional<std::filesystem::path> cacheHome;
  std::optional<std::filesystem::path> configHome;
  std::optional<std::filesystem::path> userDefaultsFile;
  std::optional<OperatingSystemVersion> systemVersion;
  std::optional<MainScreenOverride> mainScreen;
};

/// Replaces the current overrides as a whole. Thread-safe.
void setEnvironmentOverrides(EnvironmentOverrides overrides);
/// The current overrides.
EnvironmentOverrides environmentOverrides();

/// Installs overrides for its lifetime and puts the previous ones back when it
/// goes.
class ScopedEnvironmentOverrides {
 public:
  explicit ScopedEnvironmentOverrides(EnvironmentOverrides overrides)
      : previous_(environmentOverrides()) {
    setEnvironmentOverrides(std::move(overrides));
  }
  ~ScopedEnvironmentOverrides() { setEnvironmentOverrides(std::move(previous_)); }
  ScopedEnvironmentOverrides(const ScopedEnvironmentOverrides&) = delete;
  ScopedEnvironmentOverrides& operator=(const ScopedEnvironmentOverrides&) = delete;

 private:
  EnvironmentOverrides previous_;
};

}  // namespace orvane
