#pragma once

// The image libraries called directly, as the benchmarks' peers: each decode
// reads a whole file held in memory into interleaved 8-bit pixels, the way a
// program that uses the library by hand would.

#include <openjpeg.h>
#include <tiffio.h>

#include <cstdint>
#include <memory>

#include "orvane/Platform/Foundation/Data.h"

namespace bench {

using orvane::ByteView;
using orvane::Data;

/// Memory the size of n bytes, not zeroed (the decoders write every byte).
inline std::unique_ptr<std::uint8_t[]> buffer(std::size_t n) {
  return std::make_unique_for_overwrite<std::uint8_t[]>(n);
}

/// What a direct decode made: its size, so callers can check the scale.
struct Decoded {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
};

/// libjpeg-turbo into RGB, through the scaled IDCT at 1/scaleDenom.
Decoded jpegDecode(ByteView in, unsigned scaleDenom = 1);
/// libpng into 8-bit samples (palette and gray expanded, 16-bit stripped).
Decoded pngDecode(ByteView in);
/// libtiff, strip by strip, into the file's own samples.
Decoded tiffDecode(ByteView in);
/// giflib's first frame, through its colour map into RGB.
Decoded gifDecode(ByteView in);
/// OpenJPEG, `reduce` resolution levels down, into RGB.
Decoded jp2Decode(ByteView in, unsigned reduce = 0);

/// A TIFF over memory: reads `in`, or writes into `bytes` when `writing`.
struct TiffMemory {
  Data bytes;
  ByteView in;
  std::uint64_t at = 0;
  bool writing = false;
};
TIFF* openTiff(TiffMemory& memory, const char* mode);

/// An OpenJPEG stream over memory: reads `in`, or writes into `*out`.
struct OpjMemory {
  ByteView in;
  Data* out = nullptr;
  std::uint64_t at = 0;
};
opj_stream_t* opjStream(OpjMemory& memory, bool input);

}  // namespace bench
