#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>

#include "orvane/Platform/Foundation/Data.h"
#include "orvane/Platform/Foundation/Environment.h"
#include "Platform/Foundation/EnvironmentOverrides.h"

namespace orvane::testing {

/// A fresh directory under the system's temporary directory, removed with
/// everything in it when the object goes.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::filesystem::path& path() const { return path_; }
  std::filesystem::path operator/(const std::filesystem::path& name) const { return path_ / name; }

 private:
  std::filesystem::path path_;
};

/// A file's bytes (none when it cannot be read); a file made of `bytes`, replacing what was there.
inline Data readFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return Data(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline void writeFile(const std::filesystem::path& path, ByteView bytes) {
  std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
}

/// A temporary directory that the library's environment points at for the
/// object's lifetime: data, cache and config homes below it, a test
/// application identifier, so no test touches the real home directory. The
/// standard user defaults follow it; they are closed when it goes.
class TestEnvironment {
 public:
  TestEnvironment();
  ~TestEnvironment();
  const TempDir& dir() const { return dir_; }
  const std::filesystem::path& path() const { return dir_.path(); }

 private:
  TempDir dir_;
  ScopedEnvironmentOverrides overrides_;
};

}  // namespace orvane::testing
