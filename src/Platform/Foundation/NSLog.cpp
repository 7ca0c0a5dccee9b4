#include "orvane/Platform/Foundation/NSLog.h"

#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstdio>
#include <ctime>
#include <string>

#include "Platform/Foundation/FileHandle.h"

namespace orvane {

namespace {

std::string linePrefix() {
  timeval now{};
  gettimeofday(&now, nullptr);
  tm local{};
  localtime_r(&now.tv_sec, &local);
  char stamp[64];
  std::snprintf(stamp, sizeof stamp, "%04d-%02d-%02d %02d:%02d:%02d.%03d ", local.tm_year + 1900,
                local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec,
                static_cast<int>(now.tv_usec / 1000));
  char ids[64];
  std::snprintf(ids, sizeof ids, "[%d:%ld] ", static_cast<int>(getpid()),
                static_cast<long>(syscall(SYS_gettid)));
  return std::string(stamp) + program_invocation_short_name + ids;
}

}  // namespace

void NSLog(std::string_view text) {
  std::string line = linePrefix();
  line.append(text);
  line.push_back('\n');
  writeFully(STDERR_FILENO, bytesOf(line));
}

}  // namespace orvane
