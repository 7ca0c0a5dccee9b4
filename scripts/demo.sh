#!/usr/bin/env bash
# Installs what is missing, builds, and runs the demo program.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
bash "$root/scripts/install-deps.sh"
bash "$root/scripts/build.sh" "$root/build"
"$root/build/examples/orvane_hello" "$@"
