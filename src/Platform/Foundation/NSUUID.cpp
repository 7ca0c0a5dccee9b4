#include "Platform/Foundation/NSUUID.h"

#include "Platform/Foundation/Text.h"

#include <sys/random.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <random>

namespace orvane {

namespace {

std::array<std::uint8_t, 16> randomBytes() {
  std::array<std::uint8_t, 16> bytes{};
  std::size_t filled = 0;
  while (filled < bytes.size()) {
    ssize_t n = getrandom(bytes.data() + filled, bytes.size() - filled, 0);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    filled += static_cast<std::size_t>(n);
  }
  if (filled < bytes.size()) {
    // getrandom is unavailable (very old kernel or a seccomp filter): fall back
    // to the C++ library's non-deterministic source.
    std::random_device device;
    for (auto& b : bytes) b = static_cast<std::uint8_t>(device());
  }
  return bytes;
}

}  // namespace

std::string makeUUIDString() {
  auto bytes = randomBytes();
  bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0F) | 0x40);  // version 4
  bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3F) | 0x80);  // RFC 4122 variant
  const ByteView all(bytes);
  std::string text;
  text.reserve(36);
  appendUpperHex(text, all.subspan(0, 4));
  for (std::size_t start : {4, 6, 8, 10}) {
    text.push_back('-');
    appendUpperHex(text, all.subspan(start, start == 10 ? 6 : 2));
  }
  return text;
}

}  // namespace orvane
