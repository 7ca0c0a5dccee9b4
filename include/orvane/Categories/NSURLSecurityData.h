#pragma once

#include <filesystem>
#include <optional>

#include "orvane/Export.h"
#include "orvane/Platform/Foundation/Data.h"

namespace orvane {

/// Security-scoped bookmarks of file locations: bytes a host keeps across
/// runs and turns back into the location later.
struct ORVANE_EXPORT NSURLSecurityData {
  NSURLSecurityData() = delete;

  /// The bookmark of the location, or nothing when none can be made (the
  /// location does not exist).
  static std::optional<Data> bookmarkData(const std::filesystem::path& url);

  /// The location a bookmark names, with one security-scoped access to it
  /// already started; the caller ends it with
  /// stopAccessingSecurityScopedResource(). Nothing for empty bytes (a nil
  /// bookmark is an empty view), bytes that are not a bookmark, a location
  /// that no longer exists, or one whose access cannot be started.
  static std::optional<std::filesystem::path> urlWithBookmarkData(ByteView bookmarkData);
};

}  // namespace orvane
