#pragma once

#include <cstdint>
#include <filesystem>
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
/// and the system version. All calls are thread-safe.
class ORVANE_EXPORT Environment {
 public:
  Environment() = delete;

  /// The host names its application, once at start-up (the platform's bundle
  /// identifier). Without it the executable's file name is used.
  static void setApplicationIdentifier(std::string identifier);
  /// The application identifier: the host's, else the executable's file name.
  static std::string applicationIdentifier();

  /// The library's version text, "158" (the framework's bundle version).
  static std::string bundleVersion();

  /// $XDG_DATA_HOME, else ~/.local/share (the platform's Application Support).
  static std::filesystem::path dataHome();
  /// $XDG_CACHE_HOME, else ~/.cache (the platform's Caches).
  static std::filesystem::path cacheHome();
  /// $XDG_CONFIG_HOME, else ~/.config.
  static std::filesystem::path configHome();

  /// The database of the standard user defaults:
  /// configHome() / applicationIdentifier() / "defaults.sqlite3", with the
  /// identifier as one directory name: percent-encoded as store identifiers
  /// are ('%' -> "%25", '/' -> "%2F", NUL -> "%00", the whole names "." and
  /// ".." -> "%2E", "%2E%2E") when it is not a single safe path component, so
  /// it never names a directory outside configHome().
  static std::filesystem::path userDefaultsFile();

  /// The system version the platform layer reports. Linux has no macOS
  /// version; the library provides the behaviour of 10.14.0, so that is what
  /// it reports.
  static OperatingSystemVersion systemVersion();
  /// True when systemVersion() is at least the given version.
  static bool isOperatingSystemAtLeastVersion(const OperatingSystemVersion& version);
};

}  // namespace orvane
