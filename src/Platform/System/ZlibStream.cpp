#include "Platform/System/ZlibStream.h"

#define ZLIB_CONST
#include <zlib.h>

namespace orvane {

static_assert(kZlibOk == Z_OK && kZlibStreamEnd == Z_STREAM_END && kZlibNeedDict == Z_NEED_DICT &&
              kZlibErrno == Z_ERRNO && kZlibStreamError == Z_STREAM_ERROR &&
              kZlibDataError == Z_DATA_ERROR && kZlibMemError == Z_MEM_ERROR &&
              kZlibBufError == Z_BUF_ERROR && kZlibVersionError == Z_VERSION_ERROR);

struct ZlibStream::Record {
  enum class State { none, deflating, inflating };
  z_stream stream{};  // zalloc, zfree and opaque empty: zlib's defaults
  State state = State::none;
};

ZlibStream::ZlibStream() : record_(std::make_unique<Record>()) {}

ZlibStream::~ZlibStream() { end(); }

int ZlibStream::initDeflate(int level, const char* versionText) {
  const int code = deflateInit_(&record_->stream, level, versionText, sizeof(z_stream));
  if (code == Z_OK) record_->state = Record::State::deflating;
  return code;
}

int ZlibStream::initInflate(const char* versionText) {
  const int code = inflateInit_(&record_->stream, versionText, sizeof(z_stream));
  if (code == Z_OK) record_->state = Record::State::inflating;
  return code;
}

void ZlibStream::setInput(const std::uint8_t* bytes, std::uint32_t count) {
  record_->stream.next_in = bytes;
  record_->stream.avail_in = count;
}

void ZlibStream::setOutput(std::uint8_t* bytes, std::uint32_t count) {
  record_->stream.next_out = bytes;
  record_->stream.avail_out = count;
}

std::uint32_t ZlibStream::availIn() const { return record_->stream.avail_in; }

std::uint32_t ZlibStream::availOut() const { return record_->stream.avail_out; }

int ZlibStream::deflateFinish() { return deflate(&record_->stream, Z_FINISH); }

int ZlibStream::inflateNoFlush() { return inflate(&record_->stream, Z_NO_FLUSH); }

void ZlibStream::end() {
  switch (record_->state) {
    case Record::State::deflating:
      deflateEnd(&record_->stream);
      break;
    case Record::State::inflating:
      inflateEnd(&record_->stream);
      break;
    case Record::State::none:
      break;
  }
  record_->state = Record::State::none;
}

}  // namespace orvane
