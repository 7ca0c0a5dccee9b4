#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>

#include "orvane/Platform/Foundation/Data.h"

namespace orvane {

/// An open file descriptor, closed when the handle goes. Reads and writes are
/// positioned (pread/pwrite) so that no shared file offset is involved; each
/// call finishes partial transfers and retries on EINTR.
class FileHandle {
 public:
  /// Opens an existing file for reading and writing; nothing when it cannot.
  static std::optional<FileHandle> openForUpdating(const std::filesystem::path& path);
  /// Opens an existing file for reading only; nothing when it cannot.
  static std::optional<FileHandle> openForReading(const std::filesystem::path& path);

  FileHandle(FileHandle&& other) noexcept;
  FileHandle& operator=(FileHandle&& other) noexcept;
  FileHandle(const FileHandle&) = delete;
  FileHandle& operator=(const FileHandle&) = delete;
  ~FileHandle();

  /// Reads up to `length` bytes at `offset`; fewer at the end of the file.
  /// Nothing on a read error.
  std::optional<Data> readAt(std::uint64_t offset, std::uint64_t length) const;
  /// Reads up to `length` bytes at `offset` into a buffer of that size, without
  /// asking the file's size first; fewer at the end of the file. For lengths
  /// the caller has already bounded. Nothing on a read error.
  std::optional<Data> readUpToAt(std::uint64_t offset, std::uint64_t length) const;
  /// Writes all bytes at `offset`. False when not every byte was written
  /// (disk full, file-size limit, I/O error).
  bool writeAt(std::uint64_t offset, ByteView bytes) const;
  /// Moves the file offset to the end and answers it (the file's size);
  /// nothing on an error.
  std::optional<std::uint64_t> seekToEndOfFile() const;
  /// The file's current size; nothing when it cannot be read.
  std::optional<std::uint64_t> size() const;
  /// Cuts or extends the file to `length` bytes.
  bool truncate(std::uint64_t length) const;
  /// Pushes the file's data to the disk (fsync).
  bool synchronize() const;

  int descriptor() const noexcept { return fd_; }

 private:
  explicit FileHandle(int fd) noexcept : fd_(fd) {}
  static std::optional<FileHandle> open(const std::filesystem::path& path, int flags);
  int fd_ = -1;
};

/// Writes every byte to the descriptor: at `offset` with pwrite when one is
/// given, else at the descriptor's own position with write (a log line goes out
/// in one call when the descriptor takes it whole). Retries on EINTR and
/// finishes short writes; false when not every byte was written.
bool writeFully(int fd, ByteView bytes, std::optional<std::uint64_t> offset = std::nullopt) noexcept;

}  // namespace orvane
