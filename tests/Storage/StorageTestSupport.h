#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <system_error>

#include "orvane/Platform/Foundation/Data.h"

namespace orvane::testing {

/// `size` bytes that differ from item to item (by `seed`).
inline Data itemBytes(std::size_t size, std::uint32_t seed) {
  Data bytes(size);
  std::uint32_t x = seed * 2654435761u + 1;
  for (auto& b : bytes) {
    x = x * 1664525u + 1013904223u;
    b = static_cast<std::uint8_t>(x >> 24);
  }
  return bytes;
}

/// The size of a file, or -1 when it is missing.
inline std::int64_t fileSize(const std::filesystem::path& path) {
  std::error_code ec;
  auto size = std::filesystem::file_size(path, ec);
  return ec ? -1 : static_cast<std::int64_t>(size);
}

}  // namespace orvane::testing
