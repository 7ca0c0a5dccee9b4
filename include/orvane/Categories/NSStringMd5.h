#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "orvane/Export.h"

namespace orvane {

/// MD5 digests of texts.
struct ORVANE_EXPORT NSStringMd5 {
  NSStringMd5() = delete;

  /// The digest text (see NSDataMd5::md5Value) of the text's UTF-8 bytes.
  /// Nothing for the empty text and for bytes that are not valid UTF-8 (a
  /// text with no UTF-8 form). md5Value("abc") is
  /// "900150983CD24FB0D6963F7D28E17F72".
  static std::optional<std::string> md5Value(std::string_view text);
};

}  // namespace orvane
