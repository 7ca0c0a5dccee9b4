#pragma once

// Runs tests/support/keyed_archive.py, which reads and writes keyed archives
// with Python's plistlib. A test program using this defines ORVANE_PYTHON3 and
// ORVANE_KEYED_ARCHIVE_SCRIPT (see tests/CMakeLists.txt).

#include <cstdio>
#include <optional>
#include <string>

#include "orvane/Platform/Foundation/Data.h"
#include "support/TempDir.h"

namespace orvane::testing {

namespace detail {

inline std::optional<std::string> runKeyedArchiveScript(const std::string& arguments) {
  const std::string command =
      std::string("'") + ORVANE_PYTHON3 + "' '" + ORVANE_KEYED_ARCHIVE_SCRIPT + "' " + arguments;
  FILE* pipe = ::popen(command.c_str(), "r");
  if (pipe == nullptr) return std::nullopt;
  std::string out;
  char buffer[65536];
  for (std::size_t n; (n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;) out.append(buffer, n);
  if (::pclose(pipe) != 0) return std::nullopt;
  while (!out.empty() && out.back() == '\n') out.pop_back();
  return out;
}

inline bool writeFile(const std::filesystem::path& path, ByteView bytes) {
  FILE* f = std::fopen(path.c_str(), "wb");
  if (f == nullptr) return false;
  const bool ok = std::fwrite(bytes.data(), 1, bytes.size(), f) == bytes.size();
  return std::fclose(f) == 0 && ok;
}

}  // namespace detail

/// plistlib's reading of an archive as one line of JSON (the script's
/// "describe"), or nothing when plistlib refuses it or the layout is wrong.
inline std::optional<std::string> describeKeyedArchive(ByteView archive) {
  TempDir dir;
  const auto path = dir / "archive";
  if (!detail::writeFile(path, archive)) return std::nullopt;
  return detail::runKeyedArchiveScript("describe '" + path.string() + "'");
}

/// An archive written by plistlib in the platform archiver's layout, with the
/// given JSON list as $objects ({"$uid": n} for UIDs, {"$data": hex} for data)
/// and $top {root: UID 1}.
inline std::optional<Data> encodeKeyedArchive(const std::string& objectsJson) {
  TempDir dir;
  const auto json = dir / "objects.json";
  const auto path = dir / "archive";
  if (!detail::writeFile(json, bytesOf(objectsJson))) return std::nullopt;
  if (!detail::runKeyedArchiveScript("encode '" + path.string() + "' < '" + json.string() + "'"))
    return std::nullopt;
  FILE* f = std::fopen(path.c_str(), "rb");
  if (f == nullptr) return std::nullopt;
  Data bytes;
  std::uint8_t buffer[65536];
  for (std::size_t n; (n = std::fread(buffer, 1, sizeof buffer, f)) > 0;)
    bytes.insert(bytes.end(), buffer, buffer + n);
  std::fclose(f);
  return bytes;
}

}  // namespace orvane::testing
