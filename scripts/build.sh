#!/usr/bin/env bash
# Usage: build.sh BUILD_DIR [extra cmake arguments...]
# Configures (once) and builds the project into BUILD_DIR.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build}
shift || true
cmake -S "$root" -B "$build" -G Ninja -DORVANE_WERROR=ON "$@" >/dev/null
cmake --build "$build" -j "$(nproc)"
