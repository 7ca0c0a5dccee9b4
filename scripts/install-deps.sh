#!/usr/bin/env bash
# Installs every Debian package that the build, tests, benchmarks, fuzz targets
# and demo need. Idempotent: apt-get runs only when something is missing.
set -euo pipefail

packages=(
  # toolchain
  build-essential cmake ninja-build pkg-config python3 clang libclang-rt-14-dev
  # tests, benchmarks
  googletest libgtest-dev libgmock-dev libbenchmark-dev
  # peers the benchmarks compare with (linked by bench/ only)
  libplist-dev liblmdb-dev libvips-dev libpixman-1-dev
  # a private session bus for the desktop appearance test
  dbus-daemon
  # a CMYK colour profile (ghostscript's) for the profiled CMYK JPEG the image tests decode
  libgs-common
  # library dependencies
  libssl-dev zlib1g-dev libsqlite3-dev libsystemd-dev
  liblz4-dev liblzma-dev libbrotli-dev liblcms2-dev libxxhash-dev
  # image codecs (ImageIO)
  libjpeg62-turbo-dev libpng-dev libtiff-dev libgif-dev libopenjp2-7-dev
  # the independent image reader the ImageIO tests compare with
  python3-pil
  # cairo, which the cairo interop example draws into
  libcairo2-dev
  # photographs the demo makes thumbnails of (JPEG and PNG)
  mate-backgrounds
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done

if [ "${#missing[@]}" -eq 0 ]; then
  exit 0
fi

if [ "$(id -u)" -ne 0 ]; then
  echo "install-deps: missing packages: ${missing[*]} (run as root to install them)" >&2
  exit 1
fi

echo "install-deps: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
apt-get update -qq
apt-get install -y -qq --no-install-recommends "${missing[@]}"
