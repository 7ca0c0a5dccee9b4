// Compiled into every test program: before main runs, HOME and the XDG base
// directories point into the build tree, so a test that forgets
// TestEnvironment still never reaches the user's own settings and files.
#include <stdlib.h>

#include <string>

namespace {

const bool homeRedirected = [] {
  const std::string home = ORVANE_TEST_HOME;
  setenv("HOME", home.c_str(), 1);
  setenv("XDG_CONFIG_HOME", (home + "/.config").c_str(), 1);
  setenv("XDG_DATA_HOME", (home + "/.local/share").c_str(), 1);
  setenv("XDG_CACHE_HOME", (home + "/.cache").c_str(), 1);
  return true;
}();

}  // namespace
