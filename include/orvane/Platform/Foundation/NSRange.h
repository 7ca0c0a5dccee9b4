#pragma once

#include <cstdint>

namespace orvane {

/// The "not found" location of a range: the largest signed 64-bit value.
inline constexpr std::uint64_t NSNotFound = 0x7fffffffffffffffULL;

/// A range of bytes or elements: where it starts and how many it covers.
struct NSRange {
  std::uint64_t location = 0;
  std::uint64_t length = 0;

  friend bool operator==(const NSRange&, const NSRange&) = default;
};

}  // namespace orvane
