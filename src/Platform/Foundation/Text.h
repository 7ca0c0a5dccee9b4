#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "orvane/Platform/Foundation/Data.h"

namespace orvane {

/// True when the bytes are well-formed UTF-8 (no overlong forms, no
/// surrogates, nothing above U+10FFFF).
bool isValidUTF8(std::string_view text) noexcept;

/// The UTF-8 bytes of a text, or nothing when the text has no UTF-8 form (the
/// platform's dataUsingEncoding: with NSUTF8StringEncoding answering nil).
std::optional<Data> utf8Data(std::string_view text);

/// Appends each byte as two upper-case hexadecimal digits, as "%02X" would.
void appendUpperHex(std::string& out, ByteView bytes);

}  // namespace orvane
