#pragma once

#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "orvane/Export.h"

namespace orvane {

/// Sends everything the process writes to standard error (descriptor 2 and
/// the standard error stream, from any thread or library, NSLog included) into
/// a log file for as long as the object lives. Releasing the last reference
/// puts standard error back where it was.
///
/// The redirection is process-wide. Objects alive at the same time nest: each
/// saves what descriptor 2 refers to when it is made, so they must be released
/// in the reverse order of their creation.
class ORVANE_EXPORT OVLog {
  struct Token {
    explicit Token() = default;
  };

 public:
  /// Logs "Begin redirect NSLog to file <path>" to the current standard error,
  /// then redirects standard error into the file, which is created or
  /// truncated. No object for an empty path or a file that cannot be opened;
  /// standard error then stays where it was.
  static std::shared_ptr<OVLog> initWithLogFile(std::string_view path);

  explicit OVLog(Token) {}

  /// Restores standard error, then logs "End redirect NSLog to file <path>"
  /// there.
  ~OVLog();

  OVLog(const OVLog&) = delete;
  OVLog& operator=(const OVLog&) = delete;

  /// The path given at creation; set on every object a caller receives.
  std::optional<std::string> logFile() const { return _logFile; }

 private:
  int _stderrCpy = 0;
  std::FILE* _file = nullptr;
  std::optional<std::string> _logFile;
};

}  // namespace orvane
