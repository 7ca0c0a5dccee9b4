#include "Platform/Foundation/AssertionFailure.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string>

namespace orvane {

void assertionFailure(std::string_view function, std::string_view file, int line,
                      std::string_view expression) {
  std::string text = "Assertion failed: (";
  text.append(expression);
  text.append("), function ");
  text.append(function);
  text.append(", file ");
  text.append(file);
  text.append(", line ");
  text.append(std::to_string(line));
  text.append(".\n");
  // A single write keeps the line whole even when other threads log.
  const char* p = text.data();
  std::size_t left = text.size();
  while (left > 0) {
    const ssize_t n = ::write(STDERR_FILENO, p, left);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    p += n;
    left -= static_cast<std::size_t>(n);
  }
  std::abort();
}

}  // namespace orvane
