#include "orvane/Categories/NSURLSecurityData.h"

#include "Platform/System/Bookmark.h"
#include "orvane/Platform/System/NSURL.h"

namespace orvane {

std::optional<Data> NSURLSecurityData::bookmarkData(const std::filesystem::path& url) {
  return platform::makeBookmark(url);
}

std::optional<std::filesystem::path> NSURLSecurityData::urlWithBookmarkData(ByteView bookmarkData) {
  if (bookmarkData.empty()) return std::nullopt;
  // A stale bookmark is not reported: whatever location it still names is used.
  auto url = platform::resolveBookmark(bookmarkData);
  if (!url || !startAccessingSecurityScopedResource(*url)) return std::nullopt;
  return url;
}

}  // namespace orvane
