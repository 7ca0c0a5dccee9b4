#include "Platform/Foundation/FileHandle.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <limits>
#include <utility>

namespace orvane {

std::optional<FileHandle> FileHandle::open(const std::filesystem::path& path, int flags) {
  int fd;
  do {
    fd = ::open(path.c_str(), flags | O_CLOEXEC);
  } while (fd < 0 && errno == EINTR);
  if (fd < 0) return std::nullopt;
  return FileHandle(fd);
}

std::optional<FileHandle> FileHandle::openForUpdating(const std::filesystem::path& path) {
  return open(path, O_RDWR);
}

std::optional<FileHandle> FileHandle::openForReading(const std::filesystem::path& path) {
  return open(path, O_RDONLY);
}

FileHandle::FileHandle(FileHandle&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}

FileHandle& FileHandle::operator=(FileHandle&& other) noexcept {
  if (this != &other) {
    if (fd_ >= 0) ::close(fd_);
    fd_ = std::exchange(other.fd_, -1);
  }
  return *this;
}

FileHandle::~FileHandle() {
  if (fd_ >= 0) ::close(fd_);
}

std::optional<Data> FileHandle::readAt(std::uint64_t offset, std::uint64_t length) const {
  constexpr auto kMaxOffset = static_cast<std::uint64_t>(std::numeric_limits<off_t>::max());
  if (offset > kMaxOffset) return Data();
  // Never allocate more than the file can hold from this offset.
  auto fileSize = size();
  if (!fileSize) return std::nullopt;
  const std::uint64_t available = *fileSize > offset ? *fileSize - offset : 0;
  return readUpToAt(offset, length < available ? length : available);
}

std::optional<Data> FileHandle::readUpToAt(std::uint64_t offset, std::uint64_t length) const {
  constexpr auto kMaxOffset = static_cast<std::uint64_t>(std::numeric_limits<off_t>::max());
  if (offset > kMaxOffset) return Data();
  if (length > kMaxOffset - offset) length = kMaxOffset - offset;
  Data bytes(static_cast<std::size_t>(length));
  std::size_t done = 0;
  while (done < bytes.size()) {
    ssize_t n =
        ::pread(fd_, bytes.data() + done, bytes.size() - done, static_cast<off_t>(offset + done));
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return std::nullopt;
    if (n == 0) break;
    done += static_cast<std::size_t>(n);
  }
  bytes.resize(done);
  return bytes;
}

bool FileHandle::writeAt(std::uint64_t offset, ByteView bytes) const {
  return writeFully(fd_, bytes, offset);
}

bool writeFully(int fd, ByteView bytes, std::optional<std::uint64_t> offset) noexcept {
  constexpr auto kMaxOffset = static_cast<std::uint64_t>(std::numeric_limits<off_t>::max());
  if (offset && (*offset > kMaxOffset || bytes.size() > kMaxOffset - *offset)) return false;
  std::size_t done = 0;
  while (done < bytes.size()) {
    const void* from = bytes.data() + done;
    const std::size_t left = bytes.size() - done;
    const ssize_t n = offset ? ::pwrite(fd, from, left, static_cast<off_t>(*offset + done))
                             : ::write(fd, from, left);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    done += static_cast<std::size_t>(n);
  }
  return true;
}

std::optional<std::uint64_t> FileHandle::seekToEndOfFile() const {
  const off_t end = ::lseek(fd_, 0, SEEK_END);
  if (end < 0) return std::nullopt;
  return static_cast<std::uint64_t>(end);
}

std::optional<std::uint64_t> FileHandle::size() const {
  struct stat st {};
  if (::fstat(fd_, &st) != 0) return std::nullopt;
  return static_cast<std::uint64_t>(st.st_size);
}

bool FileHandle::truncate(std::uint64_t length) const {
  if (length > static_cast<std::uint64_t>(std::numeric_limits<off_t>::max())) return false;
  int rc;
  do {
    rc = ::ftruncate(fd_, static_cast<off_t>(length));
  } while (rc != 0 && errno == EINTR);
  return rc == 0;
}

bool FileHandle::synchronize() const { return ::fsync(fd_) == 0; }

}  // namespace orvane
