#!/usr/bin/env bash
# Installs what is missing, builds the command, and packs it with its manual page and completions as a Debian package.
set -euo pipefail
cd "$(dirname "$0")/.."

command -v dpkg-shlibdeps >/dev/null || {
  echo "package.sh: dpkg-shlibdeps is not here; on Debian, install dpkg-dev" >&2
  exit 1
}
scripts/install.sh
cmake --preset release -DKALVETRA_TESTS=OFF -DKALVETRA_PLUGIN=OFF -B build/package >/dev/null
cmake --build build/package
log=$(mktemp)
trap 'rm -f "$log"' EXIT
cpack --config build/package/CPackConfig.cmake -B build/package >"$log" || {
  cat "$log" >&2
  exit 1
}
echo "The package: $PWD/$(ls -t build/package/kalvetra_*.deb | head -1)"
echo "Install it:  sudo apt install $PWD/$(ls -t build/package/kalvetra_*.deb | head -1)"
