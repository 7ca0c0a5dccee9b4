#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <string_view>

namespace orvane::testing {

/// What a child process left behind.
struct ChildResult {
  int exitCode = -1;       // the exit status, or -1 when it did not exit normally
  int signal = 0;          // the signal that ended it, or 0
  std::string stderrText;  // everything it wrote to descriptor 2
};

/// A forked child whose standard error is captured; it exits with `body`'s
/// answer. For tests of process-wide state (descriptors, signals, aborts,
/// limits) that must not touch the test runner, and of several processes at
/// once. A held child waits for release() before it runs `body`. The object
/// kills and reaps a child still running when it goes.
class ChildProcess {
 public:
  explicit ChildProcess(const std::function<int()>& body, bool held = false);
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  void release();
  /// Reads the child's standard error until `text` appears; false at its end.
  bool waitForText(std::string_view text);
  void kill(int signal);
  /// Waits for the child to end and answers what it left.
  ChildResult wait();

 private:
  pid_t pid_ = -1;
  int errorFd_ = -1, goFd_ = -1;
  ChildResult result_;
};

/// Runs `body` in a child and waits for it.
inline ChildResult runInChild(const std::function<int()>& body) { return ChildProcess(body).wait(); }

}  // namespace orvane::testing
