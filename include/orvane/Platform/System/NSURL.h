#pragma once

#include <cstdint>
#include <filesystem>

#include "orvane/Export.h"

namespace orvane {

// Security-scoped access to file locations. Linux has no sandbox to open, so
// access is granted whenever this process can open the location (read a file,
// search a directory). Accesses are still counted per location, so that a
// host can check that every start is balanced by one stop.

/// Starts one access to the location. False, and nothing counted, when the
/// location does not exist or cannot be opened.
ORVANE_EXPORT bool startAccessingSecurityScopedResource(const std::filesystem::path& url);

/// Ends one access started on the same location; nothing when none is open.
ORVANE_EXPORT void stopAccessingSecurityScopedResource(const std::filesystem::path& url);

/// How many accesses to the location are open.
ORVANE_EXPORT std::uint64_t securityScopedAccessCount(const std::filesystem::path& url);

}  // namespace orvane
