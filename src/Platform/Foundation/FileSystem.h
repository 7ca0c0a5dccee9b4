#pragma once

#include <filesystem>
#include <optional>

#include "orvane/Platform/Foundation/Data.h"
#include "orvane/Platform/Foundation/NSError.h"

namespace orvane::fs {

/// True when something exists at the path (a dangling link counts as absent).
bool exists(const std::filesystem::path& path) noexcept;

/// Creates (or empties) the file and writes the bytes to it, through a
/// temporary file renamed into place so that a failed write leaves no partial
/// file behind. False when any step fails.
bool createFile(const std::filesystem::path& path, ByteView contents);

/// The whole contents of a regular file, or nothing when it cannot be read.
std::optional<Data> readAll(const std::filesystem::path& path);

/// Removes a file (or link), never a directory. False when nothing was removed.
bool removeFile(const std::filesystem::path& path) noexcept;

/// Creates the directory and any missing parents. On failure answers false and
/// fills `error` (when given) with the file system's reason.
bool createDirectories(const std::filesystem::path& path, NSError* error = nullptr);

}  // namespace orvane::fs
