#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include "orvane/Export.h"

namespace orvane {

/// A system version, compared as (major, minor, patch).
struct OperatingSystemVersion {
  std::int64_t majorVersion = 0;
  std::int64_t minorVersion = 0;
  std::int64_t patchVersion = 0;

  friend auto operator<=>(const OperatingSystemVersion&, const OperatingSystemVersion&) = default;
};

/// The process-wide facts the library reads from its surroundings: the
/// application identifier, the library's version text, the user's directories
/// and the system version. Each has a production value; every one can be
/// replaced by an override, which is how tests keep the library away from the
/// real home directory. All calls are thread-safe.
class ORVANE_EXPORT Environment {
 public:
  /// Values that replace the production ones; an empty field keeps it.
  struct Overrides {
    std::optional<std::string> applicationIdentifier;
    std::optional<std::string> bundleVersion;
    std::optional<std::filesystem::path> dataHome;
    std::optional<std::filesystem::path> cacheHome;
    std::optional<std::filesystem::path> configHome;
    std::optional<std::filesystem::path> userDefaultsFile;
    std::optional<OperatingSystemVersion> systemVersion;
  };

  Environment() = delete;

  /// The host names its application, once at start-up (the platform's bundle
  /// identifier). Without it the executable's file name is used.
  static void setApplicationIdentifier(std::string identifier);
  /// The application identifier: an override, else the host's, else the
  /// executable's file name.
  static std::string applicationIdentifier();

  /// The library's version text, "158" (the framework's bundle version).
  static std::string bundleVersion();

  /// $XDG_DATA_HOME, else ~/.local/share (the platform's Application Support).
  static std::filesystem::path dataHome();
  /// $XDG_CACHE_HOME, else ~/.cache (the platform's Caches).
  static std::filesystem::path cacheHome();
  /// $XDG_CONFIG_HOME, else ~/.config.
  static std::filesystem::path configHome();

  /// The database of the standard user defaults: an override, else
  /// configHome() / applicationIdentifier() / "defaults.sqlite3".
  static std::filesystem::path userDefaultsFile();

  /// The system version the platform layer reports. Linux has no macOS
  /// version; the library provides the behaviour of 10.14.0, so that is what
  /// it reports unless overridden.
  static OperatingSystemVersion systemVersion();
  /// True when systemVersion() is at least the given version.
  static bool isOperatingSystemAtLeastVersion(const OperatingSystemVersion& version);

  /// Replaces the current overrides as a whole.
  static void setOverrides(Overrides overrides);
  /// The current overrides.
  static Overrides overrides();
};

/// Installs overrides for its lifetime and puts the previous ones back when it
/// goes (for tests).
class ORVANE_EXPORT ScopedEnvironmentOverrides {
 public:
  explicit ScopedEnvironmentOverrides(Environment::Overrides overrides);
  ~ScopedEnvironmentOverrides();
  ScopedEnvironmentOverrides(const ScopedEnvironmentOverrides&) = delete;
  ScopedEnvironmentOverrides& operator=(const ScopedEnvironmentOverrides&) = delete;

 private:
  Environment::Overrides previous_;
};

}  // namespace orvane
