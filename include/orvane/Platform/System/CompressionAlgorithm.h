#pragma once

#include <cstdint>

namespace orvane {

/// The platform's whole-buffer compression algorithm selector, with the
/// platform's own values. Any other value is accepted as an argument and
/// answers no data.
using compression_algorithm = std::uint32_t;

/// LZ4 blocks in the platform's framing ("bv41" / "bv4-" blocks, "bv4$" end).
inline constexpr compression_algorithm COMPRESSION_LZ4 = 0x100;
/// One bare LZ4 block.
inline constexpr compression_algorithm COMPRESSION_LZ4_RAW = 0x101;
/// Raw DEFLATE (RFC 1951: no header, no trailer), level 5.
inline constexpr compression_algorithm COMPRESSION_ZLIB = 0x205;
/// An xz container holding LZMA2 at preset 6.
inline constexpr compression_algorithm COMPRESSION_LZMA = 0x306;
/// LZBITMAP: no codec on this system, always no data.
inline constexpr compression_algorithm COMPRESSION_LZBITMAP = 0x702;
/// LZFSE: no codec on this system, always no data.
inline constexpr compression_algorithm COMPRESSION_LZFSE = 0x801;
/// A Brotli stream.
inline constexpr compression_algorithm COMPRESSION_BROTLI = 0xB02;

}  // namespace orvane
