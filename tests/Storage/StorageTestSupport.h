#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <system_error>

#include "orvane/Platform/Foundation/Data.h"
#include "support/ItemBytes.h"

namespace orvane::testing {

/// The size of a file, or -1 when it is missing.
inline std::int64_t fileSize(const std::filesystem::path& path) {
  std::error_code ec;
  auto size = std::filesystem::file_size(path, ec);
  return ec ? -1 : static_cast<std::int64_t>(size);
}

}  // namespace orvane::testing
