#!/usr/bin/env bash
# Usage: sanitize.sh [SANITIZERS] [ctest arguments...]
# Builds the suite with sanitizers (default address,undefined) in a build
# directory of its own and runs it. With "thread", only the concurrency tests
# (those named *Concurrency*) run.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
sanitizers=${1:-address,undefined}
shift || true
build="$root/build-${sanitizers//,/-}"
bash "$root/scripts/install-deps.sh"
bash "$root/scripts/build.sh" "$build" -DORVANE_SANITIZE="$sanitizers" -DORVANE_BUILD_EXAMPLES=OFF \
  -DCMAKE_BUILD_TYPE=Debug
cd "$build"
export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=1}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}
export TSAN_OPTIONS=${TSAN_OPTIONS:-halt_on_error=1}
if [ "$sanitizers" = thread ]; then
  ctest -j "$(nproc)" --output-on-failure -R Concurrency "$@"
else
  ctest -j "$(nproc)" --output-on-failure "$@"
fi
