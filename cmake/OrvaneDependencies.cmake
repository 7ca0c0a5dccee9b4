# Every dependency is a Debian package installed by scripts/install-deps.sh.
find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)

pkg_check_modules(LIBCRYPTO REQUIRED IMPORTED_TARGET libcrypto)
pkg_check_modules(ZLIB REQUIRED IMPORTED_TARGET zlib)
pkg_check_modules(SQLITE3 REQUIRED IMPORTED_TARGET sqlite3)
pkg_check_modules(LIBSYSTEMD REQUIRED IMPORTED_TARGET libsystemd)
pkg_check_modules(LZ4 REQUIRED IMPORTED_TARGET liblz4)
pkg_check_modules(LZMA REQUIRED IMPORTED_TARGET liblzma)
pkg_check_modules(BROTLIENC REQUIRED IMPORTED_TARGET libbrotlienc)
pkg_check_modules(BROTLIDEC REQUIRED IMPORTED_TARGET libbrotlidec)
# Colour spaces and colour matching.
pkg_check_modules(LCMS2 REQUIRED IMPORTED_TARGET lcms2)
# Image codecs behind ImageIO.
pkg_check_modules(LIBJPEG REQUIRED IMPORTED_TARGET libjpeg)
pkg_check_modules(LIBPNG REQUIRED IMPORTED_TARGET libpng16)
pkg_check_modules(LIBTIFF REQUIRED IMPORTED_TARGET libtiff-4)
pkg_check_modules(LIBOPENJP2 REQUIRED IMPORTED_TARGET libopenjp2)
# giflib ships no pkg-config file on every release: found by header and library.
find_path(GIFLIB_INCLUDE_DIR gif_lib.h REQUIRED)
find_library(GIFLIB_LIBRARY gif REQUIRED)
add_library(orvane_giflib INTERFACE)
target_include_directories(orvane_giflib INTERFACE ${GIFLIB_INCLUDE_DIR})
target_link_libraries(orvane_giflib INTERFACE ${GIFLIB_LIBRARY})
# Item checksums.
pkg_check_modules(LIBXXHASH REQUIRED IMPORTED_TARGET libxxhash)

# Peers that only the benchmarks link, to compare with.
if(ORVANE_BUILD_BENCH)
  pkg_check_modules(LIBPLIST REQUIRED IMPORTED_TARGET libplist-2.0)
  # LMDB: a peer of the store benchmark.
  pkg_check_modules(LMDB REQUIRED IMPORTED_TARGET lmdb)
  # pixman and libvips: peers of the resampling benchmark.
  pkg_check_modules(PIXMAN REQUIRED IMPORTED_TARGET pixman-1)
  pkg_check_modules(VIPS REQUIRED IMPORTED_TARGET vips)
endif()
