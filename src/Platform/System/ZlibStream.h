#pragma once

#include <cstdint>
#include <memory>

namespace orvane {

/// zlib's return codes, with zlib's own values.
enum ZlibCode : int {
  kZlibOk = 0,
  kZlibStreamEnd = 1,
  kZlibNeedDict = 2,
  kZlibErrno = -1,
  kZlibStreamError = -2,
  kZlibDataError = -3,
  kZlibMemError = -4,
  kZlibBufError = -5,
  kZlibVersionError = -6,
};

/// One zlib stream record in the zlib format (RFC 1950), with the default
/// window and memory level and the library's own allocation functions. The
/// stream is ended when the object goes, if it was initialised and not ended.
class ZlibStream {
 public:
  ZlibStream();
  ~ZlibStream();
  ZlibStream(const ZlibStream&) = delete;
  ZlibStream& operator=(const ZlibStream&) = delete;

  /// deflateInit_ at `level`, handing zlib `versionText` and the record's size.
  int initDeflate(int level, const char* versionText);
  /// inflateInit_, handing zlib `versionText` and the record's size.
  int initInflate(const char* versionText);

  void setInput(const std::uint8_t* bytes, std::uint32_t count);
  void setOutput(std::uint8_t* bytes, std::uint32_t count);
  std::uint32_t availIn() const;
  std::uint32_t availOut() const;

  /// deflate with Z_FINISH.
  int deflateFinish();
  /// inflate with Z_NO_FLUSH.
  int inflateNoFlush();
  /// deflateEnd or inflateEnd, whichever the stream was initialised for.
  void end();

 private:
  struct Record;
  std::unique_ptr<Record> record_;
};

}  // namespace orvane
