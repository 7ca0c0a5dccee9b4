#include "support/ChildProcess.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

namespace orvane::testing {

ChildResult runInChild(const std::function<int()>& body) {
  ChildResult result;
  int pipeFds[2];
  if (pipe(pipeFds) != 0) return result;
  std::fflush(nullptr);
  pid_t pid = fork();
  if (pid < 0) {
    close(pipeFds[0]);
    close(pipeFds[1]);
    return result;
  }
  if (pid == 0) {
    close(pipeFds[0]);
    dup2(pipeFds[1], STDERR_FILENO);
    close(pipeFds[1]);
    int code = body();
    std::fflush(nullptr);
    _exit(code);
  }
  close(pipeFds[1]);
  char buffer[4096];
  for (;;) {
    ssize_t n = read(pipeFds[0], buffer, sizeof buffer);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    result.stderrText.append(buffer, static_cast<std::size_t>(n));
  }
  close(pipeFds[0]);
  int status = 0;
  while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  if (WIFEXITED(status)) result.exitCode = WEXITSTATUS(status);
  if (WIFSIGNALED(status)) result.signal = WTERMSIG(status);
  return result;
}

}  // namespace orvane::testing
