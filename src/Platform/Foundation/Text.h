#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "orvane/Platform/Foundation/Data.h"

namespace orvane {

/// One Unicode scalar decoded from the front of UTF-8 bytes: its value and the
/// number of bytes it takes. A length of 0 means the bytes at the front are
/// not well-formed (a stray continuation byte, an overlong form, a surrogate,
/// a value above U+10FFFF, or a sequence cut short).
struct UTF8Scalar {
  std::uint32_t value = 0;
  std::size_t length = 0;
};

/// Decodes the scalar at the front of non-empty bytes.
inline UTF8Scalar decodeUTF8Scalar(std::string_view bytes) noexcept {
  const auto* p = reinterpret_cast<const std::uint8_t*>(bytes.data());
  const std::uint8_t lead = p[0];
  if (lead < 0x80) return {lead, 1};
  std::size_t length;
  std::uint32_t value;
  std::uint32_t minimum;
  if ((lead & 0xE0) == 0xC0) {
    length = 2, value = lead & 0x1F, minimum = 0x80;
  } else if ((lead & 0xF0) == 0xE0) {
    length = 3, value = lead & 0x0F, minimum = 0x800;
  } else if ((lead & 0xF8) == 0xF0) {
    length = 4, value = lead & 0x07, minimum = 0x10000;
  } else {
    return {};
  }
  if (bytes.size() < length) return {};
  for (std::size_t k = 1; k < length; ++k) {
    if ((p[k] & 0xC0) != 0x80) return {};
    value = (value << 6) | (p[k] & 0x3F);
  }
  if (value < minimum || value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF)) return {};
  return {value, length};
}

/// True when the bytes are well-formed UTF-8 (no overlong forms, no
/// surrogates, nothing above U+10FFFF).
bool isValidUTF8(std::string_view text) noexcept;

/// The UTF-8 bytes of a text, or nothing when the text has no UTF-8 form (the
/// platform's dataUsingEncoding: with NSUTF8StringEncoding answering nil).
std::optional<Data> utf8Data(std::string_view text);

/// Appends each byte as two upper-case hexadecimal digits, as "%02X" would.
void appendUpperHex(std::string& out, ByteView bytes);

}  // namespace orvane
