#!/usr/bin/env bash
# Usage: fuzz.sh SECONDS [target name...]
# Builds the libFuzzer targets with clang and runs each one (all by default)
# for SECONDS seconds. A crash, leak or timeout fails the script.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
seconds=${1:-60}
shift || true
build="$root/build-fuzz"
bash "$root/scripts/install-deps.sh"
CC=clang CXX=clang++ bash "$root/scripts/build.sh" "$build" -DORVANE_BUILD_FUZZ=ON \
  -DORVANE_BUILD_TESTS=OFF -DORVANE_BUILD_EXAMPLES=OFF -DCMAKE_BUILD_TYPE=RelWithDebInfo
targets=("$@")
if [ "${#targets[@]}" -eq 0 ]; then
  mapfile -t targets < <(find "$build/fuzz" -maxdepth 1 -type f -executable -name 'fuzz_*' -printf '%f\n' | sort)
fi
for t in "${targets[@]}"; do
  corpus="$build/corpus/$t"
  mkdir -p "$corpus"
  seeds=()
  [ -d "$root/fuzz/seeds/$t" ] && seeds=("$root/fuzz/seeds/$t")
  echo "== $t for ${seconds}s"
  (cd "$build" && "$build/fuzz/$t" -max_total_time="$seconds" -rss_limit_mb=2048 -timeout=10 \
    -print_final_stats=1 "$corpus" "${seeds[@]}")
done
