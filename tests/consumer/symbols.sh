#!/usr/bin/env bash
# Usage: symbols.sh LIBRARY
# Checks the shared library's dynamic symbols and SONAME: the version symbols
# are exported unmangled, private helpers are not exported at all.
set -euo pipefail
lib=$1
symbols=$(nm -D --defined-only "$lib")
for name in OrvaneVersionNumber OrvaneVersionString; do
  grep -qE " $name\$" <<<"$symbols" || { echo "missing exported symbol $name"; exit 1; }
done
if grep -q makeUUIDString <<<"$symbols"; then
  echo "private helper makeUUIDString is exported"; exit 1
fi
# Captured first: grep -q stops reading early, and under pipefail the
# writer's SIGPIPE would fail the check at random.
headers=$(objdump -p "$lib")
grep -qE 'SONAME +liborvane\.so\.158$' <<<"$headers" || { echo "wrong SONAME"; exit 1; }
echo "exported symbols ok"
