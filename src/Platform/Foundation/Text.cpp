#include "Platform/Foundation/Text.h"

#include <cstdint>

namespace orvane {

bool isValidUTF8(std::string_view text) noexcept {
  std::size_t i = 0;
  while (i < text.size()) {
    if (static_cast<std::uint8_t>(text[i]) < 0x80) {
      ++i;
      continue;
    }
    const UTF8Scalar scalar = decodeUTF8Scalar(text.substr(i));
    if (scalar.length == 0) return false;
    i += scalar.length;
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
