#pragma once

#include <filesystem>
#include <optional>

#include "orvane/Platform/Foundation/Data.h"

namespace orvane::platform {

// A bookmark is a small versioned record naming a location by its absolute
// path, all integers little-endian:
//   offset 0   4 bytes  magic "OVBM"
//   offset 4   4 bytes  format version, 1
//   offset 8   4 bytes  path length N, 1 to 4095
//   offset 12  N bytes  the absolute path, without a terminating zero
// and nothing after it. Bookmarks are kept by hosts across runs, so a
// version 1 record must keep resolving in every later release.

/// The bookmark of an existing location, named by its canonical path (no
/// symbolic links, no "." or ".."); nothing when the location does not exist
/// or its path is too long for the record.
std::optional<Data> makeBookmark(const std::filesystem::path& location);

/// The location a bookmark names, when the bytes are a well-formed record and
/// the location exists; nothing otherwise.
std::optional<std::filesystem::path> resolveBookmark(ByteView bookmark);

}  // namespace orvane::platform
