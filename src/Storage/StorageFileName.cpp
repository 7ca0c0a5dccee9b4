#include "Storage/StorageFileName.h"

namespace orvane {

std::string storageFileName(std::string_view identifier) {
  constexpr std::string_view kUnsafe("%/\0", 3);
  if (identifier == ".") return "%2E";
  if (identifier == "..") return "%2E%2E";
  if (identifier.find_first_of(kUnsafe) == std::string_view::npos) return std::string(identifier);
  std::string name;
  name.reserve(identifier.size() + 8);
  for (char c : identifier) {
    switch (c) {
      case '%':
        name += "%25";
        break;
      case '/':
        name += "%2F";
        break;
      case '\0':
        name += "%00";
        break;
      default:
        name += c;
    }
  }
  return name;
}

}  // namespace orvane
