#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "orvane/Platform/Foundation/Data.h"

namespace orvane {

/// The 16-byte MD5 digest of the bytes (the platform's one-shot MD5), or
/// nothing when the digest library fails.
std::optional<std::array<std::uint8_t, 16>> md5Digest(ByteView bytes);

}  // namespace orvane
