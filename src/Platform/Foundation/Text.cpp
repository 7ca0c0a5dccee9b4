#include "Platform/Foundation/Text.h"

#include <cstdint>

namespace orvane {

bool isValidUTF8(std::string_view text) noexcept {
  const auto* s = reinterpret_cast<const std::uint8_t*>(text.data());
  const std::size_t n = text.size();
  std::size_t i = 0;
  while (i < n) {
    const std::uint8_t b = s[i];
    if (b < 0x80) {
      ++i;
      continue;
    }
    std::size_t extra;
    std::uint32_t cp;
    if (b >= 0xC2 && b <= 0xDF) {
      extra = 1;
      cp = b & 0x1F;
    } else if (b >= 0xE0 && b <= 0xEF) {
      extra = 2;
      cp = b & 0x0F;
    } else if (b >= 0xF0 && b <= 0xF4) {
      extra = 3;
      cp = b & 0x07;
    } else {
      return false;
    }
    if (n - i <= extra) return false;
    for (std::size_t k = 1; k <= extra; ++k) {
      const std::uint8_t c = s[i + k];
      if ((c & 0xC0) != 0x80) return false;
      cp = (cp << 6) | (c & 0x3F);
    }
    if ((extra == 2 && cp < 0x800) || (extra == 3 && cp < 0x10000)) return false;
    if ((cp >= 0xD800 && cp <= 0xDFFF) || cp > 0x10FFFF) return false;
    i += extra + 1;
  }
  return true;
}

std::optional<Data> utf8Data(std::string_view text) {
  if (!isValidUTF8(text)) return std::nullopt;
  return dataOf(text);
}

void appendUpperHex(std::string& out, ByteView bytes) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  for (std::uint8_t b : bytes) {
    out.push_back(kDigits[b >> 4]);
    out.push_back(kDigits[b & 0x0F]);
  }
}

}  // namespace orvane
