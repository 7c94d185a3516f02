#!/usr/bin/env bash
# Installs what building needs and is not there yet: with apt on Debian, with brew on a Mac.
# With --tests also what the tests and the plug-in need, with --bench what the benchmark needs.
set -euo pipefail

debian=(cmake ninja-build g++ pkg-config libavformat-dev libavcodec-dev libavutil-dev libswscale-dev libtbb-dev libcli11-dev libhwy-dev nlohmann-json3-dev)
mac=(cmake ninja pkg-config ffmpeg tbb cli11 highway nlohmann-json)
if [ "${1:-}" = --tests ]; then
  debian+=(libgtest-dev ffmpeg gobjc++ libgnustep-base-dev libgl-dev frei0r-plugins-dev melt libxml2-utils)
  mac+=(googletest)
elif [ "${1:-}" = --bench ]; then
  debian+=(libbenchmark-dev ffmpeg frei0r-plugins)
  mac+=(google-benchmark)
fi

if command -v apt-get >/dev/null; then
  missing=()
  for package in "${debian[@]}"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || missing+=("$package")
  done
  [ ${#missing[@]} -eq 0 ] && exit 0
  as_root=()
  [ "$(id -u)" -eq 0 ] || as_root=(sudo)
  "${as_root[@]}" apt-get update -qq
  DEBIAN_FRONTEND=noninteractive "${as_root[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
elif command -v brew >/dev/null; then
  brew install --quiet "${mac[@]}"
else
  echo "install.sh: neither apt-get nor brew is here; install by hand: ${debian[*]}" >&2
  exit 1
fi
