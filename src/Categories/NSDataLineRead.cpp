#include "orvane/Categories/NSDataLineRead.h"

#include <cstring>
#include <stdexcept>
#include <string>

#include "Platform/Foundation/Text.h"

namespace orvane {

NSRange NSDataLineRead::rangeOfDataFind(ByteView data, ByteView pattern) {
  const std::uint64_t m = pattern.size();
  if (data.empty() || pattern.empty()) return {NSNotFound, m};

  const std::uint8_t* d = data.data();
  const std::size_t n = data.size();
  std::uint64_t location = NSNotFound;
  std::size_t matched = 0;
  std::size_t i = 0;
  while (i < n) {
    if (matched == 0) {
      // Nothing is open: the scan only changes state at the next byte equal
      // to the pattern's first, so jump straight to it.
      const void* next = std::memchr(d + i, pattern[0], n - i);
      if (!next) break;
      i = static_cast<std::size_t>(static_cast<const std::uint8_t*>(next) - d);
      location = i;
      matched = 1;
    } else if (d[i] == pattern[matched]) {
      ++matched;
    } else {
      // The byte that broke the match is not retried as a first byte.
      matched = 0;
      location = NSNotFound;
    }
    ++i;
    if (matched >= m) break;
  }
  return {location, m};
}

Data NSDataLineRead::readLine(ByteView data, std::string_view separator) {
  auto separatorBytes = utf8Data(separator).value_or(Data());
  const NSRange range = rangeOfDataFind(data, separatorBytes);
  if (range.location > data.size() || range.length > data.size() - range.location) {
    throw std::out_of_range("readLine: range {" + std::to_string(range.location) + ", " +
                            std::to_string(range.length) + "} lies outside data of length " +
                            std::to_string(data.size()));
  }
  const auto found = data.subspan(range.location, range.length);
  return Data(found.begin(), found.end());
}

}  // namespace orvane
