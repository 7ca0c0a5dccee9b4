// A minimal host program: links the installed library and calls it.
#include <orvane/Orvane.h>

#include <cstdio>

int main() {
  auto digest = orvane::NSStringMd5::md5Value("abc");
  std::printf("%s%s\n", reinterpret_cast<const char*>(OrvaneVersionString),
              digest.value_or("no digest").c_str());
  const bool ok = OrvaneVersionNumber == 158.0 && digest == "900150983CD24FB0D6963F7D28E17F72";
  return ok ? 0 : 1;
}
