#pragma once

#include <functional>
#include <string>

namespace orvane::testing {

/// What a child process left behind.
struct ChildResult {
  int exitCode = -1;       // the exit status, or -1 when it did not exit normally
  int signal = 0;          // the signal that ended it, or 0
  std::string stderrText;  // everything it wrote to descriptor 2
};

/// Runs `body` in a forked child whose standard error is captured, and waits
/// for it. The child exits with `body`'s answer; for tests of process-wide
/// state (descriptors, signals, aborts) that must not touch the test runner.
ChildResult runInChild(const std::function<int()>& body);

}  // namespace orvane::testing
