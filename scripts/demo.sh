#!/usr/bin/env bash
# Usage: demo.sh [DIRECTORY]
# Installs what is missing, builds, and runs the thumbnail-cache demo twice on
# the photographs under DIRECTORY (default: the MATE desktop's backgrounds,
# which install-deps.sh installs): a first process makes a 256-pixel JPEG
# thumbnail of every image and stores it in the storage manager, a second one
# restores the manager, serves every thumbnail from the store and draws them
# all into demo/contact-sheet.png. Stores and user defaults live in demo/ in
# the checkout, emptied first, so the user's own settings are never touched.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
photos=${1:-/usr/share/backgrounds/mate}
bash "$root/scripts/install-deps.sh"
bash "$root/scripts/build.sh" "$root/build"

demo="$root/demo"
rm -rf "$demo"
mkdir -p "$demo"
export XDG_CONFIG_HOME="$demo/config" XDG_DATA_HOME="$demo/data" XDG_CACHE_HOME="$demo/cache"

"$root/build/examples/orvane_demo" make "$photos"
"$root/build/examples/orvane_demo" serve "$photos" "$demo/contact-sheet.png"
