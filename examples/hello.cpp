// A small host program: prints the library's version and the MD5 digest of
// each command-line argument, or of "abc" when there is none.
#include <orvane/Orvane.h>

#include <cstdio>

int main(int argc, char** argv) {
  std::printf("%s", reinterpret_cast<const char*>(OrvaneVersionString));
  if (argc < 2) {
    std::printf("md5(abc) = %s\n", orvane::NSStringMd5::md5Value("abc").value_or("").c_str());
    return 0;
  }
  for (int i = 1; i < argc; ++i)
    std::printf("md5(%s) = %s\n", argv[i],
                orvane::NSStringMd5::md5Value(argv[i]).value_or("(none)").c_str());
  return 0;
}
