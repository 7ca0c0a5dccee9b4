#pragma once

// Runs tests/support/keyed_archive.py (plistlib); see orvane_use_keyed_archive_script in tests/CMakeLists.txt.

#include <cstdio>
#include <fstream>
#include <optional>
#include <string>

#include "orvane/Platform/Foundation/Data.h"
#include "support/TempDir.h"

namespace orvane::testing {

/// The script's output without its final newlines, or nothing when it fails.
inline std::optional<std::string> runKeyedArchiveScript(const char* command,
                                                        const std::filesystem::path& path,
                                                        const std::string& rest = "") {
  const std::string line = std::string("'") + ORVANE_PYTHON3 + "' '" + ORVANE_KEYED_ARCHIVE_SCRIPT +
                           "' " + command + " '" + path.string() + "'" + rest;
  FILE* pipe = ::popen(line.c_str(), "r");
  if (pipe == nullptr) return std::nullopt;
  std::string out;
  char buffer[65536];
  for (std::size_t n; (n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;) out.append(buffer, n);
  if (::pclose(pipe) != 0) return std::nullopt;
  while (!out.empty() && out.back() == '\n') out.pop_back();
  return out;
}

/// plistlib's reading of an archive as one line of JSON, or nothing when it refuses it.
inline std::optional<std::string> describeKeyedArchive(ByteView archive) {
  TempDir dir;
  writeFile(dir / "archive", archive);
  return runKeyedArchiveScript("describe", dir / "archive");
}

/// An archive written by plistlib with the JSON list as $objects and $top {root: UID 1}.
inline std::optional<Data> encodeKeyedArchive(const std::string& objectsJson) {
  TempDir dir;
  std::ofstream(dir / "objects.json") << objectsJson;
  if (!runKeyedArchiveScript("encode", dir / "archive", " < '" + (dir / "objects.json").string() + "'"))
    return std::nullopt;
  return readFile(dir / "archive");
}

}  // namespace orvane::testing
