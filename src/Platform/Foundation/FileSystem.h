#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "orvane/Platform/Foundation/Data.h"
#include "orvane/Platform/Foundation/NSError.h"

namespace orvane::fs {

/// The name under which a text is used as one path component: the text
/// itself when it is a single safe component, else its percent-encoded form.
/// A name is safe when it holds none of '%', '/' and NUL and is not "." or
/// "..". Encoding turns '%' into "%25", '/' into "%2F", NUL into "%00", and
/// the whole names "." and ".." into "%2E" and "%2E%2E". Safe names have no
/// '%' and encoded names always have one, so two different texts never share
/// a name, and no text names a place outside the directory it is put in.
std::string safeFileName(std::string_view text);

/// True when something exists at the path (a dangling link counts as absent).
bool exists(const std::filesystem::path& path) noexcept;

/// Creates (or replaces) the file with the bytes as its contents, durably:
/// the bytes go to a temporary file, which is synchronised to disk, renamed
/// into place, and then the directory is synchronised, so that once this
/// answers true neither a crash nor a power loss leaves an empty or partial
/// file at the path. A failed write leaves no partial file behind. False when
/// any step fails.
bool createFile(const std::filesystem::path& path, ByteView contents);

/// For tests: called with each step createFile takes to make a file durable,
/// in order ("sync file", "rename", "sync directory") with the path concerned.
/// Null (the default) to observe nothing. Not thread-safe to change while
/// files are being created.
using DurabilityObserver = void (*)(std::string_view step, const std::filesystem::path& path);
void setDurabilityObserverForTesting(DurabilityObserver observer) noexcept;

/// The whole contents of a regular file, or nothing when it cannot be read.
std::optional<Data> readAll(const std::filesystem::path& path);

/// Removes a file (or link), never a directory. False when nothing was removed.
bool removeFile(const std::filesystem::path& path) noexcept;

/// Creates the directory and any missing parents. On failure answers false and
/// fills `error` (when given) with the file system's reason.
bool createDirectories(const std::filesystem::path& path, NSError* error = nullptr);

}  // namespace orvane::fs
