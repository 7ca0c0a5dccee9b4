#include "orvane/Platform/System/NSURL.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <map>
#include <mutex>

#include "Platform/System/NSURLTesting.h"

namespace orvane {

namespace {

bool canOpen(const std::filesystem::path& url) {
  struct stat info {};
  if (::stat(url.c_str(), &info) != 0) return false;
  const int mode = S_ISDIR(info.st_mode) ? X_OK : R_OK;
  return ::faccessat(AT_FDCWD, url.c_str(), mode, AT_EACCESS) == 0;
}

struct AccessCounts {
  std::mutex mutex;
  std::map<std::filesystem::path, std::uint64_t> open;
};

AccessCounts& accessCounts() {
  static AccessCounts counts;
  return counts;
}

}  // namespace

bool startAccessingSecurityScopedResource(const std::filesystem::path& url) {
  if (url.empty() || !canOpen(url)) return false;
  AccessCounts& counts = accessCounts();
  std::lock_guard<std::mutex> lock(counts.mutex);
  ++counts.open[url];
  return true;
}

void stopAccessingSecurityScopedResource(const std::filesystem::path& url) {
  AccessCounts& counts = accessCounts();
  std::lock_guard<std::mutex> lock(counts.mutex);
  auto it = counts.open.find(url);
  if (it == counts.open.end()) return;
  if (--it->second == 0) counts.open.erase(it);
}

std::uint64_t securityScopedAccessCount(const std::filesystem::path& url) {
  AccessCounts& counts = accessCounts();
  std::lock_guard<std::mutex> lock(counts.mutex);
  auto it = counts.open.find(url);
  return it == counts.open.end() ? 0 : it->second;
}

}  // namespace orvane
