#pragma once

// Item bytes for tests, benchmarks and the demo: `size` bytes that look random
// and differ from item to item (by `seed`), the same on every run.

#include <cstddef>
#include <cstdint>

#include "orvane/Platform/Foundation/Data.h"

namespace orvane::testing {

inline Data itemBytes(std::size_t size, std::uint32_t seed) {
  Data bytes(size);
  std::uint32_t x = seed * 2654435761u + 1;
  for (auto& b : bytes) {
    x = x * 1664525u + 1013904223u;
    b = static_cast<std::uint8_t>(x >> 24);
  }
  return bytes;
}

}  // namespace orvane::testing
