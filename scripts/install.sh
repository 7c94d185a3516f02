#!/usr/bin/env bash
# Installs what building needs and is not there yet: with apt on Debian, with brew on a Mac. In addition, with
#   --tests     what the tests and the plug-in need
#   --bench     what the benchmark needs
#   --demo      what draws the clips of the demonstration
#   --quality   what the bench for pictures needs, and the keyers that it compares (Debian alone)
#   --clang     the second compiler, for the sanitizers and the fuzz targets (Debian alone)
#   --old-x86   what test-old-x86.sh needs (Debian alone)
# or nothing but what one script needs: with --check check.sh, with --aarch64 test-aarch64.sh, with --wasm test-wasm.sh
# (the last two on Debian alone).
set -euo pipefail

debian=(cmake ninja-build g++ pkg-config libavformat-dev libavcodec-dev libavutil-dev libswresample-dev libswscale-dev libtbb-dev libcli11-dev libhwy-dev nlohmann-json3-dev
  libcpp-httplib-dev)
mac=(cmake ninja pkg-config ffmpeg tbb cli11 highway nlohmann-json cpp-httplib)
for part in "$@"; do
  case $part in
    --tests)
      debian+=(libgtest-dev ffmpeg gobjc++ libgnustep-base-dev libgl-dev chromium fonts-dejavu-core frei0r-plugins-dev melt
        libxml2-utils abigail-tools python3-numpy python3-opencv)
      mac+=(googletest)
      # Another Node than the distribution's, with its own npm, stays as it is: the packages would not go beside it.
      command -v node >/dev/null || { debian+=(nodejs); mac+=(node); }
      command -v npm >/dev/null || debian+=(npm)
      ;;
    --bench)
      debian+=(libbenchmark-dev ffmpeg frei0r-plugins)
      mac+=(google-benchmark)
      ;;
    --demo) debian+=(ffmpeg) ;;
    --quality) debian+=(ffmpeg frei0r-plugins python3-numpy python3-opencv gstreamer1.0-tools gstreamer1.0-plugins-good blender) ;;
    --clang) debian+=(libgtest-dev clang-16 libclang-rt-16-dev llvm) ;;
    --old-x86) debian+=(libgtest-dev ffmpeg qemu-user-static) ;;
    --check)
      debian=(clang-format git python3)
      mac=(clang-format git python3)
      ;;
    --aarch64)
      debian=(cmake ninja-build g++-12-aarch64-linux-gnu libhwy-dev:arm64 libgtest-dev:arm64 nlohmann-json3-dev qemu-user-static)
      ;;
    --wasm)
      debian=(cmake ninja-build emscripten googletest libhwy-dev nlohmann-json3-dev)
      command -v node >/dev/null || debian+=(nodejs)
      ;;
    *)
      echo "install.sh: there is no part $part; give --tests, --bench, --demo, --quality, --clang, --old-x86, --check, --aarch64 or --wasm" >&2
      exit 2
      ;;
  esac
done

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
if [[ " $* " == *" --tests "* && ! -d $page_tests/node_modules ]]; then
  (cd "$page_tests" && npm install --no-package-lock --no-audit --no-fund --silent)
fi
