#include "Platform/Foundation/FileSystem.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <system_error>

#include "Platform/Foundation/FileHandle.h"
#include "Platform/Foundation/NSUUID.h"

namespace orvane::fs {

std::string safeFileName(std::string_view text) {
  constexpr std::string_view kUnsafe("%/\0", 3);
  if (text == ".") return "%2E";
  if (text == "..") return "%2E%2E";
  if (text.find_first_of(kUnsafe) == std::string_view::npos) return std::string(text);
  std::string name;
  name.reserve(text.size() + 8);
  for (char c : text) {
    switch (c) {
      case '%':
        name += "%25";
        break;
      case '/':
        name += "%2F";
        break;
      case '\0':
        name += "%00";
        break;
      default:
        name += c;
    }
  }
  return name;
}

bool exists(const std::filesystem::path& path) noexcept {
  std::error_code ec;
  return std::filesystem::exists(path, ec);
}

namespace {

DurabilityObserver durabilityObserver = nullptr;

void observe(std::string_view step, const std::filesystem::path& path) {
  if (durabilityObserver) durabilityObserver(step, path);
}

bool syncDirectory(const std::filesystem::path& directory) {
  const int fd = ::open(directory.empty() ? "." : directory.c_str(),
                        O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) return false;
  const bool synced = ::fsync(fd) == 0;
  ::close(fd);
  return synced;
}

}  // namespace

void setDurabilityObserverForTesting(DurabilityObserver observer) noexcept {
  durabilityObserver = observer;
}

bool createFile(const std::filesystem::path& path, ByteView contents) {
  std::filesystem::path temporary = path;
  temporary += ".tmp-" + makeUUIDString();
  int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
  if (fd < 0) return false;
  ::close(fd);
  bool written = false;
  if (auto handle = FileHandle::openForUpdating(temporary)) {
    written = handle->writeAt(0, contents) && handle->synchronize();
    if (written) observe("sync file", temporary);
  }
  if (!written || ::rename(temporary.c_str(), path.c_str()) != 0) {
    ::unlink(temporary.c_str());
    return false;
  }
  observe("rename", path);
  // The rename itself is durable only once the directory is.
  if (!syncDirectory(path.parent_path())) return false;
  observe("sync directory", path.parent_path());
  return true;
}

std::optional<Data> readAll(const std::filesystem::path& path) {
  auto handle = FileHandle::openForReading(path);
  if (!handle) return std::nullopt;
  auto size = handle->size();
  if (!size) return std::nullopt;
  return handle->readAt(0, *size);
}

bool removeFile(const std::filesystem::path& path) noexcept { return ::unlink(path.c_str()) == 0; }

namespace {

// The platform's file-writing error code for a POSIX error number.
std::int64_t cocoaWriteErrorCode(int posixError) {
  switch (posixError) {
    case EACCES:
    case EPERM:
      return 513;  // NSFileWriteNoPermissionError
    case ENOSPC:
    case EDQUOT:
      return 640;  // NSFileWriteOutOfSpaceError
    case EROFS:
      return 642;  // NSFileWriteVolumeReadOnlyError
    default:
      return 512;  // NSFileWriteUnknownError
  }
}

}  // namespace

bool createDirectories(const std::filesystem::path& path, NSError* error) {
  std::error_code ec;
  std::filesystem::create_directories(path, ec);
  if (!ec && std::filesystem::is_directory(path, ec)) return true;
  if (!ec) ec = std::make_error_code(std::errc::not_a_directory);
  if (error) {
    *error =
        NSError{NSCocoaErrorDomain,
                cocoaWriteErrorCode(ec.value()),
                {{NSLocalizedDescriptionKey, "The folder \"" + path.filename().string() +
                                                 "\" couldn't be created: " + ec.message() + "."},
                 {"NSFilePath", path.string()},
                 {"NSUnderlyingError", "NSPOSIXErrorDomain " + std::to_string(ec.value())}}};
  }
  return false;
}

}  // namespace orvane::fs
