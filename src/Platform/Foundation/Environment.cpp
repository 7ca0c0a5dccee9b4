#include "orvane/Platform/Foundation/Environment.h"

#include "Platform/Foundation/EnvironmentOverrides.h"

#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <mutex>
#include <vector>

#include "Platform/Foundation/FileSystem.h"

namespace orvane {

namespace {

struct State {
  std::mutex mutex;
  EnvironmentOverrides overrides;
  std::optional<std::string> hostIdentifier;
};

State& state() {
  static State s;
  return s;
}

template <class T>
std::optional<T> overridden(std::optional<T> EnvironmentOverrides::*field) {
  State& s = state();
  std::lock_guard<std::mutex> lock(s.mutex);
  return s.overrides.*field;
}

std::filesystem::path homeDirectory() {
  if (const char* home = std::getenv("HOME"); home && *home) return home;
  // No HOME: ask the password database, with a buffer sized as it suggests.
  long size = sysconf(_SC_GETPW_R_SIZE_MAX);
  std::vector<char> buffer(size > 0 ? static_cast<std::size_t>(size) : 16384);
  passwd entry{};
  passwd* found = nullptr;
  if (getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found &&
      found->pw_dir)
    return found->pw_dir;
  return "/";
}

// An XDG base directory: the variable when it holds an absolute path (relative
// ones are invalid and ignored, as the XDG rules say), else the fallback
// below the home directory.
std::filesystem::path xdgDirectory(const char* variable, const char* fallback) {
  if (const char* value = std::getenv(variable); value && value[0] == '/') return value;
  return homeDirectory() / fallback;
}

}  // namespace

void Environment::setApplicationIdentifier(std::string identifier) {
  State& s = state();
  std::lock_guard<std::mutex> lock(s.mutex);
  s.hostIdentifier = std::move(identifier);
}

std::string Environment::applicationIdentifier() {
  State& s = state();
  std::lock_guard<std::mutex> lock(s.mutex);
  if (s.overrides.applicationIdentifier) return *s.overrides.applicationIdentifier;
  if (s.hostIdentifier) return *s.hostIdentifier;
  return program_invocation_short_name;
}

std::string Environment::bundleVersion() {
  return overridden(&EnvironmentOverrides::bundleVersion).value_or(ORVANE_BUNDLE_VERSION);
}

std::filesystem::path Environment::dataHome() {
  if (auto p = overridden(&EnvironmentOverrides::dataHome)) return *p;
  return xdgDirectory("XDG_DATA_HOME", ".local/share");
}

std::filesystem::path Environment::cacheHome() {
  if (auto p = overridden(&EnvironmentOverrides::cacheHome)) return *p;
  return xdgDirectory("XDG_CACHE_HOME", ".cache");
}

std::filesystem::path Environment::configHome() {
  if (auto p = overridden(&EnvironmentOverrides::configHome)) return *p;
  return xdgDirectory("XDG_CONFIG_HOME", ".config");
}

std::filesystem::path Environment::userDefaultsFile() {
  if (auto p = overridden(&EnvironmentOverrides::userDefaultsFile)) return *p;
  // The identifier is the host's text: encoded, it stays one directory name
  // below the configuration directory whatever it holds.
  return configHome() / fs::safeFileName(applicationIdentifier()) / "defaults.sqlite3";
}

OperatingSystemVersion Environment::systemVersion() {
  return overridden(&EnvironmentOverrides::systemVersion).value_or(OperatingSystemVersion{10, 14, 0});
}

bool Environment::isOperatingSystemAtLeastVersion(const OperatingSystemVersion& version) {
  return systemVersion() >= version;
}

void setEnvironmentOverrides(EnvironmentOverrides overrides) {
  State& s = state();
  std::lock_guard<std::mutex> lock(s.mutex);
  s.overrides = std::move(overrides);
}

EnvironmentOverrides environmentOverrides() {
  State& s = state();
  std::lock_guard<std::mutex> lock(s.mutex);
  return s.overrides;
}

}  // namespace orvane
