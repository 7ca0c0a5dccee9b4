#pragma once

#include <optional>
#include <string>

#include "orvane/Export.h"
#include "orvane/Platform/Foundation/Data.h"

namespace orvane {

/// MD5 digests of byte buffers.
struct ORVANE_EXPORT NSDataMd5 {
  NSDataMd5() = delete;

  /// The MD5 digest of the bytes as 32 upper-case hexadecimal characters (the
  /// 16 digest bytes in order, each as "%02X"), or nothing for an empty buffer.
  static std::optional<std::string> md5Value(ByteView data);
};

}  // namespace orvane
