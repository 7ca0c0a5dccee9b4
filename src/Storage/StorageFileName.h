#pragma once

#include <string>
#include <string_view>

namespace orvane {

/// The file name under which a store keeps the file of an identifier: the
/// identifier itself when it is a single safe path component, else its
/// percent-encoded form. A name is safe when it holds none of '%', '/' and NUL
/// and is not "." or "..". Encoding turns '%' into "%25", '/' into "%2F", NUL
/// into "%00", and the whole names "." and ".." into "%2E" and "%2E%2E".
/// Safe names have no '%' and encoded names always have one, so two different
/// identifiers never share a file name.
std::string storageFileName(std::string_view identifier);

}  // namespace orvane
