#!/usr/bin/env bash
# Installs what building needs and is not there yet: with apt on Debian, with brew on a Mac.
# With --tests also what the tests and the plug-in need, with --bench what the benchmark needs, with --old-x86 what
# test-old-x86.sh needs, with --fuzz what the fuzz targets need (Debian alone). With --aarch64 or --wasm instead what
# test-aarch64.sh or test-wasm.sh needs (Debian alone).
set -euo pipefail

debian=(cmake ninja-build g++ pkg-config libavformat-dev libavcodec-dev libavutil-dev libswscale-dev libtbb-dev libcli11-dev libhwy-dev nlohmann-json3-dev
  libcpp-httplib-dev)
mac=(cmake ninja pkg-config ffmpeg tbb cli11 highway nlohmann-json cpp-httplib)
if [ "${1:-}" = --tests ]; then
  debian+=(libgtest-dev ffmpeg gobjc++ libgnustep-base-dev libgl-dev chromium fonts-dejavu-core frei0r-plugins-dev melt
    libxml2-utils)
  mac+=(googletest)
  # Another Node than the distribution's, with its own npm, stays as it is: the packages would not go beside it.
  command -v node >/dev/null || { debian+=(nodejs); mac+=(node); }
  command -v npm >/dev/null || debian+=(npm)
elif [ "${1:-}" = --bench ]; then
  debian+=(libbenchmark-dev ffmpeg frei0r-plugins)
  mac+=(google-benchmark)
elif [ "${1:-}" = --aarch64 ]; then
  debian=(cmake ninja-build g++-12-aarch64-linux-gnu libhwy-dev:arm64 libgtest-dev:arm64 nlohmann-json3-dev qemu-user-static)
elif [ "${1:-}" = --wasm ]; then
  debian=(cmake ninja-build emscripten googletest libhwy-dev nlohmann-json3-dev)
  command -v node >/dev/null || debian+=(nodejs)
elif [ "${1:-}" = --old-x86 ]; then
  debian+=(libgtest-dev ffmpeg qemu-user-static)
elif [ "${1:-}" = --fuzz ]; then
  debian+=(libgtest-dev clang-16 libclang-rt-16-dev llvm)
fi

install_on_debian() {
  local missing=() as_root=() package
  for package in "${debian[@]}"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || missing+=("$package")
  done
  [ ${#missing[@]} -eq 0 ] && return
  [ "$(id -u)" -eq 0 ] || as_root=(sudo)
  case ${missing[*]} in *:arm64*) "${as_root[@]}" dpkg --add-architecture arm64 ;; esac
  "${as_root[@]}" apt-get update -qq
  DEBIAN_FRONTEND=noninteractive "${as_root[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
}

if command -v apt-get >/dev/null; then
  install_on_debian
elif command -v brew >/dev/null; then
  brew install --quiet "${mac[@]}"
else
  echo "install.sh: neither apt-get nor brew is here; install by hand: ${debian[*]}" >&2
  exit 1
fi

# The page's tests drive a browser through this library.
page_tests=$(dirname "$0")/../tests/page
if [ "${1:-}" = --tests ] && [ ! -d "$page_tests/node_modules" ]; then
  (cd "$page_tests" && npm install --no-package-lock --no-audit --no-fund --silent)
fi
