#pragma once

// The decoding loop of NKZlibCompression, written over any stream type with the
// interface of Platform/ZlibStream.h so that tests can drive it with scripted
// return codes.

#include <cstdint>
#include <optional>

#include "Platform/Foundation/AssertionFailure.h"
#include "Platform/System/ZlibStream.h"
#include "orvane/Platform/Foundation/Data.h"

namespace orvane::zlibpasses {

/// Output area of every zlib call.
inline constexpr std::uint32_t kChunkSize = 16384;

/// The zlib version the stream record is initialised with; zlib checks only
/// its first character against its own.
inline constexpr const char* kVersionText = "1.2.11";

/// How often the input is handed to the decoder at most. A complete stream
/// ends in the first pass; later passes only happen for a truncated stream,
/// whose re-delivered bytes the decoder reads as continuation data. The bound
/// keeps inputs that decode forever that way from running without end.
/// Besides, all later passes together never add more output than the first,
/// complete pass over the input made: a crafted input that decodes afresh on
/// every pass cannot multiply its output by the number of passes.
inline constexpr int kMaxPasses = 16;

template <class Stream>
std::optional<Data> uncompress(ByteView input) {
  std::uint8_t chunk[kChunkSize] = {};
  Data result;
  Stream stream;
  stream.setInput(nullptr, 0);
  if (stream.initInflate(kVersionText) != kZlibOk) return std::nullopt;

  int code = kZlibOk;
  // What re-delivery may still add, once the first pass has ended.
  std::size_t redeliveryRoom = 0;
  for (int pass = 0; pass < kMaxPasses; ++pass) {
    // The count is 32 bits wide: longer inputs are cut to their length modulo 2^32.
    const auto count = static_cast<std::uint32_t>(input.size());
    if (count == 0) break;
    stream.setInput(input.data(), count);
    std::size_t produced = 0;
    do {
      stream.setOutput(chunk, kChunkSize);
      code = stream.inflateNoFlush();
      if (code == kZlibNeedDict || code == kZlibDataError || code == kZlibMemError) {
        stream.end();
        return std::nullopt;
      }
      if (code == kZlibStreamError)
        assertionFailure("+[NKZlibCompression zlibCompressionUncompress:]",
                         "Compression/NKZlibCompression", 87, "ret != Z_STREAM_ERROR");
      std::uint32_t filled = kChunkSize - stream.availOut();
      if (pass > 0) {
        if (filled >= redeliveryRoom) {
          result.insert(result.end(), chunk, chunk + redeliveryRoom);
          stream.end();
          return result;
        }
        redeliveryRoom -= filled;
      }
      result.insert(result.end(), chunk, chunk + filled);
      produced += filled;
    } while (stream.availOut() == 0);
    if (code == kZlibStreamEnd) break;
    if (pass == 0) redeliveryRoom = result.size();
    // A pass that neither took input nor gave output would repeat itself forever.
    if (produced == 0 && stream.availIn() == count) break;
  }
  stream.end();
  return result;
}

}  // namespace orvane::zlibpasses
