#include "orvane/Categories/NSDataMd5.h"

#include "Platform/System/Digest.h"
#include "Platform/Foundation/Text.h"

namespace orvane {

std::optional<std::string> NSDataMd5::md5Value(ByteView data) {
  if (data.empty()) return std::nullopt;
  const auto digest = md5Digest(data);
  if (!digest) return std::nullopt;
  std::string text;
  text.reserve(32);
  appendUpperHex(text, *digest);
  return text;
}

}  // namespace orvane
