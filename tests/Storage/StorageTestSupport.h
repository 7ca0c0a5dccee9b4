#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <system_error>

#include "orvane/Platform/Foundation/Data.h"
#include "support/ItemBytes.h"
#include "support/TempDir.h"

namespace orvane::testing {

/// The size of a file, or -1 when it is missing.
inline std::int64_t fileSize(const std::filesystem::path& path) {
  std::error_code ec;
  auto size = std::filesystem::file_size(path, ec);
  return ec ? -1 : static_cast<std::int64_t>(size);
}

/// How many times a log says the chunk file has been damaged.
inline std::size_t damageLines(const std::string& log) {
  std::size_t lines = 0;
  for (std::size_t at = 0; (at = log.find("] Warning the chunk file has been damaged.\n", at)) != std::string::npos; ++at)
    ++lines;
  return lines;
}

}  // namespace orvane::testing
