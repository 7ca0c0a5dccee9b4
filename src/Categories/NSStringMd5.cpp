#include "orvane/Categories/NSStringMd5.h"

#include "Platform/Foundation/Text.h"
#include "orvane/Categories/NSDataMd5.h"

namespace orvane {

std::optional<std::string> NSStringMd5::md5Value(std::string_view text) {
  if (!isValidUTF8(text)) return std::nullopt;
  return NSDataMd5::md5Value(bytesOf(text));
}

}  // namespace orvane
