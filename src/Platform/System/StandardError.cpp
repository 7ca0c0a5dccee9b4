#include "Platform/System/StandardError.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <string>

namespace orvane::platform {

int duplicateStandardError() noexcept { return ::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0); }

std::FILE* reopenStandardError(std::string_view path) noexcept {
  // A C path ends at its first zero byte; a name holding one would open some
  // other file, so it is refused like any name that cannot be opened.
  if (path.find('\0') != std::string_view::npos) return nullptr;
  std::string cPath;
  try {
    cPath.assign(path);
  } catch (...) {
    return nullptr;
  }
  int fd;
  do {
    fd = ::open(cPath.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  } while (fd < 0 && errno == EINTR);
  if (fd < 0) return nullptr;
  // Output already buffered belongs to the old destination.
  std::fflush(stderr);
  if (fd == STDERR_FILENO) {
    // Descriptor 2 was closed and the file took its number.
    ::fcntl(fd, F_SETFD, 0);
    std::clearerr(stderr);
    return stderr;
  }
  int result;
  do {
    result = ::dup2(fd, STDERR_FILENO);
  } while (result < 0 && (errno == EINTR || errno == EBUSY));
  ::close(fd);
  if (result < 0) return nullptr;
  std::clearerr(stderr);
  return stderr;
}

void flushStandardError() noexcept { std::fflush(stderr); }

void restoreStandardError(int copy) noexcept {
  int result;
  do {
    result = ::dup2(copy, STDERR_FILENO);
  } while (result < 0 && (errno == EINTR || errno == EBUSY));
  ::close(copy);
}

}  // namespace orvane::platform
