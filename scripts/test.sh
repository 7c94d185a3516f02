#!/usr/bin/env bash
# Installs what is missing, builds, and runs the tests. An argument names another CMake preset: debug, sanitize.
set -euo pipefail
cd "$(dirname "$0")/.."
preset=${1:-release}

parts=(--tests)
if [ "$preset" = sanitize ] && [ "$(uname)" = Linux ]; then
  parts+=(--clang)
  export CXX=${CXX:-clang++-16}  # in half of GCC's time, and so all of the C++ meets a second compiler
fi
scripts/install.sh "${parts[@]}"
cmake --preset "$preset" -DKALVETRA_PLUGIN=ON -DKALVETRA_PREVIEW=ON -DKALVETRA_FREI0R=ON >/dev/null
cmake --build --preset "$preset"
ctest --preset "$preset" --parallel $(($(getconf _NPROCESSORS_ONLN) + 1))  # some wait now and then
