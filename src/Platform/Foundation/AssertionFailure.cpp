#include "Platform/Foundation/AssertionFailure.h"

#include <unistd.h>

#include <cstdlib>
#include <string>

#include "Platform/Foundation/FileHandle.h"

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
  writeFully(STDERR_FILENO, bytesOf(text));
  std::abort();
}

}  // namespace orvane
