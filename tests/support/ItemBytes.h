#pragma once

// Repeatable data: random-looking bytes that differ by `seed`, or text of a few words that compresses well.

#include <cstddef>
#include <cstdint>
#include <string_view>

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

inline Data textBytes(std::size_t size, std::uint32_t seed = 7) {
  static constexpr std::string_view kWords[] = {"image ", "photo ", "chunk ", "thumbnail ",
                                                "the ",   "a ",     "\n"};
  const Data pick = itemBytes(size, seed);
  Data text;
  for (std::size_t i = 0; text.size() < size; ++i) {
    const std::string_view w = kWords[pick[i % size] % std::size(kWords)];
    text.insert(text.end(), w.begin(), w.end());
  }
  text.resize(size);
  return text;
}

}  // namespace orvane::testing
