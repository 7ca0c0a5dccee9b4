#include "orvane/Log/OVLog.h"

#include "Platform/System/StandardError.h"
#include "orvane/Platform/Foundation/NSLog.h"

namespace orvane {

std::shared_ptr<OVLog> OVLog::initWithLogFile(std::string_view path) {
  auto log = std::make_shared<OVLog>(Token{});
  // A discarded object still runs its teardown below: the end line is logged
  // and descriptor 2 restored from whatever copy was taken.
  if (path.empty()) return nullptr;

  // Logged before redirecting, so it reaches the destination outside the log.
  NSLog("Begin redirect NSLog to file " + std::string(path));
  log->_stderrCpy = platform::duplicateStandardError();
  log->_file = platform::reopenStandardError(path);
  if (!log->_file) return nullptr;
  log->_logFile = std::string(path);
  return log;
}

OVLog::~OVLog() {
  // Non-zero, not non-negative: a failed copy (-1) makes the restore calls
  // fail harmlessly, while a copy numbered 0 is never restored.
  if (_stderrCpy != 0) {
    // Buffered output still belongs in the log file.
    platform::flushStandardError();
    platform::restoreStandardError(_stderrCpy);
  }
  // The stream is the process's standard error and stays open.
  _file = nullptr;
  NSLog("End redirect NSLog to file " + _logFile.value_or("(null)"));
  platform::flushStandardError();
}

}  // namespace orvane
