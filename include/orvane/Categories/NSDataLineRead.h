#pragma once

#include <string_view>

#include "orvane/Export.h"
#include "orvane/Platform/Foundation/Data.h"
#include "orvane/Platform/Foundation/NSRange.h"

namespace orvane {

/// A byte-pattern search on byte buffers.
struct ORVANE_EXPORT NSDataLineRead {
  NSDataLineRead() = delete;

  /// Finds `pattern` in `data` with a single forward scan that never backs up.
  /// The result's length is always the pattern's length; its location is
  /// where the match began, or NSNotFound. Because the scan never backs up:
  /// - a match starting inside a failed partial match is missed ("ab" in
  ///   "aab" is not found; the byte that broke the partial match is not
  ///   tried again as a first byte);
  /// - a partial match still open at the end of the data counts as found, so
  ///   the range may run past the end ("\r\n" in "abc\r" answers (3, 2)).
  /// An empty data answers (NSNotFound, pattern length); an empty pattern
  /// answers (NSNotFound, 0).
  static NSRange rangeOfDataFind(ByteView data, ByteView pattern);

  /// A copy of the bytes where the UTF-8 bytes of `separator` were found by
  /// rangeOfDataFind: the matched separator itself, not the text before it.
  /// Throws std::out_of_range when the range found does not lie inside the
  /// data (not found, a partial match at the end, an empty separator, or a
  /// separator that is not valid UTF-8).
  static Data readLine(ByteView data, std::string_view separator);
};

}  // namespace orvane
