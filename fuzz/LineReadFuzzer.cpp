// The byte search and readLine on arbitrary data and patterns. The first byte
// chooses how much of the input is the pattern.
#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string_view>

#include "orvane/Categories/NSDataLineRead.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  if (size == 0) return 0;
  const std::size_t patternLength = bytes[0] % 8;
  orvane::ByteView rest(bytes + 1, size - 1);
  if (patternLength > rest.size()) return 0;
  const auto pattern = rest.first(patternLength);
  const auto data = rest.subspan(patternLength);

  const orvane::NSRange r = orvane::NSDataLineRead::rangeOfDataFind(data, pattern);
  if (r.length != pattern.size()) std::abort();
  if (r.location != orvane::NSNotFound) {
    if (r.location >= data.size()) std::abort();
    // Every byte of the match that lies inside the data equals the pattern's.
    for (std::size_t k = 0; k < r.length && r.location + k < data.size(); ++k)
      if (data[r.location + k] != pattern[k]) std::abort();
  }
  try {
    const std::string_view separator(reinterpret_cast<const char*>(pattern.data()), pattern.size());
    const orvane::Data line = orvane::NSDataLineRead::readLine(data, separator);
    if (line.size() != pattern.size()) std::abort();
  } catch (const std::out_of_range&) {
  }
  return 0;
}
