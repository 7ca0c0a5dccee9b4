#include "Platform/System/Bookmark.h"

#include <algorithm>
#include <array>
#include <string>
#include <system_error>

namespace orvane::platform {

namespace {

constexpr std::array<std::uint8_t, 4> kBookmarkMagic{'O', 'V', 'B', 'M'};
constexpr std::uint32_t kBookmarkVersion = 1;
constexpr std::size_t kHeaderSize = 12;
constexpr std::size_t kMaxPathLength = 4095;  // PATH_MAX less the terminating zero

void appendUInt32(Data& out, std::uint32_t value) {
  for (int shift = 0; shift < 32; shift += 8)
    out.push_back(static_cast<std::uint8_t>(value >> shift));
}

std::uint32_t readUInt32(ByteView bytes) {
  return static_cast<std::uint32_t>(bytes[0]) | static_cast<std::uint32_t>(bytes[1]) << 8 |
         static_cast<std::uint32_t>(bytes[2]) << 16 | static_cast<std::uint32_t>(bytes[3]) << 24;
}

}  // namespace

std::optional<Data> makeBookmark(const std::filesystem::path& location) {
  std::error_code ec;
  const std::filesystem::path canonical = std::filesystem::canonical(location, ec);
  if (ec) return std::nullopt;
  const std::string& text = canonical.native();
  if (text.empty() || text.size() > kMaxPathLength) return std::nullopt;
  Data record(kBookmarkMagic.begin(), kBookmarkMagic.end());
  record.reserve(kHeaderSize + text.size());
  appendUInt32(record, kBookmarkVersion);
  appendUInt32(record, static_cast<std::uint32_t>(text.size()));
  record.insert(record.end(), text.begin(), text.end());
  return record;
}

std::optional<std::filesystem::path> resolveBookmark(ByteView bookmark) {
  if (bookmark.size() < kHeaderSize) return std::nullopt;
  if (!std::equal(kBookmarkMagic.begin(), kBookmarkMagic.end(), bookmark.begin()))
    return std::nullopt;
  if (readUInt32(bookmark.subspan(4)) != kBookmarkVersion) return std::nullopt;
  const std::uint32_t length = readUInt32(bookmark.subspan(8));
  if (length == 0 || length > kMaxPathLength || bookmark.size() - kHeaderSize != length)
    return std::nullopt;
  const auto pathBytes = bookmark.subspan(kHeaderSize);
  const std::string text(pathBytes.begin(), pathBytes.end());
  if (text.front() != '/' || text.find('\0') != std::string::npos) return std::nullopt;
  std::filesystem::path location(text);
  std::error_code ec;
  if (!std::filesystem::exists(location, ec)) return std::nullopt;
  return location;
}

}  // namespace orvane::platform
