#!/usr/bin/env bash
# Installs what is missing, builds, and packs the command, the library, what building against it needs, and the Python
# module as Debian packages.
set -euo pipefail
cd "$(dirname "$0")/.."

command -v dpkg-shlibdeps >/dev/null || {
  echo "package.sh: dpkg-shlibdeps is not here; on Debian, install dpkg-dev" >&2
  exit 1
}
scripts/install.sh
# Below /usr, so that the library goes where Debian has it for the processor.
cmake --preset release -DCMAKE_INSTALL_PREFIX=/usr -DKALVETRA_TESTS=OFF -DKALVETRA_PLUGIN=OFF -B build/package >/dev/null
cmake --build build/package
rm -f build/package/*.deb
log=$(mktemp)
trap 'rm -f "$log"' EXIT
cpack --config build/package/CPackConfig.cmake -B build/package >"$log" || {
  cat "$log" >&2
  exit 1
}
echo "The packages:"
ls "$PWD"/build/package/*.deb
echo "Install the command with: sudo apt install $(ls "$PWD"/build/package/kalvetra_*.deb)"
