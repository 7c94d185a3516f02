#!/usr/bin/env bash
# The keyer's tests of its bytes on 64-bit Arm: installs what is missing (Debian on x86-64), builds the core for it and
# runs the known answers, the pinned looks and the comparison of CPU levels under an emulator.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install.sh --aarch64
cmake -G Ninja -S . -B build/aarch64 --toolchain cmake/aarch64.cmake -DKALVETRA_CORE_ONLY=ON -DKALVETRA_SAMPLE_STEP=6 \
  -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_FLAGS_RELEASE='-O2 -DNDEBUG' >/dev/null
cmake --build build/aarch64
# Left out: tests of anything but the bytes, which need no other kind of machine.
ctest --test-dir build/aarch64 --output-on-failure --parallel 2 \
  --exclude-regex '^(AllocationFailure|Comparison|Inspection|Preset|RandomSettings)'
