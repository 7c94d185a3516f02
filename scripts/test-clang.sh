#!/usr/bin/env bash
# The keyer's tests of its bytes from clang's optimiser: installs what is missing (Debian), builds the core with clang 16 as
# for a release, and runs the known answers, the pinned looks and the comparison of CPU levels.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install.sh --clang
CXX=clang++-16 cmake --preset release -B build/clang -DKALVETRA_CORE_ONLY=ON -DKALVETRA_SAMPLE_STEP=6 >/dev/null
cmake --build build/clang
ctest --test-dir build/clang --output-on-failure --parallel 2
