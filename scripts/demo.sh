#!/usr/bin/env bash
# Usage: demo.sh [DIRECTORY]
# Installs what is missing, builds, and runs the storage demo twice: a first
# process stores every file under DIRECTORY (or buffers it makes itself) in the
# storage manager, a second one restores the manager and verifies every item's
# bytes and MD5 digest. Stores and user defaults live in demo/ in the checkout,
# emptied first, so the user's own settings are never touched.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
bash "$root/scripts/install-deps.sh"
bash "$root/scripts/build.sh" "$root/build"

demo="$root/demo"
rm -rf "$demo"
mkdir -p "$demo"
export XDG_CONFIG_HOME="$demo/config" XDG_DATA_HOME="$demo/data" XDG_CACHE_HOME="$demo/cache"

"$root/build/examples/orvane_demo" store "$@"
"$root/build/examples/orvane_demo" verify "$@"
