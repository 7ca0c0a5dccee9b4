#!/usr/bin/env bash
# Usage: bench.sh [benchmark program name...]
# Builds the benchmarks in release mode and runs them (all by default).
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build="$root/build-bench"
bash "$root/scripts/install-deps.sh"
bash "$root/scripts/build.sh" "$build" -DCMAKE_BUILD_TYPE=Release -DORVANE_BUILD_BENCH=ON \
  -DORVANE_BUILD_TESTS=OFF -DORVANE_BUILD_EXAMPLES=OFF
cd "$build/bench"
programs=("$@")
if [ "${#programs[@]}" -eq 0 ]; then
  mapfile -t programs < <(find . -maxdepth 1 -type f -executable -name 'bench_*' -printf '%f\n' | sort)
fi
for p in "${programs[@]}"; do
  echo "== $p"
  "./$p" --benchmark_counters_tabular=true
done
