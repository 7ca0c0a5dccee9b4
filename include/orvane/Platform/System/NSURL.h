#pragma once

#include <filesystem>

#include "orvane/Export.h"

namespace orvane {

// Security-scoped access to file locations. Linux has no sandbox to open, so
// access is granted whenever this process can open the location (read a file,
// search a directory). Accesses are still counted per location.

/// Starts one access to the location. False, and nothing counted, when the
/// location does not exist or cannot be opened.
ORVANE_EXPORT bool startAccessingSecurityScopedResource(const std::filesystem::path& url);

/// Ends one access started on the same location; nothing when none is open.
ORVANE_EXPORT void stopAccessingSecurityScopedResource(const std::filesystem::path& url);

}  // namespace orvane
