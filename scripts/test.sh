#!/usr/bin/env bash
# Installs what is missing, builds, and runs every test. An argument names another CMake preset: debug, sanitize.
set -euo pipefail
cd "$(dirname "$0")/.."
preset=${1:-release}

scripts/install.sh --tests
cmake --preset "$preset" -DKALVETRA_PLUGIN=ON -DKALVETRA_PREVIEW=ON -DKALVETRA_FREI0R=ON >/dev/null
cmake --build --preset "$preset"
ctest --preset "$preset" --parallel 2
