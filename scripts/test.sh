#!/usr/bin/env bash
# Installs what is missing, builds, and runs the whole test suite.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
bash "$root/scripts/install-deps.sh"
bash "$root/scripts/build.sh" "$root/build"
cd "$root/build"
ctest -j "$(nproc)" --output-on-failure
