#include "support/ChildProcess.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

namespace orvane::testing {

ChildProcess::ChildProcess(const std::function<int()>& body, bool held) {
  int errorPipe[2], goPipe[2];
  if (pipe(errorPipe) != 0) return;
  if (pipe(goPipe) != 0) {
    close(errorPipe[0]);
    close(errorPipe[1]);
    return;
  }
  std::fflush(nullptr);
  pid_ = fork();
  if (pid_ == 0) {
    close(errorPipe[0]);
    close(goPipe[1]);
    dup2(errorPipe[1], STDERR_FILENO);
    close(errorPipe[1]);
    char go;
    if (held && read(goPipe[0], &go, 1) != 1) _exit(125);
    close(goPipe[0]);
    const int code = body();
    std::fflush(nullptr);
    _exit(code);
  }
  close(errorPipe[1]);
  close(goPipe[0]);
  errorFd_ = errorPipe[0];
  goFd_ = goPipe[1];
  if (pid_ < 0) {
    close(errorFd_);
    close(goFd_);
    errorFd_ = goFd_ = -1;
  }
}

ChildProcess::~ChildProcess() {
  if (pid_ > 0) kill(SIGKILL);
  wait();
}

void ChildProcess::release() {
  if (goFd_ >= 0 && write(goFd_, "g", 1) == 1) {
    close(goFd_);
    goFd_ = -1;
  }
}

bool ChildProcess::waitForText(std::string_view text) {
  char buffer[4096];
  while (result_.stderrText.find(text) == std::string::npos) {
    const ssize_t n = errorFd_ < 0 ? 0 : read(errorFd_, buffer, sizeof buffer);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    result_.stderrText.append(buffer, static_cast<std::size_t>(n));
  }
  return true;
}

void ChildProcess::kill(int signal) {
  if (pid_ > 0) ::kill(pid_, signal);
}

ChildResult ChildProcess::wait() {
  if (goFd_ >= 0) close(goFd_), goFd_ = -1;
  waitForText(std::string_view("\0\0never\0\0", 9));  // everything until the end
  if (errorFd_ >= 0) close(errorFd_), errorFd_ = -1;
  if (pid_ > 0) {
    int status = 0;
    while (waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
    }
    if (WIFEXITED(status)) result_.exitCode = WEXITSTATUS(status);
    if (WIFSIGNALED(status)) result_.signal = WTERMSIG(status);
    pid_ = -1;
  }
  return result_;
}

}  // namespace orvane::testing
