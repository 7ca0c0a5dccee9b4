// Bookmark resolution on arbitrary bytes. Whatever resolves must be an
// existing absolute location with exactly one access opened for it, and
// making its bookmark again must give back the same bytes when the path is
// already canonical (spelt exactly as canonical() spells it).
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>

#include "orvane/Categories/NSURLSecurityData.h"
#include "Platform/System/NSURLTesting.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const orvane::ByteView input(bytes, size);
  const auto url = orvane::NSURLSecurityData::urlWithBookmarkData(input);
  if (!url) return 0;
  if (size == 0 || !url->is_absolute()) std::abort();
  std::error_code ec;
  if (!std::filesystem::exists(*url, ec)) std::abort();
  if (orvane::securityScopedAccessCount(*url) != 1) std::abort();
  orvane::stopAccessingSecurityScopedResource(*url);
  if (orvane::securityScopedAccessCount(*url) != 0) std::abort();

  const auto again = orvane::NSURLSecurityData::bookmarkData(*url);
  if (!again) std::abort();
  if (std::filesystem::canonical(*url, ec).native() == url->native() &&
      !std::equal(again->begin(), again->end(), input.begin(), input.end()))
    std::abort();
  return 0;
}
