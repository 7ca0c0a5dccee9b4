#pragma once

#include <cstdio>
#include <string_view>

namespace orvane::platform {

/// A new descriptor for whatever descriptor 2 refers to now: the lowest free
/// number, as dup(2) gives, but closed on exec so that programs the host
/// starts do not inherit it. -1 when no descriptor is free.
int duplicateStandardError() noexcept;

/// Points descriptor 2, and with it the standard error stream, at the file at
/// `path`, opened as fopen's "w+" opens (read and write, created with mode
/// 0666 less the umask when missing, truncated when present). Answers the
/// standard error stream, or null when the file cannot be opened.
///
/// freopen() would close descriptor 2 before opening the file: in that gap
/// other threads' writes to descriptor 2 fail, another thread's open() can be
/// handed number 2, and a failed open leaves the stream closed for good. Here
/// the file is opened first and dup2() swaps it in atomically, so a failure
/// changes nothing and no write is ever lost.
std::FILE* reopenStandardError(std::string_view path) noexcept;

/// Flushes the standard error stream's buffer to descriptor 2.
void flushStandardError() noexcept;

/// Makes descriptor 2 a copy of `copy` again and closes `copy`. Either call
/// fails harmlessly when `copy` is not an open descriptor.
void restoreStandardError(int copy) noexcept;

}  // namespace orvane::platform
