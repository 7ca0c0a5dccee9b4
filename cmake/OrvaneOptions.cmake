# Compiler settings shared by every target of the project.
add_library(orvane_options INTERFACE)
target_compile_options(orvane_options INTERFACE -Wall -Wextra -Wpedantic)
if(ORVANE_WERROR)
  target_compile_options(orvane_options INTERFACE -Werror)
endif()

if(ORVANE_SANITIZE)
  add_compile_options(-fsanitize=${ORVANE_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${ORVANE_SANITIZE})
endif()

if(ORVANE_BUILD_FUZZ)
  if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    message(FATAL_ERROR "The fuzz targets need clang: configure with CXX=clang++ CC=clang")
  endif()
  add_compile_options(-fsanitize=fuzzer-no-link,address,undefined -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()
