#!/usr/bin/env bash
# Usage: run.sh BUILD_DIR WORK_DIR SOURCE_DIR
# Installs BUILD_DIR into WORK_DIR/prefix, then builds and runs the consumer
# program once through pkg-config and once through find_package(Orvane).
set -euo pipefail
build=$1 work=$2 src=$3
rm -rf "$work"
mkdir -p "$work"
cmake --install "$build" --prefix "$work/prefix" >/dev/null
libdir=$(dirname "$(find "$work/prefix" -name 'liborvane.so' | head -n 1)")

echo "== pkg-config"
export PKG_CONFIG_PATH="$libdir/pkgconfig"
# shellcheck disable=SC2046
"${CXX:-c++}" "$src/project/main.cpp" -o "$work/consumer-pc" $(pkg-config --cflags --libs orvane) \
  -Wl,-rpath,"$libdir"
"$work/consumer-pc"

echo "== find_package"
cmake -S "$src/project" -B "$work/cmake-build" -DCMAKE_PREFIX_PATH="$work/prefix" \
  -DCMAKE_CXX_COMPILER="${CXX:-c++}" >/dev/null
cmake --build "$work/cmake-build" >/dev/null
"$work/cmake-build/consumer"
